// Forward DCT and quantisation with NEON: four columns or rows per vector in
// the transform, eight coefficients per vector in the quantiser. Same bits as
// transformQuantiseScalar.
#include "encoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

#include "encoder/forward_dct_simd.h"

namespace encoder {

namespace {

struct Neon {
    using T = int32x4_t;
    static T add(T a, T b) { return vaddq_s32(a, b); }
    static T sub(T a, T b) { return vsubq_s32(a, b); }
    static T constant(int32_t v) { return vdupq_n_s32(v); }
    template <int N>
    static T shiftRight(T a) { return vshrq_n_s32(a, N); }
    template <int N>
    static T shiftLeft(T a) { return vshlq_n_s32(a, N); }
    template <int32_t C>
    static T mulConst(T a) { return vmulq_n_s32(a, C); }
};

inline void transpose4x4(int32x4_t& r0, int32x4_t& r1, int32x4_t& r2, int32x4_t& r3) {
    int32x4x2_t a = vtrnq_s32(r0, r1), b = vtrnq_s32(r2, r3);
    r0 = vcombine_s32(vget_low_s32(a.val[0]), vget_low_s32(b.val[0]));
    r1 = vcombine_s32(vget_low_s32(a.val[1]), vget_low_s32(b.val[1]));
    r2 = vcombine_s32(vget_high_s32(a.val[0]), vget_high_s32(b.val[0]));
    r3 = vcombine_s32(vget_high_s32(a.val[1]), vget_high_s32(b.val[1]));
}

inline void transpose8x8(int32x4_t m[2][8]) {
    for (int rowHalf = 0; rowHalf < 2; ++rowHalf)
        for (int colHalf = 0; colHalf < 2; ++colHalf)
            transpose4x4(m[colHalf][rowHalf * 4], m[colHalf][rowHalf * 4 + 1], m[colHalf][rowHalf * 4 + 2],
                         m[colHalf][rowHalf * 4 + 3]);
    for (int i = 0; i < 4; ++i) {
        int32x4_t swap = m[1][i];
        m[1][i] = m[0][i + 4];
        m[0][i + 4] = swap;
    }
}

// Quantises as the x86 kernels do, one column per vector: the two 16-bit
// multiply-highs as widening multiplies narrowed by 16 bits. The non-zero
// flags go to zig-zag order by one table look-up over all 64 and leave one
// bit each by weighted pairwise sums.
inline uint64_t quantiseColumns(const int16x8_t c[8], const QuantPlan& plan, int16_t q[64]) {
    uint8x16x4_t flags;
    for (int j = 0; j < 8; ++j) {
        uint16x8_t t = vaddq_u16(vreinterpretq_u16_s16(vabsq_s16(c[j])), vld1q_u16(plan.bias + 8 * j));
        uint16x8_t reciprocal = vld1q_u16(plan.reciprocal + 8 * j), scale = vld1q_u16(plan.scale + 8 * j);
        uint16x8_t h = vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(t), vget_low_u16(reciprocal)), 16),
                                    vshrn_n_u32(vmull_high_u16(t, reciprocal), 16));
        uint16x8_t magnitude = vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(h), vget_low_u16(scale)), 16),
                                            vshrn_n_u32(vmull_high_u16(h, scale), 16));
        uint16x8_t limit = vdupq_n_u16(kLargestAc);
        if (j == 0) limit = vsetq_lane_u16(0xFFFF, limit, 0);
        int16x8_t positive = vreinterpretq_s16_u16(vminq_u16(magnitude, limit));
        int16x8_t v = vbslq_s16(vcltzq_s16(c[j]), vnegq_s16(positive), positive);
        vst1q_s16(q + 8 * j, v);
        uint8x8_t nonZero = vmovn_u16(vtstq_s16(v, v));
        if (j % 2 == 0)
            flags.val[j / 2] = vcombine_u8(nonZero, nonZero);
        else
            flags.val[j / 2] = vcombine_u8(vget_low_u8(flags.val[j / 2]), nonZero);
    }
    const uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    uint8x16_t zigzag[4];
    for (int i = 0; i < 4; ++i)
        zigzag[i] = vandq_u8(vqtbl4q_u8(flags, vld1q_u8(kZigzagColumnOrder.position + 16 * i)), weights);
    uint8x16_t sums = vpaddq_u8(vpaddq_u8(zigzag[0], zigzag[1]), vpaddq_u8(zigzag[2], zigzag[3]));
    sums = vpaddq_u8(sums, sums);
    return vgetq_lane_u64(vreinterpretq_u64_u8(sums), 0);
}

}  // namespace

uint64_t quantiseNeon(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]) {
    int16x8_t c[8];
    for (int j = 0; j < 8; ++j) c[j] = vld1q_s16(coefficients + 8 * j);
    return quantiseColumns(c, plan, q);
}

uint64_t transformQuantiseNeon(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]) {
    int32x4_t m[2][8];
    for (int half = 0; half < 2; ++half) {
        int32x4_t x[8];
        for (int k = 0; k < 8; ++k) x[k] = vmovl_s16(vld1_s16(samples + 8 * k + 4 * half));
        fdct_simd::columnPass<Neon>(x, m[half]);
    }
    transpose8x8(m);
    int32x4_t out[2][8];
    for (int half = 0; half < 2; ++half) fdct_simd::rowPass<Neon>(m[half], out[half]);
    int16x8_t c[8];  // column k, as out[0][k] and out[1][k] hold it
    for (int k = 0; k < 8; ++k) c[k] = vcombine_s16(vmovn_s32(out[0][k]), vmovn_s32(out[1][k]));
    return quantiseColumns(c, plan, q);
}

}  // namespace encoder

#endif
