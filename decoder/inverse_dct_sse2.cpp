// The 8x8 inverse DCT with its clamp, four columns or rows per SSE2 vector,
// and the 4x4 one. Same bits as inverseDct8x8 (inverseDct4x4) followed by the
// clamp.
//
// As in the AVX2 kernel, both passes normally run on 16-bit pairs with one
// multiply-add per product pair; a block whose column outputs do not all fit
// 16 bits takes its row pass in 32-bit lanes instead.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <emmintrin.h>

#include "runtime/inlining.h"
#include "runtime/simd_sse2_lanes.h"

#include "decoder/inverse_dct_simd.h"

namespace {

using Sse2 = simd::Sse2Lanes;
using simd::transpose4x4;

inline __m128i truncate16(__m128i v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); }

inline __m128i clamp8(__m128i v) {
    return _mm_max_epi16(_mm_min_epi16(v, _mm_set1_epi16(127)), _mm_set1_epi16(-128));
}

// Words packed from 32-bit values with saturation: true when one sits at a
// 16-bit limit, so that it either did not fit or is exactly -32768 or 32767
// (which the 32-bit way handles just as well).
template <int N>
inline bool anyAtLimit(const __m128i* k) {
    __m128i high = k[0], low = k[0];
    for (int i = 1; i < N; ++i) {
        high = _mm_max_epi16(high, k[i]);
        low = _mm_min_epi16(low, k[i]);
    }
    __m128i at = _mm_or_si128(_mm_cmpeq_epi16(high, _mm_set1_epi16(32767)),
                              _mm_cmpeq_epi16(low, _mm_set1_epi16(-32768)));
    return _mm_movemask_epi8(at) != 0;
}

inline bool onlyDc(const int16_t* block) {
    const __m128i* rows = reinterpret_cast<const __m128i*>(block);
    __m128i any = _mm_and_si128(_mm_loadu_si128(rows), _mm_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1));
    for (int r = 1; r < 8; ++r) any = _mm_or_si128(any, _mm_loadu_si128(rows + r));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(any, _mm_setzero_si128())) == 0xFFFF;
}

// c[k]: output column k of all eight rows as clamped 16-bit values; an 8x8
// 16-bit transpose stores them as rows.
inline void storeColumns(const __m128i* c, int16_t* block) {
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

// Lanes 0 1 2 3 to 0 3 2 1 and back (the swap is its own inverse).
constexpr int kSwapOneThree = _MM_SHUFFLE(1, 2, 3, 0);

// The column pass; ws[half][r]: row r of the workspace, four columns. The
// pair vectors of columns 0-3 are in lane order, those of columns 4-7 in the
// lane order 4 7 6 5: then packing the two halves' outputs of a row and
// interleaving their words puts partners side by side, (0,4) (1,7) (2,6)
// (3,5), without a word shuffle.
inline void columnPass(const int16_t* block, __m128i (*ws)[8]) {
    __m128i r[8];
    for (int i = 0; i < 8; ++i) r[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block) + i);
    __m128i qLow[4] = {_mm_unpacklo_epi16(r[0], r[4]), _mm_unpacklo_epi16(r[1], r[7]), _mm_unpacklo_epi16(r[2], r[6]),
                       _mm_unpacklo_epi16(r[3], r[5])};
    __m128i qHigh[4] = {_mm_shuffle_epi32(_mm_unpackhi_epi16(r[0], r[4]), kSwapOneThree),
                        _mm_shuffle_epi32(_mm_unpackhi_epi16(r[1], r[7]), kSwapOneThree),
                        _mm_shuffle_epi32(_mm_unpackhi_epi16(r[2], r[6]), kSwapOneThree),
                        _mm_shuffle_epi32(_mm_unpackhi_epi16(r[3], r[5]), kSwapOneThree)};
    idct_simd::columnPassPairs<Sse2>(qLow, ws[0]);
    idct_simd::columnPassPairs<Sse2>(qHigh, ws[1]);
}

// The column pass as in the quick way (the block is still untouched), then
// the row pass in 32-bit lanes for column outputs beyond 16 bits; the
// results are truncated to 16 bits before the clamp, as the plain
// transform's stores do.
KELJPEG_NOINLINE void inverseDctIn32Bits(int16_t* block) {
    __m128i ws[2][8];
    columnPass(block, ws);
    for (int i = 0; i < 8; ++i) ws[1][i] = _mm_shuffle_epi32(ws[1][i], kSwapOneThree);  // columns in order
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
    __m128i c[8];
    for (int k = 0; k < 8; ++k) c[k] = clamp8(_mm_packs_epi32(truncate16(out[0][k]), truncate16(out[1][k])));
    storeColumns(c, block);
}

}  // namespace

void inverseDctClampSse2(int16_t* block) {
    if (onlyDc(block)) {
        __m128i fill = _mm_set1_epi16(idct_simd::dcOnlySample(block[0]));
        __m128i* rows = reinterpret_cast<__m128i*>(block);
        for (int r = 0; r < 8; ++r) _mm_storeu_si128(rows + r, fill);
        return;
    }
    __m128i ws[2][8];
    columnPass(block, ws);

    // k[2i]: rows 2i, 2i+1 of columns 0-3; k[2i+1]: the same rows of columns 4 7 6 5.
    __m128i k[8];
    for (int i = 0; i < 4; ++i) {
        k[2 * i] = _mm_packs_epi32(ws[0][2 * i], ws[0][2 * i + 1]);
        k[2 * i + 1] = _mm_packs_epi32(ws[1][2 * i], ws[1][2 * i + 1]);
    }
    if (anyAtLimit<8>(k)) {
        inverseDctIn32Bits(block);
        return;
    }
    // p[r]: row r as the pairs (0,4) (1,7) (2,6) (3,5); a 4x4 transpose of
    // each group of four rows gives the row pass its pair vectors.
    __m128i p[8];
    for (int i = 0; i < 4; ++i) {
        p[2 * i] = _mm_unpacklo_epi16(k[2 * i], k[2 * i + 1]);
        p[2 * i + 1] = _mm_unpackhi_epi16(k[2 * i], k[2 * i + 1]);
    }
    transpose4x4(p[0], p[1], p[2], p[3]);
    transpose4x4(p[4], p[5], p[6], p[7]);
    __m128i top[8], bottom[8];  // [column]: rows 0-3, rows 4-7
    idct_simd::rowPassPairs<Sse2>(p, top);
    idct_simd::rowPassPairs<Sse2>(p + 4, bottom);
    __m128i c[8];
    for (int i = 0; i < 8; ++i) c[i] = clamp8(_mm_packs_epi32(top[i], bottom[i]));  // exact: all fit 16 bits
    storeColumns(c, block);
}

namespace {

// The 4-point pass on four vectors y0..y3 (one column or row per lane):
// A = (y0 + y2) << 12, B = (y0 - y2) << 12, t0 = 5352 y1 + 2217 y3,
// t1 = 2217 y1 - 5352 y3; out = A + t0, B + t1, B - t1, A - t0, each plus
// the descaling rounding.
inline void butterfly4(const __m128i* y, int32_t rounding, __m128i* out) {
    const __m128i r = _mm_set1_epi32(rounding);
    __m128i a = _mm_add_epi32(_mm_slli_epi32(_mm_add_epi32(y[0], y[2]), 12), r);
    __m128i b = _mm_add_epi32(_mm_slli_epi32(_mm_sub_epi32(y[0], y[2]), 12), r);
    __m128i t0 = _mm_add_epi32(Sse2::mulConst<5352>(y[1]), Sse2::mulConst<2217>(y[3]));
    __m128i t1 = _mm_sub_epi32(Sse2::mulConst<2217>(y[1]), Sse2::mulConst<5352>(y[3]));
    out[0] = _mm_add_epi32(a, t0);
    out[1] = _mm_add_epi32(b, t1);
    out[2] = _mm_sub_epi32(b, t1);
    out[3] = _mm_sub_epi32(a, t0);
}

// The same on 16-bit inputs held as pairs q02 = (y0, y2), q13 = (y1, y3):
// every product and sum is exact in 32 bits (4096 * 65536 + 32768 * 7569 <
// 2^31), as in the plain pass on such inputs.
inline void butterfly4Pairs(__m128i q02, __m128i q13, int32_t rounding, __m128i* out) {
    const __m128i r = _mm_set1_epi32(rounding);
    __m128i a = _mm_add_epi32(Sse2::pairDot<4096, 4096>(q02), r);
    __m128i b = _mm_add_epi32(Sse2::pairDot<4096, -4096>(q02), r);
    __m128i t0 = Sse2::pairDot<5352, 2217>(q13), t1 = Sse2::pairDot<2217, -5352>(q13);
    out[0] = _mm_add_epi32(a, t0);
    out[1] = _mm_add_epi32(b, t1);
    out[2] = _mm_sub_epi32(b, t1);
    out[3] = _mm_sub_epi32(a, t0);
}

inline void store4x4(__m128i rows01, __m128i rows23, int16_t* block) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(block), rows01);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(block + 8), _mm_unpackhi_epi64(rows01, rows01));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(block + 16), rows23);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(block + 24), _mm_unpackhi_epi64(rows23, rows23));
}

// The 4x4 column pass; ws[r]: workspace row r, four columns.
inline void columnPass4(const int16_t* block, __m128i* ws) {
    __m128i y[4];
    for (int r = 0; r < 4; ++r) y[r] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(block + 8 * r));
    butterfly4Pairs(_mm_unpacklo_epi16(y[0], y[2]), _mm_unpacklo_epi16(y[1], y[3]), 2048, ws);
    for (int r = 0; r < 4; ++r) ws[r] = _mm_srai_epi32(ws[r], 12);
}

// The column pass again (the block is still untouched), then the row pass in
// 32-bit lanes for column outputs beyond 16 bits.
KELJPEG_NOINLINE void inverseDct4x4In32Bits(int16_t* block) {
    __m128i ws[4], out[4];
    columnPass4(block, ws);
    transpose4x4(ws[0], ws[1], ws[2], ws[3]);  // ws[c]: workspace column c, four rows
    butterfly4(ws, 16384, out);                // out[c]: output column c, four rows
    for (int c = 0; c < 4; ++c) out[c] = _mm_srai_epi32(out[c], 15);
    transpose4x4(out[0], out[1], out[2], out[3]);  // out[r]: output row r
    store4x4(clamp8(_mm_packs_epi32(truncate16(out[0]), truncate16(out[1]))),
             clamp8(_mm_packs_epi32(truncate16(out[2]), truncate16(out[3]))), block);
}

}  // namespace

// inverseDct4x4, then each of the 16 samples clamped to -128..127.
void inverseDct4x4ClampSse2(int16_t* block) {
    __m128i ws[4];
    columnPass4(block, ws);
    __m128i k[2] = {_mm_packs_epi32(ws[0], ws[1]), _mm_packs_epi32(ws[2], ws[3])};
    if (anyAtLimit<2>(k)) {
        inverseDct4x4In32Bits(block);
        return;
    }
    // k[0] = w00 w01 w02 w03 w10 .. w13, k[1] likewise rows 2, 3. Three rounds
    // of interleaving give the row pass its pairs (w_r0, w_r2) and (w_r1, w_r3).
    __m128i a0 = _mm_unpacklo_epi16(k[0], k[1]), a1 = _mm_unpackhi_epi16(k[0], k[1]);
    __m128i b0 = _mm_unpacklo_epi16(a0, a1), b1 = _mm_unpackhi_epi16(a0, a1);  // columns 0, 1 | 2, 3
    __m128i out[4];
    butterfly4Pairs(_mm_unpacklo_epi16(b0, b1), _mm_unpackhi_epi16(b0, b1), 16384, out);
    for (int c = 0; c < 4; ++c) out[c] = _mm_srai_epi32(out[c], 15);  // out[c]: output column c, four rows
    // Within -15761..15760 on 16-bit inputs, so packing truncates exactly.
    __m128i j0 = clamp8(_mm_packs_epi32(out[0], out[1])), j1 = clamp8(_mm_packs_epi32(out[2], out[3]));
    __m128i s0 = _mm_unpacklo_epi16(j0, j1), s1 = _mm_unpackhi_epi16(j0, j1);
    store4x4(_mm_unpacklo_epi16(s0, s1), _mm_unpackhi_epi16(s0, s1), block);
}

#endif
