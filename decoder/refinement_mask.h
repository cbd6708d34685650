// The walk of progressive refinement scans by a mask of the non-zero
// coefficients of a block, instead of a zero test at every position (tests
// whose outcome a processor cannot predict): bit scans find the zero a run
// stops at, and only the non-zero coefficients before it are visited, in
// zigzag order.
#pragma once

#include <array>
#include <cstdint>

#include "context/jpeg_constants.h"
#include "runtime/bit_scan.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define KELJPEG_SSE2_BASELINE 1
#endif

// Which coefficients of a block are non-zero, as a mask in zigzag order (bit k for zigzag position k). A row of eight
// natural-order flags becomes zigzag bits through one table per row: row 0's
// flags 0b11 (coefficients 0 and 1) give zigzag bits 0 and 1, row 1's flag
// 0b1 (coefficient 8) gives bit 2.
using ZigzagRowBits = std::array<std::array<uint64_t, 256>, 8>;
inline constexpr ZigzagRowBits makeZigzagRowBits() {
    ZigzagRowBits table{};
    for (int row = 0; row < 8; ++row)
        for (int flags = 0; flags < 256; ++flags)
            for (int column = 0; column < 8; ++column)
                if (flags & (1 << column)) table[row][flags] |= uint64_t{1} << naturalToZigzag[row * 8 + column];
    return table;
}
inline constexpr ZigzagRowBits kZigzagRowBits = makeZigzagRowBits();

inline uint64_t nonzeroInZigzagOrder(const int16_t* block) {
    uint64_t mask = 0;
#if KELJPEG_SSE2_BASELINE
    const __m128i zero = _mm_setzero_si128();
    for (int row = 0; row < 8; row += 2) {
        const __m128i a = _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 8 * row)), zero);
        const __m128i b = _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 8 * row + 8)), zero);
        const uint32_t nonzero = ~static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(a, b)));
        mask |= kZigzagRowBits[row][nonzero & 0xFF] | kZigzagRowBits[row + 1][(nonzero >> 8) & 0xFF];
    }
#else
    for (int row = 0; row < 8; ++row) {
        uint32_t flags = 0;
        for (int column = 0; column < 8; ++column) flags |= (block[row * 8 + column] != 0 ? 1u : 0u) << column;
        mask |= kZigzagRowBits[row][flags];
    }
#endif
    return mask;
}

// Bits first..last (first <= last <= 63).
inline uint64_t bitRange(uint32_t first, uint32_t last) { return (~uint64_t{0} >> (63 - last)) & (~uint64_t{0} << first); }

// Calls correct(coefficient) for the non-zero coefficients at zigzag
// positions k..se, in order.
template <typename Correct>
void correctEachByMask(int16_t* block, uint64_t nonzero, uint32_t k, uint32_t se, Correct correct) {
    if (k > se) return;
    for (uint64_t positions = nonzero & bitRange(k, se); positions != 0; positions &= positions - 1)
        correct(&block[zigzagToNatural[lowestSetBit(positions)]]);
}

// From k, corrects the non-zero coefficients passed and stops at the zero
// that has run zeros before it, or past se; returns that position. The mask
// holds for the whole block: a coefficient set by the walk lies behind it,
// and a correction never makes a coefficient zero (it moves it away from
// zero, and no 16-bit coefficient wraps to 0 by 1 << Al).
template <typename Correct>
uint32_t walkToZeroByMask(int16_t* block, uint64_t nonzero, uint32_t k, uint32_t se, int32_t run, Correct correct) {
    if (k > se) return k;
    uint64_t zeros = ~nonzero & bitRange(k, se);
    for (; run > 0 && zeros != 0; --run) zeros &= zeros - 1;
    const uint32_t stop = zeros == 0 ? se + 1 : lowestSetBit(zeros);
    if (stop > k) correctEachByMask(block, nonzero, k, stop - 1, correct);
    return stop;
}
