// YCbCr to blue-green-red for one block row of eight pixels, in vectors: the
// products of colour_convert_simd.h, sums limited to 0..255 by saturation as
// the range table limits them. 8-bit views of the samples index the tables
// in the plain writer; the same views are taken here.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "decoder/colour_convert_simd.h"
#include "decoder/colour_rounded_simd.h"

namespace {

inline __m128i asInt8(__m128i v) { return _mm_srai_epi16(_mm_slli_epi16(v, 8), 8); }

// whole * |c| + ((|c| * fraction) >> 16), without the sign of c.
inline __m128i magnitudeProduct(__m128i magnitude, colour_simd::Factor f) {
    __m128i product = _mm_mulhi_epu16(magnitude, _mm_set1_epi16(static_cast<int16_t>(f.fraction)));
    return f.whole ? _mm_add_epi16(product, magnitude) : product;
}

}  // namespace

namespace {

// Eight 16-bit samples, or four each taken twice (chroma at half width).
template <bool wide>
inline __m128i loadRow(const int16_t* samples) {
    if (!wide) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples));
    return _mm_unpacklo_epi16(four, four);
}

// The blue-green and red planes of eight pixels as 24 interleaved bytes.
inline void storeBgr(__m128i bg, __m128i r, uint8_t* out) {
    alignas(16) uint8_t blueGreen[16], red[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(blueGreen), bg);
    _mm_store_si128(reinterpret_cast<__m128i*>(red), r);
    for (int col = 0; col < 8; ++col, out += 3) {
        out[0] = blueGreen[col];
        out[1] = blueGreen[8 + col];
        out[2] = red[col];
    }
}

template <bool wide>
void colourRow(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    __m128i luma = asInt8(loadRow<false>(y));
    __m128i blueDiff = asInt8(loadRow<wide>(cb));
    __m128i redDiff = asInt8(loadRow<wide>(cr));
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
    storeBgr(_mm_packus_epi16(blue, green), _mm_packus_epi16(red, red), out);
}

template <bool wide>
void roundedColourRow(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    const auto planes = colour_simd::roundedPlanes<colour_simd::RoundedLanes128>(loadRow<false>(y), loadRow<wide>(cb),
                                                                                 loadRow<wide>(cr));
    storeBgr(planes.blueGreen, planes.red, out);
}

}  // namespace

void greyBlockSse2(const int16_t* y, uint8_t* out, ptrdiff_t stride, int32_t rows) {
    // The low byte of each sample (masked, so that packing cannot saturate)
    // with its top bit flipped: -128 = 0xFF80 gives 0x00, 127 gives 0xFF.
    const __m128i lowByte = _mm_set1_epi16(0xFF), flip = _mm_set1_epi8(static_cast<char>(0x80));
    for (int32_t r = 0; r < rows; r += 2, y += 16, out += 2 * stride) {
        const __m128i first = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y)), lowByte);
        const __m128i second =
            r + 1 < rows ? _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y + 8)), lowByte) : first;
        const __m128i pixels = _mm_xor_si128(_mm_packus_epi16(first, second), flip);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), pixels);
        if (r + 1 < rows) _mm_storel_epi64(reinterpret_cast<__m128i*>(out + stride), _mm_unpackhi_epi64(pixels, pixels));
    }
}

void colourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<false>(y, cb, cr, out);
}

void colourRow8WideSse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<true>(y, cb, cr, out);
}

void roundedColourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    roundedColourRow<false>(y, cb, cr, out);
}

void roundedColourRow8WideSse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    roundedColourRow<true>(y, cb, cr, out);
}

#endif
