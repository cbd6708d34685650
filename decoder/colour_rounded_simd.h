// Standard mode's rounded colour terms in 32-bit lanes, exact, written once
// over the vector width: 128-bit lanes for SSE2 (one row of eight pixels) and
// 256-bit lanes for AVX2 (two rows, one per half, as its unpack and pack
// instructions work within halves). A constant that does not fit 16 bits is
// split into a multiple of 65536 and a 16-bit rest, and the rounding half
// 32768 rides in the multiply-add as 2 x 16384: for red,
// 91881 x cr + 32768 = (cr << 16) + 26345 x cr + 2 x 16384.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace colour_simd {

struct RoundedLanes128 {
    using V = __m128i;
    static V set32(int32_t v) { return _mm_set1_epi32(v); }
    static V set16(int16_t v) { return _mm_set1_epi16(v); }
    static V zero() { return _mm_setzero_si128(); }
    static V unpackLow16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
    static V unpackHigh16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
    static V multiplyAdd16(V a, V b) { return _mm_madd_epi16(a, b); }
    static V add32(V a, V b) { return _mm_add_epi32(a, b); }
    static V sub32(V a, V b) { return _mm_sub_epi32(a, b); }
    static V twice32(V a) { return _mm_slli_epi32(a, 1); }
    static V high16Of32(V a) { return _mm_srai_epi32(a, 16); }
    static V packSigned32(V a, V b) { return _mm_packs_epi32(a, b); }
    static V add16(V a, V b) { return _mm_add_epi16(a, b); }
    static V packUnsigned16(V a, V b) { return _mm_packus_epi16(a, b); }
};

template <class L>
struct RoundedPlanes {
    typename L::V blueGreen;  // per row: B0..B7 G0..G7, limited to 0..255
    typename L::V red;        // per row: R0..R7 twice
};

// The 32-bit sums' rounded upper halves, back in 16-bit lanes.
template <class L>
inline typename L::V narrowed(typename L::V lo, typename L::V hi) {
    return L::packSigned32(L::high16Of32(lo), L::high16Of32(hi));
}

// The rounded terms added to luma + 128 for blue, green and red, one per
// chroma sample (-128..127) in each 16-bit lane. (No lambdas here: GCC
// compiles them without the vector target of the function around them.)
template <class L>
struct RoundedTerms {
    typename L::V blue, green, red;
};

template <class L>
inline RoundedTerms<L> roundedTerms(typename L::V blueDiff, typename L::V redDiff) {
    using V = typename L::V;
    const V zero = L::zero(), two = L::set16(2);
    const V redFactors = L::set32((16384 << 16) | 26345);                              // (26345, 16384)
    const V blueFactors = L::set32(static_cast<int32_t>((16384u << 16) | 0xC5A2u));   // (-14942, 16384)
    const V greenFactors = L::set32(static_cast<int32_t>((18734u << 16) | 0xA7E6u));  // (-22554, 18734)
    const V half = L::set32(32768);
    // red: (cr << 16) + 26345 x cr + 2 x 16384
    const V redLow = L::add32(L::unpackLow16(zero, redDiff), L::multiplyAdd16(L::unpackLow16(redDiff, two), redFactors));
    const V redHigh =
        L::add32(L::unpackHigh16(zero, redDiff), L::multiplyAdd16(L::unpackHigh16(redDiff, two), redFactors));
    // blue: 116130 = 2 x 65536 - 14942
    const V blueLow = L::add32(L::twice32(L::unpackLow16(zero, blueDiff)),
                               L::multiplyAdd16(L::unpackLow16(blueDiff, two), blueFactors));
    const V blueHigh = L::add32(L::twice32(L::unpackHigh16(zero, blueDiff)),
                                L::multiplyAdd16(L::unpackHigh16(blueDiff, two), blueFactors));
    // green: -22554 x cb - 46802 x cr + 32768, with -46802 = -65536 + 18734
    const V greenLow = L::sub32(L::add32(L::multiplyAdd16(L::unpackLow16(blueDiff, redDiff), greenFactors), half),
                                L::unpackLow16(zero, redDiff));
    const V greenHigh = L::sub32(L::add32(L::multiplyAdd16(L::unpackHigh16(blueDiff, redDiff), greenFactors), half),
                                 L::unpackHigh16(zero, redDiff));
    return {narrowed<L>(blueLow, blueHigh), narrowed<L>(greenLow, greenHigh), narrowed<L>(redLow, redHigh)};
}

// Eight pixels per row from their luma and chroma samples (-128..127), one
// per 16-bit lane.
template <class L>
inline RoundedPlanes<L> roundedPlanes(typename L::V luma, typename L::V blueDiff, typename L::V redDiff) {
    const RoundedTerms<L> terms = roundedTerms<L>(blueDiff, redDiff);
    const typename L::V base = L::add16(luma, L::set16(128));
    return {L::packUnsigned16(L::add16(base, terms.blue), L::add16(base, terms.green)),
            L::packUnsigned16(L::add16(base, terms.red), L::add16(base, terms.red))};
}

}  // namespace colour_simd
