// Bitmap pixels and rectangles converted into each other (every depth, both
// ways where the conversion keeps the pixels), padding, row order, refusals.
#include <gtest/gtest.h>

#include "bitmap/dib_to_rect.h"
#include "bitmap/rect_to_dib.h"
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

// Bitmap pixels (rows bottom-up, each padded to 4 bytes) and rectangle
// pixels (top-down, packed) that convert into each other one way or both:
// palette lookups, the unpacking of 1 and 4 bits (most significant first),
// 5-5-5 and 5-6-5 (bit fields go through the 16-bit converter only), grey
// from the green channel, grey spread over three channels, and the fourth
// byte of 32 bits kept.
TEST(DibToRect, PixelFormatsConvertEachWayAndBack) {
    constexpr uint8_t U = kUntouched;
    enum { kToRect = 1, kToDib = 2, kBoth = 3 };
    const struct {
        int dibDepth;
        bool masks;  // 5-6-5
        int32_t width, height;
        Bytes dib;
        int rectDepth, ways;
        Bytes rect;
    } rows[] = {
        {8, false, 3, 1, {1, 2, 3, 0xAA}, 24, kToRect, {11, 101, 201, 12, 102, 202, 13, 103, 203}},
        {8, false, 3, 2, {1, 2, 3, 0xAA, 4, 5, 6, 0xBB}, 8, kToRect, {104, 105, 106, 101, 102, 103}},
        // The ninth pixel from the next byte.
        {1, false, 9, 2, {0xA5, 0x80, 0, 0, 0x0F, 0x00, 0, 0}, 8, kToRect,
         {100, 100, 100, 100, 101, 101, 101, 101, 100, 101, 100, 101, 100, 100, 101, 100, 101, 101}},
        {4, false, 5, 1, {0x12, 0x34, 0x5F, 0}, 8, kToRect, {101, 102, 103, 104, 105}},
        // White, pure red / pure green, pure blue.
        {16, false, 2, 2, {0xFF, 0x7F, 0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00}, 24, kBoth,
         {0, 0xF8, 0, 0xF8, 0, 0, 0xF8, 0xF8, 0xF8, 0, 0, 0xF8}},
        {16, false, 2, 1, {0xFF, 0x7F, 0x10, 0x42}, 8, kToDib, {255, 0x84}},
        {16, true, 2, 1, {0xFF, 0xFF, 0x30, 0x84}, 8, kToDib, {255, 0x84}},
        {16, true, 2, 1, {0xE0, 0x07, 0x00, 0xF8}, 8, kToRect, {0xFC, 0}},
        {16, true, 1, 1, {0x61, 0xF0, U, U}, 24, kBoth, {0x08, 0x0C, 0xF0}},  // red F0, green 0C, blue 08
        {16, false, 1, 1, {0x21, 0x78, U, U}, 24, kBoth, {0x08, 0x08, 0xF0}},
        {24, false, 1, 2, {1, 2, 3, 0xAA, 4, 5, 6, 0xBB}, 8, kToRect, {5, 2}},
        {24, false, 2, 1, {7, 7, 7, 9, 9, 9, U, U}, 8, kBoth, {7, 9}},
        {32, false, 2, 1, {7, 7, 7, U, 9, 9, 9, U}, 8, kBoth, {7, 9}},
        {32, false, 2, 1, {1, 2, 3, U, 5, 6, 7, U}, 24, kBoth, {1, 2, 3, 5, 6, 7}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows);
        DibHeader header = paletteHeader(r.dibDepth, r.dibDepth <= 8 ? size_t{1} << r.dibDepth : 256);
        header.get()->biWidth = r.width;
        header.get()->biHeight = r.height;
        if (r.masks) header.setMasks(0xF800, 0x07E0, 0x001F);
        TestRect rect(r.width, r.height, r.rectDepth, r.width * r.rectDepth / 8);
        if (r.ways & kToRect) {
            EXPECT_EQ(r.masks ? complibSetDIBits16ToRect(&rect.rect, r.dib.data(), header.get())
                              : complibSetDIBitsToRect(&rect.rect, r.dib.data(), header.get()), 0u);
            EXPECT_EQ(Bytes(rect.rect.bits, rect.rect.bits + r.rect.size()), r.rect);
            EXPECT_TRUE(rect.guardsUntouched());
        }
        if (r.ways & kToDib) {
            std::memcpy(rect.rect.bits, r.rect.data(), r.rect.size());
            Bytes bits(r.dib.size(), U);
            EXPECT_EQ(complibGetDIBitsFromRect(&rect.rect, bits.data(), header.get()), r.height);
            EXPECT_EQ(bits, r.dib);
        }
    }
}

TEST(DibToRect, StridesAndHeadersOfOtherSizes) {
    // 24 bits into 24 bits copies `stride` bytes, pad byte included.
    DibHeader header24(24, 0, 0, 0);
    const uint8_t bits24[] = {1, 2, 3, 0xAA, 4, 5, 6, 0xBB};
    EXPECT_EQ(converted(header24, bits24, 1, 2, 24, 4), (Bytes{4, 5, 6, 0xBB, 1, 2, 3, 0xAA}));

    // 1 bit into 1 bit copies `stride` bytes, reading on into the next stored
    // row, but not beyond the pixel array.
    DibHeader one = paletteHeader(1, 2);
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
    capture.clear();
    DibHeader masked(16);  // bit fields: the 16-bit converter's alone
    masked.setMasks(0xF800, 0x07E0, 0x001F);
    EXPECT_EQ(complibSetDIBitsToRect(&rect.rect, bits, masked.get()), kFailure);
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
