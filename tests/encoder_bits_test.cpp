// Bit writer, forward DCT, quantisation and block coding, checked against
// hand-derived bit patterns and a floating-point DCT.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/block_coder.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"
#include "runtime/heap.h"
#include "test_support.h"

using namespace encoder;

namespace {

// A writing bitstream in memory mode and the bytes it has produced.
struct MemorySink {
    BitstreamFile bf{};
    MemorySink() {
        bf.flags = kBitstreamMemory;
        EXPECT_EQ(complibCreateBitstreamFile(&bf), 0u);
    }
    ~MemorySink() {
        if (bf.memCursor) complibFreeMemory(bf.memCursor);
    }
    std::vector<uint8_t> bytes() {
        EXPECT_EQ(flushOutput(&bf), 0);
        std::vector<uint8_t> out(bf.memCursor, bf.memCursor + bf.memLength);
        // Start over in the same block: each call returns only new bytes.
        bf.readIndex = 0;
        bf.memPosition = 0;
        bf.memLength = 0;
        return out;
    }
};

// Bits as a string of '0' and '1' for readable expectations.
void putPattern(BitstreamFile* bf, const std::string& bits) {
    uint32_t v = 0;
    for (char c : bits) v = (v << 1) | (c == '1');
    putBits(bf, v, static_cast<uint32_t>(bits.size()));
}

// Entropy-coded bytes of a bit string: 1-padded, 0xFF stuffed.
std::vector<uint8_t> packed(std::string bits) {
    while (bits.size() % 8) bits += '1';
    std::vector<uint8_t> out;
    for (size_t i = 0; i < bits.size(); i += 8) {
        out.push_back(static_cast<uint8_t>(std::stoul(bits.substr(i, 8), nullptr, 2)));
        if (out.back() == 0xFF) out.push_back(0x00);
    }
    return out;
}

TEST(EncoderBitWriter, StuffsDataBytesButNotMarkers) {
    MemorySink sink;
    putBits(&sink.bf, 0xFF, 8);
    putBits(&sink.bf, 0x12, 8);
    putBits(&sink.bf, 0xFFFF, 16);  // completes a word: FF 12 FF FF
    putBits(&sink.bf, 0x3, 2);
    writeMarker(&sink.bf, 0xFFD9);
    // The two pending bits 11 are padded with six 1-bits into FF, which is stuffed too.
    EXPECT_EQ(sink.bytes(), (std::vector<uint8_t>{0xFF, 0x00, 0x12, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0xD9}));
}

TEST(EncoderBitWriter, PadsPendingBitsWithOnesBeforeAMarker) {
    MemorySink sink;
    putPattern(&sink.bf, "10100");  // 5 bits -> 10100111
    writeMarker(&sink.bf, 0xFFD0);
    EXPECT_EQ(sink.bytes(), (std::vector<uint8_t>{0xA7, 0xFF, 0xD0}));

    MemorySink empty;  // nothing pending: no padding byte
    writeMarker(&empty.bf, 0xFFD9);
    EXPECT_EQ(empty.bytes(), (std::vector<uint8_t>{0xFF, 0xD9}));

    MemorySink whole;  // pending whole bytes of a part-filled word go out before the marker
    putPattern(&whole.bf, std::string(24, '0') + "1");
    writeMarker(&whole.bf, 0xFFD9);
    EXPECT_EQ(whole.bytes(), (std::vector<uint8_t>{0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0xD9}));
}

TEST(EncoderBitWriter, ReachesTheFileInWholeBuffersThenOneShortWrite) {
    std::string path = testing_support::tempPath("bit_writer_chunks.bin");
    testing_support::WideName name = testing_support::wideName(path);
    BitstreamFile bf{};
    for (size_t i = 0; i <= name.size() && i < kBitstreamNameUnits; ++i) bf.fileName[i] = name.c_str()[i];
    ASSERT_EQ(complibCreateBitstreamFile(&bf), 0u);
    // 6 bytes per word after stuffing (FF 00 00 FF 00 01): 30000 bytes, so
    // words straddle the buffer edges.
    for (int i = 0; i < 5000; ++i) putBits(&bf, 0xFF00FF01u, 32);
    EXPECT_EQ(std::filesystem::file_size(path), 7u * 4096);
    EXPECT_EQ(bf.readIndex, 30000u - 7 * 4096);
    EXPECT_EQ(flushOutput(&bf), 0);
    complibCloseBitstreamFile(&bf);
    std::vector<uint8_t> bytes = testing_support::readFileBytes(path);
    ASSERT_EQ(bytes.size(), 30000u);
    const uint8_t pattern[6] = {0xFF, 0x00, 0x00, 0xFF, 0x00, 0x01};
    for (size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(bytes[i], pattern[i % 6]) << i;
}

TEST(EncoderBitWriter, AShortWriteIsStickyAndEncodingGoesOn) {
    BitstreamFile bf{};
    const char16_t full[] = u"/dev/full";
    for (int i = 0; full[i]; ++i) bf.fileName[i] = static_cast<KelChar16>(full[i]);
    if (complibCreateBitstreamFile(&bf) != 0) GTEST_SKIP() << "/dev/full cannot be opened";
    for (int i = 0; i < 1025; ++i) putBits(&bf, 0x01020304u, 32);
    EXPECT_EQ(bf.status, kWriteFailed);
    EXPECT_EQ(bf.readIndex, 4u);  // the buffer was reused after the lost write
    EXPECT_EQ(flushOutput(&bf), -1);
    complibCloseBitstreamFile(&bf);
}

// Floating-point reference: 8 x the T.81 forward DCT.
double referenceCoefficient(const int16_t block[64], int u, int v) {
    const double pi = std::acos(-1.0);
    double sum = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            sum += block[8 * y + x] * std::cos((2 * x + 1) * u * pi / 16) * std::cos((2 * y + 1) * v * pi / 16);
    double cu = u ? 1 : std::sqrt(0.5), cv = v ? 1 : std::sqrt(0.5);
    return 8 * 0.25 * cu * cv * sum;
}

TEST(EncoderForwardDct, FlatBlocksGiveOnlyTheDcTerm) {
    for (int v : {-128, -1, 0, 1, 77, 127, 128}) {
        int16_t block[64];
        for (int16_t& s : block) s = static_cast<int16_t>(v);
        forwardDct(block);
        EXPECT_EQ(block[0], 64 * v);
        for (int k = 1; k < 64; ++k) ASSERT_EQ(block[k], 0) << "value " << v << " position " << k;
        EXPECT_EQ(quantizeDc(block[0], 8), 8 * v);  // DQT value 1
    }
}

TEST(EncoderForwardDct, TracksTheExactTransformClosely) {
    uint32_t state = 7;
    double worst = 0;
    for (int trial = 0; trial < 200; ++trial) {
        int16_t block[64], original[64];
        for (int i = 0; i < 64; ++i) {
            state = state * 1103515245u + 12345u;
            int span = trial % 2 ? 256 : 40;  // full-range noise and gentle texture
            original[i] = block[i] = static_cast<int16_t>(static_cast<int>((state >> 16) % span) - span / 2 +
                                                         (trial % 2 ? 0 : (i % 8) * 6 - 20));
        }
        forwardDct(block);
        for (int v = 0; v < 8; ++v)
            for (int u = 0; u < 8; ++u)
                worst = std::max(worst, std::fabs(block[8 * v + u] - referenceCoefficient(original, u, v)));
    }
    // 8x scaled coefficients: a few units of rounding across the two passes.
    EXPECT_LT(worst, 12.0);
}

TEST(EncoderQuantisation, RoundsHalfAwayFromZeroAndSkipsSmallValues) {
    EXPECT_EQ(quantizeDc(100, 64), 2);   // (100 + 32) / 64
    EXPECT_EQ(quantizeDc(95, 64), 1);
    EXPECT_EQ(quantizeDc(96, 64), 2);    // exactly half rounds away
    EXPECT_EQ(quantizeDc(-96, 64), -2);
    EXPECT_EQ(quantizeDc(-95, 64), -1);
    EXPECT_EQ(quantizeDc(7, 15), 0);     // D/2 truncated to 7: (7 + 7) / 15
    EXPECT_EQ(quantizeDc(8, 15), 1);
    EXPECT_EQ(quantizeAc(31, 64), 0);    // 31 + 32 < 64
    EXPECT_EQ(quantizeAc(32, 64), 1);    // 32 + 32 = 64: exactly D
    EXPECT_EQ(quantizeAc(-32, 64), -1);
    EXPECT_EQ(quantizeAc(-31, 64), 0);
    EXPECT_EQ(quantizeAc(-159, 64), -2);
    EXPECT_EQ(quantizeAc(-160, 64), -3);
}

TEST(EncoderMagnitudes, SizeAndBitsFollowTheOnesComplementRule) {
    struct Case { int32_t v; int16_t size, bits; };
    for (Case c : {Case{0, 0, 0}, Case{1, 1, 1}, Case{-1, 1, 0}, Case{2, 2, 2}, Case{-2, 2, 1}, Case{-3, 2, 0},
                   Case{7, 3, 7}, Case{-7, 3, 0}, Case{8, 4, 8}, Case{-8, 4, 7}, Case{1023, 10, 1023},
                   Case{-1024, 11, 1023}, Case{2047, 11, 2047}, Case{-2047, 11, 0}}) {
        Magnitude m = magnitudeOf(c.v);
        EXPECT_EQ(m.size, c.size) << c.v;
        EXPECT_EQ(m.bits, c.bits) << c.v;
    }
}

// One component record wired to the standard luminance tables, divisors 8.
struct CodingFixture {
    JpegContext* context = complibCreateJpegContext(nullptr, JPEG_OPT_ENCODE);
    MemorySink sink;
    ComponentRecord& record = context->components[0];
    CodingFixture() {
        JpegEncodeParams p{};
        p.componentCount = 1;
        p.samplingFactors = 0x11;
        p.quality = 100;
        EXPECT_EQ(jpegEncodeBuildTables(context, &p), 0);
        record.dcCodeTable = context->huffman[kDcSlot].codeTable;
        record.acCodeTable = context->huffman[kAcSlot].codeTable;
    }
    ~CodingFixture() { complibDestroyJpegContext(context); }
    // Codes quantised values given in zig-zag order (divisor 8 undone here).
    std::vector<uint8_t> code(const std::vector<std::pair<int, int>>& zigzagValues) {
        int16_t block[64] = {};
        for (auto [k, v] : zigzagValues) block[kZigzagToNatural[k]] = static_cast<int16_t>(8 * v);
        codeBlock(&sink.bf, record, block);
        writeMarker(&sink.bf, 0xFFD9);
        std::vector<uint8_t> out = sink.bytes();
        out.resize(out.size() - 2);
        return out;
    }
};

TEST(EncoderBlockCoding, FlatBlockIsDcAndEndOfBlock) {
    CodingFixture f;
    // DC 5: category 3 (100) + bits 101; EOB 1010.
    EXPECT_EQ(f.code({{0, 5}}), packed("100" "101" "1010"));
    // Next block, same DC: difference 0 (00) + EOB, predictor carried over.
    EXPECT_EQ(f.code({{0, 5}}), packed("00" "1010"));
    // DC 2 after 5: difference -3, category 2 (011) bits 00.
    EXPECT_EQ(f.code({{0, 2}}), packed("011" "00" "1010"));
}

TEST(EncoderBlockCoding, LongZeroRunsUseZrlAndTrailingZerosOnlyEob) {
    CodingFixture f;
    // 16 zeros then 1: ZRL, then run 0 size 1 (00) with bit 1.
    EXPECT_EQ(f.code({{17, 1}}), packed("00" "11111111001" "00" "1" "1010"));
    // 40 zeros then -1: two ZRLs and run 8 size 1 (111111000) with bit 0.
    EXPECT_EQ(f.code({{41, -1}}), packed("00" "11111111001" "11111111001" "111111000" "0" "1010"));
    // Run 15 needs no ZRL (symbol F1). A value at k = 63 ends the block
    // without EOB; the 46 zeros before it give two ZRLs and run 14 (E1).
    EXPECT_EQ(f.code({{16, 1}, {63, 1}}),
              packed("00" "1111111111110101" "1" "11111111001" "11111111001" "1111111111101011" "1"));
}

}  // namespace
