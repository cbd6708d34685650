// Eight blue-green-red pixels to level-shifted Y, Cb, Cr samples with NEON:
// the sums of ycc_convert_simd.h in 32-bit lanes, planes split and joined by
// the structured loads and stores.
#include "encoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

namespace encoder {

namespace {

inline int16x4_t component(int16x4_t r, int16x4_t g, int16x4_t b, int16_t fr, int16_t fg, int16_t fb,
                           int32_t constant) {
    int32x4_t sum = vmlal_n_s16(vmlal_n_s16(vmull_n_s16(r, fr), g, fg), b, fb);
    return vmovn_s32(vshrq_n_s32(vaddq_s32(sum, vdupq_n_s32(constant)), 12));
}

}  // namespace

void yccRow8Neon(const uint8_t* bgr, int16_t* out) {
    uint8x8x3_t pixels = vld3_u8(bgr);
    int16x8_t b = vreinterpretq_s16_u16(vmovl_u8(pixels.val[0]));
    int16x8_t g = vreinterpretq_s16_u16(vmovl_u8(pixels.val[1]));
    int16x8_t r = vreinterpretq_s16_u16(vmovl_u8(pixels.val[2]));
    int16x8x3_t samples;
    for (int half = 0; half < 2; ++half) {
        int16x4_t rh = half ? vget_high_s16(r) : vget_low_s16(r);
        int16x4_t gh = half ? vget_high_s16(g) : vget_low_s16(g);
        int16x4_t bh = half ? vget_high_s16(b) : vget_low_s16(b);
        int16x4_t y = component(rh, gh, bh, 1225, 2404, 467, -522240);
        int16x4_t cb = component(rh, gh, bh, -691, -1357, 2048, 2048);
        int16x4_t cr = component(rh, gh, bh, 2048, -1715, -333, 2048);
        if (half) {
            samples.val[0] = vcombine_s16(vget_low_s16(samples.val[0]), y);
            samples.val[1] = vcombine_s16(vget_low_s16(samples.val[1]), cb);
            samples.val[2] = vcombine_s16(vget_low_s16(samples.val[2]), cr);
        } else {
            samples.val[0] = vcombine_s16(y, y);
            samples.val[1] = vcombine_s16(cb, cb);
            samples.val[2] = vcombine_s16(cr, cr);
        }
    }
    vst3q_s16(out, samples);
}

}  // namespace encoder

#endif
