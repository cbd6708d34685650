// YCbCr to blue-green-red for one block row of eight pixels with NEON: the
// integer products of colour_convert_simd.h, saturated to bytes and stored
// interleaved.
#include "decoder/kernels.h"

#if KELJPEG_NEON_KERNELS
#include <arm_neon.h>

#include "decoder/colour_convert_simd.h"

namespace {

inline int16x8_t asInt8(int16x8_t v) { return vshrq_n_s16(vshlq_n_s16(v, 8), 8); }

// whole * |c| + ((|c| * fraction) >> 16), given the sign of c.
inline int16x8_t signedProduct(int16x8_t c, colour_simd::Factor f) {
    uint16x8_t magnitude = vreinterpretq_u16_s16(vabsq_s16(c));
    uint32x4_t lo = vmull_n_u16(vget_low_u16(magnitude), f.fraction);
    uint32x4_t hi = vmull_n_u16(vget_high_u16(magnitude), f.fraction);
    int16x8_t product = vreinterpretq_s16_u16(vcombine_u16(vshrn_n_u32(lo, 16), vshrn_n_u32(hi, 16)));
    if (f.whole) product = vaddq_s16(product, vreinterpretq_s16_u16(magnitude));
    uint16x8_t negative = vcltq_s16(c, vdupq_n_s16(0));
    return vbslq_s16(negative, vnegq_s16(product), product);
}

}  // namespace

namespace {

template <bool wide>
inline int16x8_t loadRow(const int16_t* samples) {
    if (!wide) return vld1q_s16(samples);
    const int16x4_t four = vld1_s16(samples);
    const int16x4x2_t pairs = vzip_s16(four, four);
    return vcombine_s16(pairs.val[0], pairs.val[1]);
}

template <bool wide>
void colourRow(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    int16x8_t luma = asInt8(loadRow<false>(y)), blueDiff = asInt8(loadRow<wide>(cb)), redDiff = asInt8(loadRow<wide>(cr));
    int16x8_t base = vaddq_s16(luma, vdupq_n_s16(128));
    uint8x8x3_t pixels;
    pixels.val[0] = vqmovun_s16(vaddq_s16(base, signedProduct(blueDiff, colour_simd::kBlueFromCb)));
    pixels.val[1] = vqmovun_s16(vsubq_s16(vsubq_s16(base, signedProduct(blueDiff, colour_simd::kGreenFromCb)),
                                          signedProduct(redDiff, colour_simd::kGreenFromCr)));
    pixels.val[2] = vqmovun_s16(vaddq_s16(base, signedProduct(redDiff, colour_simd::kRedFromCr)));
    vst3_u8(out, pixels);
}

}  // namespace

void colourRow8Neon(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<false>(y, cb, cr, out);
}

void colourRow8WideNeon(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    colourRow<true>(y, cb, cr, out);
}

#endif
