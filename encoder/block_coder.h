// Block entropy coding: one MCU of blocks through the forward DCT,
// quantisation and the Huffman tables into the bit writer.
#pragma once

#include <cstdint>

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

// Codes the MCU held in context->enc.mcuBlocks, then counts it for the
// restart interval. Failures show only in the bitstream's status.
void jpegEncodeMcu(JpegContext* context);

}  // namespace encoder
