#!/usr/bin/env bash
# 32-bit ARM Linux (hard-float): the library and the whole test suite built
# with Debian's cross compiler and run under qemu-user. The record-layout
# checks of runtime/abi_checks.cpp are compiled for this 32-bit target.
# With KELJPEG_CROSS_ARM64=1 (the default) AArch64 is built and tested too.
set -euo pipefail
cd "$(dirname "$0")/.."
pkgs=(cmake make libgtest-dev qemu-user g++-arm-linux-gnueabihf)
[ "${KELJPEG_CROSS_ARM64:-1}" = 1 ] && pkgs+=(g++-aarch64-linux-gnu)
scripts/cross-install.sh "${pkgs[@]}"

echo "== ARM32 (arm-linux-gnueabihf, qemu-arm)"
scripts/cross-build.sh arm-linux-gnueabihf build-arm32
if [ "${KELJPEG_CROSS_ARM64:-1}" = 1 ]; then
  echo "== AArch64 (aarch64-linux-gnu, qemu-aarch64)"
  scripts/cross-build.sh aarch64-linux-gnu build-arm64
fi
