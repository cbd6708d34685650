// 32-bit integer lanes of an AVX2 vector, as the vector transforms of the
// decoder and the encoder use them, with the 8x8 transpose and the 16-bit
// truncation they share. Include it between KELJPEG_BEGIN_AVX2 and
// KELJPEG_END_AVX2 so that it is compiled for AVX2.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace simd {

struct Avx2Lanes {
    using T = __m256i;
    static T add(T a, T b) { return _mm256_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm256_sub_epi32(a, b); }
    static T constant(int32_t v) { return _mm256_set1_epi32(v); }
    template <int N>
    static T shiftRight(T a) { return _mm256_srai_epi32(a, N); }
    template <int N>
    static T shiftLeft(T a) { return _mm256_slli_epi32(a, N); }
    template <int32_t C>
    static T mulConst(T a) { return _mm256_mullo_epi32(a, _mm256_set1_epi32(C)); }
    // Each lane as two 16-bit halves (low first): lo * low + hi * high.
    template <int32_t Lo, int32_t Hi>
    static T pairDot(T a) {
        static_assert(Lo >= -32768 && Lo <= 32767 && Hi >= -32768 && Hi <= 32767, "16-bit factors");
        return _mm256_madd_epi16(a, _mm256_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(Hi) << 16) |
                                                                             (static_cast<uint32_t>(Lo) & 0xFFFFu))));
    }
};

inline void transpose8x8(__m256i* r) {
    __m256i t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm256_unpacklo_epi32(r[i], r[i + 1]);
        t[i + 1] = _mm256_unpackhi_epi32(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        u[i] = _mm256_unpacklo_epi64(t[i], t[i + 2]);
        u[i + 1] = _mm256_unpackhi_epi64(t[i], t[i + 2]);
        u[i + 2] = _mm256_unpacklo_epi64(t[i + 1], t[i + 3]);
        u[i + 3] = _mm256_unpackhi_epi64(t[i + 1], t[i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x20);
        r[i + 4] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x31);
    }
}

// Keeps the low 16 bits of each lane, sign-extended, as a 16-bit store would.
inline __m256i truncate16(__m256i v) { return _mm256_srai_epi32(_mm256_slli_epi32(v, 16), 16); }

}  // namespace simd
