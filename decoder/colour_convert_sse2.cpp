// YCbCr to blue-green-red for one block row of eight pixels, in vectors.
//
// The table products trunc(k * c) are computed as a single-precision product
// truncated toward zero: for every sample -128..127 and each of the four
// factors this gives the tables' integers exactly (kernels_test checks all of
// them), and 8-bit views of the samples index the tables as the plain writer
// does. The sums are limited to 0..255 by saturation, as the range table does.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "decoder/colour_convert_simd.h"

namespace {

// The sample as the plain writer's 8-bit view sees it.
inline __m128i asInt8(__m128i v) { return _mm_srai_epi16(_mm_slli_epi16(v, 8), 8); }

// trunc(k * c) for eight 16-bit samples.
inline __m128i truncatedProduct(__m128i c, float k) {
    const __m128 factor = _mm_set1_ps(k);
    __m128 lo = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(c, c), 16));
    __m128 hi = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(c, c), 16));
    return _mm_packs_epi32(_mm_cvttps_epi32(_mm_mul_ps(lo, factor)), _mm_cvttps_epi32(_mm_mul_ps(hi, factor)));
}

}  // namespace

void colourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    __m128i luma = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y)));
    __m128i blueDiff = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cb)));
    __m128i redDiff = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cr)));
    const __m128i offset = _mm_set1_epi16(128);
    __m128i base = _mm_add_epi16(luma, offset);
    __m128i blue = _mm_add_epi16(base, truncatedProduct(blueDiff, colour_simd::kBlueFromCb));
    __m128i green = _mm_add_epi16(_mm_add_epi16(base, truncatedProduct(blueDiff, colour_simd::kGreenFromCb)),
                                  truncatedProduct(redDiff, colour_simd::kGreenFromCr));
    __m128i red = _mm_add_epi16(base, truncatedProduct(redDiff, colour_simd::kRedFromCr));
    alignas(16) uint8_t bg[16], r[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(bg), _mm_packus_epi16(blue, green));
    _mm_store_si128(reinterpret_cast<__m128i*>(r), _mm_packus_epi16(red, red));
    for (int col = 0; col < 8; ++col, out += 3) {
        out[0] = bg[col];
        out[1] = bg[8 + col];
        out[2] = r[col];
    }
}

#endif
