// The encoder's exchangeable inner loops: plain versions (the reference) and
// vector versions with the same bits, chosen once per process for this
// processor. KELJPEG_FORCE_SCALAR (any value but "0") or
// forceScalarEncoderKernels(true) selects the plain set.
#pragma once

#include <cstdint>
#include <vector>

#include "context/jpeg_constants.h"
#include "runtime/simd_dispatch.h"

struct JpegContext;

namespace encoder {

struct McuCoder;

// The coefficients leave the kernels column by column, as the transform's
// last pass holds them (one column per vector): position 8c + r holds row r
// of column c. The zig-zag sequence's third coefficient, row 1 of column 0
// (natural 8), is at position 1.
constexpr uint32_t columnOrderOf(uint32_t natural) { return 8 * (natural % 8) + natural / 8; }
struct ZigzagPositions {
    uint8_t position[64];
};
constexpr ZigzagPositions buildZigzagPositions() {
    ZigzagPositions z{};
    for (int k = 0; k < 64; ++k) z.position[k] = static_cast<uint8_t>(columnOrderOf(zigzagToNatural[k]));
    return z;
}
// Where the coefficient k of the zig-zag sequence lies in column order.
inline constexpr ZigzagPositions kZigzagColumnOrder = buildZigzagPositions();

// One component's divisors (8 times a table entry, so 8..2040) prepared for
// the quantisers, column order. The vector quantisers divide without a
// division: q = ((|x| + bias) * reciprocal >> 16) * scale >> 16, which is
// (|x| + D / 2) / D exactly for every 16-bit x. Each divisor D with
// l = floor(log2 D) takes reciprocal = 2^(16 + l) / D rounded up when that
// rounding errs by at most 2^l, else rounded down with 1 added to the
// dividend; scale = 2^(16 - l) is the final shift right by l. For D = 24:
// l = 4, 2^20 / 24 = 43690.67 rounds up to 43691 with an error of 8 <= 16,
// so 1000 + 12 gives 1012 * 43691 >> 16 = 674, then 674 * 4096 >> 16 = 42.
struct alignas(32) QuantPlan {
    int32_t divisors[64];
    uint16_t bias[64];        // D / 2, plus 1 where the reciprocal was rounded down
    uint16_t reciprocal[64];
    uint16_t scale[64];
};
// From the divisors in zig-zag order, as a component record holds them.
void prepareQuantPlan(const int32_t zigzagDivisors[64], QuantPlan& plan);

// The largest AC value the coder writes; larger ones are written as this.
constexpr int32_t kLargestAc = 2047;

// Plain twin of the row converters' Y, Cb and Cr for one blue-green-red pixel.
struct YccSample {
    int16_t y, cb, cr;
};
inline YccSample yccOf(const uint8_t* bgr) {
    int32_t b = bgr[0], g = bgr[1], r = bgr[2];
    // -522240 is -128 * 4096 + 2048: Y rounded and centred on 0 in one step.
    return YccSample{static_cast<int16_t>((1225 * r + 2404 * g + 467 * b - 522240) >> 12),
                     static_cast<int16_t>((2048 * b - 1357 * g - 691 * r + 2048) >> 12),
                     static_cast<int16_t>((2048 * r - 1715 * g - 333 * b + 2048) >> 12)};
}

// Where a row converter puts its samples: eight to each pointer.
struct YccRowOut {
    int16_t *yA, *yB;    // Y of pixels 0..7 and 8..15
    int16_t *cbA, *cbB;  // Cb of pixels 0..7 and 8..15 (yccPixels16), or of the even pixels (cbA, yccEven16)
    int16_t *crA, *crB;
};

struct EncoderKernels {
    const char* name;
    // One MCU's blocks (level-shifted samples, 64 a block) coded into the
    // bit writer: the plain set takes each block through forwardDct and
    // codeBlock, the others through transformQuantise and the mask coder.
    void (*codeMcuBlocks)(JpegContext* context, const McuCoder& coder, const int16_t* samples);
    // The forward DCT of 64 level-shifted samples (-128..128, row by row,
    // left alone), quantised with the plan into q (column order; AC values
    // beyond +-kLargestAc limited to it, DC as it is). Returns a mask with
    // bit k set where the coefficient k of the zig-zag sequence is not 0.
    uint64_t (*transformQuantise)(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]);
    // Its quantising half alone, from coefficients in column order: the
    // coder never calls it, the tests give it every 16-bit input.
    uint64_t (*quantise)(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]);
    // Sixteen blue-green-red pixels, eight at a and eight at b, to Y, Cb and
    // Cr (yccOf) for all sixteen.
    void (*yccPixels16)(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
    // Sixteen pixels side by side: Y for all, Cb and Cr for the even ones
    // (0, 2, .. 14: chroma halved across, the left pixel of each pair).
    void (*yccEven16)(const uint8_t* bgr, const YccRowOut& out);
    // Y alone for eight pixels at a and eight at b.
    void (*luma16)(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
    // Eight rows of eight bytes, `stride` apart, less 128 each: a grey block.
    void (*levelShiftBlock)(const uint8_t* bytes, intptr_t stride, int16_t block[64]);
};

const EncoderKernels& encoderKernels();
// Every set this processor runs, the plain one first: what the tests compare.
std::vector<const EncoderKernels*> runnableEncoderKernels();
void forceScalarEncoderKernels(bool scalar);

uint64_t transformQuantiseScalar(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]);
uint64_t quantiseScalar(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]);
void yccPixels16Scalar(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void yccEven16Scalar(const uint8_t* bgr, const YccRowOut& out);
void luma16Scalar(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void levelShiftBlockScalar(const uint8_t* bytes, intptr_t stride, int16_t block[64]);
// The zig-zag mask of coefficients given by a mask over column order (bit p
// for position p): the vector quantisers without a byte shuffle use it.
uint64_t zigzagMaskOf(uint64_t columnOrderMask);

#if KELJPEG_X86_KERNELS
uint64_t transformQuantiseSse2(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]);
uint64_t transformQuantiseAvx2(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]);
uint64_t quantiseSse2(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]);
uint64_t quantiseAvx2(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]);
void yccPixels16Sse2(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void yccEven16Sse2(const uint8_t* bgr, const YccRowOut& out);
void luma16Sse2(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void yccPixels16Avx2(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void yccEven16Avx2(const uint8_t* bgr, const YccRowOut& out);
void luma16Avx2(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void levelShiftBlockSse2(const uint8_t* bytes, intptr_t stride, int16_t block[64]);
#endif
#if KELJPEG_NEON_KERNELS
uint64_t transformQuantiseNeon(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]);
uint64_t quantiseNeon(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]);
void yccPixels16Neon(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void yccEven16Neon(const uint8_t* bgr, const YccRowOut& out);
void luma16Neon(const uint8_t* a, const uint8_t* b, const YccRowOut& out);
void levelShiftBlockNeon(const uint8_t* bytes, intptr_t stride, int16_t block[64]);
#endif

}  // namespace encoder
