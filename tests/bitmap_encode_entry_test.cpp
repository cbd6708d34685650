// Encoding from bitmaps and TWAIN transfers through the exported entries. The
// rectangle encoder is the oracle: a bitmap must encode to exactly the bytes
// its top-down rectangle gives.
#include <gtest/gtest.h>

#include "bitmap_test_support.h"
#include "encoder_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::encodeWith;
using testing_support::ReportCapture;
using Bytes = std::vector<uint8_t>;
using testing_support::text;

namespace {

constexpr uint32_t k420 = 0x221111;
constexpr uint32_t k444 = 0x111111;

// The parameters of an encode at quality 90.
JpegEncodeParams params(uint16_t width, uint16_t height, uint16_t components, uint32_t sampling) {
    return testing_support::paramsFor({width, height, components, {}}, sampling, 90);
}

Bytes encodeDib(uint16_t width, uint16_t height, uint16_t components, uint32_t sampling, const Bytes& bits,
                DibHeader& header, uint32_t expectLines) {
    return encodeWith(params(width, height, components, sampling), [&](JpegHandle h) {
        EXPECT_EQ(jpegEncodeFromWinDIBits(h, height, bits.data(), header.get()), expectLines);
        return true;
    });
}

}  // namespace

TEST(EncodeFromDibEntry, BitmapsEncodeLikeTheirTopDownRectangles) {
    // Bitmaps of other depths than 24 bits (read in place, last stored row
    // first: pinned by the manifest's bitmap encode) are converted first, each
    // converter with its own tests; 8 bits stand for them here. A
    // one-component encoder takes the green channel as the grey level.
    const uint16_t w = 13, h = 10;
    DibHeader palette(8, w, h);
    for (int i = 0; i < 256; ++i)
        palette.setEntry(i, static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i * 7));
    auto index = [](int x, int y) { return static_cast<uint8_t>(x * 5 + y * 3); };
    Bytes bits(16 * h);  // rows of 13 indexes padded to 16, the last stored first
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) bits[size_t((h - 1 - y) * 16 + x)] = index(x, y);
    for (uint16_t components : {3, 1}) {
        const testing_support::Picture picture = testing_support::pictureOf(w, h, components, [&](int x, int y, int c) {
            const RGBQUAD& q = palette.entry(index(x, y));
            return int(components == 1 || c == 1 ? q.rgbGreen : c == 0 ? q.rgbBlue : q.rgbRed);
        });
        const uint32_t sampling = components == 3 ? k420 : 0x11;
        Bytes viaRect = testing_support::encodeImage(picture, testing_support::paramsFor(picture, sampling, 90));
        ASSERT_FALSE(viaRect.empty());
        EXPECT_EQ(encodeDib(w, h, components, sampling, bits, palette, h), viaRect) << components;
    }
}

TEST(EncodeFromDibEntry, RefusedBitmapsAndMisuseEncodeNothing) {
    ReportCapture capture;
    Bytes bits(64 * 16, 0);
    DibHeader masks(16, 8, 8);
    masks.setMasks(0xF800, 0x07E0, 0x001F);
    encodeDib(8, 8, 3, k444, bits, masks, 0);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{text(report_text::kNotBiRgb), text(report_text::kComplibSetDIBitsToRectFailed)}));
    capture.clear();
    DibHeader two(2, 8, 8);
    encodeDib(8, 8, 3, k444, bits, two, 0);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{text(report_text::kUndefinedBiBitCountInDib), text(report_text::kComplibSetDIBitsToRectFailed)}));
    EXPECT_EQ(capture.reports()[1].source, text(report_text::kJpeg));
    // Four components would need a 32-bit rectangle, which no bitmap converter makes.
    capture.clear();
    DibHeader header(24, 8, 8, 0);
    encodeDib(8, 8, 4, 0x11111111, bits, header, 0);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kComplibSetDIBitsToRectFailed)});

    EXPECT_EQ(jpegEncodeFromWinDIBits(nullptr, 8, bits.data(), header.get()), 0u);
    encodeWith(params(8, 8, 3, k444), [&](JpegHandle h) {
        EXPECT_EQ(jpegEncodeFromWinDIBits(h, 8, nullptr, header.get()), 0u);
        EXPECT_EQ(jpegEncodeFromWinDIBits(h, 8, bits.data(), nullptr), 0u);
        return true;
    });
    EXPECT_EQ(jpegEncodeFromWinDIB(), 0);
}

// The transfer's rows are converted by the TWAIN converter (its own tests)
// and the manifest pins the bytes of a TWAIN encode with padded rows.
TEST(EncodeFromTwainEntry, AnEmptyTransferIsReported) {
    ReportCapture capture;
    const uint8_t empty[4] = {};
    encodeWith(params(8, 8, 3, k444), [&](JpegHandle h) { EXPECT_EQ(jpegEncodeFromWinTWAIN(h, empty, 0, 8), 0u); return true; });
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kLocalAllocFailed)});
}
