// Progressive streams that the decoder cannot or must not decode: restart
// markers (single-component scans do no restart processing), scan headers
// with impossible bands, shifts or components, stray markers between scans,
// cut and damaged data. Each must end in the failure value or a finished
// picture, never a crash, a hang or a write outside the buffers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decoder_test_support.h"

using namespace decoder_testing;

namespace {

class ProgressiveHostile : public PeerToolTest {
protected:
    void SetUp() override {
        PeerToolTest::SetUp();
        if (IsSkipped()) return;
        base_ = jpegtranStream(cjpegStream(busyPicture(48, 40, 3), "-sample 2x2 -quality 80"), "-progressive");
        ASSERT_FALSE(base_.empty());
    }
    std::vector<uint8_t> base_;
    testing_support::ReportCapture reports_;
};

// Decodes pass after pass (at most 40) into a picture-sized rectangle with
// room for a spare MCU row; returns the last call's result.
int32_t decodeAllPasses(const std::vector<uint8_t>& jpeg, uint32_t mode, uint16_t options = 0) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return -1;
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(d.handle, &width, &height, JPEG_SCALE_FULL);
    if (width == 0 || height == 0 || width > 64 || height > 64) return -1;
    jpegDecodeSetProgressiveMode(d.handle, mode);
    Output out = outputFor(static_cast<int>(width), static_cast<int>(height), 3, 0, 16);
    int32_t result = 0;
    for (int pass = 0; pass < 40 && !jpegDecodeQueryProgressiveComplete(d.handle); ++pass) {
        ImageRect rect = out.rect();
        result = jpegDecodeToRect(d.handle, &rect, height);
        if (result <= 0) break;
    }
    return result;
}

// Offsets of the scan headers' bodies (just after the SOS length).
std::vector<size_t> scanHeaderBodies(const std::vector<uint8_t>& jpeg) {
    std::vector<size_t> out;
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker == 0xDA) out.push_back(s.offset + 4);
    return out;
}

}  // namespace

TEST_F(ProgressiveHostile, RestartMarkersMakeTheDecodeFailCleanly) {
    // Either a restart at the end of an interleaved scan reads the next scan
    // header early (no marker follows the scan: silent 0), or a
    // single-component scan meets the restart marker as data and fails.
    for (const char* interval : {"1", "1B", "5B"}) {
        auto withRestarts = jpegtranStream(base_, std::string("-progressive -restart ") + interval);
        ASSERT_FALSE(withRestarts.empty());
        EXPECT_EQ(decodeAllPasses(withRestarts, 0), 0) << interval;
        EXPECT_EQ(decodeAllPasses(withRestarts, 1), 0) << interval;
    }
}

TEST_F(ProgressiveHostile, ImpossibleScanHeadersFailOrDecodeWithinBounds) {
    const auto bodies = scanHeaderBodies(base_);
    ASSERT_GT(bodies.size(), 2u);
    struct Patch {
        int ss, se, ahal;  // -1: leave
    };
    const Patch patches[] = {{-1, 64, -1}, {-1, 255, -1}, {63, 200, -1}, {200, 200, -1}, {10, 5, -1},
                             {-1, -1, 0x0F}, {-1, -1, 0xFF}, {-1, -1, 0xF0}, {0, 63, -1}};
    for (size_t scan = 0; scan < bodies.size(); ++scan) {
        for (const Patch& p : patches) {
            auto damaged = base_;
            const size_t at = bodies[scan] + 1 + 2 * damaged[bodies[scan]];  // Ss, Se, Ah/Al
            if (p.ss >= 0) damaged[at] = static_cast<uint8_t>(p.ss);
            if (p.se >= 0) damaged[at + 1] = static_cast<uint8_t>(p.se);
            if (p.ahal >= 0) damaged[at + 2] = static_cast<uint8_t>(p.ahal);
            const int32_t result = decodeAllPasses(damaged, scan % 2);
            if (p.se > 63 && p.ss <= 63) {
                EXPECT_EQ(result, 0) << "scan " << scan;
            }
        }
    }
    // The second scan names a component the frame lacks.
    auto damaged = base_;
    damaged[bodies[1] + 1] = 0x77;
    EXPECT_EQ(decodeAllPasses(damaged, 0), 0);
    // A marker the scan set-up stops at instead of a scan header after tables
    // (JPG: reserved, neither a table nor a scan): decoding the old scan
    // header again would loop over the rest of the stream for ever.
    const auto segments = segmentsOf(base_);
    size_t stray = bodies[1] - 4;
    for (size_t i = 2; i < segments.size(); ++i)
        if (segments[i].marker == 0xDA && segments[i - 1].marker != 0xDA) {
            stray = segments[i].offset;
            break;
        }
    damaged = base_;
    damaged[stray + 1] = 0xC8;
    EXPECT_EQ(decodeAllPasses(damaged, 0), 0);
}

TEST_F(ProgressiveHostile, CutAndDamagedStreamsNeverHarm) {
    for (size_t keep = base_.size() - 1; keep > 200; keep -= 37) {
        std::vector<uint8_t> cut(base_.begin(), base_.begin() + static_cast<std::ptrdiff_t>(keep));
        decodeAllPasses(cut, keep % 2, JPEG_OPT_PARTIAL_BITSTREAM);
    }
    for (uint32_t trial = 0; trial < 400; ++trial) {
        auto damaged = base_;
        for (uint32_t flips = 0; flips <= trial % 3; ++flips) {
            const size_t at = 2 + mix(trial * 7 + flips) % (damaged.size() - 4);
            damaged[at] = static_cast<uint8_t>(mix(trial * 13 + flips + 1));
        }
        decodeAllPasses(damaged, trial % 2, JPEG_OPT_PARTIAL_BITSTREAM);
    }
}
