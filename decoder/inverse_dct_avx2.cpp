// The 8x8 inverse DCT with its clamp, eight columns or rows per AVX2 vector.
// Same bits as inverseDct8x8 followed by clampBlock.
#include "decoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

KELJPEG_BEGIN_AVX2

// Included here so that its templates are compiled for AVX2 as well.
#include "decoder/inverse_dct_simd.h"

namespace {

struct Avx2 {
    using T = __m256i;
    static T add(T a, T b) { return _mm256_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm256_sub_epi32(a, b); }
    static T constant(int32_t v) { return _mm256_set1_epi32(v); }
    template <int N>
    static T shiftRight(T a) { return _mm256_srai_epi32(a, N); }
    template <int32_t C>
    static T mulConst(T a) { return _mm256_mullo_epi32(a, _mm256_set1_epi32(C)); }
};

inline void transpose8x8(__m256i* r) {
    __m256i t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm256_unpacklo_epi32(r[i], r[i + 1]);
        t[i + 1] = _mm256_unpackhi_epi32(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        u[i] = _mm256_unpacklo_epi64(t[i], t[i + 2]);
        u[i + 1] = _mm256_unpackhi_epi64(t[i], t[i + 2]);
        u[i + 2] = _mm256_unpacklo_epi64(t[i + 1], t[i + 3]);
        u[i + 3] = _mm256_unpackhi_epi64(t[i + 1], t[i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x20);
        r[i + 4] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x31);
    }
}

inline __m256i truncate16(__m256i v) { return _mm256_srai_epi32(_mm256_slli_epi32(v, 16), 16); }

}  // namespace

void inverseDctClampAvx2(int16_t* block) {
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
