// Decoding into bitmaps through the exported entry: header query, direct view
// onto the caller's rows, converted depths, option restore, refusals.
#include <gtest/gtest.h>

#include "bitmap/dither_palette.h"
#include "bitmap_test_support.h"
#include "context/jpeg_context.h"
#include "decoder_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using decoder_testing::MiniComponent;
using decoder_testing::MiniJpeg;

namespace {

constexpr uint8_t kUntouched = 0xCD;

// Flat 8x8 blocks: component c of MCU m has sample 10m + 20c - 60, so every
// block of the picture is distinguishable.
MiniJpeg picture(uint16_t width, uint16_t height, std::vector<MiniComponent> components) {
    MiniJpeg layout;
    layout.width = width;
    layout.height = height;
    layout.components = std::move(components);
    layout.sample = [](int c, uint32_t m, int) { return static_cast<int>(10 * m) + 20 * c - 60; };
    return layout;
}

const std::vector<MiniComponent> kGrey = {{1, 0x11}};
const std::vector<MiniComponent> kColour = {{1, 0x11}, {2, 0x11}, {3, 0x11}};

std::vector<uint8_t> jfifSegment(uint8_t units, uint16_t x, uint16_t y) {
    return {0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, units, static_cast<uint8_t>(x >> 8),
            static_cast<uint8_t>(x), static_cast<uint8_t>(y >> 8), static_cast<uint8_t>(y), 0, 0};
}

// The same stream decoded top-down into a tight rectangle: the oracle for
// where each row must land in the bitmap.
std::vector<uint8_t> decodeTopDown(const std::vector<uint8_t>& stream, int bytesPerPixel, uint16_t extraOptions = 0) {
    OpenDecode d(stream);
    std::vector<uint8_t> pixels(size_t{d.params.width} * d.params.height * bytesPerPixel);
    d.params.options |= extraOptions;
    ImageRect rect{};
    rect.width = d.params.width;
    rect.height = d.params.height;
    rect.stride = d.params.width * bytesPerPixel;
    rect.bitsPerPixel = 8 * bytesPerPixel;
    rect.bits = pixels.data();
    if (extraOptions) d.handle->options |= extraOptions;
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, d.params.height), d.params.height);
    return pixels;
}

struct Bitmap {
    DibHeader header;
    std::vector<uint8_t> bits;
    Bitmap(int bitCount, int32_t width, int32_t height, size_t bytes)
        : header(bitCount, width, height), bits(bytes, kUntouched) {}
};

}  // namespace

TEST(DecodeToDibEntry, HeaderQueryDescribesTheOutputAndItsDensity) {
    struct Case {
        uint8_t units;
        uint16_t density;
        int32_t perMetre;
    };
    for (Case c : {Case{1, 72, 2835}, Case{2, 28, 2800}, Case{0, 72, 0}, Case{3, 72, 0}}) {
        MiniJpeg layout = picture(17, 9, kColour);
        layout.extraSegments = jfifSegment(c.units, c.density, static_cast<uint16_t>(c.density * 2));
        OpenDecode d(decoder_testing::buildMiniJpeg(layout));
        ASSERT_NE(d.handle, nullptr);
        DibHeader header(24);
        std::memset(header.get(), 0x55, sizeof(BITMAPINFOHEADER));
        header.get()->biBitCount = 24;
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 9, nullptr, header.get(), JPEG_SCALE_1_8), 0);
        const BITMAPINFOHEADER& h = *header.get();
        EXPECT_EQ(h.biSize, 40u);
        EXPECT_EQ(h.biWidth, 3);  // 17 / 8 and 9 / 8, rounded up
        EXPECT_EQ(h.biHeight, 2);
        EXPECT_EQ(h.biPlanes, 1);
        EXPECT_EQ(h.biBitCount, 24);
        EXPECT_EQ(h.biCompression, 0u);
        EXPECT_EQ(h.biSizeImage, 0u);
        EXPECT_EQ(h.biXPelsPerMeter, c.perMetre) << int{c.units};
        EXPECT_EQ(h.biYPelsPerMeter, c.units == 1 ? (10000 * 2 * c.density + 127) / 254 : 2 * c.perMetre);
        EXPECT_EQ(h.biClrUsed, 0u);
        EXPECT_EQ(h.biClrImportant, 0u);
        EXPECT_EQ(header.block[40], 0) << "no palette for 24 bits";
    }
}

TEST(DecodeToDibEntry, EightBitHeaderQueryWritesThePaletteAndReadiesTheDither) {
    OpenDecode d(decoder_testing::buildMiniJpeg(picture(8, 8, kGrey)));
    DibHeader header(8);
    for (size_t i = 0; i < 256; ++i) header.setEntry(i, 1, 2, 3);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, header.get(), JPEG_SCALE_FULL), 0);
    std::vector<RGBQUAD> expected(202);
    complibFillDitherPalette(expected.data());
    EXPECT_EQ(0, std::memcmp(&header.entry(0), expected.data(), 202 * 4));
    EXPECT_EQ(header.entry(202).rgbBlue, 1);
    EXPECT_EQ(header.entry(255).rgbRed, 3);
    EXPECT_NE(complibDitherTables(), nullptr);
}

TEST(DecodeToDibEntry, DirectViewWritesBottomUpRowsIntoTheCallersBitmap) {
    // Grey into 8 bits and colour into 24 bits need no conversion; a bitmap
    // wider than the image keeps its own row length.
    struct Case {
        std::vector<MiniComponent> components;
        int bitCount;
        int bytes;
    };
    for (const Case& c : {Case{kGrey, 8, 1}, Case{kColour, 24, 3}}) {
        std::vector<uint8_t> stream = decoder_testing::buildMiniJpeg(picture(10, 12, c.components));
        std::vector<uint8_t> expected = decodeTopDown(stream, c.bytes);
        OpenDecode d(stream);
        const int32_t bitmapWidth = 13;
        const size_t step = (bitmapWidth * c.bytes + 3) & ~3u;
        Bitmap bmp(c.bitCount, bitmapWidth, 12, step * 12);
        ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 12, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL),
                  12);
        for (int r = 0; r < 12; ++r) {
            EXPECT_EQ(0, std::memcmp(&bmp.bits[r * step], &expected[(11 - r) * 10 * c.bytes], 10 * c.bytes)) << r;
            EXPECT_EQ(bmp.bits[r * step + 10 * c.bytes], kUntouched);
        }
    }
}

TEST(DecodeToDibEntry, ColourIntoEightBitsDithersRawSamplesAndRestoresTheOptions) {
    std::vector<uint8_t> stream = decoder_testing::buildMiniJpeg(picture(9, 8, kColour));
    std::vector<uint8_t> raw = decodeTopDown(stream, 3, JPEG_OPT_RAW_COMPONENTS);
    OpenDecode d(stream);
    DibHeader query(8);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, query.get(), JPEG_SCALE_FULL), 0);
    const uint16_t optionsBefore = d.handle->options;
    Bitmap bmp(8, 9, 9, 12 * 9);  // one spare row: the bitmap is taller than the output
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL), 8);
    EXPECT_EQ(d.handle->options, optionsBefore);
    const DitherTables& t = *complibDitherTables();
    for (int r = 0; r < 8; ++r) {
        int k = (8 - r) & 3;  // the dither row follows the rows still to do
        for (int x = 0; x < 9; ++x) {
            const uint8_t* s = &raw[((7 - r) * 9 + x) * 3];
            int j = x & 3;
            ASSERT_EQ(bmp.bits[r * 12 + x], t.y[k][j][s[0]] + t.cb[k][j][s[1]] + t.cr[k][j][s[2]]) << r << "," << x;
        }
    }
    for (int i = 8 * 12; i < 9 * 12; ++i) EXPECT_EQ(bmp.bits[i], kUntouched);

    // Raw samples cannot be produced at a reduced size: nothing is delivered,
    // and the options are restored on that path too.
    OpenDecode scaled(stream);
    Bitmap small(8, 2, 1, 4);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(scaled.handle, 1, small.bits.data(), small.header.get(), JPEG_SCALE_1_4),
              0);
    EXPECT_EQ(scaled.handle->options & JPEG_OPT_RAW_COMPONENTS, 0);
}

TEST(DecodeToDibEntry, ConvertedDepthsMatchTheDirectDecode) {
    std::vector<uint8_t> greyStream = decoder_testing::buildMiniJpeg(picture(6, 8, kGrey));
    std::vector<uint8_t> grey = decodeTopDown(greyStream, 1);
    std::vector<uint8_t> colourStream = decoder_testing::buildMiniJpeg(picture(6, 8, kColour));
    std::vector<uint8_t> colour = decodeTopDown(colourStream, 3);
    for (int bitCount : {16, 24, 32}) {
        for (bool isColour : {false, true}) {
            OpenDecode d(isColour ? colourStream : greyStream);
            const size_t step = bitCount == 16 ? 12 : bitCount == 24 ? 20 : 24;
            Bitmap bmp(bitCount, 6, 8, step * 8);
            ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL),
                      8);
            for (int r = 0; r < 8; ++r) {
                for (int x = 0; x < 6; ++x) {
                    uint8_t b, g, red;
                    if (isColour) {
                        const uint8_t* p = &colour[((7 - r) * 6 + x) * 3];
                        b = p[0], g = p[1], red = p[2];
                    } else {
                        b = g = red = grey[(7 - r) * 6 + x];
                    }
                    const uint8_t* out = &bmp.bits[r * step + x * (bitCount / 8)];
                    if (bitCount == 16) {
                        ASSERT_EQ(out[0] | out[1] << 8, ((red & 0xF8) << 7) | ((g & 0xF8) << 2) | (b >> 3));
                    } else {
                        ASSERT_EQ(out[0], b);
                        ASSERT_EQ(out[1], g);
                        ASSERT_EQ(out[2], red);
                        if (bitCount == 32) {
                            ASSERT_EQ(out[3], kUntouched);
                        }
                    }
                }
            }
        }
    }
}

TEST(DecodeToDibEntry, TwoAndFourComponentImagesAreRefused) {
    for (auto components : {std::vector<MiniComponent>{{1, 0x11}, {2, 0x11}},
                            std::vector<MiniComponent>{{1, 0x11}, {2, 0x11}, {3, 0x11}, {4, 0x11}}}) {
        OpenDecode d(decoder_testing::buildMiniJpeg(picture(8, 8, components)));
        ASSERT_NE(d.handle, nullptr);
        Bitmap bmp(24, 8, 8, 24 * 8);
        DibHeader query(24);
        std::memset(query.get(), 0x55, 40);
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, nullptr, query.get(), JPEG_SCALE_FULL), 0);
        EXPECT_EQ(query.block[0], 0x55) << "the header is not filled either";
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL), 0);
        for (uint8_t b : bmp.bits) ASSERT_EQ(b, kUntouched);
    }
}

TEST(DecodeToDibEntry, MisuseReturnsZero) {
    DibHeader header(24, 8, 8);
    std::vector<uint8_t> bits(24 * 8, kUntouched);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(nullptr, 8, bits.data(), header.get(), JPEG_SCALE_FULL), 0);
    OpenDecode d(decoder_testing::buildMiniJpeg(picture(8, 8, kColour)));
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 0, bits.data(), header.get(), JPEG_SCALE_FULL), 0);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 8, bits.data(), nullptr, JPEG_SCALE_FULL), 0);
    for (uint8_t b : bits) ASSERT_EQ(b, kUntouched);
}

TEST(DecodeToDibEntry, NeverWritesOutsideTheBitmapTheHeaderDescribes) {
    std::vector<uint8_t> stream = decoder_testing::buildMiniJpeg(picture(8, 16, kGrey));
    std::vector<uint8_t> grey = decodeTopDown(stream, 1);
    // More lines than the bitmap has rows: only the bitmap's rows are written,
    // each with the row the direct view would have put there.
    {
        OpenDecode d(stream);
        Bitmap bmp(8, 8, 10, 8 * 12);
        ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 16, bmp.bits.data(), bmp.header.get(), JPEG_SCALE_FULL),
                  16);
        for (int r = 0; r < 10; ++r) EXPECT_EQ(0, std::memcmp(&bmp.bits[8 * r], &grey[(15 - r) * 8], 8)) << r;
        for (int i = 80; i < 96; ++i) EXPECT_EQ(bmp.bits[i], kUntouched);
    }
    // A height still to come from DNL: the decoder fills whole MCU rows, which
    // must not run below the bitmap's first row.
    MiniJpeg dnl = picture(8, 16, kGrey);
    dnl.heightInDnl = true;
    {
        OpenDecode d(decoder_testing::buildMiniJpeg(dnl));
        ASSERT_NE(d.handle, nullptr);
        std::vector<uint8_t> storage(8 * 20, kUntouched);
        DibHeader header(8, 8, 5);
        uint8_t* bits = storage.data() + 8 * 10;  // rows 10..14 of the storage
        EXPECT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, 5, bits, header.get(), JPEG_SCALE_FULL), 5);
        for (int r = 0; r < 5; ++r) EXPECT_EQ(0, std::memcmp(bits + 8 * r, &grey[(4 - r) * 8], 8)) << r;
        for (int i = 0; i < 80; ++i) ASSERT_EQ(storage[i], kUntouched) << i;
        for (int i = 120; i < 160; ++i) ASSERT_EQ(storage[i], kUntouched) << i;
    }
}

TEST(DecodeToDibEntry, FourOlderNamesAreOneEntryThatDoesNothing) {
    EXPECT_EQ(jpegDecodeToWinDIB(), -1);
    EXPECT_EQ(jpegDecodeToWinBitmap(), -1);
    EXPECT_EQ(jpegDecodeScaleOutputToWinDIB(), -1);
    EXPECT_EQ(jpegDecodeScaleOutputToWinBitmap(), -1);
#if defined(__ELF__)
    EXPECT_EQ(reinterpret_cast<void*>(&jpegDecodeToWinBitmap), reinterpret_cast<void*>(&jpegDecodeToWinDIB));
    EXPECT_EQ(reinterpret_cast<void*>(&jpegDecodeScaleOutputToWinBitmap), reinterpret_cast<void*>(&jpegDecodeToWinDIB));
#endif
}
