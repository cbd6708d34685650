// Blue-green-red pixels to level-shifted Y, Cb and Cr with AVX2, written
// straight into the rows of the blocks: eight pixels per vector of 32-bit
// sums, their (R, G) and (B, 2048) pairs taken from the bytes by one shuffle
// each. No load reaches beyond the pixels the caller names.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

#include "encoder/ycc_convert_simd.h"

namespace encoder {

namespace {

// One load from the constant pool (GCC builds _mm256_set1_epi32 from an
// immediate in three instructions, in every call).
inline __m256i broadcast(int32_t v) { return _mm256_broadcastd_epi32(_mm_cvtsi32_si128(v)); }

struct Pairs {
    __m256i rg, b;  // (R, G) and (B, 2048) of pixels 0..3 in the low half, 4..7 in the high half
};

// The low half takes bytes 0..15 and the high half bytes 8..23 of the 24,
// where pixel 4 starts at byte 4.
inline Pairs pairsOf(const uint8_t* bgr) {
    __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr));
    __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr + 8));
    __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    const int8_t z = -128;
    const __m256i rg = _mm256_setr_epi8(2, z, 1, z, 5, z, 4, z, 8, z, 7, z, 11, z, 10, z,  //
                                        6, z, 5, z, 9, z, 8, z, 12, z, 11, z, 15, z, 14, z);
    const __m256i b = _mm256_setr_epi8(0, z, z, z, 3, z, z, z, 6, z, z, z, 9, z, z, z,  //
                                       4, z, z, z, 7, z, z, z, 10, z, z, z, 13, z, z, z);
    return Pairs{_mm256_shuffle_epi8(bytes, rg),
                 _mm256_or_si256(_mm256_shuffle_epi8(bytes, b), broadcast(2048 << 16))};
}

inline __m256i component(const Pairs& p, int32_t rgFactors, int32_t bFactors) {
    __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(p.rg, broadcast(rgFactors)),
                                   _mm256_madd_epi16(p.b, broadcast(bFactors)));
    return _mm256_srai_epi32(sum, 12);
}

inline __m256i luma(const Pairs& p) { return component(p, ycc_simd::kLumaRG, ycc_simd::kLumaB); }
inline __m256i blue(const Pairs& p) { return component(p, ycc_simd::kBlueRG, ycc_simd::kBlueB); }
inline __m256i red(const Pairs& p) { return component(p, ycc_simd::kRedRG, ycc_simd::kRedB); }

// Eight 32-bit results each of a and b as sixteen 16-bit samples, a's first.
inline __m256i joined(__m256i a, __m256i b) { return _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8); }

inline void storeHalves(__m256i v, int16_t* low, int16_t* high) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(low), _mm256_castsi256_si128(v));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(high), _mm256_extracti128_si256(v, 1));
}

// Lanes 0 and 2 of each half of x, then of y.
inline __m256i evenLanes(__m256i x, __m256i y) {
    __m256 even = _mm256_shuffle_ps(_mm256_castsi256_ps(x), _mm256_castsi256_ps(y), _MM_SHUFFLE(2, 0, 2, 0));
    return _mm256_castps_si256(even);
}

// The even pixels' pairs of sixteen: pixels 0, 2, 8, 10 | 4, 6, 12, 14.
inline Pairs evenPairs(const Pairs& a, const Pairs& b) { return Pairs{evenLanes(a.rg, b.rg), evenLanes(a.b, b.b)}; }

}  // namespace

void yccPixels16Avx2(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    Pairs pa = pairsOf(a), pb = pairsOf(b);
    storeHalves(joined(luma(pa), luma(pb)), out.yA, out.yB);
    storeHalves(joined(blue(pa), blue(pb)), out.cbA, out.cbB);
    storeHalves(joined(red(pa), red(pb)), out.crA, out.crB);
}

void yccEven16Avx2(const uint8_t* bgr, const YccRowOut& out) {
    Pairs pa = pairsOf(bgr), pb = pairsOf(bgr + 24);
    storeHalves(joined(luma(pa), luma(pb)), out.yA, out.yB);
    // Chroma of pixels 0, 2, 8, 10, 4, 6, 12, 14, i.e. samples 0 1 4 5 2 3 6 7;
    // packed with Cr the 32-bit pairs stand as Cb 01 45 Cr 01 45 Cb 23 67 Cr 23 67.
    Pairs even = evenPairs(pa, pb);
    __m256i chroma = _mm256_permutevar8x32_epi32(_mm256_packs_epi32(blue(even), red(even)),
                                                 _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    storeHalves(chroma, out.cbA, out.crA);
}

void luma16Avx2(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    storeHalves(joined(luma(pairsOf(a)), luma(pairsOf(b))), out.yA, out.yB);
}

}  // namespace encoder

KELJPEG_END_AVX2

#endif
