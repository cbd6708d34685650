// Resource limits: defaults that accept every valid frame, and hosts' limits
// that end a decode with a report and the failure value. The streams are tiny
// greyscale frames whose only table codes a DC difference of 0 with the bit 0.
#include <gtest/gtest.h>

#include <vector>

#include "KelJPEG.h"
#include "decoder_test_support.h"
#include "test_support.h"

namespace {

using testing_support::flatGrey;

using Decode = testing_support::MemoryDecode;
using testing_support::text;

// Rows delivered by one call for the whole picture (grey, 8 bits).
int32_t decodeAll(Decode& d) {
    std::vector<uint8_t> pixels(static_cast<size_t>(d.params.width) * d.params.height + 16 * d.params.width);
    ImageRect rect{d.params.width, d.params.height, d.params.width, 8, 0, 0, pixels.data(), 0};
    return jpegDecodeToRect(d.handle, &rect, d.params.height);
}

// Restores the default limits when a test ends, whatever it set.
struct LimitsGuard {
    ~LimitsGuard() { jpegSetLimits(nullptr); }
};

JpegLimits limitsWith(uint32_t scans, uint64_t pixels, uint64_t memory) {
    JpegLimits limits{};
    limits.maxScans = scans;
    limits.maxPixels = pixels;
    limits.maxMemoryBytes = memory;
    return limits;
}

}  // namespace

TEST(Limits, DefaultsAcceptTheLargestValidFramesAndZeroFieldsRestoreThem) {
    LimitsGuard guard;
    JpegLimits limits{};
    ASSERT_EQ(jpegGetLimits(&limits), 0);
    EXPECT_EQ(limits.maxScans, 3584u);
    EXPECT_EQ(limits.maxPixels, uint64_t{65535} * 65535);
    EXPECT_EQ(limits.maxMemoryBytes, UINT64_MAX);
    EXPECT_EQ(jpegGetLimits(nullptr), -1);

    JpegLimits onlyScans = limitsWith(9, 0, 4096);
    EXPECT_EQ(jpegSetLimits(&onlyScans), 0);
    jpegGetLimits(&limits);
    EXPECT_EQ(limits.maxScans, 9u);
    EXPECT_EQ(limits.maxPixels, uint64_t{65535} * 65535);
    EXPECT_EQ(limits.maxMemoryBytes, 4096u);
    jpegSetLimits(nullptr);
    jpegGetLimits(&limits);
    EXPECT_EQ(limits.maxScans, 3584u);

    // The largest sequential frame needs only one MCU row of buffers.
    testing_support::ReportCapture reports;
    Decode huge(flatGrey(0xC0, 65535, 65535));
    ASSERT_NE(huge.handle, nullptr);
    EXPECT_EQ(huge.params.width, 65535);
    EXPECT_EQ(huge.params.height, 65535);
    EXPECT_TRUE(reports.reports().empty());
}

TEST(Limits, ScanLimitEndsAProgressiveFrameOfTooManyScans) {
    LimitsGuard guard;
    testing_support::ReportCapture reports;
    {
        Decode fine(flatGrey(0xC2, 16, 16, 40));
        ASSERT_NE(fine.handle, nullptr);
        EXPECT_EQ(decodeAll(fine), 16);
        EXPECT_TRUE(reports.reports().empty());
    }
    JpegLimits limits = limitsWith(10, 0, 0);
    jpegSetLimits(&limits);
    {
        Decode bomb(flatGrey(0xC2, 16, 16, 40));
        ASSERT_NE(bomb.handle, nullptr);  // the first scan is within the limit
        EXPECT_EQ(decodeAll(bomb), 0);
        EXPECT_TRUE(reports.saw(report_text::kTooManyScans));
    }
    // The default stops a file of more scans than any valid frame has.
    jpegSetLimits(nullptr);
    reports.clear();
    Decode bomb(flatGrey(0xC2, 8, 8, 4000));
    ASSERT_NE(bomb.handle, nullptr);
    EXPECT_EQ(decodeAll(bomb), 0);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{text(report_text::kTooManyScans)});
}

TEST(Limits, PixelAndMemoryLimitsFailTheProlog) {
    LimitsGuard guard;
    testing_support::ReportCapture reports;
    JpegLimits limits = limitsWith(0, 255, 0);
    jpegSetLimits(&limits);
    {
        Decode refused(flatGrey(0xC0, 16, 16));
        EXPECT_EQ(refused.handle, nullptr);
        EXPECT_EQ(reports.texts(),
                  (std::vector<std::string>{text(report_text::kImageExceedsThePixelLimit), text(report_text::kFrameLevelParseFailed)}));
        Decode fits(flatGrey(0xC0, 15, 17));
        EXPECT_NE(fits.handle, nullptr);
    }
    // A 65535 x 65535 progressive frame needs 8 GiB of coefficients: with less
    // to be had, the prolog fails as when the heap runs out.
    limits = limitsWith(0, 0, uint64_t{64} << 20);
    jpegSetLimits(&limits);
    reports.clear();
    Decode huge(flatGrey(0xC2, 65535, 65535));
    EXPECT_EQ(huge.handle, nullptr);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{text(report_text::kMcuBlocksMemoryAllocationFailed)});
    reports.clear();
    Decode small(flatGrey(0xC2, 640, 480));
    ASSERT_NE(small.handle, nullptr);
    EXPECT_EQ(decodeAll(small), 480);
    EXPECT_TRUE(reports.reports().empty());
}
