#include "progressive_sample.h"

#include <array>
#include <cmath>
#include <cstdlib>

namespace {

const uint8_t kZigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                             12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                             35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                             58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// The usual luminance and chrominance quantisation tables, in row order.
const uint8_t kLuma[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                           14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                           18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                           49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
const uint8_t kChroma[64] = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
                             99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                             99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Flat codes: DC categories 0..11 as 4-bit codes, the 162 AC symbols (end of
// band, sixteen zeros, and every run 0..15 with size 1..10) as 8-bit codes,
// each symbol's code being its position in the list.
constexpr int kDcLength = 4, kAcLength = 8;

std::vector<uint8_t> acSymbols() {
    std::vector<uint8_t> symbols = {0x00, 0xF0};
    for (int run = 0; run < 16; ++run)
        for (int size = 1; size <= 10; ++size) symbols.push_back(static_cast<uint8_t>(run << 4 | size));
    return symbols;
}

struct BitWriter {
    std::vector<uint8_t>& out;
    uint32_t buffer = 0;
    int count = 0;
    void put(uint32_t bits, int length) {
        for (int i = length - 1; i >= 0; --i) {
            buffer = buffer << 1 | ((bits >> i) & 1);
            if (++count == 8) emit();
        }
    }
    void emit() {
        out.push_back(static_cast<uint8_t>(buffer));
        if (buffer == 0xFF) out.push_back(0);  // a data byte 0xFF is followed by a zero byte
        buffer = 0;
        count = 0;
    }
    void flush() {
        while (count != 0) put(1, 1);  // pad with one bits
    }
};

int category(int v) {
    int magnitude = std::abs(v), bits = 0;
    while (magnitude) ++bits, magnitude >>= 1;
    return bits;
}

// The value bits that follow a category: v, or v - 1 in ones' complement form.
uint32_t valueBits(int v, int size) { return static_cast<uint32_t>(v < 0 ? v + (1 << size) - 1 : v); }

void putSegment(std::vector<uint8_t>& out, uint8_t marker, const std::vector<uint8_t>& body) {
    out.insert(out.end(), {0xFF, marker, static_cast<uint8_t>((body.size() + 2) >> 8),
                           static_cast<uint8_t>(body.size() + 2)});
    out.insert(out.end(), body.begin(), body.end());
}

// Quantised coefficients of every block of one component, in zigzag order.
using Blocks = std::vector<std::array<int, 64>>;

uint32_t scaledQuant(uint8_t base, uint32_t quality) {
    uint32_t scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    uint32_t q = (base * scale + 50) / 100;
    return q < 1 ? 1 : q > 255 ? 255 : q;
}

// Level-shifted samples of one component, edge-replicated to whole blocks,
// transformed and quantised.
Blocks transformComponent(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, int component,
                          const uint32_t quant[64], uint32_t blocksWide, uint32_t blocksHigh) {
    double cosines[8][8];
    for (int x = 0; x < 8; ++x)
        for (int u = 0; u < 8; ++u) cosines[x][u] = std::cos((2 * x + 1) * u * 3.14159265358979 / 16);
    Blocks blocks(size_t{blocksWide} * blocksHigh);
    for (uint32_t by = 0; by < blocksHigh; ++by)
        for (uint32_t bx = 0; bx < blocksWide; ++bx) {
            double s[8][8];
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) {
                    uint32_t px = std::min(bx * 8 + x, width - 1), py = std::min(by * 8 + y, height - 1);
                    const uint8_t* p = &pixels[(size_t{py} * width + px) * 3];
                    double b = p[0], g = p[1], r = p[2];
                    double v = component == 0   ? 0.299 * r + 0.587 * g + 0.114 * b
                               : component == 1 ? -0.168736 * r - 0.331264 * g + 0.5 * b + 128
                                                : 0.5 * r - 0.418688 * g - 0.081312 * b + 128;
                    s[y][x] = v - 128;
                }
            std::array<int, 64>& out = blocks[size_t{by} * blocksWide + bx];
            for (int k = 0; k < 64; ++k) {
                int v = kZigzag[k] / 8, u = kZigzag[k] % 8;
                double sum = 0;
                for (int y = 0; y < 8; ++y)
                    for (int x = 0; x < 8; ++x) sum += s[y][x] * cosines[x][u] * cosines[y][v];
                sum *= (u ? 0.5 : 0.353553390593) * (v ? 0.5 : 0.353553390593);
                out[k] = static_cast<int>(std::lround(sum / quant[kZigzag[k]]));
            }
        }
    return blocks;
}

void startScan(std::vector<uint8_t>& out, const std::vector<int>& components, int first, int last) {
    std::vector<uint8_t> body = {static_cast<uint8_t>(components.size())};
    for (int c : components) body.insert(body.end(), {static_cast<uint8_t>(c + 1), 0x00});
    body.insert(body.end(), {static_cast<uint8_t>(first), static_cast<uint8_t>(last), 0});
    putSegment(out, 0xDA, body);
}

void writeDcScan(std::vector<uint8_t>& out, const std::array<Blocks, 3>& blocks) {
    startScan(out, {0, 1, 2}, 0, 0);
    BitWriter bits{out};
    int predictor[3] = {0, 0, 0};
    for (size_t b = 0; b < blocks[0].size(); ++b)
        for (int c = 0; c < 3; ++c) {
            int diff = blocks[c][b][0] - predictor[c];
            predictor[c] = blocks[c][b][0];
            int size = category(diff);
            bits.put(static_cast<uint32_t>(size), kDcLength);
            bits.put(valueBits(diff, size), size);
        }
    bits.flush();
}

void writeAcScan(std::vector<uint8_t>& out, const Blocks& blocks, int component, int first, int last,
                 const std::vector<uint8_t>& symbols) {
    auto code = [&](int symbol) {
        for (size_t i = 0; i < symbols.size(); ++i)
            if (symbols[i] == symbol) return static_cast<uint32_t>(i);
        return 0u;
    };
    startScan(out, {component}, first, last);
    BitWriter bits{out};
    for (const std::array<int, 64>& block : blocks) {
        int run = 0;
        for (int k = first; k <= last; ++k) {
            if (block[k] == 0) {
                ++run;
                continue;
            }
            for (; run >= 16; run -= 16) bits.put(code(0xF0), kAcLength);
            int size = category(block[k]);
            bits.put(code(run << 4 | size), kAcLength);
            bits.put(valueBits(block[k], size), size);
            run = 0;
        }
        if (run) bits.put(code(0x00), kAcLength);  // the band ends in zeros
    }
    bits.flush();
}

}  // namespace

std::vector<uint8_t> writeProgressiveSample(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height,
                                            uint32_t quality) {
    uint32_t quant[2][64];
    for (int k = 0; k < 64; ++k) {
        quant[0][k] = scaledQuant(kLuma[k], quality);
        quant[1][k] = scaledQuant(kChroma[k], quality);
    }
    const uint32_t blocksWide = (width + 7) / 8, blocksHigh = (height + 7) / 8;
    std::array<Blocks, 3> blocks;
    for (int c = 0; c < 3; ++c)
        blocks[c] = transformComponent(pixels, width, height, c, quant[c ? 1 : 0], blocksWide, blocksHigh);

    std::vector<uint8_t> out = {0xFF, 0xD8};
    for (int t = 0; t < 2; ++t) {
        std::vector<uint8_t> body = {static_cast<uint8_t>(t)};
        for (int k = 0; k < 64; ++k) body.push_back(static_cast<uint8_t>(quant[t][kZigzag[k]]));
        putSegment(out, 0xDB, body);
    }
    std::vector<uint8_t> frame = {8, static_cast<uint8_t>(height >> 8), static_cast<uint8_t>(height),
                                  static_cast<uint8_t>(width >> 8), static_cast<uint8_t>(width), 3};
    for (int c = 0; c < 3; ++c) frame.insert(frame.end(), {static_cast<uint8_t>(c + 1), 0x11, static_cast<uint8_t>(c ? 1 : 0)});
    putSegment(out, 0xC2, frame);

    const std::vector<uint8_t> symbols = acSymbols();
    std::vector<uint8_t> tables = {0x00, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (uint8_t c = 0; c < 12; ++c) tables.push_back(c);
    tables.insert(tables.end(), {0x10, 0, 0, 0, 0, 0, 0, 0, static_cast<uint8_t>(symbols.size()), 0, 0, 0, 0, 0, 0, 0, 0});
    tables.insert(tables.end(), symbols.begin(), symbols.end());
    putSegment(out, 0xC4, tables);

    writeDcScan(out, blocks);
    for (int c = 0; c < 3; ++c) writeAcScan(out, blocks[c], c, 1, 5, symbols);
    for (int c = 0; c < 3; ++c) writeAcScan(out, blocks[c], c, 6, 63, symbols);
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}
