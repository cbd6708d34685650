// A rectangle is all the memory a caller gives: bands a whole MCU row high,
// progressive bands and lossless rows stop at rect->height, whatever the row
// argument asks for. The rows inside come out as they always did.
#include <gtest/gtest.h>

#include <vector>

#include "KelJPEG.h"
#include "flat_stream.h"
#include "test_support.h"

namespace {

constexpr uint8_t kGuard = 0xA5;

struct Case {
    const char* name;
    uint8_t frameMarker;
    uint16_t width, height;
    int32_t rectRows;
    uint32_t rowsAsked;
    int32_t delivered;
};

}  // namespace

TEST(RectBounds, WritesStopAtTheRectangleHeight) {
    testing_support::ReportCapture reports;
    const Case cases[] = {
        // An 8-row MCU into a 5-row rectangle: the band used to be written whole.
        {"sequential", 0xC0, 16, 24, 5, 5, 5},
        {"sequential, rows past the rectangle", 0xC0, 16, 24, 5, 16, 16},
        {"progressive", 0xC2, 16, 24, 3, 24, 24},
        {"lossless", 0xC3, 16, 24, 4, 10, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> stream = flat_stream::flatGreyStream(c.frameMarker, c.width, c.height, 1);
        JpegDecodeParams params{};
        params.options = JPEG_OPT_MEMORY;
        params.data = stream.data();
        params.dataLength = static_cast<uint32_t>(stream.size());
        JpegHandle handle = jpegDecodeProlog(nullptr, &params);
        ASSERT_NE(handle, nullptr);
        // The rectangle's rows, then guard rows that must stay untouched.
        std::vector<uint8_t> pixels(static_cast<size_t>(c.width) * (c.rectRows + 24), kGuard);
        ImageRect rect{c.width, c.rectRows, c.width, 8, 0, 0, pixels.data(), 0};
        EXPECT_EQ(jpegDecodeToRect(handle, &rect, c.rowsAsked), c.delivered);
        jpegDecodeEpilog(handle);
        const size_t inside = static_cast<size_t>(c.width) * c.rectRows;
        for (size_t i = 0; i < pixels.size(); ++i) {
            ASSERT_EQ(pixels[i], i < inside ? 128 : kGuard) << "byte " << i;
        }
    }
    EXPECT_TRUE(reports.reports().empty());
}

TEST(RectBounds, ScaledBandsStopAtTheRectangleHeight) {
    testing_support::ReportCapture reports;
    std::vector<uint8_t> stream = flat_stream::flatGreyStream(0xC0, 32, 32, 1);
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = stream.data();
    params.dataLength = static_cast<uint32_t>(stream.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(handle, nullptr);
    // Half size: 16 x 16, bands of 4 rows; a 2-row rectangle asked for 8 rows.
    std::vector<uint8_t> pixels(16 * 10, kGuard);
    ImageRect rect{16, 2, 16, 8, 0, 0, pixels.data(), 0};
    EXPECT_EQ(jpegDecodeScaleOutputToRect(handle, &rect, 8, JPEG_SCALE_1_2), 8);
    jpegDecodeEpilog(handle);
    for (size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(pixels[i], i < 32 ? 128 : kGuard) << "byte " << i;
    EXPECT_TRUE(reports.reports().empty());
}
