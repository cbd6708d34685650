#!/usr/bin/env bash
# Remakes the manifest's corpus in tests/manifest/corpus: small pictures of
# odd sizes coded by libjpeg-turbo's cjpeg and jpegtran over samplings,
# qualities, restart intervals and scan scripts. The files are committed, so
# that the manifest does not move with the peer's version; run this only to
# change the corpus, then regenerate the manifest (scripts/check-manifest.sh
# --update).
set -euo pipefail
cd "$(dirname "$0")"
out=corpus
rm -rf "$out" && mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# A plain-text picture: gradients, a fine texture and a noisy patch, so that
# blocks hold every kind of coefficient.
picture() {  # width height file
  awk -v w="$1" -v h="$2" 'BEGIN {
    s = 12345; print "P3"; print w, h; print 255
    for (y = 0; y < h; ++y) for (x = 0; x < w; ++x) {
      s = (s * 69069 + 1) % 4294967296; n = int(s / 16777216) % 64
      r = int(x * 255 / w); g = int(y * 255 / h); b = (x * 7 + y * 3) % 256
      if ((int(x / 4) + int(y / 4)) % 2) { r = 255 - r; b = 255 - b }
      if (x > w / 2 && y > h / 2) { r = (r + n * 3) % 256; g = (g + n) % 256 }
      print r, g, b
    }
  }' > "$3"
}

for size in 37x29 130x77; do
  picture "${size%x*}" "${size#*x}" "$tmp/$size.ppm"
  for sampling in 2x2 2x1 1x2 1x1 4x1 grey; do
    if [ "$sampling" = grey ]; then shape=(-grayscale); else shape=(-sample "$sampling,1x1,1x1"); fi
    name="$size-$sampling"
    cjpeg -quality 85 "${shape[@]}" "$tmp/$size.ppm" > "$out/$name.jpg"
    cjpeg -quality 60 -restart 3B "${shape[@]}" "$tmp/$size.ppm" > "$out/$name-restart.jpg"
    cjpeg -quality 75 -progressive "${shape[@]}" "$tmp/$size.ppm" > "$out/$name-progressive.jpg"
  done
done
ppm="$tmp/130x77.ppm"
cjpeg -quality 100 -sample 2x2,1x1,1x1 "$ppm" > "$out/130x77-q100.jpg"
cjpeg -quality 3 -sample 2x2,1x1,1x1 "$ppm" > "$out/130x77-q3.jpg"
cjpeg -quality 3 -baseline -sample 2x1,1x1,1x1 "$ppm" > "$out/130x77-q3-baseline.jpg"
cjpeg -quality 80 -optimize -sample 2x2,1x1,1x1 "$ppm" > "$out/130x77-optimized.jpg"
cjpeg -quality 80 -arithmetic -sample 2x2,1x1,1x1 "$ppm" > "$out/130x77-arithmetic.jpg"
cjpeg -quality 80 -rgb "$ppm" > "$out/130x77-rgb.jpg"
# Each component in a scan of its own, and a progressive copy with the
# restart markers jpegtran adds.
printf '0;\n1;\n2;\n' > "$tmp/separate.txt"
jpegtran -scans "$tmp/separate.txt" "$out/130x77-2x2.jpg" > "$out/130x77-separate-scans.jpg"
jpegtran -progressive -restart 2B "$out/130x77-2x1.jpg" > "$out/130x77-progressive-restart.jpg"
ls "$out" | wc -l
