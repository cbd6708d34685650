// The 8x8 inverse DCT with its clamp, eight columns or rows per AVX2 vector.
// Same bits as inverseDct8x8 followed by clampBlock.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

#include "runtime/simd_avx2_lanes.h"

// Included here so that its templates are compiled for AVX2 as well.
#include "decoder/inverse_dct_simd.h"

namespace {

using Avx2 = simd::Avx2Lanes;
using simd::transpose8x8;
using simd::truncate16;

// A block whose only non-zero coefficient is the DC term gives 64 equal
// samples: (dc * C4 + 256) >> 9 after the columns, that times C4 after the
// rows, computed here with the transform's own wrapping and shifts.
inline bool onlyDc(const int16_t* block) {
    const __m256i* rows = reinterpret_cast<const __m256i*>(block);
    const __m256i allButDc =
        _mm256_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    __m256i any = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(_mm256_loadu_si256(rows), allButDc), _mm256_loadu_si256(rows + 1)),
        _mm256_or_si256(_mm256_loadu_si256(rows + 2), _mm256_loadu_si256(rows + 3)));
    return _mm256_testz_si256(any, any) != 0;
}

inline int16_t dcSample(int16_t dc) {
    uint32_t column = static_cast<uint32_t>(static_cast<int32_t>(dc) * idct_simd::C4) + 256u;
    int32_t workspace = static_cast<int32_t>(column) >> 9;
    uint32_t row = static_cast<uint32_t>(workspace) * static_cast<uint32_t>(idct_simd::C4) + 65536u;
    int32_t sample = static_cast<int16_t>(static_cast<int32_t>(row) >> 17);
    return static_cast<int16_t>(sample < -128 ? -128 : (sample > 127 ? 127 : sample));
}

}  // namespace

void inverseDctClampAvx2(int16_t* block) {
    if (onlyDc(block)) {
        __m256i fill = _mm256_set1_epi16(dcSample(block[0]));
        __m256i* rows = reinterpret_cast<__m256i*>(block);
        for (int i = 0; i < 4; ++i) _mm256_storeu_si256(rows + i, fill);
        return;
    }
    __m256i x[8], ws[8];
    for (int r = 0; r < 8; ++r)
        x[r] = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + r * 8)));
    idct_simd::columnPass<Avx2>(x, ws);
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

KELJPEG_END_AVX2

#endif
