// Rectangles into bitmap pixels: geometry, every depth, the dither, the row
// that follows an 8-bit rectangle, hostile headers.
#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "bitmap/dither_palette.h"
#include "bitmap/rect_to_dib.h"
#include "bitmap_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;

namespace {

constexpr uint8_t kUntouched = 0xCD;

struct Bitmap {
    DibHeader header;
    std::vector<uint8_t> bits;
    Bitmap(int bitCount, int32_t width, int32_t height, size_t bytes)
        : header(bitCount, width, height), bits(bytes, kUntouched) {}
};

void fillCounting(TestRect& r) {
    for (int y = 0; y < r.rect.height; ++y)
        for (int x = 0; x < r.rect.stride; ++x) r.row(y)[x] = static_cast<uint8_t>(16 * y + x);
}

const DitherTables& builtDitherTables() {
    DibHeader eight(8);
    complibBuildDitherTables(eight.get());
    return *complibDitherTables();
}

}  // namespace

TEST(RectToDib, TwentyFourBitRowsGoBottomUpIntoPaddedRows) {
    TestRect rect(5, 3, 24, 15);
    fillCounting(rect);
    Bitmap bmp(24, 5, 3, 48);
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, bmp.bits.data(), bmp.header.get()), 3);
    for (int r = 0; r < 3; ++r) {
        EXPECT_EQ(0, std::memcmp(&bmp.bits[16 * r], rect.row(2 - r), 15)) << r;
        EXPECT_EQ(bmp.bits[16 * r + 15], kUntouched) << "padding byte of row " << r;
    }
}

TEST(RectToDib, OnlyTheCommonPartIsConvertedTakingTheBottomRows) {
    TestRect rect(10, 10, 8, 10);
    fillCounting(rect);
    Bitmap bmp(8, 8, 6, 8 * 7);  // one spare row to show nothing lands after row 6
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, bmp.bits.data(), bmp.header.get()), 6);
    for (int r = 0; r < 6; ++r) EXPECT_EQ(0, std::memcmp(&bmp.bits[8 * r], rect.row(9 - r), 8)) << r;
    for (int i = 48; i < 56; ++i) EXPECT_EQ(bmp.bits[i], kUntouched);
}

TEST(RectToDib, DitherTablesCountThresholdsBelowEachSample) {
    const DitherTables& t = builtDitherTables();
    // Matrix value 1 at (0, 0): Y thresholds 3, 39, 75 ... in steps of 25.
    EXPECT_EQ(t.y[0][0][2], 0);
    EXPECT_EQ(t.y[0][0][3], 25);
    EXPECT_EQ(t.y[0][0][38], 25);
    EXPECT_EQ(t.y[0][0][39], 50);
    EXPECT_EQ(t.y[0][0][255], 200);
    // Matrix value 16 at (0, 3): Cb and Cr thresholds 64, 128, 192.
    EXPECT_EQ(t.cb[0][3][63], 0);
    EXPECT_EQ(t.cb[0][3][64], 5);
    EXPECT_EQ(t.cb[0][3][255], 15);
    EXPECT_EQ(t.cr[0][3][191], 2);
    EXPECT_EQ(t.cr[0][3][192], 3);
    // Matrix value 6 at (3, 3).
    EXPECT_EQ(t.y[3][3][17], 0);
    EXPECT_EQ(t.y[3][3][18], 25);
}

TEST(RectToDib, EightBitBitmapDithersRawSamplesToPaletteIndexes) {
    builtDitherTables();
    // One row: the row count is 1, so matrix row 1 (9, 5, 12, 8) applies.
    TestRect rect(5, 1, 24, 15);
    for (int x = 0; x < 5; ++x) std::memset(rect.row(0) + 3 * x, 128, 3);
    Bitmap bmp(8, 5, 1, 8);
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, bmp.bits.data(), bmp.header.get()), 1);
    // d = 9: Y thresholds 27, 63, 99 -> 75; Cb 36, 100 -> 10; Cr -> 2: 87.
    EXPECT_EQ(bmp.bits[0], 87);
    // d = 5: Y 15, 51, 87, 123 -> 100; Cb/Cr 20, 84 -> 10 + 2: 112.
    EXPECT_EQ(bmp.bits[1], 112);
    // d = 12: Y 36, 72, 108 -> 75; Cb/Cr 48, 112 -> 12: 87.
    EXPECT_EQ(bmp.bits[2], 87);
    // The fifth pixel starts the matrix row again at column 0.
    EXPECT_EQ(bmp.bits[4], 87);
    EXPECT_EQ(bmp.bits[5], kUntouched);

    // The dither row counts down: in a 2-row rectangle the bitmap's first row
    // (the rectangle's bottom) uses matrix row 2 (d = 3 at column 0), the
    // second row matrix row 1.
    TestRect two(1, 2, 24, 3);
    std::memset(two.row(0), 30, 3);
    std::memset(two.row(1), 30, 3);
    Bitmap bmp2(8, 1, 2, 8);
    ASSERT_EQ(complibGetDIBitsFromRect(&two.rect, bmp2.bits.data(), bmp2.header.get()), 2);
    EXPECT_EQ(bmp2.bits[0], 25 * 1 + 5 * 1 + 1);  // d = 3: thresholds 9 and 12 both <= 30
    EXPECT_EQ(bmp2.bits[4], 25 * 1 + 0 + 0);      // d = 9: 27 <= 30 < 36
}

TEST(RectToDib, SixteenBitPacksFiveSixFiveOrFiveFiveFive) {
    TestRect grey(2, 1, 8, 2);
    grey.row(0)[0] = 255;
    grey.row(0)[1] = 0x84;
    Bitmap b555(16, 2, 1, 4);
    ASSERT_EQ(complibGetDIBitsFromRect(&grey.rect, b555.bits.data(), b555.header.get()), 1);
    EXPECT_EQ(b555.bits[0] | b555.bits[1] << 8, 0x7FFF);
    EXPECT_EQ(b555.bits[2] | b555.bits[3] << 8, (0x80 << 7) | (0x80 << 2) | (0x84 >> 3));

    Bitmap b565(16, 2, 1, 4);
    b565.header.setMasks(0xF800, 0x07E0, 0x001F);
    ASSERT_EQ(complibGetDIBitsFromRect(&grey.rect, b565.bits.data(), b565.header.get()), 1);
    EXPECT_EQ(b565.bits[0] | b565.bits[1] << 8, 0xFFFF);
    EXPECT_EQ(b565.bits[2] | b565.bits[3] << 8, (0x80 << 8) | (0x84 << 3) | (0x84 >> 3));

    TestRect bgr(1, 1, 24, 3);
    const uint8_t pixel[] = {0x08, 0x0C, 0xF0};  // blue, green, red
    std::memcpy(bgr.row(0), pixel, 3);
    Bitmap c565(16, 1, 1, 4);
    c565.header.setMasks(0xF800, 0x07E0, 0x001F);
    ASSERT_EQ(complibGetDIBitsFromRect(&bgr.rect, c565.bits.data(), c565.header.get()), 1);
    EXPECT_EQ(c565.bits[0] | c565.bits[1] << 8, (0xF0 << 8) | (0x0C << 3) | 0x01);
    Bitmap c555(16, 1, 1, 4);
    ASSERT_EQ(complibGetDIBitsFromRect(&bgr.rect, c555.bits.data(), c555.header.get()), 1);
    EXPECT_EQ(c555.bits[0] | c555.bits[1] << 8, (0xF0 << 7) | (0x08 << 2) | 0x01);
}

TEST(RectToDib, GreyFillsThreeChannelsAndThirtyTwoBitKeepsItsFourthByte) {
    TestRect grey(2, 1, 8, 2);
    grey.row(0)[0] = 7;
    grey.row(0)[1] = 9;
    Bitmap b24(24, 2, 1, 8);
    ASSERT_EQ(complibGetDIBitsFromRect(&grey.rect, b24.bits.data(), b24.header.get()), 1);
    const uint8_t expected24[] = {7, 7, 7, 9, 9, 9, kUntouched, kUntouched};
    EXPECT_EQ(0, std::memcmp(b24.bits.data(), expected24, 8));

    Bitmap b32(32, 2, 1, 8);
    ASSERT_EQ(complibGetDIBitsFromRect(&grey.rect, b32.bits.data(), b32.header.get()), 1);
    const uint8_t expected32[] = {7, 7, 7, kUntouched, 9, 9, 9, kUntouched};
    EXPECT_EQ(0, std::memcmp(b32.bits.data(), expected32, 8));

    TestRect bgr(1, 1, 24, 3);
    const uint8_t pixel[] = {1, 2, 3};
    std::memcpy(bgr.row(0), pixel, 3);
    Bitmap c32(32, 1, 1, 4);
    ASSERT_EQ(complibGetDIBitsFromRect(&bgr.rect, c32.bits.data(), c32.header.get()), 1);
    const uint8_t expectedC[] = {1, 2, 3, kUntouched};
    EXPECT_EQ(0, std::memcmp(c32.bits.data(), expectedC, 4));
}

TEST(RectToDib, AnEightBitRectangleIsFollowedByOneRowReadAsThreeBytePixels) {
    // 6 x 2 grey rectangle, bitmap one row taller. The extra row reads from
    // one stride before the rectangle: pixels 0 and 1 would come from outside
    // it and stay untouched; pixels 2..5 read the rectangle's first 12 bytes.
    TestRect rect(6, 2, 8, 6);
    fillCounting(rect);
    Bitmap bmp(24, 6, 3, 3 * 20);
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, bmp.bits.data(), bmp.header.get()), 2);
    const uint8_t* extra = &bmp.bits[2 * 20];
    for (int i = 0; i < 6; ++i) EXPECT_EQ(extra[i], kUntouched) << i;
    const uint8_t* inside = rect.rect.bits;  // rows 0 and 1 back to back
    EXPECT_EQ(0, std::memcmp(extra + 6, inside, 12));
    EXPECT_EQ(extra[18], kUntouched);

    // Into an 8-bit bitmap the extra row is dithered with row count 0.
    const DitherTables& t = builtDitherTables();
    Bitmap eight(8, 6, 3, 3 * 8);
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, eight.bits.data(), eight.header.get()), 2);
    EXPECT_EQ(eight.bits[16], kUntouched);
    EXPECT_EQ(eight.bits[17], kUntouched);
    for (int x = 2; x < 6; ++x) {
        const uint8_t* s = inside + 3 * (x - 2);
        EXPECT_EQ(eight.bits[16 + x], t.y[0][x & 3][s[0]] + t.cb[0][x & 3][s[1]] + t.cr[0][x & 3][s[2]]) << x;
    }

    // No extra row when the bitmap ends with the rectangle.
    Bitmap exact(24, 6, 2, 3 * 20);
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, exact.bits.data(), exact.header.get()), 2);
    for (int i = 40; i < 60; ++i) EXPECT_EQ(exact.bits[i], kUntouched);
    EXPECT_TRUE(rect.guardsUntouched());
}

TEST(RectToDib, OneAndFourBitBitmaps) {
    TestRect rect(20, 2, 1, 3);
    fillCounting(rect);
    Bitmap one(1, 20, 2, 8);  // rows of 4 bytes: the 3-byte stride is the shorter
    ASSERT_EQ(complibGetDIBitsFromRect(&rect.rect, one.bits.data(), one.header.get()), 2);
    EXPECT_EQ(0, std::memcmp(&one.bits[0], rect.row(1), 3));
    EXPECT_EQ(one.bits[3], kUntouched);
    EXPECT_EQ(0, std::memcmp(&one.bits[4], rect.row(0), 3));

    TestRect grey(4, 1, 8, 4);
    EXPECT_EQ(complibGetDIBitsFromRect(&grey.rect, one.bits.data(), one.header.get()), 0);
    Bitmap four(4, 4, 1, 4);
    EXPECT_EQ(complibGetDIBitsFromRect(&grey.rect, four.bits.data(), four.header.get()), 0);
    for (uint8_t b : four.bits) EXPECT_EQ(b, kUntouched);
}

TEST(RectToDib, RefusalsReportOnlyAnUnknownDepth) {
    ReportCapture capture;
    TestRect rect(2, 2, 24, 6);
    Bitmap core(24, 2, 2, 16);
    core.header.get()->biSize = 12;
    EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, core.bits.data(), core.header.get()), 0);
    EXPECT_TRUE(capture.reports().empty());

    Bitmap two(2, 2, 2, 16);
    EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, two.bits.data(), two.header.get()), 0);
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].source, "complibGetDIBitsFromRect");
    EXPECT_EQ(capture.reports()[0].text, "undefined biBitCount in DIB");

    // A rectangle depth the converter does not know converts nothing but
    // still counts its rows.
    TestRect rect32(2, 2, 32, 8);
    Bitmap b24(24, 2, 2, 16);
    EXPECT_EQ(complibGetDIBitsFromRect(&rect32.rect, b24.bits.data(), b24.header.get()), 2);
    for (uint8_t b : b24.bits) EXPECT_EQ(b, kUntouched);
}

TEST(RectToDib, HostileHeadersWriteNothingOutsideTheBitmapTheyDescribe) {
    TestRect rect(4, 4, 8, 4);
    fillCounting(rect);
    for (int depth : {8, 16, 24, 32}) {
        // Sizes whose pixel array cannot exist are refused outright.
        Bitmap huge(depth, INT32_MAX, INT32_MAX, 64);
        EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, huge.bits.data(), huge.header.get()), 0) << depth;
        Bitmap wide(depth, INT32_MAX / 2, 2, 64);
        EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, wide.bits.data(), wide.header.get()), 0) << depth;
        // A top-down header gives a negative common height: no row is written.
        Bitmap topDown(depth, 4, -4, 64);
        EXPECT_LT(complibGetDIBitsFromRect(&rect.rect, topDown.bits.data(), topDown.header.get()), 0) << depth;
        Bitmap negativeWidth(depth, -4, 4, 64);
        EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, negativeWidth.bits.data(), negativeWidth.header.get()), 4);
        for (const Bitmap* b : {&huge, &wide, &topDown, &negativeWidth})
            for (uint8_t v : b->bits) ASSERT_EQ(v, kUntouched) << depth;
    }
}

TEST(DitherPalette, EntriesAreTheYCbCrGridColours) {
    std::vector<RGBQUAD> palette(256, RGBQUAD{1, 2, 3, 4});
    complibFillDitherPalette(palette.data());
    auto is = [](const RGBQUAD& q, int b, int g, int r) {
        return q.rgbBlue == b && q.rgbGreen == g && q.rgbRed == r && q.rgbReserved == 0;
    };
    // Y 16, Cb 25, Cr 25: blue -112 - 182 and red -112 - 144 clamp to 0,
    // green -112 + 35 + 73 = -4 gives 124.
    EXPECT_TRUE(is(palette[0], 0, 124, 0));
    // Y 144, Cb 229, Cr 229.
    EXPECT_TRUE(is(palette[124], 255, 38, 255));
    // The ninth luminance level, 272, relies on clamping.
    EXPECT_TRUE(is(palette[200], 90, 255, 128));
    EXPECT_TRUE(is(palette[201], 90, 255, 200));
    EXPECT_EQ(palette[202].rgbBlue, 1);
    EXPECT_EQ(palette[255].rgbReserved, 4);

    uint8_t r, g, b;
    jpegDecodeYCbCrToRGB(&r, &g, &b, 128, 128, 128);
    EXPECT_EQ(r, 128);
    EXPECT_EQ(g, 128);
    EXPECT_EQ(b, 128);
    jpegDecodeYCbCrToRGB(&r, &g, &b, 255, 128, 255);
    EXPECT_EQ(r, 255);
}

TEST(DitherPalette, ConcurrentFirstBuildsAgree) {
    DibHeader eight(8);
    DibHeader twentyFour(24);
    complibBuildDitherTables(twentyFour.get());  // not an 8-bit request: no effect either way
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { complibBuildDitherTables(eight.get()); });
    for (auto& t : threads) t.join();
    const DitherTables* tables = complibDitherTables();
    ASSERT_NE(tables, nullptr);
    EXPECT_EQ(tables->y[1][0][128], 75);
    EXPECT_EQ(tables->cb[1][0][128], 10);
    EXPECT_EQ(tables->cr[1][0][128], 2);
}
