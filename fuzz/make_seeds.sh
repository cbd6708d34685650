#!/usr/bin/env bash
# Writes small seed inputs for every fuzz target into DIR/<target>/ (default
# build-fuzz/seeds): JPEG files of every frame type the decoder reads, made at
# run time by the keljpeg program, by cjpeg/jpegtran and, for lossless frames,
# by a tiny generator below. Nothing here is committed as a binary.
# usage: fuzz/make_seeds.sh KELJPEG_PROGRAM [DIR]
set -euo pipefail
keljpeg=${1:?usage: make_seeds.sh KELJPEG_PROGRAM [DIR]}
out=${2:-build-fuzz/seeds}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"/{fuzz_decode,fuzz_progressive,fuzz_partial,fuzz_lossless,fuzz_bitmap_decode,fuzz_encode,fuzz_bitmap_encode,fuzz_kernels,fuzz_readers}

# A small picture with edges and gradients, colour and grey, odd sizes.
python3 - "$work" <<'PY'
import sys
work = sys.argv[1]
def picture(w, h, grey):
    px = bytearray()
    for y in range(h):
        for x in range(w):
            r, g, b = (x * 255 // max(w - 1, 1), y * 255 // max(h - 1, 1), ((x // 4 + y // 4) % 2) * 200)
            px += bytes([g]) if grey else bytes([r, g, b])
    kind = b"P5" if grey else b"P6"
    return kind + b"\n%d %d\n255\n" % (w, h) + bytes(px)
open(work + "/colour.ppm", "wb").write(picture(37, 23, False))
open(work + "/grey.pgm", "wb").write(picture(19, 17, True))
open(work + "/tiny.ppm", "wb").write(picture(9, 9, False))
PY

jpegs=()
add() { jpegs+=("$1"); }
n=0
mine() {  # keljpeg encode with options
    local src=$1; shift
    n=$((n + 1)); "$keljpeg" encode "$@" "$work/$src" "$work/k$n.jpg" >/dev/null && add "$work/k$n.jpg"
}
mine colour.ppm --sampling 420 --quality 50
mine colour.ppm --sampling 422 --restart 1
mine colour.ppm --sampling 444 --quality 95
mine colour.ppm --sampling 440 --restart 3
mine grey.pgm --quality 30
mine colour.ppm --dnl --restart 2
mine tiny.ppm --no-jfif --fine-tables

peer() {  # cjpeg, optionally piped through jpegtran
    local src=$1 name=$2; shift 2
    command -v cjpeg >/dev/null || return 0
    cjpeg "$@" "$work/$src" > "$work/$name.jpg" 2>/dev/null && add "$work/$name.jpg"
}
peer colour.ppm c420 -sample 2x2 -quality 60
peer colour.ppm c422r -sample 2x1 -restart 1B
peer colour.ppm c444opt -sample 1x1 -optimize
peer grey.pgm cgrey -quality 80
peer colour.ppm cprog -progressive -sample 2x2
peer grey.pgm cgreyprog -progressive
peer colour.ppm cprogr -progressive -restart 2B -sample 1x1
peer colour.ppm c12 -precision 12 -sample 2x2 2>/dev/null || true
# Progressive scan scripts: spectral selection only, and successive approximation.
cat > "$work/spectral.txt" <<'S'
0,1,2: 0-0, 0, 0;
0: 1-5, 0, 0;
2: 1-63, 0, 0;
1: 1-63, 0, 0;
0: 6-63, 0, 0;
S
cat > "$work/approx.txt" <<'S'
0,1,2: 0-0, 0, 1;
0: 1-5, 0, 2;
2: 1-63, 0, 1;
1: 1-63, 0, 1;
0: 6-63, 0, 2;
0: 1-63, 2, 1;
0,1,2: 0-0, 1, 0;
2: 1-63, 1, 0;
1: 1-63, 1, 0;
0: 1-63, 1, 0;
S
peer colour.ppm cspectral -scans "$work/spectral.txt"
peer colour.ppm capprox -scans "$work/approx.txt" -sample 2x2
if command -v jpegtran >/dev/null; then
    jpegtran -progressive -restart 1 "$work/k1.jpg" > "$work/tprog.jpg" 2>/dev/null && add "$work/tprog.jpg"
    jpegtran -optimize "$work/k2.jpg" > "$work/topt.jpg" 2>/dev/null && add "$work/topt.jpg"
fi

# Lossless frames: predictor-coded differences with a small Huffman table,
# several precisions, predictors, point transforms and component counts.
python3 - "$work" <<'PY'
import random, sys
work = sys.argv[1]
random.seed(7)
# Category code lengths: category c gets code of length lengths[c].
bits = [0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0]
vals = list(range(17))
codes, code, k = {}, 0, 0
for length in range(1, 17):
    for _ in range(bits[length - 1]):
        codes[vals[k]] = (code, length); code += 1; k += 1
    code <<= 1
class Bits:
    def __init__(self): self.out, self.acc, self.n = bytearray(), 0, 0
    def put(self, v, n):
        for i in range(n - 1, -1, -1):
            self.acc = (self.acc << 1) | ((v >> i) & 1); self.n += 1
            if self.n == 8:
                self.out.append(self.acc)
                if self.acc == 0xFF: self.out.append(0)
                self.acc, self.n = 0, 0
    def flush(self):
        while self.n: self.put(1, 1)
        return bytes(self.out)
def seg(marker, body): return bytes([0xFF, marker]) + (len(body) + 2).to_bytes(2, "big") + body
def lossless(name, w, h, comps, precision, predictor, pt):
    mask = (1 << precision) - 1
    rows = [[[(random.randrange(0, 1 << precision) if (x + y) % 5 else (x * 7 + y * 3 + c * 50) & mask) >> pt << pt
              for c in range(comps)] for x in range(w)] for y in range(h)]
    p = precision - pt
    def pred(y, x, c):
        s = lambda yy, xx: rows[yy][xx][c] >> pt
        if y == 0 and x == 0: return 1 << (p - 1)
        if y == 0: return s(y, x - 1)
        if x == 0: return s(y - 1, x)
        a, bb, cc = s(y, x - 1), s(y - 1, x), s(y - 1, x - 1)
        return [0, a, bb, cc, a + bb - cc, a + ((bb - cc) >> 1), bb + ((a - cc) >> 1), (a + bb) // 2][predictor]
    b = Bits()
    for y in range(h):
        for x in range(w):
            for c in range(comps):
                d = ((rows[y][x][c] >> pt) - pred(y, x, c)) & 0xFFFF
                if d >= 0x8000: d -= 0x10000
                cat = 0 if d == 0 else (16 if d == -32768 else abs(d).bit_length())
                code, length = codes[cat]
                b.put(code, length)
                if 0 < cat < 16: b.put(d if d > 0 else d + (1 << cat) - 1, cat)
    data = b.flush()
    hdr = bytes([0xFF, 0xD8])
    hdr += seg(0xC4, bytes([0x00]) + bytes(bits) + bytes(vals))
    hdr += seg(0xC3, bytes([precision]) + h.to_bytes(2, "big") + w.to_bytes(2, "big") + bytes([comps]) +
               b"".join(bytes([c + 1, 0x11, 0]) for c in range(comps)))
    hdr += seg(0xDA, bytes([comps]) + b"".join(bytes([c + 1, 0x00]) for c in range(comps)) + bytes([predictor, 0, pt]))
    open(f"{work}/{name}.jpg", "wb").write(hdr + data + bytes([0xFF, 0xD9]))
lossless("l8p1", 9, 7, 1, 8, 1, 0)
lossless("l12p4", 6, 5, 3, 12, 4, 1)
lossless("l16p7", 5, 4, 1, 16, 7, 0)
lossless("l2p6", 7, 3, 2, 2, 6, 0)
lossless("l8p5", 4, 6, 3, 8, 5, 0)
PY
for f in "$work"/l*.jpg; do add "$f"; done

# Decoding targets take the streams with a few parameter bytes appended
# (parameters are read from the end of the input).
i=0
for f in "${jpegs[@]}"; do
    i=$((i + 1))
    for target in fuzz_decode fuzz_progressive fuzz_lossless fuzz_bitmap_decode fuzz_readers; do
        cp "$f" "$out/$target/s$i"
        { cat "$f"; printf '\x00\x00\x00\x00\x10\x03\x06\x01'; } > "$out/$target/s$i-p"
    done
    # Partial feeding: the headers up to the end of the first scan header in
    # one block, then pieces of 37 bytes.
    python3 - "$f" "$out/fuzz_partial/s$i" <<'PY'
import sys
data = open(sys.argv[1], "rb").read()
at = data.find(b"\xff\xda")
head = at + 2 + int.from_bytes(data[at + 2:at + 4], "big") if at >= 0 else len(data) // 2
open(sys.argv[2], "wb").write(data + bytes([37, head >> 8, head & 0xFF]))
PY
done
# Encoding targets: pixel bytes, then the parameters in the reverse of the
# order the harness takes them from the end.
python3 - "$work/colour.ppm" "$out" <<'PY'
import sys
pixels = open(sys.argv[1], "rb").read()[15:]
out = sys.argv[2]
# width-1, height, components, sampling (4 bytes, low first), quality, restart, options (2), thumbnail w, h
configs = [(36, 23, 3, 0x221111, 75, 0, 0x20, 2, 1), (15, 0, 1, 0x11, 50, 2, 0x00, 0, 0),
           (40, 17, 3, 0x211111, 90, 1, 0x80, 0, 0), (8, 9, 3, 0x111111, 30, 3, 0x10, 0, 0),
           (20, 33, 2, 0x1211, 60, 0, 0x10, 0, 0), (63, 40, 3, 0x121111, 10, 0, 0x20, 3, 3)]
for n, (w, h, comps, sampling, quality, restart, options, tw, th) in enumerate(configs):
    common = [w, h, comps] + list(sampling.to_bytes(4, "little")) + [quality, restart, options & 0xFF, options >> 8, tw, th]
    rect = common + [n % 3, n]                          # strip, stride slack
    open(f"{out}/fuzz_encode/s{n}", "wb").write(pixels[:600 + 97 * n] + bytes(reversed(rect)))
    depth = n % 8
    bitmap = common + [depth | (8 if n % 3 == 2 else 0), 1, w + 1, w + 1, h, 0] + [n * 40 % 256] * 768
    open(f"{out}/fuzz_bitmap_encode/s{n}", "wb").write(pixels[:900 + 53 * n] + bytes(reversed(bitmap)))
PY
echo "seeds: ${#jpegs[@]} streams into $out"
