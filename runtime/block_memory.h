// Block memory: clearing, and fetching ahead of use.
//
// Clears the first rows of an 8x8 block of 16-bit values, one 16-byte store
// per row. A plain memset of these 128 bytes compiles (GCC, generic x86-64
// tuning) to rep stosq, and one of a size known only at run time to a
// library call, either costing more than the stores themselves; the decoders
// clear a block for every block they decode.
#pragma once

#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#elif defined(__ARM_NEON) || defined(_M_ARM64)
#include <arm_neon.h>
#endif

inline void clearBlockRows(int16_t* block, int32_t rows) {
#if defined(__SSE2__) || defined(_M_X64)
    const __m128i zero = _mm_setzero_si128();
    for (int32_t i = 0; i < rows; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(block) + i, zero);
#elif defined(__ARM_NEON) || defined(_M_ARM64)
    const int16x8_t zero = vdupq_n_s16(0);
    for (int32_t i = 0; i < rows; ++i) vst1q_s16(block + 8 * i, zero);
#else
    for (int32_t i = 0; i < 8 * rows; ++i) block[i] = 0;
#endif
}

inline void clearBlock(int16_t* block) { clearBlockRows(block, 8); }

// Asks for both cache lines of a block to be fetched ahead of its use; a
// hint only, never a fault.
inline void prefetchBlock(const int16_t* block) {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(block);
    __builtin_prefetch(block + 32);
#else
    (void)block;
#endif
}
