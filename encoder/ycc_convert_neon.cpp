// Blue-green-red pixels to level-shifted Y, Cb and Cr with NEON: the sums
// of ycc_convert_simd.h in 32-bit lanes, the planes split by the structured
// loads; and bytes less 128 for grey and raw samples.
#include "encoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

namespace encoder {

namespace {

struct Planes {
    int16x8_t b, g, r;
};

inline Planes planesOf(uint8x8x3_t pixels) {
    return Planes{vreinterpretq_s16_u16(vmovl_u8(pixels.val[0])), vreinterpretq_s16_u16(vmovl_u8(pixels.val[1])),
                  vreinterpretq_s16_u16(vmovl_u8(pixels.val[2]))};
}

inline int16x4_t component(int16x4_t r, int16x4_t g, int16x4_t b, int16_t fr, int16_t fg, int16_t fb,
                           int32_t constant) {
    int32x4_t sum = vmlal_n_s16(vmlal_n_s16(vmull_n_s16(r, fr), g, fg), b, fb);
    return vmovn_s32(vshrq_n_s32(vaddq_s32(sum, vdupq_n_s32(constant)), 12));
}

inline int16x8_t component8(const Planes& p, int16_t fr, int16_t fg, int16_t fb, int32_t constant) {
    return vcombine_s16(
        component(vget_low_s16(p.r), vget_low_s16(p.g), vget_low_s16(p.b), fr, fg, fb, constant),
        component(vget_high_s16(p.r), vget_high_s16(p.g), vget_high_s16(p.b), fr, fg, fb, constant));
}

inline void luma8(const Planes& p, int16_t* y) { vst1q_s16(y, component8(p, 1225, 2404, 467, -522240)); }
inline void chroma8(const Planes& p, int16_t* cb, int16_t* cr) {
    vst1q_s16(cb, component8(p, -691, -1357, 2048, 2048));
    vst1q_s16(cr, component8(p, 2048, -1715, -333, 2048));
}

}  // namespace

void yccPixels16Neon(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    Planes pa = planesOf(vld3_u8(a)), pb = planesOf(vld3_u8(b));
    luma8(pa, out.yA);
    luma8(pb, out.yB);
    chroma8(pa, out.cbA, out.crA);
    chroma8(pb, out.cbB, out.crB);
}

void yccEven16Neon(const uint8_t* bgr, const YccRowOut& out) {
    uint8x16x3_t pixels = vld3q_u8(bgr);
    uint8x8x3_t low = {{vget_low_u8(pixels.val[0]), vget_low_u8(pixels.val[1]), vget_low_u8(pixels.val[2])}};
    uint8x8x3_t high = {{vget_high_u8(pixels.val[0]), vget_high_u8(pixels.val[1]), vget_high_u8(pixels.val[2])}};
    luma8(planesOf(low), out.yA);
    luma8(planesOf(high), out.yB);
    // The even pixels' bytes are the low bytes of the 16-bit pairs.
    Planes even{vandq_s16(vreinterpretq_s16_u8(pixels.val[0]), vdupq_n_s16(0xFF)),
                vandq_s16(vreinterpretq_s16_u8(pixels.val[1]), vdupq_n_s16(0xFF)),
                vandq_s16(vreinterpretq_s16_u8(pixels.val[2]), vdupq_n_s16(0xFF))};
    chroma8(even, out.cbA, out.crA);
}

void luma16Neon(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    luma8(planesOf(vld3_u8(a)), out.yA);
    luma8(planesOf(vld3_u8(b)), out.yB);
}

void levelShiftBlockNeon(const uint8_t* bytes, intptr_t stride, int16_t block[64]) {
    for (int y = 0; y < 8; ++y, bytes += stride)
        vst1q_s16(block + 8 * y, vsubq_s16(vreinterpretq_s16_u16(vmovl_u8(vld1_u8(bytes))), vdupq_n_s16(128)));
}

}  // namespace encoder

#endif
