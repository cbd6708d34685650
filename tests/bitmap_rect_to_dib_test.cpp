// Rectangles into bitmap pixels: geometry, the dither, the row that follows
// an 8-bit rectangle, hostile headers (the pixel formats: DibToRect's table).
#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "bitmap/dither_palette.h"
#include "bitmap/rect_to_dib.h"
#include "bitmap_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;
using Bytes = std::vector<uint8_t>;
using testing_support::text;

namespace {

void fillCounting(TestRect& r) {
    for (int y = 0; y < r.rect.height; ++y)
        for (int x = 0; x < r.rect.stride; ++x) r.row(y)[x] = static_cast<uint8_t>(16 * y + x);
}

// The bitmap bytes a conversion writes, after checking the rows it reports.
Bytes toDib(TestRect& rect, int bitCount, int32_t width, int32_t height, size_t bytes, int expectRows,
            bool fiveSixFive = false) {
    Bitmap bmp(bitCount, width, height, bytes);
    if (fiveSixFive) bmp.header.setMasks(0xF800, 0x07E0, 0x001F);
    EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, bmp.bits.data(), bmp.header.get()), expectRows);
    return bmp.bits;
}

const DitherTables& builtDitherTables() {
    DibHeader eight(8);
    complibBuildDitherTables(eight.get());
    return *complibDitherTables();
}

constexpr uint8_t U = kUntouched;

}  // namespace

TEST(RectToDib, RowsGoBottomUpAndOnlyTheCommonPartIsConverted) {
    TestRect rect(5, 3, 24, 15);
    fillCounting(rect);
    Bytes bits = toDib(rect, 24, 5, 3, 48, 3);
    for (int r = 0; r < 3; ++r) {
        EXPECT_EQ(0, std::memcmp(&bits[16 * r], rect.row(2 - r), 15)) << r;
        EXPECT_EQ(bits[16 * r + 15], U) << "padding byte of row " << r;
    }
    // 10 x 10 into 8 x 6: the bottom six rows, eight pixels each.
    TestRect big(10, 10, 8, 10);
    fillCounting(big);
    bits = toDib(big, 8, 8, 6, 8 * 7, 6);  // one spare row to show nothing lands after row 6
    for (int r = 0; r < 6; ++r) EXPECT_EQ(0, std::memcmp(&bits[8 * r], big.row(9 - r), 8)) << r;
    EXPECT_EQ(Bytes(bits.begin() + 48, bits.end()), Bytes(8, U));
    // One bit: the shorter of the stride and the bitmap row is copied.
    TestRect mono(20, 2, 1, 3);
    fillCounting(mono);
    bits = toDib(mono, 1, 20, 2, 8, 2);
    EXPECT_EQ(bits, (Bytes{16, 17, 18, U, 0, 1, 2, U}));
}

TEST(RectToDib, DitherTablesAndPaletteIndexes) {
    const DitherTables& t = builtDitherTables();
    // Matrix value 1 at (0, 0): Y thresholds 3, 39, 75 ... in steps of 25;
    // value 16 at (0, 3): Cb and Cr thresholds 64, 128, 192.
    const uint8_t(&y)[256] = t.y[0][0], (&cb)[256] = t.cb[0][3], (&cr)[256] = t.cr[0][3];
    EXPECT_EQ((std::vector<int>{y[2], y[3], y[38], y[39], y[255], cb[63], cb[64], cb[255], cr[191], cr[192]}),
              (std::vector<int>{0, 25, 25, 50, 200, 0, 5, 15, 2, 3}));

    // One row of raw samples 128: the row count is 1, so matrix row 1
    // (9, 5, 12, 8) applies. d = 9: Y 27, 63, 99 -> 75, Cb 36, 100 -> 10,
    // Cr 2: 87. d = 5: 100 + 10 + 2. d = 12: 87. The fifth pixel starts the row again.
    TestRect grey(5, 1, 24, 15);
    std::memset(grey.row(0), 128, 15);
    EXPECT_EQ(toDib(grey, 8, 5, 1, 8, 1), (Bytes{87, 112, 87, 87, 87, U, U, U}));
    // The dither row counts down: in a 2-row rectangle the bitmap's first row
    // uses matrix row 2 (d = 3: thresholds 9 and 12 below 30), the second row 1.
    TestRect two(1, 2, 24, 3);
    std::memset(two.rect.bits, 30, 6);
    Bytes bits = toDib(two, 8, 1, 2, 8, 2);
    EXPECT_EQ(bits[0], 25 + 5 + 1);
    EXPECT_EQ(bits[4], 25);
}

TEST(RectToDib, AnEightBitRectangleIsFollowedByOneRowReadAsThreeBytePixels) {
    // 6 x 2 grey rectangle, bitmap one row taller. The extra row reads from
    // one stride before the rectangle: pixels 0 and 1 would come from outside
    // it and stay untouched; pixels 2..5 read the rectangle's first 12 bytes.
    TestRect rect(6, 2, 8, 6);
    fillCounting(rect);
    const uint8_t* inside = rect.rect.bits;  // rows 0 and 1 back to back
    Bytes bits = toDib(rect, 24, 6, 3, 3 * 20, 2);
    const uint8_t* extra = &bits[2 * 20];
    EXPECT_EQ(Bytes(extra, extra + 6), Bytes(6, U));
    EXPECT_EQ(0, std::memcmp(extra + 6, inside, 12));
    EXPECT_EQ(extra[18], U);
    // Into an 8-bit bitmap the extra row is dithered with row count 0.
    const DitherTables& t = builtDitherTables();
    bits = toDib(rect, 8, 6, 3, 3 * 8, 2);
    EXPECT_EQ(bits[16], U);
    EXPECT_EQ(bits[17], U);
    for (int x = 2; x < 6; ++x) {
        const uint8_t* s = inside + 3 * (x - 2);
        EXPECT_EQ(bits[16 + x], t.y[0][x & 3][s[0]] + t.cb[0][x & 3][s[1]] + t.cr[0][x & 3][s[2]]) << x;
    }
    // No extra row when the bitmap ends with the rectangle.
    bits = toDib(rect, 24, 6, 2, 3 * 20, 2);
    EXPECT_EQ(Bytes(bits.begin() + 40, bits.end()), Bytes(20, U));
    EXPECT_TRUE(rect.guardsUntouched());
}

TEST(RectToDib, RefusalsWriteNothingAndReportOnlyAnUnknownDepth) {
    ReportCapture capture;
    TestRect rect(2, 2, 24, 6);
    Bitmap core(24, 2, 2, 16);
    core.header.get()->biSize = 12;
    EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, core.bits.data(), core.header.get()), 0);
    TestRect grey(4, 1, 8, 4);
    EXPECT_EQ(toDib(grey, 1, 20, 2, 8, 0), Bytes(8, U));  // grey into 1 or 4 bits: nothing
    EXPECT_EQ(toDib(grey, 4, 4, 1, 4, 0), Bytes(4, U));
    EXPECT_TRUE(capture.reports().empty());
    TestRect rect32(2, 2, 32, 8);  // an unknown rectangle depth converts nothing, still counts rows
    EXPECT_EQ(toDib(rect32, 24, 2, 2, 16, 2), Bytes(16, U));
    EXPECT_EQ(toDib(rect, 2, 2, 2, 16, 0), Bytes(16, U));
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kComplibGetDIBitsFromRect));
    EXPECT_EQ(capture.reports()[0].text, text(report_text::kUndefinedBiBitCountInDib));

    TestRect square(4, 4, 8, 4);
    fillCounting(square);
    for (int depth : {8, 16, 24, 32}) {
        SCOPED_TRACE(depth);
        // Sizes whose pixel array cannot exist are refused outright; a top-down
        // header gives a negative common height; a negative width converts nothing.
        EXPECT_EQ(toDib(square, depth, INT32_MAX, INT32_MAX, 64, 0), Bytes(64, U));
        EXPECT_EQ(toDib(square, depth, INT32_MAX / 2, 2, 64, 0), Bytes(64, U));
        Bitmap topDown(depth, 4, -4, 64);
        EXPECT_LT(complibGetDIBitsFromRect(&square.rect, topDown.bits.data(), topDown.header.get()), 0);
        EXPECT_TRUE(topDown.untouchedFrom(0, 64));
        EXPECT_EQ(toDib(square, depth, -4, 4, 64, 4), Bytes(64, U));
    }
}

TEST(DitherPalette, EntriesAreTheYCbCrGridColoursAndConcurrentBuildsAgree) {
    std::vector<RGBQUAD> palette(256, RGBQUAD{1, 2, 3, 4});
    complibFillDitherPalette(palette.data());
    auto bgr0 = [&](int i) { return Bytes{palette[i].rgbBlue, palette[i].rgbGreen, palette[i].rgbRed, palette[i].rgbReserved}; };
    // Y 16, Cb 25, Cr 25: blue and red clamp to 0, green -112 + 35 + 73 = -4 gives 124.
    EXPECT_EQ(bgr0(0), (Bytes{0, 124, 0, 0}));
    EXPECT_EQ(bgr0(124), (Bytes{255, 38, 255, 0}));  // Y 144, Cb 229, Cr 229
    EXPECT_EQ(bgr0(200), (Bytes{90, 255, 128, 0}));  // the ninth luminance level relies on clamping
    EXPECT_EQ(bgr0(201), (Bytes{90, 255, 200, 0}));
    EXPECT_EQ(bgr0(202), (Bytes{1, 2, 3, 4}));
    uint8_t r, g, b;
    jpegDecodeYCbCrToRGB(&r, &g, &b, 128, 128, 128);
    EXPECT_EQ(Bytes({r, g, b}), (Bytes{128, 128, 128}));
    jpegDecodeYCbCrToRGB(&r, &g, &b, 255, 128, 255);
    EXPECT_EQ(r, 255);

    DibHeader eight(8), twentyFour(24);
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
