#!/usr/bin/env bash
# Whole processes, as a new user meets them: `keljpeg decode` against
# `djpeg -dct int -nosmooth -bmp` and `keljpeg encode` against `cjpeg -dct int`
# on the 2048x1536 photograph of the benchmark corpus. The two programs take
# turns, RUNS times each (default 11); each pair gives a ratio of wall times
# (ours / theirs, below 1 is faster), and the median ratio is reported with
# the peak resident memory of each side (the largest over the runs).
#   bench/cli_compare.sh [KELJPEG [CORPUS]]     RUNS=21 for steadier figures
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
keljpeg=${1:-$root/build/keljpeg}
corpus=${2:-$root/bench-corpus}
runs=${RUNS:-11}
for tool in djpeg cjpeg /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "needs $tool (libjpeg-turbo-progs, time)" >&2; exit 1; }
done
[ -x "$keljpeg" ] || { echo "no program $keljpeg (build it first)" >&2; exit 1; }
[ -f "$corpus/photo.ppm" ] || "$root/bench/make_corpus.sh" "$corpus" >/dev/null
work=$(mktemp -d "${TMPDIR:-/tmp}/cli-compare.XXXXXX")
trap 'rm -rf "$work"' EXIT

# Runs a command once; prints its wall time in microseconds and its peak
# resident memory in KiB.
measure() {
  local start end
  start=$EPOCHREALTIME
  /usr/bin/time -f %M -o "$work/rss" "$@" >/dev/null 2>"$work/err" || { cat "$work/err" >&2; exit 1; }
  end=$EPOCHREALTIME
  echo "$(( (${end/./} - ${start/./}) )) $(tail -n 1 "$work/rss")"
}

median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# compare NAME -- OUR COMMAND... -- THEIR COMMAND...
compare() {
  local name=$1 ours=() theirs=() side=0 arg
  shift
  for arg in "$@"; do
    if [ "$arg" = -- ]; then side=$((side + 1)); continue; fi
    if [ $side -eq 1 ]; then ours+=("$arg"); else theirs+=("$arg"); fi
  done
  : > "$work/ratios"; local ourMem=0 theirMem=0 ourTimes="" theirTimes=""
  measure "${ours[@]}" >/dev/null; measure "${theirs[@]}" >/dev/null  # warm the page cache
  for ((i = 0; i < runs; i++)); do
    read -r ot om < <(measure "${ours[@]}")
    read -r tt tm < <(measure "${theirs[@]}")
    echo "$ot $tt" | awk '{ print $1 / $2 }' >> "$work/ratios"
    ourTimes+="$ot"$'\n'; theirTimes+="$tt"$'\n'
    [ "$om" -gt "$ourMem" ] && ourMem=$om
    [ "$tm" -gt "$theirMem" ] && theirMem=$tm
  done
  printf '%-28s %7.2f %9.1f %9.1f %8.1f %8.1f %6.2f\n' "$name" "$(median < "$work/ratios")" \
    "$(printf %s "$ourTimes" | median | awk '{ print $1 / 1000 }')" \
    "$(printf %s "$theirTimes" | median | awk '{ print $1 / 1000 }')" \
    "$(awk -v k="$ourMem" 'BEGIN { print k / 1024 }')" "$(awk -v k="$theirMem" 'BEGIN { print k / 1024 }')" \
    "$(awk -v a="$ourMem" -v b="$theirMem" 'BEGIN { print a / b }')"
}

printf '%-28s %7s %9s %9s %8s %8s %6s\n' case "ratio" "ours ms" "theirs ms" "ours MiB" "their MiB" "mem"
out=$work/out
compare "decode 4:2:0 q75 to BMP" -- "$keljpeg" decode "$corpus/420_q75.jpg" "$out.bmp" \
  -- djpeg -dct int -nosmooth -bmp -outfile "$out.bmp" "$corpus/420_q75.jpg"
compare "decode 4:4:4 q75 to BMP" -- "$keljpeg" decode "$corpus/444_q75.jpg" "$out.bmp" \
  -- djpeg -dct int -nosmooth -bmp -outfile "$out.bmp" "$corpus/444_q75.jpg"
compare "decode progressive to BMP" -- "$keljpeg" decode "$corpus/420_q75_progressive.jpg" "$out.bmp" \
  -- djpeg -dct int -nosmooth -bmp -outfile "$out.bmp" "$corpus/420_q75_progressive.jpg"
compare "decode 4:2:0 at 1/8 to BMP" -- "$keljpeg" decode --scale 1/8 "$corpus/420_q75.jpg" "$out.bmp" \
  -- djpeg -dct int -nosmooth -scale 1/8 -bmp -outfile "$out.bmp" "$corpus/420_q75.jpg"
compare "encode 4:2:0 q75 from PPM" -- "$keljpeg" encode --quality 75 --sampling 420 "$corpus/photo.ppm" "$out.jpg" \
  -- cjpeg -dct int -quality 75 -sample 2x2 -outfile "$out.jpg" "$corpus/photo.ppm"
