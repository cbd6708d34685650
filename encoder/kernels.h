// The encoder's exchangeable inner loops: plain versions (the reference) and
// vector versions with the same bits, chosen once per process for this
// processor. KELJPEG_FORCE_SCALAR (any value but "0") or
// forceScalarEncoderKernels(true) selects the plain set.
#pragma once

#include <cstdint>

#include "runtime/simd_dispatch.h"

struct BitstreamFile;
struct ComponentRecord;

namespace encoder {

struct EncoderKernels {
    const char* name;
    bool plain;  // the plain set: blocks go through codeBlock
    void (*forwardDct)(int16_t block[64]);
    // Quantises 64 coefficients given in zig-zag order with the divisors
    // (zig-zag order): q = sign(x) * ((|x| + D / 2) / D). Returns a mask with
    // bit k set where q[k] is not 0.
    uint64_t (*quantise)(const int16_t* zigzag, const int32_t* divisors, int32_t* q);
    // Eight blue-green-red pixels to level-shifted Y, Cb, Cr, three 16-bit
    // samples per pixel side by side, as the rectangle converter makes them.
    void (*yccRow8)(const uint8_t* bgr, int16_t* out);
};

const EncoderKernels& encoderKernels();
void forceScalarEncoderKernels(bool scalar);

// codeBlock with the chosen kernels: quantises the whole block at once and
// codes only its non-zero coefficients. Same bits as codeBlock.
void codeBlockFast(BitstreamFile* bf, ComponentRecord& record, const int16_t block[64],
                   const EncoderKernels& kernels);

uint64_t quantiseScalar(const int16_t* zigzag, const int32_t* divisors, int32_t* q);
void yccRow8Scalar(const uint8_t* bgr, int16_t* out);
#if KELJPEG_X86_KERNELS
void forwardDctSse2(int16_t block[64]);
void forwardDctAvx2(int16_t block[64]);
uint64_t quantiseSse2(const int16_t* zigzag, const int32_t* divisors, int32_t* q);
uint64_t quantiseAvx2(const int16_t* zigzag, const int32_t* divisors, int32_t* q);
void yccRow8Sse2(const uint8_t* bgr, int16_t* out);
void yccRow8Avx2(const uint8_t* bgr, int16_t* out);
#endif
#if KELJPEG_NEON_KERNELS
void forwardDctNeon(int16_t block[64]);
uint64_t quantiseNeon(const int16_t* zigzag, const int32_t* divisors, int32_t* q);
void yccRow8Neon(const uint8_t* bgr, int16_t* out);
#endif

}  // namespace encoder
