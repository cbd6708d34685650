#include "encoder/forward_dct.h"

namespace encoder {

namespace {

// Rotation constants in 12-bit fixed point (x 4096). These are the codec's
// own roundings and must stay exactly as they are: the output is bit-exact.
constexpr int32_t kC4 = 2896;  // cos(pi/4)
constexpr int32_t kE1 = 2217;  // sqrt2 * sin(pi/8)
constexpr int32_t kE2 = 3135;  // sqrt2 * (cos(pi/8) - sin(pi/8))
constexpr int32_t kE3 = 7569;  // sqrt2 * (cos(pi/8) + sin(pi/8))
constexpr int32_t kO1 = 1130;  // sqrt2 * sin(pi/16)
constexpr int32_t kO2 = 4551;  // sqrt2 * (cos(pi/16) - sin(pi/16))
constexpr int32_t kO3 = 6811;  // sqrt2 * (cos(pi/16) + sin(pi/16))
constexpr int32_t kO4 = 4816;  // sqrt2 * cos(3pi/16)
constexpr int32_t kO5 = 8034;  // sqrt2 * (cos(3pi/16) + sin(3pi/16))
constexpr int32_t kO6 = 1598;  // sqrt2 * (cos(3pi/16) - sin(3pi/16))

int32_t round12(int32_t v) { return (v + 2048) >> 12; }

// One 8-point pass. y0 and y4 come out unscaled; the other six carry the
// 4096 of the constants, which the callers shift away.
inline void kernel(const int32_t x[8], int32_t y[8]) {
    int32_t s07 = x[0] + x[7], s34 = x[3] + x[4], s16 = x[1] + x[6], s25 = x[2] + x[5];
    int32_t d = s07 - s34, e = s16 - s25;
    y[0] = s07 + s34 + s16 + s25;
    y[4] = s07 + s34 - s16 - s25;
    int32_t t = (d + e) * kE1;
    y[2] = t + d * kE2;
    y[6] = t - e * kE3;

    int32_t a = x[0] - x[7], b = x[3] - x[4], p = x[1] - x[6], q = x[2] - x[5];
    int32_t m = round12((p - q) * kC4), n = round12((q + p) * kC4);
    int32_t u = a + n, w = a - n, v = b + m, z = b - m;
    int32_t r = kO1 * (v + u);
    y[1] = r + kO2 * u;
    y[7] = r - kO3 * v;
    int32_t s = kO4 * (w + z);
    y[3] = s - kO5 * z;
    y[5] = s - kO6 * w;
}

}  // namespace

void forwardDct(int16_t block[64]) {
    int32_t work[64];
    int32_t x[8], y[8];
    // Columns: 3 fraction bits kept in the work area. y0 and y4 are exact
    // sums, the other six carry the constants' 4096.
    for (int c = 0; c < 8; ++c) {
        for (int k = 0; k < 8; ++k) x[k] = block[8 * k + c];
        kernel(x, y);
        for (int k = 0; k < 8; ++k) work[8 * k + c] = (y[k] + 256) >> 9;
        work[c] = y[0] * 8;
        work[32 + c] = y[4] * 8;
    }
    // Rows: back to 3 fraction bits overall, i.e. 8 x F(u, v).
    for (int r = 0; r < 8; ++r) {
        for (int k = 0; k < 8; ++k) x[k] = work[8 * r + k];
        kernel(x, y);
        int16_t* out = block + 8 * r;
        for (int k = 0; k < 8; ++k) out[k] = static_cast<int16_t>((y[k] + 16384) >> 15);
        out[0] = static_cast<int16_t>((y[0] + 4) >> 3);
        out[4] = static_cast<int16_t>((y[4] + 4) >> 3);
    }
}

}  // namespace encoder
