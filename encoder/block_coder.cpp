#include "encoder/block_coder.h"

#include <array>
#include <cstring>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/encode_prolog.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"
#include "runtime/bit_scan.h"
#include "runtime/byte_order.h"

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

// The bit writer's accumulator and output position held in locals for an
// MCU, the accumulator in 64 bits so that codes go in without a trip through
// memory. Every 32 bits leave as the word putBits would write at that point:
// the same bytes, and the same word boundaries for whatever writes next.
class BitSink {
public:
    explicit BitSink(BitstreamFile* writer)
        : bf_(writer),
          pending_(writer->bitBuffer),
          count_(32 - writer->bitCount),
          out_(writer->readBuffer + writer->readIndex),
          quickEnd_(writer->readBuffer + kWordFitsBelow) {}

    // The low `length` bits of value (0..32, nothing above them set).
    //
    // Whether 32 bits are complete depends on the data (a word every three
    // or four codes, in no pattern a predictor can learn). So the word is
    // worked out and stored either way and only counted (out_ and count_
    // moved on) when complete; an incomplete word's store is overwritten by
    // the next one. Only a word with 0xFF, or one near the end of the
    // buffer, branches.
    void put(uint32_t value, uint32_t length) {
        pending_ = (pending_ << length) | value;
        count_ += length;  // at most 31 + 32: one word at most is complete
        const uint32_t full = count_ >> 5;
        const uint32_t word = static_cast<uint32_t>(pending_ >> (count_ - 32 * full));
        if (holdsByteFF(word & (0u - full)) || out_ >= quickEnd_) {
            if (full) {
                count_ -= 32;
                emitSlowly(word);
            }
            return;
        }
        const uint32_t bigEndian = byteSwapped32(word);
        std::memcpy(out_, &bigEndian, 4);
        out_ += 4 * full;
        count_ -= 32 * full;
    }

    void save() const {
        bf_->readIndex = static_cast<uint32_t>(out_ - bf_->readBuffer);
        bf_->bitBuffer = static_cast<uint32_t>(pending_) & ((uint32_t{1} << count_) - 1);
        bf_->bitCount = 32 - count_;
    }

private:
    // A word with 0xFF or near the end of the buffer: writeWord's
    // byte-by-byte way with its stuffing and buffer drains.
    void emitSlowly(uint32_t word) {
        bf_->readIndex = static_cast<uint32_t>(out_ - bf_->readBuffer);
        bf_->bitBuffer = word;
        writeWord(bf_);
        out_ = bf_->readBuffer + bf_->readIndex;
    }

    BitstreamFile* bf_;
    uint64_t pending_;  // bits not written yet at the low end, older bits above them
    uint32_t count_;    // how many: 0..31 between puts
    uint8_t* out_;
    uint8_t* quickEnd_;
};

// Size category and appended bits with the Huffman code before them, in one
// put: for -5, size 3 and the bits of -6, 010.
inline void putValue(BitSink& sink, const HuffmanCode& entry, int32_t v, uint32_t size) {
    uint32_t bits = static_cast<uint32_t>(v + (v >> 31)) & ((uint32_t{1} << size) - 1);
    sink.put((entry.code << size) | bits, entry.length + size);
}

inline uint32_t magnitudeSize(int32_t v) { return bitLength(static_cast<uint32_t>(v < 0 ? -v : v)); }

// An AC value (not 0) with its code. For v < 0 the appended bits are
// v - 1 + 2^size, so code and bits together are ((code + 1) << size) + v - 1:
// code 00 with -5 gives (1 << 3) - 6 = 00010.
inline void putAc(BitSink& sink, const HuffmanCode* ac, uint32_t run, int32_t v) {
    const uint32_t a = static_cast<uint32_t>(v < 0 ? -v : v);
#if defined(__GNUC__) || defined(__clang__)
    const uint32_t size = 32u - static_cast<uint32_t>(__builtin_clz(a));
#else
    const uint32_t size = bitLength(a);
#endif
    const HuffmanCode& entry = ac[(run << 4) | size];
    const uint32_t negative = static_cast<uint32_t>(v) >> 31;
    sink.put(((entry.code + negative) << size) + static_cast<uint32_t>(v) - negative, entry.length + size);
}

inline void codeInto(BitSink& sink, ComponentRecord& record, const int16_t q[64], uint64_t nonZero) {
    int32_t diff = q[0] - record.dcPredictor;
    record.dcPredictor = q[0];
    if (diff > kMagnitudeLimit) diff = kMagnitudeLimit;
    if (diff < -kMagnitudeLimit) diff = -kMagnitudeLimit;
    uint32_t dcSize = magnitudeSize(diff);
    putValue(sink, record.dcCodeTable[dcSize], diff, dcSize);

    // The kernels limited the AC values already (kLargestAc = kMagnitudeLimit).
    const HuffmanCode* ac = record.acCodeTable;
    nonZero &= ~uint64_t{1};
    uint32_t last = 0;
    while (nonZero) {
        const uint32_t k = lowestSetBit(nonZero);
        nonZero &= nonZero - 1;
        uint32_t run = k - last - 1;
        last = k;
        for (; run > 15; run -= 16) sink.put(ac[kZeroRunLength].code, ac[kZeroRunLength].length);
        putAc(sink, ac, run, q[kZigzagColumnOrder.position[k]]);
    }
    if (last != 63) sink.put(ac[kEndOfBlock].code, ac[kEndOfBlock].length);
}

static_assert(kLargestAc == kMagnitudeLimit, "the kernels limit AC values to what the coder writes");

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

void codeQuantisedBlock(BitstreamFile* bf, ComponentRecord& record, const int16_t q[64], uint64_t nonZero) {
    BitSink sink(bf);
    codeInto(sink, record, q, nonZero);
    sink.save();
}

Magnitude magnitudeOf(int32_t v) { return lookUp(v); }

void prepareMcuCoder(const JpegContext* context, McuCoder& coder) {
    coder.kernels = &encoderKernels();
    for (uint32_t c = 0; c < context->enc.componentCount && c < 4; ++c)
        prepareQuantPlan(context->components[c].quant, coder.plans[c]);
}

void codeMcuBlocksPlain(JpegContext* context, const McuCoder& /*coder*/, const int16_t* samples) {
    for (uint32_t c = 0; c < context->enc.componentCount; ++c) {
        ComponentRecord& record = context->components[c];
        for (uint32_t b = 0; b < record.blocksInMcu; ++b, samples += 64) {
            int16_t block[64];
            std::memcpy(block, samples, sizeof block);
            forwardDct(block);
            codeBlock(context->bitstream, record, block);
        }
    }
}

// Every block is transformed before the first is coded: the coder's 16-bit
// reads then find the kernels' vector stores long finished instead of
// waiting on them, and one block's vector work overlaps the previous one's
// instead of its coding (4:2:0 about 4% faster).
void codeMcuBlocksQuick(JpegContext* context, const McuCoder& coder, const int16_t* samples) {
    const uint32_t n = context->enc.componentCount;
    const auto transformQuantise = coder.kernels->transformQuantise;
    alignas(32) int16_t q[kEncoderMaxBlocksPerMcu][64];
    uint64_t nonZero[kEncoderMaxBlocksPerMcu];
    uint32_t blocks = 0;
    for (uint32_t c = 0; c < n; ++c)
        for (uint32_t b = 0; b < context->components[c].blocksInMcu; ++b, samples += 64, ++blocks)
            nonZero[blocks] = transformQuantise(samples, coder.plans[c], q[blocks]);
    BitSink sink(context->bitstream);
    blocks = 0;
    for (uint32_t c = 0; c < n; ++c) {
        ComponentRecord& record = context->components[c];
        for (uint32_t b = 0; b < record.blocksInMcu; ++b, ++blocks) codeInto(sink, record, q[blocks], nonZero[blocks]);
    }
    sink.save();
}

void encodeMcu(JpegContext* context, const McuCoder& coder, const int16_t* samples) {
    coder.kernels->codeMcuBlocks(context, coder, samples);
    jpegEncodeCountMcuForRestart(context);
}

}  // namespace encoder
