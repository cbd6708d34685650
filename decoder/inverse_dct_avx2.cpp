// The 8x8 inverse DCT with its clamp, eight columns or rows per AVX2 vector.
// Same bits as inverseDct8x8 followed by clampBlock.
//
// Both passes normally run on 16-bit pairs (one multiply-add per product
// pair, see butterfly8Pairs). The coefficients are 16-bit, so the column
// pass always can; the row pass can when every column output fits 16 bits,
// which holds for the blocks of ordinary pictures (their column outputs stay
// within a few thousand) but not for extreme ones (up to about +-1.4 million
// from 16-bit coefficients): such a block takes its row pass in 32-bit lanes.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

#include "runtime/inlining.h"

KELJPEG_BEGIN_AVX2

#include "runtime/simd_avx2_lanes.h"

// Included here so that its templates are compiled for AVX2 as well.
#include "decoder/inverse_dct_simd.h"

namespace {

using Avx2 = simd::Avx2Lanes;
using simd::transpose8x8;
using simd::truncate16;

inline bool onlyDc(const int16_t* block) {
    const __m256i* rows = reinterpret_cast<const __m256i*>(block);
    const __m256i allButDc =
        _mm256_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    __m256i any = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(_mm256_loadu_si256(rows), allButDc), _mm256_loadu_si256(rows + 1)),
        _mm256_or_si256(_mm256_loadu_si256(rows + 2), _mm256_loadu_si256(rows + 3)));
    return _mm256_testz_si256(any, any) != 0;
}

// The column pass's pair vectors, columns 0..7 in lane order. Rows 2i and
// 2i+1 are loaded with their middle quarters swapped, so that each half holds
// the same four columns of both ([r c0-3, r+1 c0-3 | r c4-7, r+1 c4-7]), and
// interleaving the words of two such vectors pairs two rows column by column.
inline void loadColumnPairs(const int16_t* block, __m256i* q) {
    __m256i p[4];
    for (int i = 0; i < 4; ++i)
        p[i] = _mm256_permute4x64_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(block) + i), 0xD8);
    q[0] = _mm256_unpacklo_epi16(p[0], p[2]);
    q[1] = _mm256_unpackhi_epi16(p[0], p[3]);
    q[2] = _mm256_unpacklo_epi16(p[1], p[3]);
    q[3] = _mm256_unpackhi_epi16(p[1], p[2]);
}

// k[i]: the column outputs of two rows packed to 16 bits with saturation.
// True when some word sits at a 16-bit limit: either a value did not fit or
// it is exactly -32768 or 32767, which the 32-bit way handles just as well.
inline bool anyAtLimit(const __m256i* k) {
    __m256i high = _mm256_max_epi16(_mm256_max_epi16(k[0], k[1]), _mm256_max_epi16(k[2], k[3]));
    __m256i low = _mm256_min_epi16(_mm256_min_epi16(k[0], k[1]), _mm256_min_epi16(k[2], k[3]));
    __m256i at = _mm256_or_si256(_mm256_cmpeq_epi16(high, _mm256_set1_epi16(32767)),
                                 _mm256_cmpeq_epi16(low, _mm256_set1_epi16(-32768)));
    return _mm256_testz_si256(at, at) == 0;
}

// The column pass as in the quick way (the block is still untouched), then
// the row pass in 32-bit lanes for column outputs beyond 16 bits; the
// results are truncated to 16 bits before the clamp, as the plain
// transform's stores do. Apart so that the quick way keeps its column
// outputs in registers.
KELJPEG_NOINLINE void inverseDctIn32Bits(int16_t* block) {
    __m256i q[4], ws[8], x[8];
    loadColumnPairs(block, q);
    idct_simd::columnPassPairs<Avx2>(q, ws);
    transpose8x8(ws);
    idct_simd::rowPass<Avx2>(ws, x);  // x[k]: output column k of all eight rows
    transpose8x8(x);
    const __m256i low = _mm256_set1_epi16(-128), high = _mm256_set1_epi16(127);
    for (int r = 0; r < 8; r += 2) {
        __m256i packed = _mm256_packs_epi32(truncate16(x[r]), truncate16(x[r + 1]));
        packed = _mm256_permute4x64_epi64(packed, 0xD8);
        packed = _mm256_max_epi16(_mm256_min_epi16(packed, high), low);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(block + r * 8), packed);
    }
}

}  // namespace

void inverseDctClampAvx2(int16_t* block) {
    if (onlyDc(block)) {
        __m256i fill = _mm256_set1_epi16(idct_simd::dcOnlySample(block[0]));
        __m256i* rows = reinterpret_cast<__m256i*>(block);
        for (int i = 0; i < 4; ++i) _mm256_storeu_si256(rows + i, fill);
        return;
    }
    __m256i q[4], ws[8];
    loadColumnPairs(block, q);
    idct_simd::columnPassPairs<Avx2>(q, ws);  // ws[r]: row r, eight columns

    __m256i k[4];
    for (int i = 0; i < 4; ++i) k[i] = _mm256_packs_epi32(ws[2 * i], ws[2 * i + 1]);
    if (anyAtLimit(k)) {
        inverseDctIn32Bits(block);
        return;
    }
    // Whole rows again ([row 2i | row 2i+1]), then each row's words in pair
    // order (0,4) (1,7) (2,6) (3,5); a transpose of those 32-bit pairs gives
    // the pair vectors of the row pass, rows in lane order 0 2 4 6 | 1 3 5 7.
    const __m256i pairOrder = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 14, 15, 4, 5, 12, 13, 6, 7, 10, 11,  //
                                               0, 1, 8, 9, 2, 3, 14, 15, 4, 5, 12, 13, 6, 7, 10, 11);
    for (int i = 0; i < 4; ++i) k[i] = _mm256_shuffle_epi8(_mm256_permute4x64_epi64(k[i], 0xD8), pairOrder);
    __m256i u0 = _mm256_unpacklo_epi32(k[0], k[1]), u1 = _mm256_unpackhi_epi32(k[0], k[1]);
    __m256i u2 = _mm256_unpacklo_epi32(k[2], k[3]), u3 = _mm256_unpackhi_epi32(k[2], k[3]);
    q[0] = _mm256_unpacklo_epi64(u0, u2);
    q[1] = _mm256_unpackhi_epi64(u0, u2);
    q[2] = _mm256_unpacklo_epi64(u1, u3);
    q[3] = _mm256_unpackhi_epi64(u1, u3);
    __m256i out[8];
    idct_simd::rowPassPairs<Avx2>(q, out);  // out[c]: column c of rows 0 2 4 6 | 1 3 5 7

    // Every output fits 16 bits here, so packing is the plain transform's
    // truncation. j[i]: columns 2i and 2i+1, even rows in the low half and
    // odd rows in the high half; two interleaving rounds and a join of
    // quarters turn each half into rows, [row 2m | row 2m+1].
    const __m256i low = _mm256_set1_epi16(-128), high = _mm256_set1_epi16(127);
    __m256i j[4];
    for (int i = 0; i < 4; ++i)
        j[i] = _mm256_max_epi16(_mm256_min_epi16(_mm256_packs_epi32(out[2 * i], out[2 * i + 1]), high), low);
    __m256i s0 = _mm256_unpacklo_epi16(j[0], j[1]), s1 = _mm256_unpackhi_epi16(j[0], j[1]);
    __m256i s2 = _mm256_unpacklo_epi16(j[2], j[3]), s3 = _mm256_unpackhi_epi16(j[2], j[3]);
    __m256i t0 = _mm256_unpacklo_epi16(s0, s1), t1 = _mm256_unpackhi_epi16(s0, s1);  // columns 0-3
    __m256i t2 = _mm256_unpacklo_epi16(s2, s3), t3 = _mm256_unpackhi_epi16(s2, s3);  // columns 4-7
    __m256i* rows = reinterpret_cast<__m256i*>(block);
    _mm256_storeu_si256(rows + 0, _mm256_unpacklo_epi64(t0, t2));
    _mm256_storeu_si256(rows + 1, _mm256_unpackhi_epi64(t0, t2));
    _mm256_storeu_si256(rows + 2, _mm256_unpacklo_epi64(t1, t3));
    _mm256_storeu_si256(rows + 3, _mm256_unpackhi_epi64(t1, t3));
}

KELJPEG_END_AVX2

#endif
