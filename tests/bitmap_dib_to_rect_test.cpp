// Bitmap pixels into rectangles: every depth, palettes, padding, row order.
#include <gtest/gtest.h>

#include "bitmap/dib_to_rect.h"
#include "bitmap_test_support.h"
#include "runtime/heap.h"
#include "runtime/image_rect.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;

namespace {

constexpr uint32_t kFailure = 0x80000000u;

// Palette entry i = (blue 10+i, green 100+i, red 200+i): every lookup shows
// which index it used, in every channel.
DibHeader paletteHeader(int bitCount, size_t entries = 256) {
    DibHeader h(bitCount, 0, 0, entries);
    for (size_t i = 0; i < entries; ++i)
        h.setEntry(i, static_cast<uint8_t>(10 + i), static_cast<uint8_t>(100 + i), static_cast<uint8_t>(200 + i));
    return h;
}

}  // namespace

TEST(DibToRect, EightBitRowsArriveBottomUpThroughThePalette) {
    DibHeader header = paletteHeader(8);
    // 3 x 2, rows padded to 4 bytes; the first stored row is the picture's bottom.
    const uint8_t bits[] = {1, 2, 3, 0xAA, 4, 5, 6, 0xBB};
    TestRect bgr(3, 2, 24, 9);
    ASSERT_EQ(complibSetDIBitsToRect(&bgr.rect, bits, header.get()), 0u);
    const uint8_t top[] = {14, 104, 204, 15, 105, 205, 16, 106, 206};
    const uint8_t bottom[] = {11, 101, 201, 12, 102, 202, 13, 103, 203};
    EXPECT_EQ(0, std::memcmp(bgr.row(0), top, 9));
    EXPECT_EQ(0, std::memcmp(bgr.row(1), bottom, 9));
    EXPECT_TRUE(bgr.guardsUntouched());

    // An 8-bit destination is a grey image made of the green channel alone.
    TestRect grey(3, 2, 8, 3);
    ASSERT_EQ(complibSetDIBitsToRect(&grey.rect, bits, header.get()), 0u);
    const uint8_t greys[] = {104, 105, 106, 101, 102, 103};
    EXPECT_EQ(0, std::memcmp(grey.rect.bits, greys, 6));
}

TEST(DibToRect, OneBitPixelsRunMostSignificantBitFirstAcrossBytes) {
    DibHeader header = paletteHeader(1, 2);
    // 9 pixels: 8 from the first byte, the ninth from the top bit of the next;
    // rows of 4 bytes.
    const uint8_t bits[] = {0xA5, 0x80, 0, 0, 0x0F, 0x00, 0, 0};
    TestRect grey(9, 2, 8, 9);
    ASSERT_EQ(complibSetDIBitsToRect(&grey.rect, bits, header.get()), 0u);
    const uint8_t top[] = {100, 100, 100, 100, 101, 101, 101, 101, 100};
    const uint8_t bottom[] = {101, 100, 101, 100, 100, 101, 100, 101, 101};
    EXPECT_EQ(0, std::memcmp(grey.row(0), top, 9));
    EXPECT_EQ(0, std::memcmp(grey.row(1), bottom, 9));

    TestRect bgr(9, 1, 24, 27);
    ASSERT_EQ(complibSetDIBitsToRect(&bgr.rect, bits, header.get()), 0u);
    EXPECT_EQ(bgr.at(0, 0), 11);
    EXPECT_EQ(bgr.at(0, 26), 201);
}

TEST(DibToRect, OneBitIntoOneBitCopiesStrideBytesButNotBeyondThePixelArray) {
    DibHeader header = paletteHeader(1, 2);
    const uint8_t bits[] = {1, 2, 3, 4, 5, 6, 7, 8};  // 2 rows of 4 bytes (width 9)
    // A stride of 6 reads on into the next stored row; for the last stored row
    // the copy ends with the pixel array.
    TestRect rect(9, 2, 1, 6);
    ASSERT_EQ(complibSetDIBitsToRect(&rect.rect, bits, header.get()), 0u);
    const uint8_t bottom[] = {1, 2, 3, 4, 5, 6};
    const uint8_t top[] = {5, 6, 7, 8, 0xEE, 0xEE};
    EXPECT_EQ(0, std::memcmp(rect.row(1), bottom, 6));
    EXPECT_EQ(0, std::memcmp(rect.row(0), top, 6));
}

TEST(DibToRect, FourBitPixelsTakeTheHighNibbleFirst) {
    DibHeader header = paletteHeader(4, 16);
    const uint8_t bits[] = {0x12, 0x34, 0x5F, 0};  // 5 pixels: the fifth from a high nibble
    TestRect grey(5, 1, 8, 5);
    ASSERT_EQ(complibSetDIBitsToRect(&grey.rect, bits, header.get()), 0u);
    const uint8_t expected[] = {101, 102, 103, 104, 105};
    EXPECT_EQ(0, std::memcmp(grey.rect.bits, expected, 5));

    header.get()->biCompression = 2;
    EXPECT_EQ(complibSetDIBits4ToRect(&grey.rect, bits, header.get()), kFailure);
}

TEST(DibToRect, SixteenBitFieldsScaleToEightBits) {
    DibHeader header(16);
    // 5-5-5: white, pure red, pure green, pure blue; two pixels make a 4-byte row.
    const uint16_t bits[] = {0x7FFF, 0x7C00, 0x03E0, 0x001F};
    TestRect bgr(2, 2, 24, 6);
    ASSERT_EQ(complibSetDIBitsToRect(&bgr.rect, bits, header.get()), 0u);
    const uint8_t bottom[] = {0xF8, 0xF8, 0xF8, 0, 0, 0xF8};
    const uint8_t top[] = {0, 0xF8, 0, 0xF8, 0, 0};
    EXPECT_EQ(0, std::memcmp(bgr.row(1), bottom, 6));
    EXPECT_EQ(0, std::memcmp(bgr.row(0), top, 6));

    // 5-6-5 through the converter (the dispatcher refuses bit fields): green has
    // six bits, red starts at bit 11.
    DibHeader masked(16);
    masked.setMasks(0xF800, 0x07E0, 0x001F);
    const uint16_t wide[] = {0x07E0, 0xF800};
    TestRect out(2, 1, 24, 6);
    ASSERT_EQ(complibSetDIBits16ToRect(&out.rect, wide, masked.get()), 0u);
    const uint8_t expected[] = {0, 0xFC, 0, 0, 0, 0xF8};
    EXPECT_EQ(0, std::memcmp(out.rect.bits, expected, 6));

    // A grey destination takes the green field alone.
    TestRect grey(2, 1, 8, 2);
    ASSERT_EQ(complibSetDIBits16ToRect(&grey.rect, wide, masked.get()), 0u);
    EXPECT_EQ(grey.at(0, 0), 0xFC);
    EXPECT_EQ(grey.at(0, 1), 0);
}

TEST(DibToRect, TwentyFourAndThirtyTwoBitPixels) {
    DibHeader header24(24, 0, 0, 0);
    // Width 1: 3 bytes of pixel and one pad byte per stored row.
    const uint8_t bits24[] = {1, 2, 3, 0xAA, 4, 5, 6, 0xBB};
    TestRect grey(1, 2, 8, 1);
    ASSERT_EQ(complibSetDIBitsToRect(&grey.rect, bits24, header24.get()), 0u);
    EXPECT_EQ(grey.at(0, 0), 5);
    EXPECT_EQ(grey.at(1, 0), 2);
    // The 24-bit destination copies `stride` bytes per row, pad byte included.
    TestRect bgr(1, 2, 24, 4);
    ASSERT_EQ(complibSetDIBitsToRect(&bgr.rect, bits24, header24.get()), 0u);
    const uint8_t expected24[] = {4, 5, 6, 0xBB, 1, 2, 3, 0xAA};
    EXPECT_EQ(0, std::memcmp(bgr.rect.bits, expected24, 8));

    DibHeader header32(32, 0, 0, 0);
    const uint8_t bits32[] = {1, 2, 3, 4, 5, 6, 7, 8};
    TestRect grey32(2, 1, 8, 2);
    ASSERT_EQ(complibSetDIBitsToRect(&grey32.rect, bits32, header32.get()), 0u);
    EXPECT_EQ(grey32.at(0, 0), 2);
    EXPECT_EQ(grey32.at(0, 1), 6);
    TestRect bgr32(2, 1, 24, 6);
    ASSERT_EQ(complibSetDIBitsToRect(&bgr32.rect, bits32, header32.get()), 0u);
    const uint8_t expected32[] = {1, 2, 3, 5, 6, 7};
    EXPECT_EQ(0, std::memcmp(bgr32.rect.bits, expected32, 6));
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
    EXPECT_EQ(capture.reports()[0].source, "complibSetDIBitsToRect");
    EXPECT_EQ(capture.reports()[0].text, "undefined biBitCount in DIB");

    // Compression is looked at before the depth.
    capture.clear();
    depth2.get()->biCompression = 1;
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, depth2.get()), kFailure);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"not BI_RGB."});

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

    // A run-length coded 8-bit bitmap handed to its converter converts nothing.
    header8.get()->biCompression = 1;
    EXPECT_EQ(complibSetDIBits8ToRect(&rect.rect, bits, header8.get()), 0u);
    EXPECT_EQ(rect.at(0, 0), 0xEE);
}

TEST(DibToRect, ColourTableIsReadFortyBytesInWhateverTheHeaderSize) {
    // A 124-byte header: the table is still taken from byte 40 onwards.
    DibHeader header(8, 0, 0, 100, 124);
    header.setEntry(3, 7, 8, 9);
    const uint8_t bits[] = {3, 0, 0, 0};
    TestRect rect(1, 1, 24, 3);
    ASSERT_EQ(complibSetDIBitsToRect(&rect.rect, bits, header.get()), 0u);
    const uint8_t expected[] = {7, 8, 9};
    EXPECT_EQ(0, std::memcmp(rect.rect.bits, expected, 3));
}

TEST(DibToRect, EmptyOrNegativeRectanglesTouchNothing) {
    DibHeader header = paletteHeader(8);
    const uint8_t bits[4] = {1, 2, 3, 4};
    for (auto [w, h] : {std::pair{0, 2}, std::pair{-3, 2}, std::pair{2, 0}, std::pair{2, -1}}) {
        TestRect rect(2, 2, 24, 6);
        rect.rect.width = w;
        rect.rect.height = h;
        EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, header.get()), 0u);
        for (uint8_t b : rect.storage) ASSERT_EQ(b, 0xEE);
    }
}
