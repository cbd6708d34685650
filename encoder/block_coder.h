// Block entropy coding: one MCU of blocks through the forward DCT,
// quantisation and the Huffman tables into the bit writer.
#pragma once

#include <cstdint>

#include "encoder/kernels.h"

struct BitstreamFile;
struct ComponentRecord;
struct JpegContext;

namespace encoder {

// Size category and appended bits of a value (T.81 F.1.2.1): size is the bit
// length of |v|; the bits are v itself, or the low size bits of v - 1 when v
// is negative.
struct Magnitude {
    int16_t size;
    int16_t bits;
};
constexpr int32_t kMagnitudeLimit = 2047;  // the table covers -2047..2047
Magnitude magnitudeOf(int32_t v);

// Quantises one block of coefficients (natural order) with the record's
// divisors and codes its DC difference and AC run/size symbols.
void codeBlock(BitstreamFile* bf, ComponentRecord& record, const int16_t block[64]);

// codeBlock for a block already quantised by a kernel's transformQuantise:
// q in column order, nonZero its zig-zag mask. Same bits as codeBlock.
void codeQuantisedBlock(BitstreamFile* bf, ComponentRecord& record, const int16_t q[64], uint64_t nonZero);

// What the coder needs for the MCUs of one call: the kernels chosen when it
// was prepared and each component's divisors in the kernels' form.
struct McuCoder {
    const EncoderKernels* kernels;
    QuantPlan plans[4];
};
void prepareMcuCoder(const JpegContext* context, McuCoder& coder);

// Codes one MCU of level-shifted samples, each component's blocks in turn
// (64 samples row by row each, left unchanged), with the coder's kernels,
// then counts it for the restart interval. Failures show only in the
// bitstream's status.
void encodeMcu(JpegContext* context, const McuCoder& coder, const int16_t* samples);

// The two ways through an MCU's blocks the kernel sets choose from.
void codeMcuBlocksPlain(JpegContext* context, const McuCoder& coder, const int16_t* samples);
void codeMcuBlocksQuick(JpegContext* context, const McuCoder& coder, const int16_t* samples);

}  // namespace encoder
