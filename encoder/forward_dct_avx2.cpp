// Forward DCT and quantisation with AVX2, eight columns, rows or coefficients
// per vector. Same bits as forwardDct and the quantisers of forward_dct.h.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

#include "runtime/simd_avx2_lanes.h"

#include "encoder/forward_dct_simd.h"

namespace encoder {

namespace {

using Avx2 = simd::Avx2Lanes;
using simd::transpose8x8;
using simd::truncate16;

}  // namespace

void forwardDctAvx2(int16_t block[64]) {
    __m256i x[8], work[8];
    for (int k = 0; k < 8; ++k)
        x[k] = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 8 * k)));
    fdct_simd::columnPass<Avx2>(x, work);
    transpose8x8(work);
    fdct_simd::rowPass<Avx2>(work, x);  // x[k]: column k of all rows
    transpose8x8(x);
    for (int r = 0; r < 8; r += 2) {
        __m256i packed = _mm256_packs_epi32(truncate16(x[r]), truncate16(x[r + 1]));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(block + 8 * r), _mm256_permute4x64_epi64(packed, 0xD8));
    }
}

// Single-precision division is exact enough here: for t < 2^24 the rounded
// quotient never reaches the next integer unless the exact one does.
uint64_t quantiseAvx2(const int16_t* zigzag, const int32_t* divisors, int32_t* q) {
    uint64_t nonZero = 0;
    for (int k = 0; k < 64; k += 8) {
        __m256i x = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(zigzag + k)));
        __m256i d = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(divisors + k));
        __m256i t = _mm256_add_epi32(_mm256_abs_epi32(x), _mm256_srai_epi32(d, 1));
        __m256i magnitude = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(t), _mm256_cvtepi32_ps(d)));
        __m256i value = _mm256_sign_epi32(magnitude, x);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(q + k), value);
        __m256i zero = _mm256_cmpeq_epi32(value, _mm256_setzero_si256());
        uint32_t zeros = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(zero)));
        nonZero |= static_cast<uint64_t>(~zeros & 0xFF) << k;
    }
    return nonZero;
}

}  // namespace encoder

KELJPEG_END_AVX2

#endif
