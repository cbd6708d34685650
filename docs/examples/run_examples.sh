#!/bin/sh
# Runs the guide's examples from the directory that holds them (argument 1):
# the encoder writes a file that the decoding examples then read.
set -eu
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
run() { echo "+ $*"; "$@"; }
run "$bin/guide_report_handler"
run "$bin/guide_encode_strips" "$work/sample.jpg"
run "$bin/guide_encode_strips" "$work/restarts.jpg" 3
for file in sample restarts; do
  run "$bin/guide_decode_strips" "$work/$file.jpg"
  run "$bin/guide_scaled_preview" "$work/$file.jpg"
done
run "$bin/guide_jfif_info" "$work/sample.jpg"
run "$bin/guide_memory_round_trip"
[ -x "$bin/guide_bitmap_round_trip" ] && run "$bin/guide_bitmap_round_trip"
for example in "$bin"/guide_partial_bitstream "$bin"/guide_yuv_planes; do
  if [ -x "$example" ]; then run "$example"; fi
done
# A progressive file from the peer's transcoder, when it is installed.
if command -v jpegtran >/dev/null; then
  jpegtran -progressive -outfile "$work/progressive.jpg" "$work/sample.jpg"
  run "$bin/guide_progressive_passes" "$work/progressive.jpg"
  run "$bin/guide_scaled_preview" "$work/progressive.jpg"
fi
