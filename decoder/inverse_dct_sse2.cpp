// The 8x8 inverse DCT with its clamp, four columns or rows per SSE2 vector.
// Same bits as inverseDct8x8 followed by clampBlock.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "runtime/simd_sse2_lanes.h"

#include "decoder/inverse_dct_simd.h"

namespace {

using Sse2 = simd::Sse2Lanes;
using simd::transpose4x4;

// Sign-extends four 16-bit values to 32 bits.
inline __m128i widen(__m128i v) { return _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16); }

// Truncates 32-bit lanes to 16 bits (as a 16-bit store would), then clamps.
inline __m128i truncateAndClamp(__m128i lo, __m128i hi) {
    lo = _mm_srai_epi32(_mm_slli_epi32(lo, 16), 16);
    hi = _mm_srai_epi32(_mm_slli_epi32(hi, 16), 16);
    __m128i packed = _mm_packs_epi32(lo, hi);  // exact: every lane fits now
    return _mm_max_epi16(_mm_min_epi16(packed, _mm_set1_epi16(127)), _mm_set1_epi16(-128));
}

}  // namespace

void inverseDctClampSse2(int16_t* block) {
    // Column pass: x[r] holds row r of four columns; ws[half][r] likewise.
    __m128i ws[2][8];
    for (int half = 0; half < 2; ++half) {
        __m128i x[8];
        for (int r = 0; r < 8; ++r)
            x[r] = widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(block + r * 8 + half * 4)));
        idct_simd::columnPass<Sse2>(x, ws[half]);
    }
    // Row pass: turn the workspace so that a vector holds one column of four rows.
    __m128i out[2][8];  // out[rowHalf][column]: four rows of one output column
    for (int rowHalf = 0; rowHalf < 2; ++rowHalf) {
        __m128i x[8];
        for (int colHalf = 0; colHalf < 2; ++colHalf) {
            __m128i r0 = ws[colHalf][rowHalf * 4], r1 = ws[colHalf][rowHalf * 4 + 1];
            __m128i r2 = ws[colHalf][rowHalf * 4 + 2], r3 = ws[colHalf][rowHalf * 4 + 3];
            transpose4x4(r0, r1, r2, r3);
            x[colHalf * 4] = r0;
            x[colHalf * 4 + 1] = r1;
            x[colHalf * 4 + 2] = r2;
            x[colHalf * 4 + 3] = r3;
        }
        idct_simd::rowPass<Sse2>(x, out[rowHalf]);
    }
    // Column k of all eight rows as 16-bit values, then an 8x8 16-bit transpose.
    __m128i c[8];
    for (int k = 0; k < 8; ++k) c[k] = truncateAndClamp(out[0][k], out[1][k]);
    __m128i a0 = _mm_unpacklo_epi16(c[0], c[1]), a1 = _mm_unpackhi_epi16(c[0], c[1]);
    __m128i a2 = _mm_unpacklo_epi16(c[2], c[3]), a3 = _mm_unpackhi_epi16(c[2], c[3]);
    __m128i a4 = _mm_unpacklo_epi16(c[4], c[5]), a5 = _mm_unpackhi_epi16(c[4], c[5]);
    __m128i a6 = _mm_unpacklo_epi16(c[6], c[7]), a7 = _mm_unpackhi_epi16(c[6], c[7]);
    __m128i b0 = _mm_unpacklo_epi32(a0, a2), b1 = _mm_unpackhi_epi32(a0, a2);
    __m128i b2 = _mm_unpacklo_epi32(a1, a3), b3 = _mm_unpackhi_epi32(a1, a3);
    __m128i b4 = _mm_unpacklo_epi32(a4, a6), b5 = _mm_unpackhi_epi32(a4, a6);
    __m128i b6 = _mm_unpacklo_epi32(a5, a7), b7 = _mm_unpackhi_epi32(a5, a7);
    __m128i* rows = reinterpret_cast<__m128i*>(block);
    _mm_storeu_si128(rows + 0, _mm_unpacklo_epi64(b0, b4));
    _mm_storeu_si128(rows + 1, _mm_unpackhi_epi64(b0, b4));
    _mm_storeu_si128(rows + 2, _mm_unpacklo_epi64(b1, b5));
    _mm_storeu_si128(rows + 3, _mm_unpackhi_epi64(b1, b5));
    _mm_storeu_si128(rows + 4, _mm_unpacklo_epi64(b2, b6));
    _mm_storeu_si128(rows + 5, _mm_unpackhi_epi64(b2, b6));
    _mm_storeu_si128(rows + 6, _mm_unpacklo_epi64(b3, b7));
    _mm_storeu_si128(rows + 7, _mm_unpackhi_epi64(b3, b7));
}

namespace {

// The 4-point pass on four vectors y0..y3 (one column or row per lane):
// A = (y0 + y2) << 12, B = (y0 - y2) << 12, t0 = 5352 y1 + 2217 y3,
// t1 = 2217 y1 - 5352 y3; out = A + t0, B + t1, B - t1, A - t0.
inline void butterfly4(const __m128i* y, __m128i* out) {
    __m128i a = _mm_slli_epi32(_mm_add_epi32(y[0], y[2]), 12), b = _mm_slli_epi32(_mm_sub_epi32(y[0], y[2]), 12);
    __m128i t0 = _mm_add_epi32(Sse2::mulConst<5352>(y[1]), Sse2::mulConst<2217>(y[3]));
    __m128i t1 = _mm_sub_epi32(Sse2::mulConst<2217>(y[1]), Sse2::mulConst<5352>(y[3]));
    out[0] = _mm_add_epi32(a, t0);
    out[1] = _mm_add_epi32(b, t1);
    out[2] = _mm_sub_epi32(b, t1);
    out[3] = _mm_sub_epi32(a, t0);
}

}  // namespace

// inverseDct4x4, then each of the 16 samples clamped to -128..127.
void inverseDct4x4ClampSse2(int16_t* block) {
    __m128i y[4], out[4];
    for (int r = 0; r < 4; ++r) y[r] = widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(block + 8 * r)));
    butterfly4(y, out);  // out[r]: workspace row r, four columns
    for (int r = 0; r < 4; ++r) y[r] = _mm_srai_epi32(_mm_add_epi32(out[r], _mm_set1_epi32(2048)), 12);
    transpose4x4(y[0], y[1], y[2], y[3]);  // y[c]: workspace column c, four rows
    butterfly4(y, out);                    // out[c]: output column c, four rows
    for (int c = 0; c < 4; ++c) out[c] = _mm_srai_epi32(_mm_add_epi32(out[c], _mm_set1_epi32(16384)), 15);
    transpose4x4(out[0], out[1], out[2], out[3]);  // out[r]: output row r
    for (int r = 0; r < 4; r += 2) {
        __m128i rows = truncateAndClamp(out[r], out[r + 1]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(block + 8 * r), rows);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(block + 8 * (r + 1)), _mm_unpackhi_epi64(rows, rows));
    }
}

#endif
