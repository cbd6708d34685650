#!/usr/bin/env bash
# Builds the library and the benchmark in Release (build-bench), makes the
# corpus (bench-corpus, or $1) and times KelJPEG against libjpeg-turbo.
# Further arguments go to the benchmark, e.g. --repeat 11 or --only decode.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
corpus=${1:-$root/bench-corpus}
shift || true
build=${KELJPEG_BENCH_BUILD:-$root/build-bench}
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DKELJPEG_BUILD_BENCH=ON -DKELJPEG_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target keljpeg_bench >/dev/null
"$root/bench/make_corpus.sh" "$corpus" >/dev/null
"$build/bench/keljpeg_bench" "$corpus" "$@"
