// Standard mode's rounded colour terms in 32-bit lanes, exact, for the SSE2
// and AVX2 kernels (included where those instructions are enabled). A
// constant that does not fit 16 bits is split into a multiple of 65536 and a
// 16-bit rest, and the rounding half 32768 rides in the multiply-add as
// 2 x 16384: for red, 91881 x cr + 32768 = (cr << 16) + 26345 x cr + 2 x 16384.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace colour_simd {

struct RoundedPlanes {
    __m128i blueGreen;  // B0..B7 G0..G7, limited to 0..255
    __m128i red;        // R0..R7 twice
};

// Eight pixels from their luma and chroma samples (-128..127), one per lane.
inline RoundedPlanes roundedPlanes(__m128i luma, __m128i blueDiff, __m128i redDiff) {
    const __m128i zero = _mm_setzero_si128(), two = _mm_set1_epi16(2);
    const __m128i redFactors = _mm_set1_epi32((16384 << 16) | 26345);                              // (26345, 16384)
    const __m128i blueFactors = _mm_set1_epi32(static_cast<int32_t>((16384u << 16) | 0xC5A2u));   // (-14942, 16384)
    const __m128i greenFactors = _mm_set1_epi32(static_cast<int32_t>((18734u << 16) | 0xA7E6u));  // (-22554, 18734)
    const __m128i half = _mm_set1_epi32(32768);
    auto narrowed = [](__m128i lo, __m128i hi) { return _mm_packs_epi32(_mm_srai_epi32(lo, 16), _mm_srai_epi32(hi, 16)); };
    // red: (cr << 16) + 26345 x cr + 2 x 16384
    auto redHalf = [&](__m128i wide, __m128i pairs) { return _mm_add_epi32(wide, _mm_madd_epi16(pairs, redFactors)); };
    const __m128i red = narrowed(redHalf(_mm_unpacklo_epi16(zero, redDiff), _mm_unpacklo_epi16(redDiff, two)),
                                 redHalf(_mm_unpackhi_epi16(zero, redDiff), _mm_unpackhi_epi16(redDiff, two)));
    // blue: 116130 = 2 x 65536 - 14942
    auto blueHalf = [&](__m128i wide, __m128i pairs) {
        return _mm_add_epi32(_mm_slli_epi32(wide, 1), _mm_madd_epi16(pairs, blueFactors));
    };
    const __m128i blue = narrowed(blueHalf(_mm_unpacklo_epi16(zero, blueDiff), _mm_unpacklo_epi16(blueDiff, two)),
                                  blueHalf(_mm_unpackhi_epi16(zero, blueDiff), _mm_unpackhi_epi16(blueDiff, two)));
    // green: -22554 x cb - 46802 x cr + 32768, with -46802 = -65536 + 18734
    auto greenHalf = [&](__m128i wideCr, __m128i pairs) {
        return _mm_sub_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, greenFactors), half), wideCr);
    };
    const __m128i green = narrowed(greenHalf(_mm_unpacklo_epi16(zero, redDiff), _mm_unpacklo_epi16(blueDiff, redDiff)),
                                   greenHalf(_mm_unpackhi_epi16(zero, redDiff), _mm_unpackhi_epi16(blueDiff, redDiff)));
    const __m128i base = _mm_add_epi16(luma, _mm_set1_epi16(128));
    return {_mm_packus_epi16(_mm_add_epi16(base, blue), _mm_add_epi16(base, green)),
            _mm_packus_epi16(_mm_add_epi16(base, red), _mm_add_epi16(base, red))};
}

}  // namespace colour_simd
