// The decoder's exchangeable inner loops. Each has a plain version (the
// reference) and, where the processor allows, vector versions that give the
// same bits; decoderKernels() hands out the set chosen once per process for
// this processor, and each decode's prolog keeps it in its context. The environment variable KELJPEG_FORCE_SCALAR (any value
// but "0") or forceScalarKernels(true) selects the plain set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct JpegContext;
struct ComponentRecord;
struct ProgressiveDecoders;
struct McuBlockStep;

#include "runtime/simd_dispatch.h"

struct DecoderKernels {
    const char* name;  // "scalar", "sse2", "avx2" or "neon"
    // decodeMcuBlocks (mcu_decode.h).
    int32_t (*decodeMcuBlocks)(JpegContext* context, const McuBlockStep& step);
    // inverseDct8x8 then clampBlock, in place.
    void (*inverseDctClamp)(int16_t* block);
    // inverseDct4x4 then the 16 samples clamped to -128..127, in place.
    void (*inverseDct4x4Clamp)(int16_t* block);
    // Eight pixels of one block row: blue, green, red from Y, Cb, Cr samples.
    void (*colourRow8)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
    // The first `rows` rows (1..8) of whole block rows: eight pixels each, out
    // advancing by stride bytes per row.
    void (*colourBlock)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                        int32_t rows);
    // Standard mode's conversion of whole block rows (samples -128..127): each
    // term rounded from 16 fraction bits, as standardYccToRgb computes it.
    void (*roundedColourBlock)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out,
                               ptrdiff_t stride, int32_t rows);
    // The same with chroma at half width, read where it lies: four Cb and
    // four Cr samples (each taken for two pixels) per eight pixels. The
    // blocks take chroma rows 8 samples apart, one per row, or with tall one
    // per two rows (4:2:0: rows 0 and 1 read chroma row 0).
    void (*colourRow8Wide)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
    void (*colourBlockHalved)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out,
                              ptrdiff_t stride, int32_t rows, bool tall);
    void (*roundedColourBlockHalved)(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out,
                                     ptrdiff_t stride, int32_t rows, bool tall);
    // The first `rows` rows (1..8) of a block as grey pixels: each sample's
    // low byte, level shifted (-128 gives 0, 127 gives 255), eight per row.
    void (*greyBlock)(const int16_t* y, uint8_t* out, ptrdiff_t stride, int32_t rows);
    // The block decoders of progressive scans.
    const ProgressiveDecoders* progressive;
};

const DecoderKernels& decoderKernels();
// Every set this build has that this processor can run, the plain one first:
// what tests compare with each other.
std::vector<const DecoderKernels*> runnableDecoderKernels();
// Tests: true selects the plain set from now on, false the processor's best.
void forceScalarKernels(bool scalar);

// The plain versions.
void inverseDctClampScalar(int16_t* block);
void inverseDct4x4ClampScalar(int16_t* block);
void colourRow8Scalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
// Standard mode's rounded conversion, `count` (1..8) pixels.
void roundedColourRowScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, int32_t count, uint8_t* out);
void roundedColourRow8Scalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourRow8WideScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourBlockHalvedScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                             int32_t rows, bool tall);
void greyBlockScalar(const int16_t* y, uint8_t* out, ptrdiff_t stride, int32_t rows);
void roundedColourRow8WideScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
// The quick Huffman path (block_decode_fast.cpp).
[[nodiscard]] int32_t decodeMcuBlocksFast(JpegContext* context, const McuBlockStep& step);

#if KELJPEG_X86_KERNELS
void inverseDctClampSse2(int16_t* block);
void inverseDct4x4ClampSse2(int16_t* block);
void inverseDctClampAvx2(int16_t* block);
void greyBlockSse2(const int16_t* y, uint8_t* out, ptrdiff_t stride, int32_t rows);
void colourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void roundedColourRow8Sse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void roundedColourRow8Avx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourRow8Avx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourBlockAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                     int32_t rows);
void colourRow8WideSse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void roundedColourRow8WideSse2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourRow8WideAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourBlockHalvedAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                           int32_t rows, bool tall);
void roundedColourRow8WideAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void roundedColourBlockAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                            int32_t rows);
void roundedColourBlockHalvedAvx2(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out,
                                  ptrdiff_t stride, int32_t rows, bool tall);
#endif
#if KELJPEG_NEON_KERNELS
void inverseDctClampNeon(int16_t* block);
void colourRow8Neon(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
void colourRow8WideNeon(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out);
#endif
