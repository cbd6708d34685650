// Eight blue-green-red pixels to level-shifted Y, Cb, Cr samples with the
// AVX2 machine's byte shuffles for the planes: the arithmetic of
// ycc_convert_sse2.cpp without a detour through memory.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

#include "encoder/ycc_convert_simd.h"

namespace encoder {

namespace {

inline __m128i component(__m128i rg, __m128i b, int32_t rgFactors, int32_t bFactors) {
    __m128i sum = _mm_add_epi32(_mm_madd_epi16(rg, _mm_set1_epi32(rgFactors)),
                                _mm_madd_epi16(b, _mm_set1_epi32(bFactors)));
    return _mm_srai_epi32(sum, 12);
}

// One byte plane of eight pixels, widened to 16 bits, from 24 bytes in a (16) and b (8).
inline __m128i plane(__m128i a, __m128i b, __m128i maskA, __m128i maskB) {
    return _mm_or_si128(_mm_shuffle_epi8(a, maskA), _mm_shuffle_epi8(b, maskB));
}

inline __m128i interleave(__m128i y, __m128i cb, __m128i cr, __m128i my, __m128i mcb, __m128i mcr) {
    return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(y, my), _mm_shuffle_epi8(cb, mcb)), _mm_shuffle_epi8(cr, mcr));
}

}  // namespace

void yccRow8Avx2(const uint8_t* bgr, int16_t* out) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr));
    __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bgr + 16));
    const int8_t z = -128;
    __m128i b = plane(a, bytes, _mm_setr_epi8(0, z, 3, z, 6, z, 9, z, 12, z, 15, z, z, z, z, z),
                      _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, z, z, 2, z, 5, z));
    __m128i g = plane(a, bytes, _mm_setr_epi8(1, z, 4, z, 7, z, 10, z, 13, z, z, z, z, z, z, z),
                      _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, 0, z, 3, z, 6, z));
    __m128i r = plane(a, bytes, _mm_setr_epi8(2, z, 5, z, 8, z, 11, z, 14, z, z, z, z, z, z, z),
                      _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, 1, z, 4, z, 7, z));
    const __m128i constant = _mm_set1_epi16(2048);
    __m128i rgLow = _mm_unpacklo_epi16(r, g), rgHigh = _mm_unpackhi_epi16(r, g);
    __m128i bLow = _mm_unpacklo_epi16(b, constant), bHigh = _mm_unpackhi_epi16(b, constant);
    __m128i y = _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kLumaRG, ycc_simd::kLumaB),
                                component(rgHigh, bHigh, ycc_simd::kLumaRG, ycc_simd::kLumaB));
    __m128i cb = _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kBlueRG, ycc_simd::kBlueB),
                                 component(rgHigh, bHigh, ycc_simd::kBlueRG, ycc_simd::kBlueB));
    __m128i cr = _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kRedRG, ycc_simd::kRedB),
                                 component(rgHigh, bHigh, ycc_simd::kRedRG, ycc_simd::kRedB));
    __m128i* o = reinterpret_cast<__m128i*>(out);
    _mm_storeu_si128(o, interleave(y, cb, cr, _mm_setr_epi8(0, 1, z, z, z, z, 2, 3, z, z, z, z, 4, 5, z, z),
                                   _mm_setr_epi8(z, z, 0, 1, z, z, z, z, 2, 3, z, z, z, z, 4, 5),
                                   _mm_setr_epi8(z, z, z, z, 0, 1, z, z, z, z, 2, 3, z, z, z, z)));
    _mm_storeu_si128(o + 1, interleave(y, cb, cr, _mm_setr_epi8(z, z, 6, 7, z, z, z, z, 8, 9, z, z, z, z, 10, 11),
                                       _mm_setr_epi8(z, z, z, z, 6, 7, z, z, z, z, 8, 9, z, z, z, z),
                                       _mm_setr_epi8(4, 5, z, z, z, z, 6, 7, z, z, z, z, 8, 9, z, z)));
    _mm_storeu_si128(o + 2, interleave(y, cb, cr, _mm_setr_epi8(z, z, z, z, 12, 13, z, z, z, z, 14, 15, z, z, z, z),
                                       _mm_setr_epi8(10, 11, z, z, z, z, 12, 13, z, z, z, z, 14, 15, z, z),
                                       _mm_setr_epi8(z, z, 10, 11, z, z, z, z, 12, 13, z, z, z, z, 14, 15)));
}

}  // namespace encoder

KELJPEG_END_AVX2

#endif
