#!/usr/bin/env bash
# Builds the tests with the thread sanitizer and runs the thread test: many
# contexts decoding and encoding at once must share no written state.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${KELJPEG_TSAN_BUILD_DIR:-build-tsan}
flags=-fsanitize=thread
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
  -DCMAKE_SHARED_LINKER_FLAGS="$flags" -DKELJPEG_BUILD_TESTS=ON -DKELJPEG_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target keljpeg_tests
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" "$build/tests/keljpeg_tests" --gtest_filter='Threads.*'
