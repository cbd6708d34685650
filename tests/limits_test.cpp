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

}

// The defaults and hosts' limits, each on frames within it and past it: a
// refusal in the prolog, or a decode that ends with the failure value.
TEST(Limits, EachLimitEndsTheFramesPastIt) {
    LimitsGuard guard;
    const std::string scans = text(report_text::kTooManyScans);
    const JpegLimits defaults{}, tenScans = limitsWith(10, 0, 0), pixels = limitsWith(0, 255, 0),
                     memory = limitsWith(0, 0, uint64_t{64} << 20);
    const struct {
        const char* what;
        const JpegLimits& limits;
        std::vector<uint8_t> jpeg;
        int32_t rows;  // delivered by one call for the whole picture; -1: refused by the prolog; -2: only opened
        std::vector<std::string> reports;
    } cases[] = {
        // The largest sequential frame needs only one MCU row of buffers.
        {"largest frame", defaults, flatGrey(0xC0, 65535, 65535), -2, {}},
        {"40 scans", defaults, flatGrey(0xC2, 16, 16, 40), 16, {}},
        {"40 scans, 10 allowed", tenScans, flatGrey(0xC2, 16, 16, 40), 0, {scans}},  // the first scan opens
        // The default stops a file of more scans than any valid frame has.
        {"4000 scans", defaults, flatGrey(0xC2, 8, 8, 4000), 0, {scans}},
        {"256 pixels, 255 allowed", pixels, flatGrey(0xC0, 16, 16), -1,
         {text(report_text::kImageExceedsThePixelLimit), text(report_text::kFrameLevelParseFailed)}},
        {"255 pixels", pixels, flatGrey(0xC0, 15, 17), 17, {}},
        // A 65535 x 65535 progressive frame needs 8 GiB of coefficients: with
        // less to be had, the prolog fails as when the heap runs out.
        {"8 GiB of coefficients", memory, flatGrey(0xC2, 65535, 65535), -1, {text(report_text::kMcuBlocksMemoryAllocationFailed)}},
        {"640 x 480 progressive", memory, flatGrey(0xC2, 640, 480), 480, {}},
    };
    for (const auto& c : cases) {
        jpegSetLimits(&c.limits);
        testing_support::ReportCapture reports;
        Decode d(c.jpeg);
        EXPECT_EQ(d.handle == nullptr, c.rows == -1) << c.what;
        if (d.handle && c.rows >= 0) {  // one call for the whole picture, grey
            std::vector<uint8_t> pixels(size_t(d.params.width) * (d.params.height + 16u));
            ImageRect rect{d.params.width, d.params.height, d.params.width, 8, 0, 0, pixels.data(), 0};
            EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, d.params.height), c.rows) << c.what;
        }
        EXPECT_EQ(reports.texts(), c.reports) << c.what;
    }
}
