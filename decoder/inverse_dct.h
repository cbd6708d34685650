// Inverse DCT at full size (8x8) and at reduced sizes (4x4, 2x2), in place on
// one block of dequantised coefficients. All arithmetic is 32-bit integer with
// wraparound, every right shift arithmetic; results are truncated to 16 bits
// and, but for the 2x2 transform's, not clamped (the MCU decoders clamp).
#pragma once

#include <cstdint>

void inverseDct8x8(int16_t* block);
// Reads rows 0..3, columns 0..3 and writes the 4x4 samples in their place.
void inverseDct4x4(int16_t* block);

// The transform in double precision, rounded, for 12-bit frames whose
// dequantised coefficients the 16-bit transforms cannot hold; results are
// held to -65536..65536 against hostile coefficients.
void inverseDctPrecise(const int32_t* coefficients, int32_t* samples);

inline int16_t clampSample(int32_t v) {
    return static_cast<int16_t>(v < -128 ? -128 : (v > 127 ? 127 : v));
}
// Limits all 64 values of a block to -128..127.
void clampBlock(int16_t* block);

// Reads values 0, 1, 8, 9 and writes the 2x2 samples in their place, clamped
// (every coefficient weighs 1/8: no sqrt(2) on the first-order terms).
inline void inverseDct2x2Clamp(int16_t* block) {
    const int32_t c00 = block[0], c01 = block[1], c10 = block[8], c11 = block[9];
    block[0] = clampSample(static_cast<int16_t>((c00 + c10 + c01 + c11 + 4) >> 3));
    block[1] = clampSample(static_cast<int16_t>((c00 + c10 - c01 - c11 + 4) >> 3));
    block[8] = clampSample(static_cast<int16_t>((c00 - c10 + c01 - c11 + 4) >> 3));
    block[9] = clampSample(static_cast<int16_t>((c00 - c10 - c01 + c11 + 4) >> 3));
}
