// Forward DCT and quantisation with SSE2: four columns or rows per vector in
// the transform, eight coefficients per vector in the quantiser. Same bits as
// transformQuantiseScalar.
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

// Quantises as the AVX2 kernel does, one column per vector, with the SSE2
// forms of its absolute value and sign, (x ^ s) - s with s = x >> 15; the
// zero flags are packed in column order and put in zig-zag order by table.
inline uint64_t quantiseColumns(const __m128i c[8], const QuantPlan& plan, int16_t q[64]) {
    __m128i zero[8];
    for (int j = 0; j < 8; ++j) {
        __m128i sign = _mm_srai_epi16(c[j], 15);
        __m128i t = _mm_add_epi16(_mm_sub_epi16(_mm_xor_si128(c[j], sign), sign),
                                  _mm_loadu_si128(reinterpret_cast<const __m128i*>(plan.bias + 8 * j)));
        const __m128i* reciprocal = reinterpret_cast<const __m128i*>(plan.reciprocal + 8 * j);
        const __m128i* scale = reinterpret_cast<const __m128i*>(plan.scale + 8 * j);
        __m128i magnitude = _mm_mulhi_epu16(_mm_mulhi_epu16(t, _mm_loadu_si128(reciprocal)), _mm_loadu_si128(scale));
        // Below 4225 after the division, so the signed minimum limits it.
        const __m128i limit = j == 0 ? _mm_setr_epi16(0x7FFF, kLargestAc, kLargestAc, kLargestAc, kLargestAc,
                                                      kLargestAc, kLargestAc, kLargestAc)
                                     : _mm_set1_epi16(kLargestAc);
        magnitude = _mm_min_epi16(magnitude, limit);
        __m128i v = _mm_sub_epi16(_mm_xor_si128(magnitude, sign), sign);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q + 8 * j), v);
        zero[j] = _mm_cmpeq_epi16(v, _mm_setzero_si128());
    }
    uint64_t zeros = 0;
    for (int j = 0; j < 8; j += 2)
        zeros |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(zero[j], zero[j + 1]))))
                 << (8 * j);
    return zigzagMaskOf(~zeros);
}

}  // namespace

uint64_t quantiseSse2(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]) {
    __m128i c[8];
    for (int j = 0; j < 8; ++j) c[j] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + 8 * j));
    return quantiseColumns(c, plan, q);
}

uint64_t transformQuantiseSse2(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]) {
    __m128i m[2][8];
    for (int half = 0; half < 2; ++half) {
        __m128i x[8];
        for (int k = 0; k < 8; ++k)
            x[k] = widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples + 8 * k + 4 * half)));
        fdct_simd::columnPass<Sse2>(x, m[half]);
    }
    transpose8x8(m);  // m[half][k]: column k of the work area, rows 4*half..
    __m128i out[2][8];
    for (int half = 0; half < 2; ++half) fdct_simd::rowPass<Sse2>(m[half], out[half]);
    // out[half][k]: column k, rows 4*half.., within +-8192 (see the AVX2 kernel).
    __m128i c[8];
    for (int k = 0; k < 8; ++k) c[k] = _mm_packs_epi32(out[0][k], out[1][k]);
    return quantiseColumns(c, plan, q);
}

}  // namespace encoder

#endif
