#!/bin/sh
# Standard-mode corpus check: libjpeg-turbo's cjpeg writes several hundred
# files with every sampling, restart interval, scan script and table
# precision it can produce; `keljpeg decode` (standard mode) reads each and
# the largest difference from `djpeg -dct int -nosmooth` is reported.
# Run once by hand (a minute or two); CI runs the smaller in-process subset of
# tests/standard_mode_test.cpp.
#   usage: tests/standard_corpus.sh BUILD_DIR [WORK_DIR]
set -eu
build=${1:?usage: standard_corpus.sh BUILD_DIR [WORK_DIR]}
work=${2:-$(mktemp -d)}
keljpeg="$build/keljpeg"
mkdir -p "$work"
command -v cjpeg >/dev/null && command -v djpeg >/dev/null || { echo "cjpeg/djpeg not installed"; exit 77; }

# Source pictures: gradients, edges and noise, in two sizes.
python3 - "$work" <<'EOF'
import sys, random
work = sys.argv[1]
for (w, h) in [(61, 45), (130, 97)]:
    rnd = random.Random(w)
    rgb = bytearray(); grey = bytearray()
    for y in range(h):
        for x in range(w):
            for c in range(3):
                v = (x * (3 + c) + y * (5 - c)) % 256
                if ((x // 9) + (y // 7) + c) % 3 == 0: v = 255 - v
                rgb.append(max(0, min(255, v + rnd.randint(-12, 12))))
            grey.append(rgb[-2])
    open(f"{work}/src{w}.ppm", "wb").write(b"P6 %d %d 255\n" % (w, h) + bytes(rgb))
    open(f"{work}/src{w}.pgm", "wb").write(b"P5 %d %d 255\n" % (w, h) + bytes(grey))
EOF

# Scan scripts: components in sequential scans of their own (chroma first),
# and progressive DC scans of one component each with refinements.
printf '2: 0 63 0 0;\n0: 0 63 0 0;\n1: 0 63 0 0;\n' > "$work/seq3.txt"
printf '0: 0 63 0 0;\n1,2: 0 63 0 0;\n' > "$work/seq12.txt"
printf '0: 0 0 0 1;\n1: 0 0 0 1;\n2: 0 0 0 0;\n0: 1 5 0 2;\n2: 1 63 0 1;\n1: 1 63 0 0;\n0: 6 63 0 2;\n0: 1 63 2 1;\n0: 0 0 1 0;\n1: 0 0 1 0;\n2: 1 63 1 0;\n0: 1 63 1 0;\n' > "$work/dc3.txt"
printf '0: 0 0 0 2;\n0: 1 9 0 1;\n0: 10 63 0 0;\n0: 0 0 2 1;\n0: 0 0 1 0;\n0: 1 9 1 0;\n' > "$work/grey.txt"

count=0; worst=0; worstFile=""; failed=0
check() {  # name, cjpeg arguments...
    name=$1; shift
    count=$((count + 1))
    if ! cjpeg "$@" > "$work/$name.jpg" 2>/dev/null; then
        echo "cjpeg refused: $name ($*)"; failed=$((failed + 1)); return
    fi
    ext=ppm; case "$*" in *grayscale*|*.pgm*) ext=pgm ;; esac
    djpeg -dct int -nosmooth -pnm "$work/$name.jpg" > "$work/$name.peer.$ext"
    if ! "$keljpeg" decode "$work/$name.jpg" "$work/$name.ours.$ext" 2>/dev/null; then
        echo "FAILED: $name ($*)"; failed=$((failed + 1)); return
    fi
    d=$(python3 - "$work/$name.peer.$ext" "$work/$name.ours.$ext" <<'EOF'
import sys
def pixels(path):
    data = open(path, "rb").read()
    fields, i = [], 2
    while len(fields) < 3:
        while data[i:i+1].isspace(): i += 1
        j = i
        while not data[j:j+1].isspace(): j += 1
        fields.append(int(data[i:j])); i = j
    return fields[:2], data[i + 1:]
(sa, a), (sb, b) = pixels(sys.argv[1]), pixels(sys.argv[2])
print(max(abs(x - y) for x, y in zip(a, b)) if sa == sb and len(a) == len(b) else 999)
EOF
)
    if [ "$d" -gt "$worst" ]; then worst=$d; worstFile="$name ($*)"; fi
}

for size in 61 130; do
    for sampling in 1x1 2x1 1x2 2x2 4x1 1x4 4x2 2x4 3x1 3x2 2x2,2x1,1x1 2x2,1x2,2x1; do
        case $sampling in *,*) s=$sampling ;; *) s="$sampling,1x1,1x1" ;; esac
        for restart in 0 1 3B 7B; do
            for mode in base opt prog seq3 seq12 dc3; do
                case $mode in
                    base) m="" ;; opt) m="-optimize" ;; prog) m="-progressive" ;;
                    seq3|seq12|dc3) m="-scans $work/$mode.txt" ;;
                esac
                [ "$size" = 130 ] && [ "$mode" != prog ] && [ "$mode" != seq3 ] && continue
                # shellcheck disable=SC2086
                check "c$size-$sampling-$restart-$mode" -sample "$s" -restart "$restart" $m "$work/src$size.ppm"
            done
        done
    done
    for restart in 0 1 2B; do
        check "rgb$size-$restart" -rgb -restart "$restart" "$work/src$size.ppm"
        check "q5-$size-$restart" -quality 5 -sample 2x2,1x1,1x1 -restart "$restart" "$work/src$size.ppm"
        check "q5p-$size-$restart" -quality 5 -progressive -restart "$restart" "$work/src$size.ppm"
        for sampling in 1x1 2x2 2x1 1x2 4x1 1x4; do
            for mode in base prog grey; do
                case $mode in base) m="" ;; prog) m="-progressive" ;; grey) m="-scans $work/grey.txt" ;; esac
                # shellcheck disable=SC2086
                check "g$size-$sampling-$restart-$mode" -grayscale -sample "$sampling" -restart "$restart" $m "$work/src$size.pgm"
            done
        done
    done
done
echo "files: $count  failed: $failed  largest difference from djpeg -dct int -nosmooth: $worst${worstFile:+ in $worstFile}"
[ "$failed" -eq 0 ]
