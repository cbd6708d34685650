// Blue-green-red to level-shifted YCbCr in 32-bit multiply-add pairs:
//   Y  = (1225 R + 2404 G + 467 B - 255 * 2048) >> 12   (-522240 = -255 * 2048)
//   Cb = (-691 R - 1357 G + 2048 B + 2048) >> 12
//   Cr = (2048 R - 1715 G - 333 B + 2048) >> 12
// Each sum is taken over the pairs (R, G) and (B, 2048) or (B, 1): the same
// integers as the plain conversion, so the same results.
#pragma once

#include <cstdint>

namespace encoder {
namespace ycc_simd {

// (first, second) factors of a pair, as one 32-bit lane for a 16-bit multiply-add.
constexpr int32_t pair(int16_t first, int16_t second) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16 |
                                static_cast<uint16_t>(first));
}

constexpr int32_t kLumaRG = pair(1225, 2404), kLumaB = pair(467, -255);            // with (B, 2048)
constexpr int32_t kBlueRG = pair(-691, -1357), kBlueB = pair(2048, 1);             // with (B, 2048)
constexpr int32_t kRedRG = pair(2048, -1715), kRedB = pair(-333, 1);               // with (B, 2048)

}  // namespace ycc_simd
}  // namespace encoder
