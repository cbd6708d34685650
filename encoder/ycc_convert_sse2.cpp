// Blue-green-red pixels to level-shifted Y, Cb and Cr with SSE2 multiply-adds
// (the processor may lack byte shuffles, so the planes are split by plain
// moves), and bytes less 128 for grey and raw samples.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "encoder/ycc_convert_simd.h"

namespace encoder {

namespace {

// Blue, green and red of eight pixels `step` pixels apart as 16-bit lanes.
struct Planes {
    __m128i b, g, r;
};
inline Planes planesOf(const uint8_t* bgr, int step) {
    alignas(16) int16_t planes[3][8];
    for (int p = 0; p < 8; ++p)
        for (int c = 0; c < 3; ++c) planes[c][p] = bgr[3 * step * p + c];
    return Planes{_mm_load_si128(reinterpret_cast<const __m128i*>(planes[0])),
                  _mm_load_si128(reinterpret_cast<const __m128i*>(planes[1])),
                  _mm_load_si128(reinterpret_cast<const __m128i*>(planes[2]))};
}

// One component of eight pixels from the (R, G) and (B, 2048) pairs.
inline __m128i component(const Planes& p, int32_t rgFactors, int32_t bFactors) {
    const __m128i constant = _mm_set1_epi16(2048);
    __m128i rgLow = _mm_unpacklo_epi16(p.r, p.g), rgHigh = _mm_unpackhi_epi16(p.r, p.g);
    __m128i bLow = _mm_unpacklo_epi16(p.b, constant), bHigh = _mm_unpackhi_epi16(p.b, constant);
    const __m128i rgf = _mm_set1_epi32(rgFactors), bf = _mm_set1_epi32(bFactors);
    __m128i low = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rgLow, rgf), _mm_madd_epi16(bLow, bf)), 12);
    __m128i high = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rgHigh, rgf), _mm_madd_epi16(bHigh, bf)), 12);
    return _mm_packs_epi32(low, high);
}

inline void store(int16_t* out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v); }

inline void luma8(const Planes& p, int16_t* y) { store(y, component(p, ycc_simd::kLumaRG, ycc_simd::kLumaB)); }
inline void chroma8(const Planes& p, int16_t* cb, int16_t* cr) {
    store(cb, component(p, ycc_simd::kBlueRG, ycc_simd::kBlueB));
    store(cr, component(p, ycc_simd::kRedRG, ycc_simd::kRedB));
}

}  // namespace

void yccPixels16Sse2(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    Planes pa = planesOf(a, 1), pb = planesOf(b, 1);
    luma8(pa, out.yA);
    luma8(pb, out.yB);
    chroma8(pa, out.cbA, out.crA);
    chroma8(pb, out.cbB, out.crB);
}

void yccEven16Sse2(const uint8_t* bgr, const YccRowOut& out) {
    luma8(planesOf(bgr, 1), out.yA);
    luma8(planesOf(bgr + 24, 1), out.yB);
    chroma8(planesOf(bgr, 2), out.cbA, out.crA);
}

void luma16Sse2(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    luma8(planesOf(a, 1), out.yA);
    luma8(planesOf(b, 1), out.yB);
}

void levelShiftBlockSse2(const uint8_t* bytes, intptr_t stride, int16_t block[64]) {
    for (int y = 0; y < 8; ++y, bytes += stride) {
        __m128i row = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)), _mm_setzero_si128());
        store(block + 8 * y, _mm_sub_epi16(row, _mm_set1_epi16(128)));
    }
}

}  // namespace encoder

#endif
