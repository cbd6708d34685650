// Decoding into bitmaps through the exported entry: header query, direct view
// onto the caller's rows, converted depths, option restore, refusals.
#include <gtest/gtest.h>

#include "bitmap/dither_palette.h"
#include "bitmap_test_support.h"
#include "context/jpeg_context.h"
#include "decoder_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::FlatComponent;
using testing_support::decodeWhole;  // top-down: where each row must land in the bitmap
using testing_support::MemoryDecode;
using testing_support::FlatJpeg;
using testing_support::samples;

namespace {

const std::vector<FlatComponent> kGrey = {{1, 0x11}};
const std::vector<FlatComponent> kColour = {{1, 0x11}, {2, 0x11}, {3, 0x11}};

// Flat 8x8 blocks: component c of MCU m has sample 10m + 20c - 60, so every
// block of the picture is distinguishable.
FlatJpeg picture(uint16_t width, uint16_t height, std::vector<FlatComponent> components) {
    FlatJpeg layout;
    layout.width = width;
    layout.height = height;
    layout.components = std::move(components);
    layout.level = samples([](int c, uint32_t m, int) { return static_cast<int>(10 * m) + 20 * c - 60; });
    return layout;
}

std::vector<uint8_t> stream(uint16_t width, uint16_t height, const std::vector<FlatComponent>& components) {
    return testing_support::flatJpeg(picture(width, height, components));
}

int32_t toBitmap(MemoryDecode& d, uint32_t lines, Bitmap& bmp, int scale = JPEG_SCALE_FULL) {
    return jpegDecodeScaleOutputToWinDIBits(d.handle, lines, bmp.bits.data(), bmp.header.get(), scale);
}

}  // namespace

TEST(DecodeToDibEntry, HeaderQueryDescribesTheOutputAndConvertsTheDensity) {
    struct Case { uint8_t units; uint16_t density; int32_t perMetre; };
    for (Case c : {Case{1, 72, 2835}, Case{2, 28, 2800}, Case{0, 72, 0}, Case{3, 72, 0}}) {
        FlatJpeg layout = picture(17, 9, kColour);
        uint16_t y = static_cast<uint16_t>(2 * c.density);
        layout.extraSegments = {0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, c.units,
                                static_cast<uint8_t>(c.density >> 8), static_cast<uint8_t>(c.density),
                                static_cast<uint8_t>(y >> 8), static_cast<uint8_t>(y), 0, 0};
        MemoryDecode d(testing_support::flatJpeg(layout));
        DibHeader header(24);
        std::memset(header.get(), 0x55, sizeof(BITMAPINFOHEADER));
        header.get()->biBitCount = 24;
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 9, nullptr, header.get(), JPEG_SCALE_1_8), 0);
        const BITMAPINFOHEADER& h = *header.get();
        BITMAPINFOHEADER expected{40, 3, 2, 1, 24, 0, 0, c.perMetre,
                                  c.units == 1 ? (10000 * 2 * c.density + 127) / 254 : 2 * c.perMetre, 0, 0};
        EXPECT_EQ(0, std::memcmp(&h, &expected, sizeof h)) << int{c.units} << ": " << h.biXPelsPerMeter << " "
                                                          << h.biYPelsPerMeter;
        EXPECT_EQ(header.block[40], 0) << "no palette for 24 bits";
    }
    // Eight bits: the 202-entry dither palette, the rest of the table left alone.
    MemoryDecode d(stream(8, 8, kGrey));
    DibHeader header(8);
    for (size_t i = 0; i < 256; ++i) header.setEntry(i, 1, 2, 3);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, header.get(), JPEG_SCALE_FULL), 0);
    std::vector<RGBQUAD> expected(202);
    complibFillDitherPalette(expected.data());
    EXPECT_EQ(0, std::memcmp(&header.entry(0), expected.data(), 202 * 4));
    EXPECT_EQ(header.entry(202).rgbBlue, 1);
    EXPECT_EQ(header.entry(255).rgbRed, 3);
}

TEST(DecodeToDibEntry, ColourIntoEightBitsDithersRawSamplesAndRestoresTheOptions) {
    std::vector<uint8_t> s = stream(9, 8, kColour);
    std::vector<uint8_t> raw = decodeWhole(s, JPEG_SCALE_FULL, JPEG_OPT_RAW_COMPONENTS);
    MemoryDecode d(s);
    DibHeader query(8);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, query.get(), JPEG_SCALE_FULL), 0);
    const uint16_t optionsBefore = d.handle->options;
    Bitmap bmp(8, 9, 9, 12 * 9);  // one spare row: the bitmap is taller than the output
    ASSERT_EQ(toBitmap(d, 8, bmp), 8);
    EXPECT_EQ(d.handle->options, optionsBefore);
    const DitherTables& t = *complibDitherTables();
    for (int r = 0; r < 8; ++r) {
        int k = (8 - r) & 3;  // the dither row follows the rows still to do
        for (int x = 0; x < 9; ++x) {
            const uint8_t* p = &raw[((7 - r) * 9 + x) * 3];
            int j = x & 3;
            ASSERT_EQ(bmp.bits[r * 12 + x], t.y[k][j][p[0]] + t.cb[k][j][p[1]] + t.cr[k][j][p[2]]) << r << "," << x;
        }
    }
    EXPECT_TRUE(bmp.untouchedFrom(8 * 12, 9 * 12));

    // Raw samples cannot be produced at a reduced size: nothing is delivered,
    // and the options are restored on that path too.
    MemoryDecode scaled(s);
    Bitmap small(8, 2, 1, 4);
    EXPECT_EQ(toBitmap(scaled, 1, small, JPEG_SCALE_1_4), 0);
    EXPECT_EQ(scaled.handle->options & JPEG_OPT_RAW_COMPONENTS, 0);
}

TEST(DecodeToDibEntry, EveryDepthGetsTheDirectDecodesRowsBottomUp) {
    // Grey into 8 bits and colour into 24 bits are a direct view onto the
    // caller's rows; the rest are converted. The bitmap is 13 wide, wider
    // than the image: it keeps its own row length and the rest of each row.
    for (bool isColour : {false, true}) {
        std::vector<uint8_t> s = stream(10, 8, isColour ? kColour : kGrey);
        std::vector<uint8_t> direct = decodeWhole(s);
        for (int bitCount : {8, 16, 24, 32}) {
            if (bitCount == 8 && isColour) continue;  // dithered: below
            MemoryDecode d(s);
            const size_t step = (13 * bitCount / 8 + 3) & ~3u;
            Bitmap bmp(bitCount, 13, 8, step * 8);
            ASSERT_EQ(toBitmap(d, 8, bmp), 8);
            for (int r = 0; r < 8; ++r) {
                SCOPED_TRACE(testing::Message() << bitCount << " colour " << isColour << " row " << r);
                const uint8_t* out = &bmp.bits[r * step];
                for (int x = 0; x < 10; ++x, out += bitCount / 8) {
                    const uint8_t* p = isColour ? &direct[((7 - r) * 10 + x) * 3] : &direct[(7 - r) * 10 + x];
                    uint8_t b = p[0], g = p[isColour ? 1 : 0], red = p[isColour ? 2 : 0];
                    if (bitCount == 8) {
                        ASSERT_EQ(out[0], g);
                    } else if (bitCount == 16) {
                        ASSERT_EQ(out[0] | out[1] << 8, ((red & 0xF8) << 7) | ((g & 0xF8) << 2) | (b >> 3));
                    } else {
                        ASSERT_EQ(std::vector<uint8_t>(out, out + bitCount / 8),
                                  (bitCount == 24 ? std::vector<uint8_t>{b, g, red}
                                                  : std::vector<uint8_t>{b, g, red, kUntouched}));
                    }
                }
                EXPECT_EQ(*out, kUntouched);
            }
        }
    }
}

TEST(DecodeToDibEntry, RefusalsAndMisuseWriteNothing) {
    for (auto components : {std::vector<FlatComponent>{{1, 0x11}, {2, 0x11}},
                            std::vector<FlatComponent>{{1, 0x11}, {2, 0x11}, {3, 0x11}, {4, 0x11}}}) {
        MemoryDecode d(stream(8, 8, components));
        ASSERT_NE(d.handle, nullptr);
        DibHeader query(24);
        std::memset(query.get(), 0x55, 40);
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, query.get(), JPEG_SCALE_FULL), 0);
        EXPECT_EQ(query.block[0], 0x55) << "the header is not filled either";
        Bitmap bmp(24, 8, 8, 24 * 8);
        EXPECT_EQ(toBitmap(d, 8, bmp), 0);
        EXPECT_TRUE(bmp.untouchedFrom(0, bmp.bits.size()));
    }
    Bitmap bmp(24, 8, 8, 24 * 8);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(nullptr, 8, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL), 0);
    MemoryDecode d(stream(8, 8, kColour));
    EXPECT_EQ(toBitmap(d, 0, bmp), 0);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, bmp.bits.data(), nullptr, JPEG_SCALE_FULL), 0);
    EXPECT_TRUE(bmp.untouchedFrom(0, bmp.bits.size()));
    // Four older names are one entry that does nothing.
    EXPECT_EQ(jpegDecodeToWinDIB(), -1);
    EXPECT_EQ(jpegDecodeToWinBitmap(), -1);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIB(), -1);
    EXPECT_EQ(jpegDecodeScaleOutputToWinBitmap(), -1);
}

TEST(DecodeToDibEntry, NeverWritesOutsideTheBitmapTheHeaderDescribes) {
    std::vector<uint8_t> s = stream(8, 16, kGrey);
    std::vector<uint8_t> grey = decodeWhole(s);
    // More lines than the bitmap has rows: only the bitmap's rows are written,
    // each with the row the direct view would have put there.
    MemoryDecode d(s);
    Bitmap bmp(8, 8, 10, 8 * 12);
    ASSERT_EQ(toBitmap(d, 16, bmp), 16);
    for (int r = 0; r < 10; ++r) EXPECT_EQ(0, std::memcmp(&bmp.bits[8 * r], &grey[(15 - r) * 8], 8)) << r;
    EXPECT_TRUE(bmp.untouchedFrom(80, 96));

    // A height still to come from DNL: the decoder fills whole MCU rows, which
    // must not run below the bitmap's first row.
    FlatJpeg dnl = picture(8, 16, kGrey);
    dnl.heightInDnl = true;
    MemoryDecode withDnl(testing_support::flatJpeg(dnl));
    ASSERT_NE(withDnl.handle, nullptr);
    Bitmap storage(8, 8, 5, 8 * 20);
    uint8_t* bits = storage.bits.data() + 8 * 10;  // rows 10..14 of the storage
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(withDnl.handle, 5, bits, storage.header.get(), JPEG_SCALE_FULL), 5);
    for (int r = 0; r < 5; ++r) EXPECT_EQ(0, std::memcmp(bits + 8 * r, &grey[(4 - r) * 8], 8)) << r;
    EXPECT_TRUE(storage.untouchedFrom(0, 80));
    EXPECT_TRUE(storage.untouchedFrom(120, 160));
}
