// The 8x8 inverse DCT with its clamp, four columns or rows per NEON vector.
// Same bits as inverseDct8x8 followed by clampBlock.
#include "decoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

#include "decoder/inverse_dct_simd.h"

namespace {

struct Neon {
    using T = int32x4_t;
    static T add(T a, T b) { return vaddq_s32(a, b); }
    static T sub(T a, T b) { return vsubq_s32(a, b); }
    static T constant(int32_t v) { return vdupq_n_s32(v); }
    template <int N>
    static T shiftRight(T a) { return vshrq_n_s32(a, N); }
    template <int32_t C>
    static T mulConst(T a) { return vmulq_n_s32(a, C); }  // wraps at 32 bits
};

inline void transpose4x4(int32x4_t& r0, int32x4_t& r1, int32x4_t& r2, int32x4_t& r3) {
    int32x4x2_t a = vtrnq_s32(r0, r1), b = vtrnq_s32(r2, r3);
    r0 = vcombine_s32(vget_low_s32(a.val[0]), vget_low_s32(b.val[0]));
    r1 = vcombine_s32(vget_low_s32(a.val[1]), vget_low_s32(b.val[1]));
    r2 = vcombine_s32(vget_high_s32(a.val[0]), vget_high_s32(b.val[0]));
    r3 = vcombine_s32(vget_high_s32(a.val[1]), vget_high_s32(b.val[1]));
}

// Truncates to 16 bits as a 16-bit store would, then clamps to -128..127.
inline int16x4_t truncateAndClamp(int32x4_t v) {
    int16x4_t low = vmovn_s32(v);
    return vmax_s16(vmin_s16(low, vdup_n_s16(127)), vdup_n_s16(-128));
}

}  // namespace

void inverseDctClampNeon(int16_t* block) {
    int32x4_t ws[2][8];
    for (int half = 0; half < 2; ++half) {
        int32x4_t x[8];
        for (int r = 0; r < 8; ++r) x[r] = vmovl_s16(vld1_s16(block + r * 8 + half * 4));
        idct_simd::columnPass<Neon>(x, ws[half]);
    }
    for (int rowHalf = 0; rowHalf < 2; ++rowHalf) {
        int32x4_t x[8], out[8];
        for (int colHalf = 0; colHalf < 2; ++colHalf) {
            int32x4_t r0 = ws[colHalf][rowHalf * 4], r1 = ws[colHalf][rowHalf * 4 + 1];
            int32x4_t r2 = ws[colHalf][rowHalf * 4 + 2], r3 = ws[colHalf][rowHalf * 4 + 3];
            transpose4x4(r0, r1, r2, r3);
            x[colHalf * 4] = r0;
            x[colHalf * 4 + 1] = r1;
            x[colHalf * 4 + 2] = r2;
            x[colHalf * 4 + 3] = r3;
        }
        idct_simd::rowPass<Neon>(x, out);  // out[k]: output column k of four rows
        for (int colHalf = 0; colHalf < 2; ++colHalf) {
            int32x4_t r0 = out[colHalf * 4], r1 = out[colHalf * 4 + 1];
            int32x4_t r2 = out[colHalf * 4 + 2], r3 = out[colHalf * 4 + 3];
            transpose4x4(r0, r1, r2, r3);  // now rows rowHalf*4.. of columns colHalf*4..
            int16_t* at = block + rowHalf * 32 + colHalf * 4;
            vst1_s16(at, truncateAndClamp(r0));
            vst1_s16(at + 8, truncateAndClamp(r1));
            vst1_s16(at + 16, truncateAndClamp(r2));
            vst1_s16(at + 24, truncateAndClamp(r3));
        }
    }
}

#endif
