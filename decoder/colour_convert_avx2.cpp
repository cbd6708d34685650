// YCbCr to blue-green-red for one block row of eight pixels with the AVX2
// machine's byte shuffles: the arithmetic of colour_convert_sse2.cpp, then
// the three planes interleaved without a detour through memory.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

#include "decoder/colour_convert_simd.h"
#include "decoder/colour_rounded_simd.h"

namespace {

inline __m128i asInt8(__m128i v) { return _mm_srai_epi16(_mm_slli_epi16(v, 8), 8); }

inline __m128i signedProduct(__m128i c, __m128i magnitude, colour_simd::Factor f) {
    __m128i product = _mm_mulhi_epu16(magnitude, _mm_set1_epi16(static_cast<int16_t>(f.fraction)));
    if (f.whole) product = _mm_add_epi16(product, magnitude);
    return _mm_sign_epi16(product, c);
}

inline __m256i asInt8x2(__m256i v) { return _mm256_srai_epi16(_mm256_slli_epi16(v, 8), 8); }

inline __m256i signedProductx2(__m256i c, __m256i magnitude, colour_simd::Factor f) {
    __m256i product = _mm256_mulhi_epu16(magnitude, _mm256_set1_epi16(static_cast<int16_t>(f.fraction)));
    if (f.whole) product = _mm256_add_epi16(product, magnitude);
    return _mm256_sign_epi16(product, c);
}

// Eight pixels from their blue-green and red planes (B0..B7 G0..G7, R0..R7)
// interleaved by byte shuffles and stored as 24 bytes.
inline void storeBgrRow(__m128i bg, __m128i rr, uint8_t* out) {
    const __m128i bgFirst = _mm_setr_epi8(0, 8, -128, 1, 9, -128, 2, 10, -128, 3, 11, -128, 4, 12, -128, 5);
    const __m128i rFirst = _mm_setr_epi8(-128, -128, 0, -128, -128, 1, -128, -128, 2, -128, -128, 3, -128, -128, 4,
                                         -128);
    const __m128i bgLast = _mm_setr_epi8(13, -128, 6, 14, -128, 7, 15, -128, -128, -128, -128, -128, -128, -128,
                                         -128, -128);
    const __m128i rLast = _mm_setr_epi8(-128, 5, -128, -128, 6, -128, -128, 7, -128, -128, -128, -128, -128, -128,
                                        -128, -128);
    __m128i first = _mm_or_si128(_mm_shuffle_epi8(bg, bgFirst), _mm_shuffle_epi8(rr, rFirst));
    __m128i last = _mm_or_si128(_mm_shuffle_epi8(bg, bgLast), _mm_shuffle_epi8(rr, rLast));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), first);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), last);
}


// Eight 16-bit samples, or four each taken twice (chroma at half width).
template <bool wide>
inline __m128i loadRow(const int16_t* samples) {
    if (!wide) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples));
    return _mm_unpacklo_epi16(four, four);
}

template <bool wide>
void colourRow(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    __m128i luma = asInt8(loadRow<false>(y));
    __m128i blueDiff = asInt8(loadRow<wide>(cb));
    __m128i redDiff = asInt8(loadRow<wide>(cr));
    __m128i cbMagnitude = _mm_abs_epi16(blueDiff), crMagnitude = _mm_abs_epi16(redDiff);
    __m128i base = _mm_add_epi16(luma, _mm_set1_epi16(128));
    __m128i blue = _mm_add_epi16(base, signedProduct(blueDiff, cbMagnitude, colour_simd::kBlueFromCb));
    __m128i green = _mm_sub_epi16(_mm_sub_epi16(base, signedProduct(blueDiff, cbMagnitude, colour_simd::kGreenFromCb)),
                                  signedProduct(redDiff, crMagnitude, colour_simd::kGreenFromCr));
    __m128i red = _mm_add_epi16(base, signedProduct(redDiff, crMagnitude, colour_simd::kRedFromCr));
    storeBgrRow(_mm_packus_epi16(blue, green), _mm_packus_epi16(red, red), out);
}

// Two rows of eight pixels from their blue-green and red planes (per 128-bit
// half: B0..B7 G0..G7 and R0..R7 of its row), interleaved by byte shuffles
// within each half, where the shuffles work.
inline void storeBgrRowPair(__m256i bg, __m256i rr, uint8_t* top, ptrdiff_t stride) {
    const __m256i bgFirst = _mm256_setr_epi8(0, 8, -128, 1, 9, -128, 2, 10, -128, 3, 11, -128, 4, 12, -128, 5, 0, 8,
                                             -128, 1, 9, -128, 2, 10, -128, 3, 11, -128, 4, 12, -128, 5);
    const __m256i rFirst = _mm256_setr_epi8(-128, -128, 0, -128, -128, 1, -128, -128, 2, -128, -128, 3, -128, -128, 4,
                                            -128, -128, -128, 0, -128, -128, 1, -128, -128, 2, -128, -128, 3, -128,
                                            -128, 4, -128);
    const __m256i bgLast = _mm256_setr_epi8(13, -128, 6, 14, -128, 7, 15, -128, -128, -128, -128, -128, -128, -128,
                                            -128, -128, 13, -128, 6, 14, -128, 7, 15, -128, -128, -128, -128, -128,
                                            -128, -128, -128, -128);
    const __m256i rLast = _mm256_setr_epi8(-128, 5, -128, -128, 6, -128, -128, 7, -128, -128, -128, -128, -128, -128,
                                           -128, -128, -128, 5, -128, -128, 6, -128, -128, 7, -128, -128, -128, -128,
                                           -128, -128, -128, -128);
    const __m256i first = _mm256_or_si256(_mm256_shuffle_epi8(bg, bgFirst), _mm256_shuffle_epi8(rr, rFirst));
    const __m256i last = _mm256_or_si256(_mm256_shuffle_epi8(bg, bgLast), _mm256_shuffle_epi8(rr, rLast));
    uint8_t* below = top + stride;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(top), _mm256_castsi256_si128(first));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(top + 16), _mm256_castsi256_si128(last));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(below), _mm256_extracti128_si256(first, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(below + 16), _mm256_extracti128_si256(last, 1));
}

// Two rows per vector, one in each 128-bit half.
void colourBlock(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                 int32_t rows) {
    int32_t r = 0;
    for (; r + 2 <= rows; r += 2) {
        __m256i luma = asInt8x2(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + 8 * r)));
        __m256i blueDiff = asInt8x2(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cb + 8 * r)));
        __m256i redDiff = asInt8x2(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cr + 8 * r)));
        __m256i cbMagnitude = _mm256_abs_epi16(blueDiff), crMagnitude = _mm256_abs_epi16(redDiff);
        __m256i base = _mm256_add_epi16(luma, _mm256_set1_epi16(128));
        __m256i blue = _mm256_add_epi16(base, signedProductx2(blueDiff, cbMagnitude, colour_simd::kBlueFromCb));
        __m256i green =
            _mm256_sub_epi16(_mm256_sub_epi16(base, signedProductx2(blueDiff, cbMagnitude, colour_simd::kGreenFromCb)),
                             signedProductx2(redDiff, crMagnitude, colour_simd::kGreenFromCr));
        __m256i red = _mm256_add_epi16(base, signedProductx2(redDiff, crMagnitude, colour_simd::kRedFromCr));
        storeBgrRowPair(_mm256_packus_epi16(blue, green), _mm256_packus_epi16(red, red), out + r * stride, stride);
    }
    if (r < rows) colourRow<false>(y + 8 * r, cb + 8 * r, cr + 8 * r, out + r * stride);
}

template <bool wide>
void roundedColourRow(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    const auto planes = colour_simd::roundedPlanes<colour_simd::RoundedLanes128>(loadRow<false>(y), loadRow<wide>(cb),
                                                                                 loadRow<wide>(cr));
    storeBgrRow(planes.blueGreen, planes.red, out);
}

struct RoundedLanes256 {
    using V = __m256i;
    static V set32(int32_t v) { return _mm256_set1_epi32(v); }
    static V set16(int16_t v) { return _mm256_set1_epi16(v); }
    static V zero() { return _mm256_setzero_si256(); }
    static V unpackLow16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
    static V unpackHigh16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
    static V multiplyAdd16(V a, V b) { return _mm256_madd_epi16(a, b); }
    static V add32(V a, V b) { return _mm256_add_epi32(a, b); }
    static V sub32(V a, V b) { return _mm256_sub_epi32(a, b); }
    static V twice32(V a) { return _mm256_slli_epi32(a, 1); }
    static V high16Of32(V a) { return _mm256_srai_epi32(a, 16); }
    static V packSigned32(V a, V b) { return _mm256_packs_epi32(a, b); }
    static V add16(V a, V b) { return _mm256_add_epi16(a, b); }
    static V packUnsigned16(V a, V b) { return _mm256_packus_epi16(a, b); }
};

// Two rows per vector, as colourBlock.
void roundedColourBlock(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                        int32_t rows) {
    int32_t r = 0;
    for (; r + 2 <= rows; r += 2) {
        const auto planes = colour_simd::roundedPlanes<RoundedLanes256>(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + 8 * r)),
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cb + 8 * r)),
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cr + 8 * r)));
        storeBgrRowPair(planes.blueGreen, planes.red, out + r * stride, stride);
    }
    if (r < rows) roundedColourRow<false>(y + 8 * r, cb + 8 * r, cr + 8 * r, out + r * stride);
}

// ---- Chroma at half width: each chroma sample's terms worked out once ----

// The terms added to luma + 128 for blue, green and red, in 16-bit lanes:
// four chroma rows of four samples, row j in 64-bit lane j.
struct ChromaTerms {
    __m256i blue, green, red;
};

// Up to four chroma rows of four samples (row pitch 8); rows from `count` on
// are not read and count as zero.
inline __m256i loadChromaRows(const int16_t* c, int32_t count) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i row0 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(c));
    const __m128i row1 = count > 1 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(c + 8)) : zero;
    const __m128i row2 = count > 2 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(c + 16)) : zero;
    const __m128i row3 = count > 3 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(c + 24)) : zero;
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(row0, row1)),
                                   _mm_unpacklo_epi64(row2, row3), 1);
}

// The legacy terms: the truncated table products, green's two negated.
inline ChromaTerms legacyTerms(__m256i cb, __m256i cr) {
    const __m256i blueDiff = asInt8x2(cb), redDiff = asInt8x2(cr);
    const __m256i cbMagnitude = _mm256_abs_epi16(blueDiff), crMagnitude = _mm256_abs_epi16(redDiff);
    const __m256i greenSum = _mm256_add_epi16(signedProductx2(blueDiff, cbMagnitude, colour_simd::kGreenFromCb),
                                              signedProductx2(redDiff, crMagnitude, colour_simd::kGreenFromCr));
    return {signedProductx2(blueDiff, cbMagnitude, colour_simd::kBlueFromCb),
            _mm256_sub_epi16(_mm256_setzero_si256(), greenSum),
            signedProductx2(redDiff, crMagnitude, colour_simd::kRedFromCr)};
}

inline ChromaTerms roundedTerms(__m256i cb, __m256i cr) {
    const auto terms = colour_simd::roundedTerms<RoundedLanes256>(cb, cr);
    return {terms.blue, terms.green, terms.red};
}

// The terms of chroma row `top` for the upper row of a pair and `bottom` for
// the lower one, each taken twice (four samples for eight pixels).
inline __m256i termsOfRows(__m256i terms, int32_t top, int32_t bottom) {
    const __m256i index = _mm256_setr_epi32(2 * top, 2 * top + 1, 2 * top, 2 * top + 1, 2 * bottom, 2 * bottom + 1,
                                            2 * bottom, 2 * bottom + 1);
    const __m256i picked = _mm256_permutevar8x32_epi32(terms, index);
    return _mm256_unpacklo_epi16(picked, picked);
}

// Chroma read in place, four samples for eight pixels; chroma row r is row r,
// or with tall row r / 2. The terms of a 4:2:0 block's sixteen chroma
// samples are worked out once for its 64 pixels, not once per pixel.
template <bool rounded, bool tall>
void halvedChromaBlock(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                       int32_t rows) {
    const int32_t chromaRows = tall ? (rows + 1) / 2 : rows;
    ChromaTerms quads[2];
    for (int32_t q = 0; 4 * q < chromaRows; ++q) {
        const __m256i blueDiff = loadChromaRows(cb + 32 * q, chromaRows - 4 * q);
        const __m256i redDiff = loadChromaRows(cr + 32 * q, chromaRows - 4 * q);
        quads[q] = rounded ? roundedTerms(blueDiff, redDiff) : legacyTerms(blueDiff, redDiff);
    }
    for (int32_t r = 0; r < rows; r += 2) {
        // A last single row is computed as a pair whose lower row is not
        // read or written.
        const bool pair = r + 1 < rows;
        const int32_t top = tall ? r >> 1 : r, bottom = tall || !pair ? top : r + 1;
        const ChromaTerms& quad = quads[top >> 2];
        __m256i luma = pair ? _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + 8 * r))
                            : _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y + 8 * r)));
        if (!rounded) luma = asInt8x2(luma);
        const __m256i base = _mm256_add_epi16(luma, _mm256_set1_epi16(128));
        const __m256i blue = _mm256_add_epi16(base, termsOfRows(quad.blue, top & 3, bottom & 3));
        const __m256i green = _mm256_add_epi16(base, termsOfRows(quad.green, top & 3, bottom & 3));
        const __m256i red = _mm256_add_epi16(base, termsOfRows(quad.red, top & 3, bottom & 3));
        const __m256i bg = _mm256_packus_epi16(blue, green), rr = _mm256_packus_epi16(red, red);
        if (pair) {
            storeBgrRowPair(bg, rr, out + r * stride, stride);
        } else {
            storeBgrRow(_mm256_castsi256_si128(bg), _mm256_castsi256_si128(rr), out + r * stride);
        }
    }
}

}  // namespace

void colourBlockAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                     int32_t rows) {
    colourBlock(y, cb, cr, out, stride, rows);
}

void colourBlockHalvedAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                           int32_t rows, bool tall) {
    if (tall) {
        halvedChromaBlock<false, true>(y, cb, cr, out, stride, rows);
    } else {
        halvedChromaBlock<false, false>(y, cb, cr, out, stride, rows);
    }
}

void colourRow8Avx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<false>(y, cb, cr, out);
}

void colourRow8WideAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<true>(y, cb, cr, out);
}

void roundedColourBlockAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                            int32_t rows) {
    roundedColourBlock(y, cb, cr, out, stride, rows);
}

void roundedColourBlockHalvedAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out,
                                  ptrdiff_t stride, int32_t rows, bool tall) {
    if (tall) {
        halvedChromaBlock<true, true>(y, cb, cr, out, stride, rows);
    } else {
        halvedChromaBlock<true, false>(y, cb, cr, out, stride, rows);
    }
}

void roundedColourRow8Avx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    roundedColourRow<false>(y, cb, cr, out);
}

void roundedColourRow8WideAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    roundedColourRow<true>(y, cb, cr, out);
}

KELJPEG_END_AVX2

#endif
