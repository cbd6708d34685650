// 32-bit integer lanes of an SSE2 vector, as the vector transforms of the
// decoder and the encoder use them, and the 4x4 transpose they share.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace simd {

struct Sse2Lanes {
    using T = __m128i;
    static T add(T a, T b) { return _mm_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi32(a, b); }
    static T constant(int32_t v) { return _mm_set1_epi32(v); }
    template <int N>
    static T shiftRight(T a) { return _mm_srai_epi32(a, N); }
    template <int N>
    static T shiftLeft(T a) { return _mm_slli_epi32(a, N); }
    // Low 32 bits of a * c, 0 <= c < 65536, from 16-bit halves:
    // lo*c + (hi*c << 16) = mullo(lo, c) + (mulhi(lo, c) + mullo(hi, c)) << 16.
    template <int32_t C>
    static T mulConst(T a) {
        const T c = _mm_set1_epi16(static_cast<int16_t>(C));
        return _mm_add_epi32(_mm_mullo_epi16(a, c), _mm_slli_epi32(_mm_mulhi_epu16(a, c), 16));
    }
    // Each lane as two 16-bit halves (low first): lo * low + hi * high.
    template <int32_t Lo, int32_t Hi>
    static T pairDot(T a) {
        static_assert(Lo >= -32768 && Lo <= 32767 && Hi >= -32768 && Hi <= 32767, "16-bit factors");
        return _mm_madd_epi16(a, _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(Hi) << 16) |
                                                                       (static_cast<uint32_t>(Lo) & 0xFFFFu))));
    }
};

inline void transpose4x4(__m128i& r0, __m128i& r1, __m128i& r2, __m128i& r3) {
    __m128i t0 = _mm_unpacklo_epi32(r0, r1), t1 = _mm_unpackhi_epi32(r0, r1);
    __m128i t2 = _mm_unpacklo_epi32(r2, r3), t3 = _mm_unpackhi_epi32(r2, r3);
    r0 = _mm_unpacklo_epi64(t0, t2);
    r1 = _mm_unpackhi_epi64(t0, t2);
    r2 = _mm_unpacklo_epi64(t1, t3);
    r3 = _mm_unpackhi_epi64(t1, t3);
}

}  // namespace simd
