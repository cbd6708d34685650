// Forward DCT and quantisation with NEON, four columns, rows or coefficients
// per vector. Same bits as forwardDct and the quantisers of forward_dct.h.
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

}  // namespace

void forwardDctNeon(int16_t block[64]) {
    int32x4_t m[2][8];
    for (int half = 0; half < 2; ++half) {
        int32x4_t x[8];
        for (int k = 0; k < 8; ++k) x[k] = vmovl_s16(vld1_s16(block + 8 * k + 4 * half));
        fdct_simd::columnPass<Neon>(x, m[half]);
    }
    transpose8x8(m);
    int32x4_t out[2][8];
    for (int half = 0; half < 2; ++half) fdct_simd::rowPass<Neon>(m[half], out[half]);
    transpose8x8(out);
    for (int r = 0; r < 8; ++r) {
        vst1_s16(block + 8 * r, vmovn_s32(out[0][r]));
        vst1_s16(block + 8 * r + 4, vmovn_s32(out[1][r]));
    }
}

// Single-precision division is exact enough here: for t < 2^24 the rounded
// quotient never reaches the next integer unless the exact one does.
uint64_t quantiseNeon(const int16_t* zigzag, const int32_t* divisors, int32_t* q) {
    uint64_t nonZero = 0;
    for (int k = 0; k < 64; k += 4) {
        int32x4_t x = vmovl_s16(vld1_s16(zigzag + k));
        int32x4_t d = vld1q_s32(divisors + k);
        int32x4_t t = vaddq_s32(vabsq_s32(x), vshrq_n_s32(d, 1));
        int32x4_t magnitude = vcvtq_s32_f32(vdivq_f32(vcvtq_f32_s32(t), vcvtq_f32_s32(d)));
        int32x4_t value = vbslq_s32(vcltq_s32(x, vdupq_n_s32(0)), vnegq_s32(magnitude), magnitude);
        vst1q_s32(q + k, value);
        for (int i = 0; i < 4; ++i)
            if (q[k + i] != 0) nonZero |= uint64_t{1} << (k + i);
    }
    return nonZero;
}

}  // namespace encoder

#endif
