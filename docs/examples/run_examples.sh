#!/bin/sh
# Runs the guide's examples from the directory that holds them (argument 1):
# the encoder writes files that the decoding examples then read. Each example
# checks its own results; this adds what only two runs together can show.
set -eu
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
run() { echo "+ $*" >&2; "$@"; }
fail() { echo "run_examples: $*" >&2; exit 1; }

run "$bin/guide_report_handler"
run "$bin/guide_memory_round_trip"
run "$bin/guide_partial_bitstream"
run "$bin/guide_yuv_planes"
run "$bin/guide_bitmap_round_trip"

run "$bin/guide_encode_strips" "$work/sample.jpg"
run "$bin/guide_encode_strips" "$work/restarts.jpg" 3
run "$bin/guide_jfif_info" "$work/sample.jpg"
# Restart markers change the stream, never the pixels; strips and one call agree.
plain=$(run "$bin/guide_decode_strips" "$work/sample.jpg")
restarts=$(run "$bin/guide_decode_strips" "$work/restarts.jpg")
echo "$plain"
[ "$plain" = "$restarts" ] || fail "restart markers changed the picture: $restarts"
# The full picture after a 1/8 preview (a rewind) equals the one in strips.
for file in sample restarts; do
  preview=$(run "$bin/guide_scaled_preview" "$work/$file.jpg")
  echo "$preview"
  case "$plain" in
    "100 x 75, "*"pixel sum ${preview##*pixel sum }") ;;
    *) fail "$file: the picture after the preview differs from the one in strips" ;;
  esac
done

# A progressive file from the peer's transcoder, when it is installed.
if command -v jpegtran >/dev/null; then
  jpegtran -progressive -outfile "$work/progressive.jpg" "$work/sample.jpg"
  passes=$(run "$bin/guide_progressive_passes" "$work/progressive.jpg")
  echo "$passes"
  [ "${passes%% *}" -gt 1 ] || fail "a progressive file decoded in one pass"
  # The same coefficients, coded progressively: the same pixels.
  [ "${plain##*pixel sum }" = "${passes##*pixel sum }" ] || fail "progressive and sequential pictures differ"
  run "$bin/guide_scaled_preview" "$work/progressive.jpg"
fi
