#!/usr/bin/env bash
# Builds the benchmark corpus in DIR (default bench-corpus): a 2048x1536
# photograph tiled from python3-skimage's samples, and JPEG files made from it
# by libjpeg-turbo's cjpeg/jpegtran with the accurate integer DCT.
set -euo pipefail
dir=${1:-bench-corpus}
here=$(cd "$(dirname "$0")" && pwd)
need=()
/usr/bin/python3 -c "import skimage" 2>/dev/null || need+=(python3-skimage)
command -v cjpeg >/dev/null || need+=(libjpeg-turbo-progs)
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" = 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}" >/dev/null
fi
mkdir -p "$dir"
[ -f "$dir/photo.ppm" ] || /usr/bin/python3 "$here/make_corpus.py" "$dir"
for q in 75 90; do
  cjpeg -dct int -quality $q -sample 2x2 "$dir/photo.ppm" > "$dir/420_q$q.jpg"
  cjpeg -dct int -quality $q -sample 2x1 "$dir/photo.ppm" > "$dir/422_q$q.jpg"
  cjpeg -dct int -quality $q -sample 1x1 "$dir/photo.ppm" > "$dir/444_q$q.jpg"
  cjpeg -dct int -quality $q -grayscale "$dir/photo.pgm" > "$dir/grey_q$q.jpg"
done
jpegtran -progressive "$dir/420_q75.jpg" > "$dir/420_q75_progressive.jpg"
ls -l "$dir"
