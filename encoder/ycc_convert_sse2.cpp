// Eight blue-green-red pixels to level-shifted Y, Cb, Cr samples (three
// 16-bit values per pixel, side by side) with SSE2 multiply-adds.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "encoder/ycc_convert_simd.h"

namespace encoder {

namespace {

// One component of four pixels from the (R, G) and (B, 2048) pairs.
inline __m128i component(__m128i rg, __m128i b, int32_t rgFactors, int32_t bFactors) {
    __m128i sum = _mm_add_epi32(_mm_madd_epi16(rg, _mm_set1_epi32(rgFactors)),
                                _mm_madd_epi16(b, _mm_set1_epi32(bFactors)));
    return _mm_srai_epi32(sum, 12);
}

}  // namespace

void yccRow8Sse2(const uint8_t* bgr, int16_t* out) {
    alignas(16) int16_t planes[3][8];
    for (int p = 0; p < 8; ++p) {
        planes[0][p] = bgr[3 * p];
        planes[1][p] = bgr[3 * p + 1];
        planes[2][p] = bgr[3 * p + 2];
    }
    __m128i b = _mm_load_si128(reinterpret_cast<const __m128i*>(planes[0]));
    __m128i g = _mm_load_si128(reinterpret_cast<const __m128i*>(planes[1]));
    __m128i r = _mm_load_si128(reinterpret_cast<const __m128i*>(planes[2]));
    const __m128i constant = _mm_set1_epi16(2048);
    __m128i rgLow = _mm_unpacklo_epi16(r, g), rgHigh = _mm_unpackhi_epi16(r, g);
    __m128i bLow = _mm_unpacklo_epi16(b, constant), bHigh = _mm_unpackhi_epi16(b, constant);
    alignas(16) int16_t y[8], cb[8], cr[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(y),
                    _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kLumaRG, ycc_simd::kLumaB),
                                    component(rgHigh, bHigh, ycc_simd::kLumaRG, ycc_simd::kLumaB)));
    _mm_store_si128(reinterpret_cast<__m128i*>(cb),
                    _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kBlueRG, ycc_simd::kBlueB),
                                    component(rgHigh, bHigh, ycc_simd::kBlueRG, ycc_simd::kBlueB)));
    _mm_store_si128(reinterpret_cast<__m128i*>(cr),
                    _mm_packs_epi32(component(rgLow, bLow, ycc_simd::kRedRG, ycc_simd::kRedB),
                                    component(rgHigh, bHigh, ycc_simd::kRedRG, ycc_simd::kRedB)));
    for (int p = 0; p < 8; ++p) {
        out[3 * p] = y[p];
        out[3 * p + 1] = cb[p];
        out[3 * p + 2] = cr[p];
    }
}

}  // namespace encoder

#endif
