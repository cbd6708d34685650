#!/usr/bin/env bash
# Builds the library and runs every test (Release build).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${KELJPEG_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DKELJPEG_BUILD_TESTS=ON ${KELJPEG_CMAKE_ARGS:-} >/dev/null
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
