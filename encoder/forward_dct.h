// Integer forward DCT of one 8x8 block and the quantisation rules the block
// coder applies as it reads the coefficients.
#pragma once

#include <cstdint>

namespace encoder {

// Transforms 64 level-shifted samples (row-major, -128..128) in place into
// 8 times the T.81 forward DCT coefficients, natural order.
void forwardDct(int16_t block[64]);

// DC: rounded half away from zero, D / 2 truncated, division toward zero.
inline int32_t quantizeDc(int32_t x, int32_t divisor) {
    int32_t half = divisor / 2;
    return x >= 0 ? (x + half) / divisor : (x - half) / divisor;
}

// AC: the same rounding, with the common zero result found without dividing.
inline int32_t quantizeAc(int32_t x, int32_t divisor) {
    int32_t magnitude = (x < 0 ? -x : x) + divisor / 2;
    if (magnitude < divisor) return 0;
    int32_t q = magnitude / divisor;
    return x < 0 ? -q : q;
}

}  // namespace encoder
