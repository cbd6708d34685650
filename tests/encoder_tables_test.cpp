// Encoder tables: quality scaling, the fine pair, the standard Huffman tables
// as the block coder indexes them, and the frame geometry from the sampling.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/encode_tables.h"
#include "encoder_test_support.h"
#include "test_support.h"

using namespace encoder;
using namespace encoder_testing;
using testing_support::ReportCapture;

namespace {

struct ContextHolder {
    JpegContext* context;
    explicit ContextHolder(uint32_t options = JPEG_OPT_ENCODE) : context(complibCreateJpegContext(nullptr, options)) {}
    ~ContextHolder() { complibDestroyJpegContext(context); }
};

TEST(EncoderQuantTables, QualityScalingFollowsTheWorkedValues) {
    EXPECT_EQ(qualityScale(75), 50u);
    EXPECT_EQ(scaleQuantEntry(16, qualityScale(75)), 8u);
    EXPECT_EQ(qualityScale(10), 500u);
    EXPECT_EQ(scaleQuantEntry(16, 500), 80u);
    EXPECT_EQ(scaleQuantEntry(99, 500), 255u);
    EXPECT_EQ(qualityScale(0), qualityScale(1));
    EXPECT_EQ(qualityScale(49), 5000u / 49);
    EXPECT_EQ(qualityScale(50), 100u);
    EXPECT_EQ(qualityScale(100), 0u);
    EXPECT_EQ(qualityScale(101), 0u);
    EXPECT_EQ(qualityScale(65535), 0u);
    EXPECT_EQ(scaleQuantEntry(99, 0), 1u);  // a zero entry becomes 1
    EXPECT_EQ(scaleQuantEntry(5, 10), 1u);  // (50 + 50) / 100 = 1, truncating
    EXPECT_EQ(scaleQuantEntry(14, 10), 1u); // (140 + 50) / 100 = 1
    EXPECT_EQ(scaleQuantEntry(15, 10), 2u); // (150 + 50) / 100 = 2
}

TEST(EncoderQuantTables, EdgeQualitiesGiveFlatTablesAndEightfoldDivisors) {
    for (uint16_t quality : {0, 1, 100, 101, 500}) {
        ContextHolder h;
        JpegEncodeParams p{};
        p.componentCount = 3;
        p.samplingFactors = 0x221111;
        p.quality = quality;
        ASSERT_EQ(jpegEncodeBuildTables(h.context, &p), 0);
        int32_t expected = quality <= 1 ? 255 : 1;
        for (int t = 0; t < 2; ++t)
            for (int k = 0; k < 64; ++k) ASSERT_EQ(h.context->quantTables[t][k], expected) << quality;
        for (int c = 0; c < 3; ++c) EXPECT_EQ(h.context->components[c].quant[63], 8 * expected);
    }
    ContextHolder h;
    JpegEncodeParams p{};
    p.componentCount = 3;
    p.samplingFactors = 0x111111;
    p.quality = 50;
    ASSERT_EQ(jpegEncodeBuildTables(h.context, &p), 0);
    for (int k = 0; k < 64; ++k) {
        EXPECT_EQ(h.context->quantTables[0][k], kBaseQuantTables[0].v[k]);
        EXPECT_EQ(h.context->components[0].quant[k], 8 * kBaseQuantTables[0].v[k]);
        EXPECT_EQ(h.context->components[2].quant[k], 8 * kBaseQuantTables[1].v[k]);
    }
}

TEST(EncoderQuantTables, FineTablesIgnoreQualityAndReadAsTheirRowLayout) {
    // The row-major layout of the fine pair, as a second source for its values.
    const uint8_t fineLumaRows[64] = {4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                      2, 1, 1, 1, 1, 1, 1, 2, 2, 1, 1, 1, 1, 1, 2, 3, 3, 2, 1, 1, 1, 2,
                                      2, 3, 3, 2, 1, 2, 2, 2, 3, 3, 3, 3, 2, 2, 2, 3, 3, 3, 3, 3};
    const uint8_t fineChromaTop[32] = {4, 1, 1, 1, 3, 3, 3, 3, 1, 1, 1, 2, 3, 3, 3, 3,
                                       1, 1, 1, 3, 3, 3, 3, 3, 1, 2, 3, 3, 3, 3, 3, 3};
    ContextHolder h(JPEG_OPT_ENCODE | JPEG_OPT_FINE_TABLES);
    JpegEncodeParams p{};
    p.componentCount = 1;
    p.samplingFactors = 0x11;
    p.quality = 3;
    ASSERT_EQ(jpegEncodeBuildTables(h.context, &p), 0);
    for (int k = 0; k < 64; ++k) {
        int natural = kZigzagToNatural[k];
        EXPECT_EQ(h.context->quantTables[0][k], fineLumaRows[natural]) << k;
        EXPECT_EQ(h.context->quantTables[1][k], natural < 32 ? fineChromaTop[natural] : 3) << k;
    }
}

TEST(EncoderHuffmanTables, DcListsAreIndexedByCategoryAndAcByRunSize) {
    ContextHolder h;
    JpegEncodeParams p{};
    p.componentCount = 3;
    p.samplingFactors = 0x221111;
    p.quality = 75;
    ASSERT_EQ(jpegEncodeBuildTables(h.context, &p), 0);
    const HuffmanCode* dcLuma = h.context->huffman[kDcSlot].codeTable;
    for (uint16_t k = 0; k < 12; ++k) EXPECT_EQ(dcLuma[k].symbol, k);
    EXPECT_EQ(dcLuma[0].code, 0b00u);
    EXPECT_EQ(dcLuma[0].length, 2);
    EXPECT_EQ(dcLuma[11].code, 0b111111110u);
    EXPECT_EQ(dcLuma[11].length, 9);
    const HuffmanCode* dcChroma = h.context->huffman[kDcSlot + 1].codeTable;
    EXPECT_EQ(dcChroma[11].code, 0b11111111110u);
    EXPECT_EQ(dcChroma[11].length, 11);

    const HuffmanCode* acLuma = h.context->huffman[kAcSlot].codeTable;
    EXPECT_EQ(acLuma[0x00].code, 0b1010u);  // EOB
    EXPECT_EQ(acLuma[0x00].length, 4);
    EXPECT_EQ(acLuma[0x01].code, 0b00u);
    EXPECT_EQ(acLuma[0xF0].code, 0b11111111001u);  // ZRL
    EXPECT_EQ(acLuma[0xF0].length, 11);
    EXPECT_EQ(acLuma[0x81].code, 0b111111000u);
    EXPECT_EQ(acLuma[0xFA].code, 0xFFFEu);
    EXPECT_EQ(acLuma[0xFA].length, 16);
    EXPECT_EQ(acLuma[0x0B].length, 0);  // size 11 never occurs in AC data
    const HuffmanCode* acChroma = h.context->huffman[kAcSlot + 1].codeTable;
    EXPECT_EQ(acChroma[0x00].code, 0b00u);
    EXPECT_EQ(acChroma[0x00].length, 2);
    EXPECT_EQ(acChroma[0xF0].code, 0b1111111010u);
    EXPECT_EQ(acChroma[0xF0].length, 10);
    EXPECT_EQ(h.context->enc.huffmanSymbolCounts[2], 162u);
    EXPECT_EQ(h.context->enc.huffmanSymbolCounts[3], 162u);
}

struct GeometryCase {
    uint32_t sampling;
    uint16_t components, width, height;
    uint32_t signature, mcuWidth, mcuHeight, mcusPerRow, mcusPerColumn;
    uint32_t blocks[3];
};

TEST(EncoderFrameSetup, SamplingGivesMcuGeometryAndSelectors) {
    const GeometryCase cases[] = {
        {0x221111, 3, 640, 480, 0x221111, 16, 16, 40, 30, {4, 1, 1}},
        {0x211111, 3, 17, 9, 0x211111, 16, 8, 2, 2, {2, 1, 1}},
        {0x121111, 3, 17, 9, 0x121111, 8, 16, 3, 1, {2, 1, 1}},
        {0x112211, 3, 33, 16, 0x112211, 16, 16, 3, 1, {1, 4, 1}},
        {0x22, 1, 100, 75, 0x22, 16, 16, 7, 5, {4, 0, 0}},
    };
    for (const GeometryCase& g : cases) {
        ContextHolder h;
        JpegEncodeParams p{};
        p.componentCount = g.components;
        p.samplingFactors = g.sampling;
        p.width = g.width;
        p.height = g.height;
        p.quality = 75;
        p.restartInterval = 7;
        ASSERT_EQ(jpegEncodeBuildTables(h.context, &p), 0);
        const EncoderState& enc = h.context->enc;
        EXPECT_EQ(enc.samplingSignature, g.signature);
        EXPECT_EQ(enc.mcuWidth, g.mcuWidth) << std::hex << g.sampling;
        EXPECT_EQ(enc.mcuHeight, g.mcuHeight) << std::hex << g.sampling;
        EXPECT_EQ(enc.mcusPerRow, g.mcusPerRow) << std::hex << g.sampling;
        EXPECT_EQ(enc.mcusPerColumn, g.mcusPerColumn) << std::hex << g.sampling;
        EXPECT_EQ(enc.restartInterval, 7u);
        EXPECT_EQ(enc.sofLength, 3 * g.components + 8);
        EXPECT_EQ(enc.sosLength, 2 * g.components + 6);
        for (uint32_t c = 0; c < g.components; ++c) {
            EXPECT_EQ(h.context->components[c].blocksInMcu, g.blocks[c]);
            EXPECT_EQ(h.context->frame.components[c].quantTable, c == 0 ? 0 : 1);
            EXPECT_EQ(enc.scanComponents[c].tableSelectors, c == 0 ? 0x00 : 0x11);
        }
    }
}

// cjpeg (libjpeg-turbo) scales the same base tables by the same rule and
// writes the same standard Huffman tables: its DQT and DHT bytes must equal
// ours for every quality.
std::vector<uint8_t> cjpegStream(int quality) {
    std::string ppm = testing_support::tempPath("cjpeg_tables_in.ppm");
    std::string jpg = testing_support::tempPath("cjpeg_tables_out.jpg");
    std::vector<uint8_t> bytes = {'P', '6', '\n', '8', ' ', '8', '\n', '2', '5', '5', '\n'};
    bytes.resize(bytes.size() + 8 * 8 * 3, 90);
    testing_support::writeFileBytes(ppm, bytes);
    std::string command = "cjpeg -baseline -quality " + std::to_string(quality) + " -outfile " + jpg + " " + ppm;
    if (std::system(command.c_str()) != 0) return {};
    return testing_support::readFileBytes(jpg);
}

// The tables of all DQT (0xDB) or DHT (0xC4) segments keyed by their
// identifier byte, whichever way the writer grouped them into segments.
std::map<uint8_t, std::vector<uint8_t>> tablesIn(const std::vector<uint8_t>& stream, uint8_t marker) {
    std::map<uint8_t, std::vector<uint8_t>> tables;
    for (const Segment& s : headerSegments(stream)) {
        if (s.marker != marker) continue;
        size_t pos = s.offset + 4, end = s.offset + 2 + s.length;
        while (pos < end) {
            size_t size = 64;
            if (marker == 0xC4) {
                size = 16;
                for (int i = 0; i < 16; ++i) size += stream[pos + 1 + i];
            }
            tables[stream[pos]] = std::vector<uint8_t>(stream.begin() + pos + 1, stream.begin() + pos + 1 + size);
            pos += 1 + size;
        }
    }
    return tables;
}

TEST(EncoderPeerTables, DqtAndDhtMatchCjpegAtEveryTestedQuality) {
    if (std::system("cjpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "cjpeg not installed";
    for (int quality : {1, 10, 25, 50, 75, 90, 100}) {
        std::vector<uint8_t> peer = cjpegStream(quality);
        ASSERT_FALSE(peer.empty());
        TestImage image = photoLikeImage(8, 8);
        std::vector<uint8_t> ours = encodeImage(image, paramsFor(image, 0x221111, static_cast<uint16_t>(quality)));
        ASSERT_FALSE(ours.empty());
        EXPECT_EQ(tablesIn(ours, 0xDB), tablesIn(peer, 0xDB)) << "quality " << quality;
        EXPECT_EQ(tablesIn(ours, 0xC4), tablesIn(peer, 0xC4)) << "quality " << quality;
        EXPECT_EQ(tablesIn(ours, 0xC4).size(), 4u);
    }
}

}  // namespace
