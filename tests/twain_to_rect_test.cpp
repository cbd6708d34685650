// TWAIN transfer rows into rectangles.
#include <gtest/gtest.h>

#include <climits>

#include "bitmap/twain_to_rect.h"
#include "runtime/image_rect.h"
#include "test_support.h"

using testing_support::ReportCapture;
using testing_support::text;

TEST(TwainToRect, OddRowLengthsStepOverThePadAndSwapRedAndBlue) {
    for (uint32_t width : {1u, 2u, 3u, 5u}) {
        // Rows padded to even length with 0xEE; pixel (x, y) is (10x + y, 100 + x, 200 + y).
        size_t row = (3 * width + 1) & ~size_t{1};
        std::vector<uint8_t> data(row * 3, 0xEE);
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                uint8_t* p = &data[y * row + 3 * x];
                p[0] = static_cast<uint8_t>(10 * x + y), p[1] = static_cast<uint8_t>(100 + x), p[2] = static_cast<uint8_t>(200 + y);
            }
        ImageRect rect{};
        ASSERT_EQ(complibConvertWinTWAINToRect(&rect, data.data(), width, 3), &rect);
        EXPECT_EQ(rect.width, static_cast<int32_t>(width));
        EXPECT_EQ(rect.height, 3);
        EXPECT_EQ(rect.stride, static_cast<int32_t>(3 * width));
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const uint8_t* p = rect.bits + y * rect.stride + 3 * x;
                EXPECT_EQ(p[0], 200 + y) << width << " " << x << "," << y;
                EXPECT_EQ(p[1], 100 + x);
                EXPECT_EQ(p[2], 10 * x + y);
            }
        EXPECT_EQ(complibFreeImageRect(&rect), 0u);
    }
}

TEST(TwainToRect, ZeroWidthAndTransfersNoRectangleCanHoldFailWithTheirReports) {
    ReportCapture capture;
    ImageRect rect{};
    const uint8_t data[4] = {};
    EXPECT_EQ(complibConvertWinTWAINToRect(&rect, data, 0, 2), nullptr);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kLocalAllocFailed)});
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kComplibConvertWinTWAINToRect));
    // The pixel store was allocated before the row buffer; the caller frees it.
    EXPECT_EQ(complibFreeImageRect(&rect), 0u);
    for (auto [w, l] : {std::pair{UINT32_MAX, 1u}, std::pair{4u, UINT32_MAX}, std::pair{65536u, 65536u}}) {
        capture.clear();
        ImageRect huge{};
        EXPECT_EQ(complibConvertWinTWAINToRect(&huge, data, w, l), nullptr);
        EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kComplibAllocMemoryFailed)});
        EXPECT_EQ(huge.bits, nullptr);
    }
}
