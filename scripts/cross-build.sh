#!/usr/bin/env bash
# Builds the library and the test suite for another target with one of the
# toolchains in cmake/toolchains, then runs the suite through the target's
# emulator.
#   scripts/cross-build.sh TOOLCHAIN BUILD_DIR [run|build-only]
# Only the library and the tests are built (no tools), two jobs at a time;
# build-only builds just the library and the C host.
set -euo pipefail
cd "$(dirname "$0")/.."
toolchain=$1
build=$2
mode=${3:-run}

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$toolchain.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DKELJPEG_BUILD_TESTS=ON -DKELJPEG_BUILD_TOOLS=OFF >/dev/null
if [ "$mode" = run ]; then
  cmake --build "$build" -j2
  ctest --test-dir "$build" --output-on-failure -j2
else
  # Nothing of the target can run here: build the library and the C host
  # linked through it, and check the export table from the host.
  cmake --build "$build" -j2 --target KelJPEG c_host_check
  ctest --test-dir "$build" --output-on-failure -R '^exported_names'
fi
