#include "encoder/block_coder.h"

#include <array>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/encode_prolog.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"
#include "encoder/kernels.h"

namespace encoder {

namespace {

constexpr int kMagnitudeEntries = 2 * kMagnitudeLimit + 1;

constexpr std::array<Magnitude, kMagnitudeEntries> buildMagnitudes() {
    std::array<Magnitude, kMagnitudeEntries> table{};
    for (int32_t v = -kMagnitudeLimit; v <= kMagnitudeLimit; ++v) {
        int32_t a = v < 0 ? -v : v;
        int16_t size = 0;
        while (a >> size) ++size;
        int32_t bits = v >= 0 ? v : (v - 1) & ((1 << size) - 1);
        table[v + kMagnitudeLimit] = Magnitude{size, static_cast<int16_t>(bits)};
    }
    return table;
}

// Indexed from its middle entry, so negative values look up before it.
constexpr std::array<Magnitude, kMagnitudeEntries> kMagnitudes = buildMagnitudes();
constexpr const Magnitude* kMagnitudeOfZero = kMagnitudes.data() + kMagnitudeLimit;

constexpr uint8_t kZeroRunLength = 0xF0;  // ZRL: sixteen zeros
constexpr uint8_t kEndOfBlock = 0x00;

// The converters keep samples within -128..128, which keeps every value
// inside the table; the clamp only guards the look-ups against misuse.
const Magnitude& lookUp(int32_t v) {
    if (v > kMagnitudeLimit) v = kMagnitudeLimit;
    if (v < -kMagnitudeLimit) v = -kMagnitudeLimit;
    return kMagnitudeOfZero[v];
}

void putCoded(BitstreamFile* bf, const HuffmanCode& entry, const Magnitude& m) {
    uint32_t size = static_cast<uint32_t>(m.size);
    putBits(bf, (entry.code << size) | static_cast<uint16_t>(m.bits), entry.length + size);
}

}  // namespace

void codeBlock(BitstreamFile* bf, ComponentRecord& record, const int16_t block[64]) {
    const int32_t* divisors = record.quant;

    int32_t dc = quantizeDc(block[0], divisors[0]);
    const Magnitude& diff = lookUp(dc - record.dcPredictor);
    record.dcPredictor = dc;
    putCoded(bf, record.dcCodeTable[diff.size], diff);

    const HuffmanCode* ac = record.acCodeTable;
    uint32_t run = 0;
    for (int k = 1; k < 64; ++k) {
        int32_t v = quantizeAc(block[zigzagToNatural[k]], divisors[k]);
        if (v == 0) {
            ++run;
            continue;
        }
        for (; run > 15; run -= 16) putBits(bf, ac[kZeroRunLength].code, ac[kZeroRunLength].length);
        const Magnitude& m = lookUp(v);
        putCoded(bf, ac[(run << 4) | static_cast<uint32_t>(m.size)], m);
        run = 0;
    }
    if (run != 0) putBits(bf, ac[kEndOfBlock].code, ac[kEndOfBlock].length);
}

Magnitude magnitudeOf(int32_t v) { return lookUp(v); }

void jpegEncodeMcu(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    const EncoderKernels& kernels = encoderKernels();
    int16_t* block = context->enc.mcuBlocks;
    for (uint32_t c = 0; c < context->enc.componentCount; ++c) {
        ComponentRecord& record = context->components[c];
        for (uint32_t b = 0; b < record.blocksInMcu; ++b, block += 64) {
            kernels.forwardDct(block);
            if (kernels.plain)
                codeBlock(bf, record, block);
            else
                codeBlockFast(bf, record, block, kernels);
        }
    }
    jpegEncodeCountMcuForRestart(context);
}

}  // namespace encoder
