#!/usr/bin/env bash
# Builds the libFuzzer targets with address and undefined-behaviour
# sanitizers and runs each for a bounded time from seeds made by
# make_seeds.sh. Any crash, leak, timeout or sanitizer report fails the run;
# the input is left in BUILD/artifacts/<target>/.
# usage: fuzz/smoke.sh [SECONDS_PER_TARGET] (environment: KELJPEG_FUZZ_BUILD_DIR;
# an address-sanitizer build configured with -DKELJPEG_FUZZ=ON is reused as it is)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-45}
build=${KELJPEG_FUZZ_BUILD_DIR:-build-fuzz-ci}
if ! command -v python3 >/dev/null; then  # make_seeds.sh writes its pictures with it
  SUDO=""; [ "$(id -u)" = 0 ] || SUDO=sudo
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq python3 >/dev/null
fi
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DKELJPEG_FUZZ=ON -DKELJPEG_SANITIZE=ON -DKELJPEG_BUILD_TOOLS=ON >/dev/null
targets=$(cd fuzz && ls fuzz_*.cpp | sed 's/\.cpp$//')
cmake --build "$build" -j"$(nproc)" --target keljpeg $targets
fuzz/make_seeds.sh "$build/keljpeg" "$build/seeds" >/dev/null
for target in $targets; do
  mkdir -p "$build/corpus/$target" "$build/artifacts/$target"
  echo "fuzzing $target for ${seconds}s"
  ASAN_OPTIONS=allocator_may_return_null=1 \
    "$build/fuzz/$target" "$build/corpus/$target" "$build/seeds/$target" -max_total_time="$seconds" \
    -timeout=20 -rss_limit_mb=2560 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="$build/artifacts/$target/" >"$build/$target.log" 2>&1 ||
    { tail -n 60 "$build/$target.log"; echo "fuzz target $target failed"; exit 1; }
  grep -E '^stat::number_of_executed_units|^#[0-9]+[[:space:]]+DONE' "$build/$target.log" | tail -n 2
done
