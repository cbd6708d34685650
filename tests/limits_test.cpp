// Resource limits: defaults that accept every valid frame, and hosts' limits
// that end a decode with a report and the failure value. The streams are tiny
// greyscale frames whose only table codes a DC difference of 0 with the bit 0.
#include <gtest/gtest.h>

#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

namespace {

void put16(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

// SOI, the one-code DC table, a frame header and `scans` DC scans of a flat
// picture (one 0 bit per block), then EOI. A progressive frame with thousands
// of such scans is a few bytes per scan, yet each scan walks every block.
std::vector<uint8_t> flatGreyStream(uint8_t frameMarker, uint16_t width, uint16_t height, int scans) {
    std::vector<uint8_t> out = {0xFF, 0xD8, 0xFF, 0xDB};
    put16(out, 67);
    out.push_back(0);
    out.insert(out.end(), 64, 1);
    out.insert(out.end(), {0xFF, 0xC4});
    put16(out, 2 + 17 + 1);
    out.push_back(0x00);
    out.push_back(1);
    out.insert(out.end(), 15, 0);
    out.push_back(0);  // symbol: difference category 0
    out.insert(out.end(), {0xFF, frameMarker});
    put16(out, 11);
    out.push_back(8);
    put16(out, height);
    put16(out, width);
    out.insert(out.end(), {1, 1, 0x11, 0});
    const uint32_t blocks = ((width + 7u) / 8u) * ((height + 7u) / 8u);
    for (int scan = 0; scan < scans; ++scan) {
        out.insert(out.end(), {0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00});
        // One 0 bit per block, padded with 1 bits.
        for (uint32_t bits = 0; bits < blocks; bits += 8)
            out.push_back(blocks - bits >= 8 ? 0x00 : static_cast<uint8_t>(0xFF >> (blocks - bits)));
    }
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

class Decode {
public:
    explicit Decode(const std::vector<uint8_t>& stream) : stream_(stream) {
        params.options = JPEG_OPT_MEMORY;
        params.data = stream_.data();
        params.dataLength = static_cast<uint32_t>(stream_.size());
        handle = jpegDecodeProlog(nullptr, &params);
    }
    ~Decode() {
        if (handle) jpegDecodeEpilog(handle);
    }
    Decode(const Decode&) = delete;
    Decode& operator=(const Decode&) = delete;
    // Rows delivered by one call for the whole picture (grey, 8 bits).
    int32_t decodeAll() {
        std::vector<uint8_t> pixels(static_cast<size_t>(params.width) * params.height + 16 * params.width);
        ImageRect rect{params.width, params.height, params.width, 8, 0, 0, pixels.data(), 0};
        return jpegDecodeToRect(handle, &rect, params.height);
    }
    JpegDecodeParams params{};
    JpegHandle handle = nullptr;

private:
    std::vector<uint8_t> stream_;
};

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

    JpegLimits mine = limitsWith(7, 100, 4096);
    EXPECT_EQ(jpegSetLimits(&mine), 0);
    ASSERT_EQ(jpegGetLimits(&limits), 0);
    EXPECT_EQ(limits.maxScans, 7u);
    EXPECT_EQ(limits.maxPixels, 100u);
    EXPECT_EQ(limits.maxMemoryBytes, 4096u);
    JpegLimits onlyScans = limitsWith(9, 0, 0);
    jpegSetLimits(&onlyScans);
    jpegGetLimits(&limits);
    EXPECT_EQ(limits.maxScans, 9u);
    EXPECT_EQ(limits.maxPixels, uint64_t{65535} * 65535);
    jpegSetLimits(nullptr);
    jpegGetLimits(&limits);
    EXPECT_EQ(limits.maxScans, 3584u);

    // The largest sequential frame needs only one MCU row of buffers.
    testing_support::ReportCapture reports;
    Decode huge(flatGreyStream(0xC0, 65535, 65535, 1));
    ASSERT_NE(huge.handle, nullptr);
    EXPECT_EQ(huge.params.width, 65535);
    EXPECT_EQ(huge.params.height, 65535);
    EXPECT_TRUE(reports.reports().empty());
}

TEST(Limits, ScanLimitEndsAProgressiveFrameOfTooManyScans) {
    LimitsGuard guard;
    testing_support::ReportCapture reports;
    {
        Decode fine(flatGreyStream(0xC2, 16, 16, 40));
        ASSERT_NE(fine.handle, nullptr);
        EXPECT_EQ(fine.decodeAll(), 16);
        EXPECT_TRUE(reports.reports().empty());
    }
    JpegLimits limits = limitsWith(10, 0, 0);
    jpegSetLimits(&limits);
    {
        Decode bomb(flatGreyStream(0xC2, 16, 16, 40));
        ASSERT_NE(bomb.handle, nullptr);  // the first scan is within the limit
        EXPECT_EQ(bomb.decodeAll(), 0);
        EXPECT_TRUE(reports.saw("too many scans"));
    }
    // The default stops a file of more scans than any valid frame has.
    jpegSetLimits(nullptr);
    reports.clear();
    Decode bomb(flatGreyStream(0xC2, 8, 8, 4000));
    ASSERT_NE(bomb.handle, nullptr);
    EXPECT_EQ(bomb.decodeAll(), 0);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"too many scans"});
}

TEST(Limits, PixelAndMemoryLimitsFailTheProlog) {
    LimitsGuard guard;
    testing_support::ReportCapture reports;
    JpegLimits limits = limitsWith(0, 255, 0);
    jpegSetLimits(&limits);
    {
        Decode refused(flatGreyStream(0xC0, 16, 16, 1));
        EXPECT_EQ(refused.handle, nullptr);
        EXPECT_EQ(reports.texts(),
                  (std::vector<std::string>{"image exceeds the pixel limit", "Frame Level parse failed."}));
        Decode fits(flatGreyStream(0xC0, 15, 17, 1));
        EXPECT_NE(fits.handle, nullptr);
    }
    // A 65535 x 65535 progressive frame needs 8 GiB of coefficients: with less
    // to be had, the prolog fails as when the heap runs out.
    limits = limitsWith(0, 0, uint64_t{64} << 20);
    jpegSetLimits(&limits);
    reports.clear();
    Decode huge(flatGreyStream(0xC2, 65535, 65535, 1));
    EXPECT_EQ(huge.handle, nullptr);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"mcu_blocks memory allocation failed."});
    reports.clear();
    Decode small(flatGreyStream(0xC2, 640, 480, 1));
    ASSERT_NE(small.handle, nullptr);
    EXPECT_EQ(small.decodeAll(), 480);
    EXPECT_TRUE(reports.reports().empty());
}
