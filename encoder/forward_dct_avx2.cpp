// Forward DCT and quantisation with AVX2: eight columns or rows per vector in
// the transform, sixteen coefficients per vector in the quantiser. Same bits
// as transformQuantiseScalar.
#include "encoder/kernels.h"

#if KELJPEG_X86_KERNELS
#include <immintrin.h>

#include <array>

#include "context/jpeg_constants.h"

KELJPEG_BEGIN_AVX2

#include "runtime/simd_avx2_lanes.h"

#include "encoder/forward_dct_simd.h"

namespace encoder {

namespace {

// GCC builds a _mm256_set1_epi32 constant from an immediate in three
// instructions, again in every call; a broadcast of a 32-bit value is one
// load from the constant pool. The transform uses fifteen constants per block.
inline __m256i broadcast(int32_t v) { return _mm256_broadcastd_epi32(_mm_cvtsi32_si128(v)); }

struct Avx2 : simd::Avx2Lanes {
    static T constant(int32_t v) { return broadcast(v); }
    template <int32_t C>
    static T mulConst(T a) { return _mm256_mullo_epi32(a, broadcast(C)); }
};
using simd::transpose8x8;

// The zero flags of the 64 coefficients leave the quantiser as bytes in four
// 16-byte sources: packing columns (0, 1) with (2, 3) puts columns 0 and 2 in
// the low half and 1 and 3 in the high half, and likewise for columns 4 to 7.
// So position p = 8c + r lies in source 2 (c / 4) + c % 2 at byte
// 8 ((c / 2) % 2) + r: position 19 (column 2, row 3) in source 0 at byte 11.
constexpr int sourceOf(int p) { return 2 * (p / 32) + (p / 8) % 2; }
constexpr int byteOf(int p) { return 8 * ((p / 16) % 2) + p % 8; }

// For each half of the zig-zag sequence (a vector of 32 flags) and each
// source, the byte shuffle that takes that source's flags to their zig-zag
// places (-128 elsewhere, so that the four shuffles are ORed together).
struct ZigzagShuffles {
    alignas(32) int8_t bytes[2][4][32];
};
constexpr ZigzagShuffles buildShuffles() {
    ZigzagShuffles s{};
    for (int half = 0; half < 2; ++half)
        for (int source = 0; source < 4; ++source)
            for (int i = 0; i < 32; ++i) {
                int p = kZigzagColumnOrder.position[32 * half + i];
                s.bytes[half][source][i] = static_cast<int8_t>(sourceOf(p) == source ? byteOf(p) : -128);
            }
    return s;
}
constexpr ZigzagShuffles kShuffles = buildShuffles();

inline __m256i shuffleFor(int half, int source) {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(kShuffles.bytes[half][source]));
}

// Columns j and j + 1 per vector c[j / 2], quantised as the plan describes;
// the DC value alone is not limited. The zero flags then become bytes, go to
// zig-zag order and leave one bit each.
inline uint64_t quantiseColumns(const __m256i c[4], const QuantPlan& plan, int16_t q[64]) {
    __m256i zero[4];
    for (int i = 0; i < 4; ++i) {
        const __m256i* bias = reinterpret_cast<const __m256i*>(plan.bias + 16 * i);
        const __m256i* reciprocal = reinterpret_cast<const __m256i*>(plan.reciprocal + 16 * i);
        const __m256i* scale = reinterpret_cast<const __m256i*>(plan.scale + 16 * i);
        __m256i t = _mm256_add_epi16(_mm256_abs_epi16(c[i]), _mm256_loadu_si256(bias));
        __m256i m = _mm256_mulhi_epu16(t, _mm256_loadu_si256(reciprocal));
        m = _mm256_mulhi_epu16(m, _mm256_loadu_si256(scale));
        const __m256i limit = i == 0 ? _mm256_setr_epi16(0x7FFF, kLargestAc, kLargestAc, kLargestAc, kLargestAc,
                                                         kLargestAc, kLargestAc, kLargestAc, kLargestAc, kLargestAc,
                                                         kLargestAc, kLargestAc, kLargestAc, kLargestAc, kLargestAc,
                                                         kLargestAc)
                                     : _mm256_set1_epi16(kLargestAc);
        __m256i v = _mm256_sign_epi16(_mm256_min_epi16(m, limit), c[i]);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(q + 16 * i), v);
        zero[i] = _mm256_cmpeq_epi16(v, _mm256_setzero_si256());
    }

    __m256i low = _mm256_packs_epi16(zero[0], zero[1]), high = _mm256_packs_epi16(zero[2], zero[3]);
    __m256i sources[4] = {_mm256_permute4x64_epi64(low, 0x44), _mm256_permute4x64_epi64(low, 0xEE),
                          _mm256_permute4x64_epi64(high, 0x44), _mm256_permute4x64_epi64(high, 0xEE)};
    uint64_t zeros = 0;
    for (int half = 0; half < 2; ++half) {
        __m256i flags = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(sources[0], shuffleFor(half, 0)),
                                                        _mm256_shuffle_epi8(sources[1], shuffleFor(half, 1))),
                                        _mm256_or_si256(_mm256_shuffle_epi8(sources[2], shuffleFor(half, 2)),
                                                        _mm256_shuffle_epi8(sources[3], shuffleFor(half, 3))));
        zeros |= static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(flags))) << (32 * half);
    }
    return ~zeros;
}

}  // namespace

uint64_t quantiseAvx2(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]) {
    __m256i c[4];
    for (int i = 0; i < 4; ++i) c[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(coefficients + 16 * i));
    return quantiseColumns(c, plan, q);
}

// The last pass leaves column k of all rows in x[k], which is already the
// quantiser's order. The transform keeps 8-bit samples' coefficients within
// +-8192, so packing them to 16 bits loses nothing.
uint64_t transformQuantiseAvx2(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]) {
    __m256i x[8], work[8];
    for (int k = 0; k < 8; ++k)
        x[k] = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + 8 * k)));
    fdct_simd::columnPass<Avx2>(x, work);
    transpose8x8(work);
    fdct_simd::rowPass<Avx2>(work, x);
    __m256i c[4];
    for (int i = 0; i < 4; ++i) c[i] = _mm256_permute4x64_epi64(_mm256_packs_epi32(x[2 * i], x[2 * i + 1]), 0xD8);
    return quantiseColumns(c, plan, q);
}

}  // namespace encoder

KELJPEG_END_AVX2

#endif
