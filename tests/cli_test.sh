#!/bin/sh
# The keljpeg program as a user drives it: help and argument errors, round
# trips through every input format, standard streams, batch mode against
# single runs, and transcode as decode-then-encode.
# usage: cli_test.sh PATH/TO/keljpeg
set -u
KELJPEG=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
SOURCE=$(cd "$(dirname "$0")" && pwd)
[ -x "$KELJPEG" ] || { echo "no program $1" >&2; exit 1; }
WORK=$(mktemp -d "${TMPDIR:-/tmp}/keljpeg-cli.XXXXXX")
trap 'rm -rf "$WORK"' EXIT
cd "$WORK" || exit 1
export LC_ALL=C
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# Runs keljpeg; the exit status is kept in $status, stderr in err.txt.
run() {
    "$KELJPEG" "$@" 2>err.txt
    status=$?
    # A sanitizer build must fail for the right reason, not by a fault.
    if grep -q "Sanitizer\|runtime error:" err.txt; then
        fail "keljpeg $*: $(grep -m 1 "Sanitizer\|runtime error:" err.txt)"
    fi
}

expect_status() {  # WANT DESCRIPTION -- ARGS...
    want=$1 what=$2
    shift 3
    run "$@" >out.txt
    case $want in
        0) [ "$status" -eq 0 ] || { fail "$what: status $status: $(cat err.txt)"; return; } ;;
        nonzero) [ "$status" -ne 0 ] || { fail "$what: succeeded"; return; }
                 [ -s err.txt ] || fail "$what: no message on standard error" ;;
    esac
}

same() {  # A B DESCRIPTION
    cmp -s "$1" "$2" || fail "$3: $1 and $2 differ"
}

# Largest difference of the bytes of two equally long files.
max_difference() {
    cmp -l "$1" "$2" | awk '
        function octal(s,   v, i) { v = 0; for (i = 1; i <= length(s); i++) v = v * 8 + substr(s, i, 1); return v }
        { d = octal($2) - octal($3); if (d < 0) d = -d; if (d > m) m = d }
        END { print m + 0 }'
}

# ---- test pictures ------------------------------------------------------
# picture.awk writes a W x H picture with one of several kinds of pixels,
# either as PPM/PGM (format pnm8, pnm16) or as a BMP of a given depth whose
# pixels are exactly those of the PPM/PGM of the same kind.
cat > picture.awk <<'AWK'
function byte(v) { printf "%c", v % 256 }
function le16(v) { byte(v); byte(int(v / 256)) }
function le32(v) { le16(v % 65536); le16(int(v / 65536)) }
# Red, green, blue of pixel x, y for each kind.
function colour(x, y) {
    if (kind == "smooth") { R = (x * 4 + y * 2) % 256; G = (128 + x * 3 - y) % 256; B = (y * 5) % 256 }
    else if (kind == "two") { if ((x + y) % 5 < 2) { R = 200; G = 30; B = 60 } else { R = 20; G = 90; B = 220 } }
    else if (kind == "grey16") { R = G = B = ((x + 2 * y) % 16) * 17 }
    else if (kind == "palette") { i = (x * 7 + y * 3) % 256; R = (i * 37) % 256; G = (i * 11) % 256; B = 255 - i }
    else if (kind == "rgb555") { R = (x % 32) * 8; G = ((y * 3) % 32) * 8; B = ((x + y) % 32) * 8 }
    else if (kind == "rgb565") { R = (x % 32) * 8; G = ((y * 3) % 64) * 4; B = ((x + y) % 32) * 8 }
    if (R < 0) R += 256; if (G < 0) G += 256
}
function index_of(x, y) {
    if (kind == "two") return (x + y) % 5 < 2 ? 0 : 1
    if (kind == "grey16") return (x + 2 * y) % 16
    return (x * 7 + y * 3) % 256
}
BEGIN {
    if (format == "pnm8" || format == "pnm16") {
        wide = format == "pnm16"
        printf "%s\n%d %d\n%d\n", grey ? "P5" : "P6", w, h, wide ? 65535 : 255
        for (y = 0; y < h; y++) for (x = 0; x < w; x++) {
            colour(x, y)
            n = grey ? 1 : 3; v[0] = R; v[1] = G; v[2] = B
            # A wide sample off v * 257 by less than half a step still scales to v.
            for (c = 0; c < n; c++) {
                if (wide) { V = v[c] * 257 + (v[c] < 128 ? 60 : -60); byte(int(V / 256)); byte(V % 256) }
                else byte(v[c])
            }
        }
        exit
    }
    # BMP: depth 1, 4, 8 (palette), 16 (5-5-5, or 5-6-5 with kind rgb565),
    # 24, 32; topdown=1 for a negative height.
    colours = depth <= 8 ? 2 ^ depth : 0
    masks = kind == "rgb565"
    row = int((w * depth + 31) / 32) * 4
    offset = 54 + 4 * colours + 12 * masks
    printf "BM"; le32(offset + row * h); le32(0); le32(offset)
    le32(40); le32(w); le32(topdown ? 4294967296 - h : h); le16(1); le16(depth); le32(masks ? 3 : 0); le32(row * h)
    le32(2835); le32(2835); le32(colours); le32(0)
    if (masks) { le32(63488); le32(2016); le32(31) }
    for (i = 0; i < colours; i++) {
        if (kind == "two") { if (i == 0) { R = 200; G = 30; B = 60 } else { R = 20; G = 90; B = 220 } }
        else if (kind == "grey16") { R = G = B = i * 17 }
        else { R = (i * 37) % 256; G = (i * 11) % 256; B = 255 - i }
        byte(B); byte(G); byte(R); byte(0)
    }
    for (r = 0; r < h; r++) {
        y = topdown ? r : h - 1 - r
        written = 0; acc = 0; bits = 0
        for (x = 0; x < w; x++) {
            if (depth <= 8) {
                acc = acc * 2 ^ depth + index_of(x, y); bits += depth
                if (bits == 8) { byte(acc); written++; acc = 0; bits = 0 }
                continue
            }
            colour(x, y)
            if (depth == 16 && masks) { le16(int(R / 8) * 2048 + int(G / 4) * 32 + int(B / 8)); written += 2 }
            else if (depth == 16) { le16(int(R / 8) * 1024 + int(G / 8) * 32 + int(B / 8)); written += 2 }
            else { byte(B); byte(G); byte(R); written += 3; if (depth == 32) { byte(0); written++ } }
        }
        if (bits) { byte(acc * 2 ^ (8 - bits)); written++ }
        for (; written < row; written++) byte(0)
    }
}
AWK

picture() {  # OUT KIND FORMAT [awk assignments...]
    out=$1 kind=$2 format=$3
    shift 3
    awk -v kind="$kind" -v format="$format" -v w=37 -v h=23 "$@" -f picture.awk > "$out"
}

picture smooth.ppm smooth pnm8
picture smooth16.ppm smooth pnm16
picture smooth.pgm smooth pnm8 -v grey=1
picture smooth16.pgm smooth pnm16 -v grey=1

# ---- help and argument errors -------------------------------------------
expect_status 0 "keljpeg --help" -- --help
for command in info decode encode transcode demo; do
    expect_status 0 "$command --help" -- "$command" --help
    grep -q "usage: keljpeg $command" out.txt || fail "$command --help: no usage line"
done
expect_status 0 "demo" -- demo
grep -q "pass 7: PSNR" out.txt || fail "demo: no progressive passes"
expect_status nonzero "demo on a missing file" -- demo missing.jpg
expect_status nonzero "no command" --
expect_status nonzero "unknown command" -- frobnicate
expect_status nonzero "encode: quality 0" -- encode --quality 0 smooth.ppm x.jpg
expect_status nonzero "encode: bad sampling" -- encode --sampling 411 smooth.ppm x.jpg
expect_status nonzero "encode: unknown option" -- encode --colour smooth.ppm x.jpg
expect_status nonzero "encode: no output" -- encode smooth.ppm
expect_status nonzero "encode: missing input" -- encode missing.ppm x.jpg
grep -q "missing.ppm" err.txt || fail "encode: the message does not name the missing file"
head -c 100 smooth.ppm > truncated.ppm
expect_status nonzero "encode: truncated PPM" -- encode truncated.ppm x.jpg
expect_status nonzero "decode: bad scale" -- decode --scale 1/3 a.jpg a.ppm
expect_status nonzero "decode: unknown output format" -- decode a.jpg a.png
expect_status nonzero "decode: several inputs without --out-dir" -- decode a.jpg b.jpg c.jpg
expect_status nonzero "decode: a picture is no JPEG" -- decode smooth.ppm x.ppm
expect_status nonzero "decode: missing file" -- decode missing.jpg x.ppm
expect_status nonzero "info: missing file" -- info missing.jpg
expect_status nonzero "transcode: no jobs" -- transcode --jobs 0 --out-dir d a.jpg
[ -e x.jpg ] && fail "a failed encode left x.jpg behind"
if [ -c /dev/full ]; then
    expect_status nonzero "encode to a full device" -- encode smooth.ppm /dev/full
fi

# A failure is one line: the file, then the library's own report text (not
# the composed legacy line, "ERRORJPEGJPEG file is NOT complete...").
printf '\377\330\377\331' > empty.jpg
while IFS='|' read -r want args; do
    set -- $args
    run "$@" >out.txt
    [ "$status" -eq 1 ] || fail "keljpeg $args: status $status"
    [ "$(cat err.txt)" = "$want" ] || fail "keljpeg $args: said '$(cat err.txt)', not '$want'"
done <<'CASES'
keljpeg decode: missing.jpg: No such file or directory|decode missing.jpg x.ppm
keljpeg decode: smooth.ppm: not a JPEG file: no SOI marker at the start|decode smooth.ppm x.bmp
keljpeg info: smooth.ppm: not a JPEG file: no SOI marker at the start|info smooth.ppm
keljpeg transcode: smooth.ppm: JPEG file is NOT complete|transcode --legacy smooth.ppm x.jpg
keljpeg decode: empty.jpg: no scan in the frame|decode empty.jpg x.ppm
keljpeg encode: missing.ppm: No such file or directory|encode missing.ppm x.jpg
CASES

# ---- limits ------------------------------------------------------------------
# Crafted files fail at once under the default limits, with the library's
# reason; lifting a limit lets a valid file through.
"$KELJPEG" encode smooth.ppm small.jpg || fail "encode smooth.ppm"
sof=$(grep -obUaP '\xff\xc0' small.jpg | head -n 1 | cut -d: -f1)
cp small.jpg huge.jpg
printf '\377\377\377\377' | dd of=huge.jpg bs=1 seek=$((sof + 5)) conv=notrunc 2>/dev/null
grep -v '^#' "$SOURCE/regressions/progressive-scan-bomb.hex" | xxd -r -p > bomb.jpg
while IFS='|' read -r want args; do
    set -- $args
    started=$(date +%s%N)
    run "$@" >out.txt
    took=$(( ($(date +%s%N) - started) / 1000000 ))
    case $want in
        ok) [ "$status" -eq 0 ] || fail "keljpeg $args: status $status: $(cat err.txt)" ;;
        *) [ "$status" -eq 1 ] && grep -q ": $want\$" err.txt || fail "keljpeg $args: '$(cat err.txt)', not '$want'"
           [ "$took" -lt 1000 ] || fail "keljpeg $args took $took ms to fail" ;;
    esac
done <<'CASES'
image exceeds the pixel limit|decode huge.jpg x.bmp
image exceeds the pixel limit|info huge.jpg
too many scans|decode bomb.jpg x.ppm
too many scans|transcode bomb.jpg x.jpg
ok|decode --max-scans 0 bomb.jpg x.ppm
ok|decode --max-scans 300 --max-pixels 0 --max-memory 1 small.jpg x.ppm
CASES
expect_status nonzero "decode: bad limit" -- decode --max-memory lots small.jpg x.ppm

# A damaged file is shown as far as its data goes, with one line naming the
# damage and a status of its own; the legacy reading refuses it.
sos=$(grep -obUaP '\xff\xda' small.jpg | head -n 1 | cut -d: -f1)
head -c $(( (sos + $(wc -c < small.jpg)) / 2 )) small.jpg > cut.jpg  # halfway through the scan
while IFS='|' read -r want code args; do
    set -- $args
    output=${args##* }
    rm -f "$output"
    run "$@" >out.txt
    [ "$status" -eq "$code" ] || fail "keljpeg $args: status $status, not $code"
    [ "$(cat err.txt)" = "$want" ] || fail "keljpeg $args: said '$(cat err.txt)', not '$want'"
    [ "$code" -ne 3 ] || [ -s "$output" ] || fail "keljpeg $args wrote no picture"
done <<'CASES'
keljpeg decode: cut.jpg: premature end of data|3|decode cut.jpg x.ppm
keljpeg decode: cut.jpg: JPEG file is NOT complete|1|decode --legacy cut.jpg x.ppm
keljpeg transcode: cut.jpg: premature end of data|3|transcode cut.jpg x.jpg
CASES

# ---- round trips ---------------------------------------------------------
expect_status 0 "encode PPM" -- encode --quality 100 --sampling 444 smooth.ppm smooth.jpg
expect_status 0 "decode to PPM" -- decode smooth.jpg back.ppm
expect_status 0 "demo on a file" -- demo smooth.jpg
if [ -c /dev/full ]; then
    expect_status nonzero "decode to a full device" -- decode --format ppm smooth.jpg /dev/full
fi
[ "$(max_difference smooth.ppm back.ppm)" -le 6 ] || fail "PPM round trip off by $(max_difference smooth.ppm back.ppm)"
expect_status 0 "encode PGM" -- encode --quality 100 smooth.pgm grey.jpg
expect_status 0 "decode to PGM" -- decode grey.jpg back.pgm
[ "$(max_difference smooth.pgm back.pgm)" -le 3 ] || fail "PGM round trip off by $(max_difference smooth.pgm back.pgm)"
expect_status 0 "info" -- info grey.jpg
grep -q "components: *1" out.txt || fail "info: a grey file does not show one component"
# 16-bit samples near v*257 are the 8-bit samples v.
expect_status 0 "encode 16-bit PPM" -- encode smooth16.ppm smooth16.jpg
expect_status 0 "encode 8-bit PPM" -- encode smooth.ppm smooth8.jpg
same smooth16.jpg smooth8.jpg "16-bit PPM"
expect_status 0 "encode 16-bit PGM" -- encode smooth16.pgm grey16.jpg
expect_status 0 "encode 8-bit PGM" -- encode smooth.pgm grey8.jpg
same grey16.jpg grey8.jpg "16-bit PGM"

# A BMP of each depth encodes to the bytes its PPM (or PGM, for a grey
# palette) twin encodes to.
for case in "1 two" "4 grey16" "8 palette" "16 rgb555" "16 rgb565" "24 smooth" "32 smooth" "24 smooth topdown" \
            "16 rgb555 topdown" "32 smooth topdown" "1 two topdown"; do
    set -- $case
    depth=$1 kind=$2 topdown=0
    [ $# -eq 3 ] && topdown=1
    grey=0
    [ "$kind" = grey16 ] && grey=1
    picture "$kind-$depth.bmp" "$kind" bmp -v depth="$depth" -v topdown=$topdown
    picture "$kind-twin.pnm" "$kind" pnm8 -v grey=$grey
    expect_status 0 "encode $depth-bit BMP ($kind)" -- encode --sampling 444 "$kind-$depth.bmp" "bmp-$depth.jpg"
    expect_status 0 "encode its twin" -- encode --sampling 444 "$kind-twin.pnm" "twin-$depth.jpg"
    same "bmp-$depth.jpg" "twin-$depth.jpg" "$depth-bit BMP ($kind, top-down $topdown)"
done

picture rle.bmp smooth bmp -v depth=8
printf '\001' | dd of=rle.bmp bs=1 seek=30 conv=notrunc 2>/dev/null
expect_status nonzero "encode a compressed BMP" -- encode rle.bmp x.jpg
grep -q "compressed" err.txt || fail "a compressed BMP gets no plain message"

# The library's own bitmaps read back as the pictures they hold.
for depth in 16 24 32; do
    expect_status 0 "decode --bmp-depth $depth" -- decode --bmp-depth "$depth" smooth.jpg "out-$depth.bmp"
    expect_status 0 "encode the $depth-bit output" -- encode --quality 100 --sampling 444 "out-$depth.bmp" "again-$depth.jpg"
    expect_status 0 "decode it" -- decode "again-$depth.jpg" "again-$depth.ppm"
    [ "$(max_difference back.ppm "again-$depth.ppm")" -le 12 ] || fail "$depth-bit bitmap output does not hold the picture"
done
expect_status 0 "decode to BMP" -- decode smooth.jpg back.bmp
expect_status 0 "encode the BMP" -- encode --quality 100 --sampling 444 back.bmp back-bmp.jpg
expect_status 0 "encode the PPM" -- encode --quality 100 --sampling 444 back.ppm back-ppm.jpg
same back-bmp.jpg back-ppm.jpg "BMP output"

# Lossless frames of 16 bits come back as the 16-bit PGM they were made from.
cat > lossless.awk <<'AWK'
# A 16-bit grey picture, as a PGM (format=pgm) or as a lossless JPEG with
# predictor 1 and one flat Huffman table (format=jpeg).
function byte(v) { printf "%c", v % 256 }
function be16(v) { byte(int(v / 256)); byte(v % 256) }
function sample(x, y) { return (x * 1777 + y * 40503 + (x * y % 7) * 9000) % 65536 }
function put(v, n,   i, p) { for (i = n - 1; i >= 0; i--) { p = 2 ^ i; bits = bits (int(v / p) % 2) } }
BEGIN {
    if (format == "pgm") {
        printf "P5\n%d %d\n65535\n", w, h
        for (y = 0; y < h; y++) for (x = 0; x < w; x++) be16(sample(x, y))
        exit
    }
    byte(255); byte(216)
    byte(255); byte(195); be16(11); byte(16); be16(h); be16(w); byte(1); byte(1); byte(17); byte(0)
    byte(255); byte(196); be16(3 + 16 + 17); byte(0)
    for (i = 1; i <= 16; i++) byte(i == 5 ? 17 : 0)
    for (i = 0; i <= 16; i++) byte(i)
    byte(255); byte(218); be16(8); byte(1); byte(1); byte(0); byte(1); byte(0); byte(0)
    bits = ""
    for (y = 0; y < h; y++) for (x = 0; x < w; x++) {
        pred = x == 0 && y == 0 ? 32768 : y == 0 || x > 0 ? sample(x - 1, y) : sample(x, y - 1)
        if (x == 0 && y > 0) pred = sample(x, y - 1)
        d = sample(x, y) - pred
        if (d > 32768) d -= 65536
        if (d < -32767) d += 65536
        m = d < 0 ? -d : d
        for (c = 0; m >= 2 ^ c; c++) {}
        put(c, 5)
        if (c > 0 && c < 16) put(d < 0 ? d + 2 ^ c - 1 : d, c)
    }
    while (length(bits) % 8) bits = bits "1"
    for (i = 1; i <= length(bits); i += 8) {
        v = 0
        for (j = 0; j < 8; j++) v = v * 2 + substr(bits, i + j, 1)
        byte(v)
        if (v == 255) byte(0)
    }
    byte(255); byte(217)
}
AWK
awk -v w=37 -v h=23 -v format=pgm -f lossless.awk > wide.pgm
awk -v w=37 -v h=23 -v format=jpeg -f lossless.awk > lossless.jpg
expect_status 0 "decode a 16-bit lossless frame" -- decode lossless.jpg lossless.pgm
same lossless.pgm wide.pgm "16-bit lossless decode"

# Progressive passes: the last pass is the whole picture. cjpeg, when
# installed, makes the progressive file.
if command -v cjpeg >/dev/null 2>&1 && cjpeg -progressive smooth.ppm > progressive.jpg 2>/dev/null; then
    expect_status 0 "decode --passes" -- decode progressive.jpg whole.ppm --passes passes
    last=$(ls passes | tail -n 1)
    [ "$(ls passes | wc -l)" -ge 2 ] || fail "decode --passes wrote $(ls passes | wc -l) passes"
    same "passes/$last" whole.ppm "the last pass"
    expect_status nonzero "--passes on a baseline file" -- decode smooth.jpg x.ppm --passes passes2
else
    echo "skipped: progressive passes (no cjpeg)"
fi

# ---- PNG ---------------------------------------------------------------------
# netpbm's pngtopnm and pnmtopng (libpng inside, but not this program's use of
# it) are the independent side: every decoded PNG reads back as the PPM/PGM
# decode, and every PNG type encodes to the bytes of its PPM/PGM twin.
if ! "$KELJPEG" decode --help | grep -q png; then
    fail "decode --help does not list PNG"
elif "$KELJPEG" decode smooth.jpg probe.png 2>&1 | grep -q "without PNG"; then
    echo "skipped: PNG (keljpeg built without libpng)"
elif ! command -v pngtopnm >/dev/null 2>&1; then
    echo "skipped: PNG round trips (no netpbm)"
else
    for jpeg in smooth.jpg grey.jpg progressive.jpg; do
        [ -f "$jpeg" ] || continue
        expect_status 0 "decode $jpeg to PNG" -- decode "$jpeg" out.png
        expect_status 0 "decode $jpeg to PNM" -- decode --format pnm "$jpeg" out.pnm
        pngtopnm out.png > png.pnm 2>/dev/null || fail "pngtopnm cannot read the PNG of $jpeg"
        same png.pnm out.pnm "PNG of $jpeg"
    done
    "$KELJPEG" decode --format png - - < smooth.jpg > piped.png || fail "decode --format png - -"
    "$KELJPEG" decode smooth.jpg file.png || fail "decode smooth.jpg file.png"
    same piped.png file.png "PNG to standard output"
    picture alpha.pgm smooth pnm8 -v grey=1
    awk 'BEGIN { printf "P5\n37 23\n255\n"; for (i = 0; i < 37 * 23; i++) printf "%c", 0 }' > clear.pgm
    awk 'BEGIN { printf "P6\n37 23\n255\n"; for (i = 0; i < 37 * 23; i++) printf "%c%c%c", 10, 200, 30 }' > flat.ppm
    # twin | pnmtopng arguments | keljpeg encode options | alpha warning lines
    while IFS='|' read -r twin make options warnings; do
        set -- $make
        pnmtopng "$@" > in.png 2>/dev/null || { fail "pnmtopng $make"; continue; }
        expect_status 0 "encode PNG ($make)" -- encode --sampling 444 $options in.png png.jpg
        [ "$(grep -c "alpha channel is dropped" err.txt)" -eq "$warnings" ] ||
            fail "PNG ($make): $(grep -c "alpha channel is dropped" err.txt) alpha warnings, not $warnings"
        expect_status 0 "encode its twin" -- encode --sampling 444 "$twin" twin.jpg
        same png.jpg twin.jpg "PNG made by pnmtopng $make"
    done <<'CASES'
smooth.ppm|smooth.ppm||0
smooth.pgm|smooth.pgm||0
smooth.ppm|smooth16.ppm||0
smooth.pgm|smooth16.pgm||0
two-twin.pnm|two-twin.pnm||0
smooth.ppm|-interlace smooth.ppm||0
smooth.ppm|-alpha=alpha.pgm smooth.ppm||1
smooth.pgm|-alpha=alpha.pgm smooth.pgm||1
smooth.ppm|-alpha=alpha.pgm smooth.ppm|--quiet|0
flat.ppm|-alpha=clear.pgm smooth.ppm|--background 10,200,30|0
CASES
    printf '\211PNG\r\n\032\n\0\0' > cut.png
    expect_status nonzero "encode a truncated PNG" -- encode cut.png x.jpg
fi

# ---- standard input and output -------------------------------------------
"$KELJPEG" encode --quality 100 --sampling 444 - - < smooth.ppm > piped.jpg || fail "encode - -"
same piped.jpg smooth.jpg "encode through pipes"
"$KELJPEG" decode - - < smooth.jpg > piped.ppm || fail "decode - -"
same piped.ppm back.ppm "decode through pipes"
"$KELJPEG" decode - - < grey.jpg > piped.pgm || fail "decode - - (grey)"
same piped.pgm back.pgm "grey decode through pipes (PGM by default)"
"$KELJPEG" decode --format bmp - - < smooth.jpg > piped.bmp || fail "decode --format bmp - -"
same piped.bmp back.bmp "BMP to standard output"
"$KELJPEG" info - < smooth.jpg > info.txt || fail "info -"
grep -q "37 x 23" info.txt || fail "info - does not show the size"
"$KELJPEG" decode - x.ppm < smooth.ppm 2>/dev/null && fail "decode of a PPM on standard input succeeded"
awk 'BEGIN { for (i = 0; i < 32 * 16 * 3 / 2; i++) printf "%c", (i * 7) % 251 }' > frame.yuv
expect_status 0 "encode --yuv420" -- encode --yuv420 32x16 frame.yuv frame.jpg
"$KELJPEG" encode --yuv420 32x16 - - < frame.yuv > frame-piped.jpg || fail "encode --yuv420 - -"
same frame-piped.jpg frame.jpg "planar frame through pipes"
expect_status nonzero "encode --yuv420 of a short file" -- encode --yuv420 64x64 frame.yuv x.jpg

# ---- batch mode ------------------------------------------------------------
mkdir in
for kind in smooth two palette rgb555 grey16; do
    grey=0
    [ "$kind" = grey16 ] && grey=1
    picture "in/$kind.pnm" "$kind" pnm8 -v grey=$grey
    "$KELJPEG" encode --quality 60 "in/$kind.pnm" "in/$kind.jpg" || fail "encode in/$kind.pnm"
done
expect_status 0 "encode --out-dir" -- encode --quality 60 --quiet --out-dir enc in/*.pnm
expect_status 0 "decode --out-dir" -- decode --out-dir dec in/*.jpg
[ -s err.txt ] && fail "batch decode wrote to standard error that is no terminal: $(cat err.txt)"
expect_status 0 "transcode --out-dir" -- transcode --quality 30 --sampling 444 --jobs 3 --out-dir tra in/*.jpg
for kind in smooth two palette rgb555 grey16; do
    ext=ppm
    [ "$kind" = grey16 ] && ext=pgm
    same "enc/$kind.jpg" "in/$kind.jpg" "batch encode of $kind"
    "$KELJPEG" decode "in/$kind.jpg" "single.$ext" || fail "decode in/$kind.jpg"
    same "dec/$kind.$ext" "single.$ext" "batch decode of $kind"
    "$KELJPEG" transcode --quality 30 --sampling 444 "in/$kind.jpg" single.jpg || fail "transcode in/$kind.jpg"
    same "tra/$kind.jpg" single.jpg "batch transcode of $kind"
done
expect_status 0 "decode --out-dir --jobs 1 --format bmp" -- decode --jobs 1 --format bmp --out-dir bmps in/*.jpg
[ "$(ls bmps | wc -l)" -eq 5 ] || fail "batch BMP decode wrote $(ls bmps | wc -l) files"
expect_status 0 "decode --bmp-depth 8 --out-dir" -- decode --bmp-depth 8 --out-dir dither in/smooth.jpg in/palette.jpg
for kind in smooth palette; do
    "$KELJPEG" decode --bmp-depth 8 "in/$kind.jpg" single.bmp || fail "decode --bmp-depth 8 in/$kind.jpg"
    same "dither/$kind.bmp" single.bmp "batch decode to 8-bit bitmaps of $kind"
done
cp smooth.ppm in/broken.jpg
expect_status nonzero "batch with one bad file" -- decode --out-dir dec2 in/*.jpg
grep -q "broken.jpg" err.txt || fail "batch error does not name the bad file"
[ "$(ls dec2 | wc -l)" -eq 5 ] || fail "batch with a bad file did not convert the others"
expect_status nonzero "info of a good and a bad file" -- info in/smooth.jpg in/broken.jpg in/two.jpg
[ "$(grep -c '^file:' out.txt)" -eq 2 ] || fail "info did not go on after a bad file"
expect_status 0 "encode --dnl --quiet" -- encode --dnl --quiet smooth.ppm dnl.jpg
[ -s err.txt ] && fail "--quiet left a warning: $(cat err.txt)"
"$KELJPEG" info dnl.jpg | grep -q "37 x 23 (height from the DNL segment)" || fail "info of a DNL file"
mkdir other && cp in/smooth.jpg other/
expect_status nonzero "batch with two files of one name" -- decode --out-dir dec3 in/smooth.jpg other/smooth.jpg

# ---- transcode --------------------------------------------------------------
# Exactly a decode followed by an encode.
expect_status 0 "transcode" -- transcode --quality 40 --restart 2 smooth.jpg t.jpg
"$KELJPEG" decode smooth.jpg t-step.ppm && "$KELJPEG" encode --quality 40 --restart 2 t-step.ppm t-step.jpg ||
    fail "decode then encode"
same t.jpg t-step.jpg "transcode"
"$KELJPEG" transcode --sampling 444 - - < smooth.jpg > t444.jpg || fail "transcode - -"
"$KELJPEG" info t444.jpg | grep -q "sampling: *1x1 1x1 1x1" || fail "transcode --sampling 444"
"$KELJPEG" encode --jfif-density 300,300,1 smooth.ppm dense.jpg || fail "encode --jfif-density"
expect_status 0 "transcode keeps densities" -- transcode --quality 50 dense.jpg dense2.jpg
"$KELJPEG" info dense2.jpg | grep -q "300 x 300 (dots per inch)" || fail "transcode lost the JFIF densities"
expect_status 0 "transcode --jfif-density" -- transcode --jfif-density 72,72,1 dense.jpg dense3.jpg
"$KELJPEG" info dense3.jpg | grep -q "72 x 72 (dots per inch)" || fail "transcode --jfif-density was not used"
expect_status 0 "transcode --scale 1/2" -- transcode --scale 1/2 smooth.jpg half.jpg
"$KELJPEG" info half.jpg | grep -q "19 x 12" || fail "transcode --scale 1/2 size"

if [ "$failures" -ne 0 ]; then
    echo "$failures CLI checks failed" >&2
    exit 1
fi
echo "all CLI checks passed"
