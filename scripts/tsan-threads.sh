#!/usr/bin/env bash
# Builds the library and the thread test with the thread sanitizer and runs
# it: many contexts decoding and encoding at once must share no written
# state. Only the thread test is built, to keep CI short.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${KELJPEG_TSAN_BUILD_DIR:-build-tsan}
flags=-fsanitize=thread
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
  -DKELJPEG_BUILD_TESTS=OFF -DKELJPEG_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target KelJPEG_static
clang++ -std=c++17 $flags -O1 -g -DKELJPEG_STATIC -DKELJPEG_TEST_TMPDIR="\"$build/tmp\"" -Iinclude -I. -Itests \
  tests/thread_test.cpp "$build/libKelJPEG.a" -lgtest -lgtest_main -lpthread -o "$build/thread_test"
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" "$build/thread_test"
