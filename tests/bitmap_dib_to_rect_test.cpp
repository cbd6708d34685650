// Bitmap pixels into rectangles: every depth, palettes, padding, row order.
#include <gtest/gtest.h>

#include "bitmap/dib_to_rect.h"
#include "bitmap_test_support.h"
#include "runtime/heap.h"
#include "runtime/image_rect.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;
using Bytes = std::vector<uint8_t>;
using testing_support::text;

namespace {

constexpr uint32_t kFailure = 0x80000000u;

// Palette entry i = (blue 10+i, green 100+i, red 200+i): every lookup shows
// which index it used, in every channel.
DibHeader paletteHeader(int bitCount, size_t entries) {
    DibHeader h(bitCount, 0, 0, entries);
    for (size_t i = 0; i < entries; ++i)
        h.setEntry(i, static_cast<uint8_t>(10 + i), static_cast<uint8_t>(100 + i), static_cast<uint8_t>(200 + i));
    return h;
}

// The destination rows, top first, each `stride` bytes.
Bytes converted(DibHeader& header, const void* bits, int32_t width, int32_t height, int32_t bitsPerPixel,
                int32_t stride) {
    TestRect rect(width, height, bitsPerPixel, stride);
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, header.get()), 0u);
    EXPECT_TRUE(rect.guardsUntouched());
    return Bytes(rect.rect.bits, rect.rect.bits + size_t(height) * stride);
}

}  // namespace

TEST(DibToRect, EveryDepthArrivesBottomUpInBothDestinationDepths) {
    // 8 bits, 3 x 2, rows padded to 4 bytes; the first stored row is the bottom.
    // An 8-bit destination is a grey image made of the green channel alone.
    DibHeader eight = paletteHeader(8, 256);
    const uint8_t bits8[] = {1, 2, 3, 0xAA, 4, 5, 6, 0xBB};
    EXPECT_EQ(converted(eight, bits8, 3, 2, 24, 9),
              (Bytes{14, 104, 204, 15, 105, 205, 16, 106, 206, 11, 101, 201, 12, 102, 202, 13, 103, 203}));
    EXPECT_EQ(converted(eight, bits8, 3, 2, 8, 3), (Bytes{104, 105, 106, 101, 102, 103}));

    // 1 bit: most significant bit first, the ninth pixel from the next byte.
    DibHeader one = paletteHeader(1, 2);
    const uint8_t bits1[] = {0xA5, 0x80, 0, 0, 0x0F, 0x00, 0, 0};
    EXPECT_EQ(converted(one, bits1, 9, 2, 8, 9), (Bytes{100, 100, 100, 100, 101, 101, 101, 101, 100,  //
                                                        101, 100, 101, 100, 100, 101, 100, 101, 101}));
    Bytes bgr1 = converted(one, bits1, 9, 1, 24, 27);
    EXPECT_EQ(bgr1[0], 11);
    EXPECT_EQ(bgr1[26], 201);

    // 4 bits: high nibble first, the fifth pixel from a high nibble.
    DibHeader four = paletteHeader(4, 16);
    const uint8_t bits4[] = {0x12, 0x34, 0x5F, 0};
    EXPECT_EQ(converted(four, bits4, 5, 1, 8, 5), (Bytes{101, 102, 103, 104, 105}));

    // 16 bits 5-5-5: white, pure red / pure green, pure blue.
    DibHeader sixteen(16);
    const uint16_t bits16[] = {0x7FFF, 0x7C00, 0x03E0, 0x001F};
    EXPECT_EQ(converted(sixteen, bits16, 2, 2, 24, 6), (Bytes{0, 0xF8, 0, 0xF8, 0, 0, 0xF8, 0xF8, 0xF8, 0, 0, 0xF8}));

    // 24 bits into grey takes green; into 24 bits `stride` bytes are copied, pad byte included.
    DibHeader header24(24, 0, 0, 0);
    const uint8_t bits24[] = {1, 2, 3, 0xAA, 4, 5, 6, 0xBB};
    EXPECT_EQ(converted(header24, bits24, 1, 2, 8, 1), (Bytes{5, 2}));
    EXPECT_EQ(converted(header24, bits24, 1, 2, 24, 4), (Bytes{4, 5, 6, 0xBB, 1, 2, 3, 0xAA}));

    DibHeader header32(32, 0, 0, 0);
    const uint8_t bits32[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(converted(header32, bits32, 2, 1, 8, 2), (Bytes{2, 6}));
    EXPECT_EQ(converted(header32, bits32, 2, 1, 24, 6), (Bytes{1, 2, 3, 5, 6, 7}));

    // 1 bit into 1 bit copies `stride` bytes, reading on into the next stored
    // row, but not beyond the pixel array.
    const uint8_t rows1[] = {1, 2, 3, 4, 5, 6, 7, 8};
    TestRect rect(9, 2, 1, 6);
    ASSERT_EQ(complibSetDIBitsToRect(&rect.rect, rows1, one.get()), 0u);
    EXPECT_EQ(Bytes(rect.rect.bits, rect.rect.bits + 12), (Bytes{5, 6, 7, 8, 0xEE, 0xEE, 1, 2, 3, 4, 5, 6}));

    // A 124-byte header: the colour table is still read from byte 40 onwards.
    DibHeader v5(8, 0, 0, 100, 124);
    v5.setEntry(3, 7, 8, 9);
    const uint8_t index3[] = {3, 0, 0, 0};
    EXPECT_EQ(converted(v5, index3, 1, 1, 24, 3), (Bytes{7, 8, 9}));
}

TEST(DibToRect, BitFieldsGoThroughTheSixteenBitConverterOnly) {
    // 5-6-5: green has six bits, red starts at bit 11; grey takes green alone.
    DibHeader masked(16);
    masked.setMasks(0xF800, 0x07E0, 0x001F);
    const uint16_t wide[] = {0x07E0, 0xF800};
    TestRect out(2, 1, 24, 6), grey(2, 1, 8, 2);
    ASSERT_EQ(complibSetDIBits16ToRect(&out.rect, wide, masked.get()), 0u);
    EXPECT_EQ(Bytes(out.rect.bits, out.rect.bits + 6), (Bytes{0, 0xFC, 0, 0, 0, 0xF8}));
    ASSERT_EQ(complibSetDIBits16ToRect(&grey.rect, wide, masked.get()), 0u);
    EXPECT_EQ(Bytes(grey.rect.bits, grey.rect.bits + 2), (Bytes{0xFC, 0}));
    ReportCapture capture;
    EXPECT_EQ(complibSetDIBitsToRect(&out.rect, wide, masked.get()), kFailure);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kNotBiRgb)});
}

TEST(DibToRect, RefusalsAndTheirReports) {
    ReportCapture capture;
    const uint8_t bits[64] = {};
    TestRect rect(2, 2, 24, 6);
    DibHeader core(8, 0, 0, 0, 12);
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, core.get()), 0x80030057u);
    EXPECT_TRUE(capture.reports().empty());

    DibHeader depth2(2);
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, depth2.get()), kFailure);
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kComplibSetDIBitsToRect));
    EXPECT_EQ(capture.reports()[0].text, text(report_text::kUndefinedBiBitCountInDib));
    capture.clear();
    depth2.get()->biCompression = 1;  // compression is looked at before the depth
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, depth2.get()), kFailure);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kNotBiRgb)});

    // Destination depths a converter does not make fail without a word.
    capture.clear();
    TestRect rect32(2, 2, 32, 8);
    for (int depth : {4, 8, 16, 24, 32}) {
        DibHeader header(depth);
        EXPECT_EQ(complibSetDIBitsToRect(&rect32.rect, bits, header.get()), kFailure) << depth;
    }
    TestRect oneBit(8, 2, 1, 1);
    DibHeader header8(8);
    EXPECT_EQ(complibSetDIBitsToRect(&oneBit.rect, bits, header8.get()), kFailure);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_TRUE(rect32.guardsUntouched());

    // Run-length coded bitmaps handed to their converters convert nothing.
    header8.get()->biCompression = 1;
    EXPECT_EQ(complibSetDIBits8ToRect(&rect.rect, bits, header8.get()), 0u);
    EXPECT_EQ(rect.at(0, 0), 0xEE);
    DibHeader four(4);
    four.get()->biCompression = 2;
    EXPECT_EQ(complibSetDIBits4ToRect(&rect.rect, bits, four.get()), kFailure);

    // Empty or negative rectangles touch nothing.
    DibHeader palette = paletteHeader(8, 256);
    for (auto [w, h] : {std::pair{0, 2}, std::pair{-3, 2}, std::pair{2, 0}, std::pair{2, -1}}) {
        TestRect empty(2, 2, 24, 6);
        empty.rect.width = w;
        empty.rect.height = h;
        EXPECT_EQ(complibSetDIBitsToRect(&empty.rect, bits, palette.get()), 0u);
        for (uint8_t b : empty.storage) ASSERT_EQ(b, 0xEE);
    }
}
