// Codec context construction and the Huffman code-list builder.
#include <gtest/gtest.h>

#include "context/jpeg_context.h"
#include "runtime/report.h"
#include "test_support.h"

using namespace testing_support;

namespace {

TEST(Context, DirectionBitsAreChecked) {
    ReportCapture capture;
    for (uint32_t options : {0u, 3u, 0x0103u}) EXPECT_EQ(complibCreateJpegContext(nullptr, options), nullptr);
    EXPECT_EQ(capture.texts(), std::vector<std::string>(3, text(report_text::kIllegalOptionsParameter)));
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kJpeg));
    JpegContext* ctx = complibCreateJpegContext(KJ_TEXT("name.jpg"), 0x0012);
    ASSERT_NE(ctx, nullptr);
    EXPECT_EQ(ctx->bitstreamFile.nameMarker, 4u);
    EXPECT_EQ(narrow(ctx->bitstreamFile.fileName), "name.jpg");
    EXPECT_EQ(complibDestroyJpegContext(ctx), 0);

    ctx = complibCreateJpegContext(nullptr, 0x0001);
    ASSERT_NE(ctx, nullptr);
    EXPECT_EQ(ctx->bitstreamFile.nameMarker, 0u);
    EXPECT_EQ(ctx->bitstreamFile.fileName[0], 0);
    complibDestroyJpegContext(ctx);
}

HuffmanDefinition definition(const std::vector<uint8_t>& bits, uint8_t tableByte) {
    HuffmanDefinition d{};
    for (size_t i = 0; i < bits.size(); ++i) d.bits[i] = bits[i];
    for (int i = 0; i < 256; ++i) d.huffval[i] = static_cast<uint8_t>(i);
    d.tableByte = tableByte;
    return d;
}

// The standard tables' codes are pinned by every encode and decode of the
// manifest; what they do not reach: gaps, single codes, redefinition.
TEST(HuffmanCodeList, GapsSingleCodesAndRedefinition) {
    JpegContext* ctx = complibCreateJpegContext(nullptr, 1);
    HuffmanDefinition d = definition({0, 1, 5, 1, 1, 1, 1, 1, 1}, 0x00);
    // Lengths without entries are skipped: "0", then "100", "101".
    HuffmanDefinition gap = definition({1, 0, 2}, 0x02);
    ASSERT_EQ(complibBuildHuffmanCodeTable(ctx, &gap, 3), 0);
    EXPECT_EQ(ctx->huffman[kDcSlot + 2].codeTable[1].code, 0b100u);
    EXPECT_EQ(ctx->huffman[kDcSlot + 2].codeTable[2].code, 0b101u);
    EXPECT_EQ(ctx->huffman[kDcSlot + 2].maxCodeLength, 3u);

    // AC table byte picks the AC slot; a single length-1 code is code 0.
    HuffmanDefinition single = definition({1}, 0x13);
    ASSERT_EQ(complibBuildHuffmanCodeTable(ctx, &single, 1), 0);
    EXPECT_EQ(ctx->huffman[kAcSlot + 3].maxCodeLength, 1u);
    EXPECT_EQ(ctx->huffman[kAcSlot + 3].codeTable[0].code, 0u);
    // Redefinition replaces the list (the old one is released: the leak check would see it).
    ASSERT_EQ(complibBuildHuffmanCodeTable(ctx, &d, 12), 0);
    HuffmanDefinition none = definition({}, 0x01);
    ASSERT_EQ(complibBuildHuffmanCodeTable(ctx, &none, 0), 0);
    EXPECT_EQ(ctx->huffman[kDcSlot + 1].maxCodeLength, 0u);
    complibDestroyJpegContext(ctx);
}

}  // namespace
