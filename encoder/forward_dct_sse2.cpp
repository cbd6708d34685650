// Forward DCT and quantisation with SSE2, four columns, rows or coefficients
// per vector. Same bits as forwardDct and the quantisers of forward_dct.h.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "runtime/simd_sse2_lanes.h"

#include "encoder/forward_dct_simd.h"

namespace encoder {

namespace {

using Sse2 = simd::Sse2Lanes;
using simd::transpose4x4;

// Transposes the 8x8 matrix held as m[half][row] (four columns per half).
inline void transpose8x8(__m128i m[2][8]) {
    for (int rowHalf = 0; rowHalf < 2; ++rowHalf)
        for (int colHalf = 0; colHalf < 2; ++colHalf)
            transpose4x4(m[colHalf][rowHalf * 4], m[colHalf][rowHalf * 4 + 1], m[colHalf][rowHalf * 4 + 2],
                         m[colHalf][rowHalf * 4 + 3]);
    for (int i = 0; i < 4; ++i) {
        __m128i swap = m[1][i];
        m[1][i] = m[0][i + 4];
        m[0][i + 4] = swap;
    }
}

inline __m128i widen(__m128i v) { return _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16); }
inline __m128i truncate16(__m128i v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); }

}  // namespace

void forwardDctSse2(int16_t block[64]) {
    __m128i m[2][8];
    for (int half = 0; half < 2; ++half) {
        __m128i x[8];
        for (int k = 0; k < 8; ++k)
            x[k] = widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(block + 8 * k + 4 * half)));
        fdct_simd::columnPass<Sse2>(x, m[half]);
    }
    transpose8x8(m);  // m[half][k]: column k of the work area, rows 4*half..
    __m128i out[2][8];
    for (int half = 0; half < 2; ++half) fdct_simd::rowPass<Sse2>(m[half], out[half]);
    transpose8x8(out);  // out[half][r]: row r, columns 4*half..
    for (int r = 0; r < 8; ++r)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(block + 8 * r),
                         _mm_packs_epi32(truncate16(out[0][r]), truncate16(out[1][r])));
}

// Single-precision division is exact enough here: for t < 2^24 the rounded
// quotient never reaches the next integer unless the exact one does.
uint64_t quantiseSse2(const int16_t* zigzag, const int32_t* divisors, int32_t* q) {
    uint64_t nonZero = 0;
    for (int k = 0; k < 64; k += 8) {
        __m128i x8 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(zigzag + k));
        __m128i zeroFlags[2];
        for (int h = 0; h < 2; ++h) {
            __m128i x = h ? _mm_srai_epi32(_mm_unpackhi_epi16(x8, x8), 16) : widen(x8);
            __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(divisors + k + 4 * h));
            __m128i sign = _mm_srai_epi32(x, 31);
            __m128i t = _mm_add_epi32(_mm_sub_epi32(_mm_xor_si128(x, sign), sign), _mm_srai_epi32(d, 1));
            __m128i magnitude = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(t), _mm_cvtepi32_ps(d)));
            __m128i value = _mm_sub_epi32(_mm_xor_si128(magnitude, sign), sign);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(q + k + 4 * h), value);
            zeroFlags[h] = _mm_cmpeq_epi32(value, _mm_setzero_si128());
        }
        __m128i flags16 = _mm_packs_epi32(zeroFlags[0], zeroFlags[1]);
        uint32_t zeros = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(flags16, flags16))) & 0xFF;
        nonZero |= static_cast<uint64_t>(~zeros & 0xFF) << k;
    }
    return nonZero;
}

}  // namespace encoder

#endif
