#!/usr/bin/env bash
# The main job on the built-in sample: builds the library and the keljpeg
# program, then shows the library at work.
set -euo pipefail
cd "$(dirname "$0")/.."
KELJPEG_PEERS=0 scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target KelJPEG keljpeg
exec build/keljpeg demo
