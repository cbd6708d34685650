// YCbCr to blue-green-red for one block row of eight pixels with NEON: the
// single-precision products of colour_convert_sse2.cpp, saturated to bytes
// and stored interleaved.
#include "decoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

#include "decoder/colour_convert_simd.h"

namespace {

inline int16x8_t asInt8(int16x8_t v) { return vshrq_n_s16(vshlq_n_s16(v, 8), 8); }

inline int16x8_t truncatedProduct(int16x8_t c, float k) {
    float32x4_t lo = vmulq_n_f32(vcvtq_f32_s32(vmovl_s16(vget_low_s16(c))), k);
    float32x4_t hi = vmulq_n_f32(vcvtq_f32_s32(vmovl_s16(vget_high_s16(c))), k);
    return vcombine_s16(vmovn_s32(vcvtq_s32_f32(lo)), vmovn_s32(vcvtq_s32_f32(hi)));
}

}  // namespace

void colourRow8Neon(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    int16x8_t luma = asInt8(vld1q_s16(y)), blueDiff = asInt8(vld1q_s16(cb)), redDiff = asInt8(vld1q_s16(cr));
    int16x8_t base = vaddq_s16(luma, vdupq_n_s16(128));
    uint8x8x3_t pixels;
    pixels.val[0] = vqmovun_s16(vaddq_s16(base, truncatedProduct(blueDiff, colour_simd::kBlueFromCb)));
    pixels.val[1] = vqmovun_s16(vaddq_s16(vaddq_s16(base, truncatedProduct(blueDiff, colour_simd::kGreenFromCb)),
                                          truncatedProduct(redDiff, colour_simd::kGreenFromCr)));
    pixels.val[2] = vqmovun_s16(vaddq_s16(base, truncatedProduct(redDiff, colour_simd::kRedFromCr)));
    vst3_u8(out, pixels);
}

#endif
