// Bit writer, forward DCT and block coding, checked against hand-derived bit
// patterns and a floating-point DCT (the quantisers' output is pinned by the
// manifest's encodes at every quality).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/block_coder.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"
#include "encoder/kernels.h"
#include "test_support.h"

using namespace encoder;
using Bytes = std::vector<uint8_t>;

namespace {

// A writing bitstream in memory mode; bytes() returns what came out since the last call.
struct MemorySink {
    BitstreamFile bf{};
    MemorySink() {
        bf.flags = kBitstreamMemory;
        EXPECT_EQ(complibCreateBitstreamFile(&bf), 0u);
    }
    ~MemorySink() {
        jpegFreeMemory(bf.memCursor);
    }
    Bytes bytes() {
        EXPECT_EQ(flushOutput(&bf), 0);
        Bytes out(bf.memCursor, bf.memCursor + bf.memLength);
        bf.readIndex = bf.memPosition = bf.memLength = 0;
        return out;
    }
};

void putPattern(BitstreamFile* bf, const std::string& bits) {
    uint32_t v = 0;
    for (char c : bits) v = (v << 1) | (c == '1');
    putBits(bf, v, static_cast<uint32_t>(bits.size()));
}

// Entropy-coded bytes of a bit string: 1-padded, 0xFF stuffed.
Bytes packed(std::string bits) {
    while (bits.size() % 8) bits += '1';
    Bytes out;
    for (size_t i = 0; i < bits.size(); i += 8) {
        out.push_back(static_cast<uint8_t>(std::stoul(bits.substr(i, 8), nullptr, 2)));
        if (out.back() == 0xFF) out.push_back(0x00);
    }
    return out;
}

TEST(EncoderBitWriter, StuffsDataBytesPadsWithOnesAndLeavesMarkersAlone) {
    MemorySink sink;
    putBits(&sink.bf, 0xFF, 8);
    putBits(&sink.bf, 0x12, 8);
    putBits(&sink.bf, 0xFFFF, 16);
    putBits(&sink.bf, 0x3, 2);  // padded with six 1-bits into FF, stuffed too
    writeMarker(&sink.bf, 0xFFD9);
    EXPECT_EQ(sink.bytes(), (Bytes{0xFF, 0x00, 0x12, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0xD9}));
    putPattern(&sink.bf, "10100");
    writeMarker(&sink.bf, 0xFFD0);
    EXPECT_EQ(sink.bytes(), (Bytes{0xA7, 0xFF, 0xD0}));
    writeMarker(&sink.bf, 0xFFD9);  // nothing pending: no padding byte
    EXPECT_EQ(sink.bytes(), (Bytes{0xFF, 0xD9}));
    putPattern(&sink.bf, std::string(24, '0') + "1");  // whole bytes of a part-filled word go first
    writeMarker(&sink.bf, 0xFFD9);
    EXPECT_EQ(sink.bytes(), (Bytes{0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0xD9}));
}

// 8 x the T.81 forward DCT in floating point.
double referenceCoefficient(const int16_t block[64], int u, int v) {
    const double pi = std::acos(-1.0);
    double sum = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            sum += block[8 * y + x] * std::cos((2 * x + 1) * u * pi / 16) * std::cos((2 * y + 1) * v * pi / 16);
    return 2 * (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) * sum;
}

TEST(EncoderForwardDct, FlatBlocksAreExactAndTextureTracksTheExactTransform) {
    for (int v : {-128, -1, 1, 77, 128}) {
        int16_t block[64];
        for (int16_t& s : block) s = static_cast<int16_t>(v);
        forwardDct(block);
        EXPECT_EQ(block[0], 64 * v);
        for (int k = 1; k < 64; ++k) ASSERT_EQ(block[k], 0) << "value " << v << " position " << k;
    }
    uint32_t state = 7;
    double worst = 0;
    for (int trial = 0; trial < 200; ++trial) {
        int16_t block[64], original[64];
        int span = trial % 2 ? 256 : 40;  // full-range noise and gentle texture
        for (int i = 0; i < 64; ++i) {
            state = state * 1103515245u + 12345u;
            original[i] = block[i] = static_cast<int16_t>(static_cast<int>((state >> 16) % span) - span / 2 +
                                                         (trial % 2 ? 0 : (i % 8) * 6 - 20));
        }
        forwardDct(block);
        for (int k = 0; k < 64; ++k) worst = std::max(worst, std::fabs(block[k] - referenceCoefficient(original, k % 8, k / 8)));
    }
    EXPECT_LT(worst, 12.0);  // a few units of rounding across the two passes
}

// Blocks coded with the standard luminance tables at quality 100 (divisors
// 8), by the plain coder and by the one that takes a quantiser's output.
TEST(EncoderBlockCoding, DcDifferencesZrlRunsAndEndOfBlock) {
    JpegContext* context = complibCreateJpegContext(nullptr, JPEG_OPT_ENCODE);
    JpegEncodeParams p{};
    p.componentCount = 1;
    p.samplingFactors = 0x11;
    p.quality = 100;
    ASSERT_EQ(jpegEncodeBuildTables(context, &p), 0);
    ComponentRecord& record = context->components[0];
    record.dcCodeTable = context->huffman[kDcSlot].codeTable;
    record.acCodeTable = context->huffman[kAcSlot].codeTable;
    QuantPlan plan;
    prepareQuantPlan(record.quant, plan);
    for (bool quantised : {false, true}) {
        SCOPED_TRACE(quantised ? "quantised coder" : "plain coder");
        record.dcPredictor = 0;
        MemorySink sink;
        auto code = [&](const std::vector<std::pair<int, int>>& zigzagValues) {
            int16_t block[64] = {}, columns[64] = {};  // natural order, and the kernels' column order
            for (auto [k, v] : zigzagValues) {
                block[zigzagToNatural[k]] = static_cast<int16_t>(8 * v);
                columns[kZigzagColumnOrder.position[k]] = static_cast<int16_t>(8 * v);
            }
            if (quantised) {
                int16_t q[64];
                uint64_t nonZero = quantiseScalar(columns, plan, q);
                codeQuantisedBlock(&sink.bf, record, q, nonZero);
            } else {
                codeBlock(&sink.bf, record, block);
            }
            writeMarker(&sink.bf, 0xFFD9);
            Bytes out = sink.bytes();
            out.resize(out.size() - 2);
            return out;
        };
        EXPECT_EQ(code({{0, 5}}), packed("100" "101" "1010"));  // DC 5: category 3, bits 101; EOB
        EXPECT_EQ(code({{0, 5}}), packed("00" "1010"));         // predictor carried over: difference 0
        EXPECT_EQ(code({{0, 2}}), packed("011" "00" "1010"));   // difference -3
        // Predictor now 2: the blocks below start with difference -2 (011 01).
        EXPECT_EQ(code({{17, 1}}), packed("011" "01" "11111111001" "00" "1" "1010"));  // 16 zeros: ZRL, then 0/1
        EXPECT_EQ(code({{41, -1}}), packed("00" "11111111001" "11111111001" "111111000" "0" "1010"));
        // Run 15 is symbol F1, no ZRL; a value at k = 63 ends the block without EOB.
        EXPECT_EQ(code({{16, 1}, {63, 1}}),
                  packed("00" "1111111111110101" "1" "11111111001" "11111111001" "1111111111101011" "1"));
        // Difference 2047, category 11, starts with a whole 0xFF byte, stuffed.
        EXPECT_EQ(code({{0, 2047}}), packed("111111110" "11111111111" "1010"));
    }
    complibDestroyJpegContext(context);
}

}  // namespace
