// Clears one 8x8 block of 16-bit values with eight 16-byte stores. A plain
// memset of these 128 bytes compiles (GCC, generic x86-64 tuning) to rep
// stosq, whose start-up costs more than the stores themselves, and the
// decoders clear a block for every block they decode.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#elif defined(__ARM_NEON) || defined(_M_ARM64)
#include <arm_neon.h>
#endif

inline void clearBlock(int16_t* block) {
#if defined(__SSE2__) || defined(_M_X64)
    const __m128i zero = _mm_setzero_si128();
    for (int i = 0; i < 8; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(block) + i, zero);
#elif defined(__ARM_NEON) || defined(_M_ARM64)
    const int16x8_t zero = vdupq_n_s16(0);
    for (int i = 0; i < 8; ++i) vst1q_s16(block + 8 * i, zero);
#else
    std::memset(block, 0, 64 * sizeof(int16_t));
#endif
}
