// Constant tables of the YCbCr to blue-green-red conversion. Each product is
// truncated toward zero separately: -0.34414 * -128 = 44.05 gives 44,
// 1.772 * -128 = -226.8 gives -226.
#pragma once

#include <array>
#include <cstdint>

struct ChromaOffsets {
    int32_t first;   // Cb: blue offset;  Cr: green offset
    int32_t second;  // Cb: green offset; Cr: red offset
};

// Indexed by sample + 128 (samples -128..127).
extern const std::array<ChromaOffsets, 256> cbOffsetTable;  // trunc(1.772 c), trunc(-0.34414 c)
extern const std::array<ChromaOffsets, 256> crOffsetTable;  // trunc(-0.71414 c), trunc(1.402 c)
// 768 entries for i = -384..383 at index i + 384: 0 below -128, i + 128, 255 above 127.
extern const std::array<uint8_t, 768> rangeLimitTable;

inline uint8_t rangeLimit(int32_t i) { return rangeLimitTable[i + 384]; }
