// YCbCr to blue-green-red for one block row of eight pixels, in vectors: the
// products of colour_convert_simd.h, sums limited to 0..255 by saturation as
// the range table limits them. 8-bit views of the samples index the tables
// in the plain writer; the same views are taken here.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "decoder/colour_convert_simd.h"

namespace {

inline __m128i asInt8(__m128i v) { return _mm_srai_epi16(_mm_slli_epi16(v, 8), 8); }

// whole * |c| + ((|c| * fraction) >> 16), without the sign of c.
inline __m128i magnitudeProduct(__m128i magnitude, colour_simd::Factor f) {
    __m128i product = _mm_mulhi_epu16(magnitude, _mm_set1_epi16(static_cast<int16_t>(f.fraction)));
    return f.whole ? _mm_add_epi16(product, magnitude) : product;
}

}  // namespace

void colourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    __m128i luma = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y)));
    __m128i blueDiff = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cb)));
    __m128i redDiff = asInt8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cr)));
    // |c| = (c ^ s) - s and back, with s = 0 or -1 by the sign of c.
    __m128i cbSign = _mm_srai_epi16(blueDiff, 15), crSign = _mm_srai_epi16(redDiff, 15);
    __m128i cbMagnitude = _mm_sub_epi16(_mm_xor_si128(blueDiff, cbSign), cbSign);
    __m128i crMagnitude = _mm_sub_epi16(_mm_xor_si128(redDiff, crSign), crSign);
    auto withSign = [](__m128i v, __m128i sign) { return _mm_sub_epi16(_mm_xor_si128(v, sign), sign); };
    __m128i blueOffset = withSign(magnitudeProduct(cbMagnitude, colour_simd::kBlueFromCb), cbSign);
    __m128i redOffset = withSign(magnitudeProduct(crMagnitude, colour_simd::kRedFromCr), crSign);
    __m128i greenOffset = _mm_add_epi16(withSign(magnitudeProduct(cbMagnitude, colour_simd::kGreenFromCb), cbSign),
                                        withSign(magnitudeProduct(crMagnitude, colour_simd::kGreenFromCr), crSign));
    __m128i base = _mm_add_epi16(luma, _mm_set1_epi16(128));
    __m128i blue = _mm_add_epi16(base, blueOffset);
    __m128i green = _mm_sub_epi16(base, greenOffset);
    __m128i red = _mm_add_epi16(base, redOffset);
    alignas(16) uint8_t bg[16], r[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(bg), _mm_packus_epi16(blue, green));
    _mm_store_si128(reinterpret_cast<__m128i*>(r), _mm_packus_epi16(red, red));
    for (int col = 0; col < 8; ++col, out += 3) {
        out[0] = bg[col];
        out[1] = bg[8 + col];
        out[2] = r[col];
    }
}

// Standard mode's rounded terms in 32-bit lanes, exact: a constant that does
// not fit 16 bits is split into a multiple of 65536 and a 16-bit rest, and the
// rounding half 32768 rides in the multiply-add as 2 x 16384. For red,
// 91881 x cr + 32768 = (cr << 16) + 26345 x cr + 2 x 16384.
void roundedColourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y));
    const __m128i blueDiff = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cb));
    const __m128i redDiff = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cr));
    const __m128i zero = _mm_setzero_si128(), two = _mm_set1_epi16(2);
    const __m128i redFactors = _mm_set1_epi32((16384 << 16) | 26345);                       // (26345, 16384)
    const __m128i blueFactors = _mm_set1_epi32(static_cast<int32_t>((16384u << 16) | 0xC5A2u));  // (-14942, 16384)
    const __m128i greenFactors = _mm_set1_epi32(static_cast<int32_t>((18734u << 16) | 0xA7E6u)); // (-22554, 18734)
    const __m128i half = _mm_set1_epi32(32768);
    auto shifted = [](__m128i lo, __m128i hi) { return _mm_packs_epi32(_mm_srai_epi32(lo, 16), _mm_srai_epi32(hi, 16)); };
    // red: (cr << 16) + (26345 x cr + 2 x 16384)
    __m128i redLo = _mm_add_epi32(_mm_unpacklo_epi16(zero, redDiff), _mm_madd_epi16(_mm_unpacklo_epi16(redDiff, two), redFactors));
    __m128i redHi = _mm_add_epi32(_mm_unpackhi_epi16(zero, redDiff), _mm_madd_epi16(_mm_unpackhi_epi16(redDiff, two), redFactors));
    // blue: 116130 = 2 x 65536 - 14942
    __m128i blueLo = _mm_add_epi32(_mm_slli_epi32(_mm_unpacklo_epi16(zero, blueDiff), 1),
                                   _mm_madd_epi16(_mm_unpacklo_epi16(blueDiff, two), blueFactors));
    __m128i blueHi = _mm_add_epi32(_mm_slli_epi32(_mm_unpackhi_epi16(zero, blueDiff), 1),
                                   _mm_madd_epi16(_mm_unpackhi_epi16(blueDiff, two), blueFactors));
    // green: -46802 = -65536 + 18734
    __m128i greenLo = _mm_sub_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(blueDiff, redDiff), greenFactors), half),
                                    _mm_unpacklo_epi16(zero, redDiff));
    __m128i greenHi = _mm_sub_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(blueDiff, redDiff), greenFactors), half),
                                    _mm_unpackhi_epi16(zero, redDiff));
    const __m128i base = _mm_add_epi16(luma, _mm_set1_epi16(128));
    const __m128i blue = _mm_add_epi16(base, shifted(blueLo, blueHi));
    const __m128i green = _mm_add_epi16(base, shifted(greenLo, greenHi));
    const __m128i red = _mm_add_epi16(base, shifted(redLo, redHi));
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
