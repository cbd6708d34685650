// Integer inverse DCT: 8x8 for full size, 4x4 and 2x2 for reduced sizes.
//
// Arithmetic is that of a 32-bit machine: sums and products wrap, and every
// right shift is arithmetic. Intermediate values are held in 64 bits and
// wrapped to 32 bits before each shift and store, which gives the same bits
// without signed overflow on hostile coefficients.
#include "decoder/inverse_dct.h"

#include <cmath>

namespace {

constexpr int64_t C1 = 4017;  // 4096 cos(pi/16)
constexpr int64_t C2 = 3784;  // 4096 cos(2pi/16)
constexpr int64_t C3 = 3406;
constexpr int64_t C4 = 2896;
constexpr int64_t C5 = 2276;
constexpr int64_t C6 = 1567;
constexpr int64_t C7 = 799;

inline int32_t wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))); }
inline int32_t descale(int64_t v, int64_t half, int shift) { return wrap(wrap(v) + half) >> shift; }

// One 1-D pass on x[0..7] (x[0] the lowest frequency); y receives the
// outputs before descaling, wrapped to 32 bits.
void butterfly8(const int32_t* x, int32_t* y) {
    int64_t a = wrap(x[1] * C7 - x[7] * C1), b = wrap(x[1] * C1 + x[7] * C7);
    int64_t c = wrap(x[5] * C3 - x[3] * C5), d = wrap(x[5] * C5 + x[3] * C3);
    int64_t p0 = wrap(a + c), p1 = wrap(a - c), p2 = wrap(b - d), p3 = wrap(b + d);
    int64_t m1 = wrap(int64_t{descale(p2 - p1, 2048, 12)} * C4);
    int64_t m2 = wrap(int64_t{descale(p2 + p1, 2048, 12)} * C4);
    int64_t e0 = wrap((int64_t{x[0]} + x[4]) * C4), e1 = wrap((int64_t{x[0]} - x[4]) * C4);
    int64_t f = wrap(x[2] * C6 - x[6] * C2), g = wrap(x[2] * C2 + x[6] * C6);
    int64_t E0 = e0 + g, E3 = e0 - g, E1 = e1 + f, E2 = e1 - f;
    y[0] = wrap(E0 + p3);
    y[7] = wrap(E0 - p3);
    y[1] = wrap(E1 + m2);
    y[6] = wrap(E1 - m2);
    y[2] = wrap(E2 + m1);
    y[5] = wrap(E2 - m1);
    y[3] = wrap(E3 + p0);
    y[4] = wrap(E3 - p0);
}

// One 1-D 4-point pass; out receives the four outputs before the final shift.
void butterfly4(int64_t y0, int64_t y1, int64_t y2, int64_t y3, int64_t* out) {
    int64_t A = wrap(wrap(y0 + y2) * int64_t{4096}), B = wrap(wrap(y0 - y2) * int64_t{4096});
    int64_t t0 = wrap(y1 * 5352 + y3 * 2217), t1 = wrap(y1 * 2217 - y3 * 5352);
    out[0] = A + t0;
    out[1] = B + t1;
    out[2] = B - t1;
    out[3] = A - t0;
}

}  // namespace

void inverseDct8x8(int16_t* block) {
    int32_t workspace[64];
    int32_t x[8], y[8];
    for (int col = 0; col < 8; ++col) {
        bool acZero = true;
        for (int row = 0; row < 8; ++row) {
            x[row] = block[row * 8 + col];
            if (row > 0 && x[row] != 0) acZero = false;
        }
        if (acZero) {
            // Eight equal outputs: the even part alone.
            int32_t v = descale(int64_t{x[0]} * C4, 256, 9);
            for (int row = 0; row < 8; ++row) workspace[row * 8 + col] = v;
            continue;
        }
        butterfly8(x, y);
        for (int row = 0; row < 8; ++row) workspace[row * 8 + col] = descale(y[row], 256, 9);
    }
    for (int row = 0; row < 8; ++row) {
        butterfly8(workspace + row * 8, y);
        for (int col = 0; col < 8; ++col) block[row * 8 + col] = static_cast<int16_t>(descale(y[col], 65536, 17));
    }
}

void inverseDct4x4(int16_t* block) {
    int32_t workspace[4][8];
    int64_t out[4];
    for (int col = 0; col < 4; ++col) {
        butterfly4(block[col], block[8 + col], block[16 + col], block[24 + col], out);
        for (int row = 0; row < 4; ++row) workspace[row][col] = descale(out[row], 2048, 12);
    }
    for (int row = 0; row < 4; ++row) {
        butterfly4(workspace[row][0], workspace[row][1], workspace[row][2], workspace[row][3], out);
        for (int col = 0; col < 4; ++col) block[row * 8 + col] = static_cast<int16_t>(descale(out[col], 16384, 15));
    }
}

void clampBlock(int16_t* block) {
    for (int i = 0; i < 64; ++i) block[i] = clampSample(block[i]);
}

void inverseDctPrecise(const int32_t* coefficients, int32_t* samples) {
    static constexpr double kPi = 3.14159265358979323846;
    double cosines[8][8];
    for (int x = 0; x < 8; ++x)
        for (int u = 0; u < 8; ++u) cosines[x][u] = (u == 0 ? std::sqrt(0.5) : 1.0) * std::cos((2 * x + 1) * u * kPi / 16);
    double rows[64];
    for (int y = 0; y < 8; ++y)
        for (int u = 0; u < 8; ++u) {
            double sum = 0;
            for (int v = 0; v < 8; ++v) sum += cosines[y][v] * coefficients[v * 8 + u];
            rows[y * 8 + u] = sum / 2;
        }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double sum = 0;
            for (int u = 0; u < 8; ++u) sum += cosines[x][u] * rows[y * 8 + u];
            double value = std::floor(sum / 2 + 0.5);  // limited first: hostile coefficients overflow int
            samples[y * 8 + x] = static_cast<int32_t>(value < -65536 ? -65536 : (value > 65536 ? 65536 : value));
        }
}
