// Distinct contexts share nothing that decoding or encoding writes: many
// threads encoding and decoding at once produce exactly the bytes one thread
// produces. Run under the thread sanitizer, any shared write is a failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "KelJPEG.h"
#include "encoder_test_support.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes encode(int width, int height, int channels, uint32_t sampling, uint16_t quality, uint16_t restart) {
    using namespace testing_support;
    const Picture image = photoLikeImage(uint32_t(width), uint32_t(height), uint32_t(channels), quality);
    JpegEncodeParams params = paramsFor(image, sampling, quality);
    params.restartInterval = restart;
    return encodeImage(image, params, 32);  // strips of two MCU rows, as a streaming host would send them
}

// Decodes a stream at a scale, one MCU row per call as a strip-wise host
// does; the pixels, or empty.
Bytes decode(const Bytes& stream, int32_t scale) {
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = stream.data();
    params.dataLength = static_cast<uint32_t>(stream.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    if (!handle) return {};
    FrameHeader frame{};
    jpegGetFrameHeader(handle, &frame);
    uint32_t maxV = 1;
    for (int c = 0; c < frame.componentCount && c < 4; ++c)
        maxV = std::max<uint32_t>(maxV, frame.components[c].verticalSampling);
    const uint32_t band = (8u >> (3 - scale)) * maxV;
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(handle, &width, &height, scale);
    const int32_t bytesPerPixel = params.componentCount >= 3 ? 3 : 1;
    Bytes pixels(static_cast<size_t>(width) * bytesPerPixel * (height + band));
    for (uint32_t row = 0; row < height; row += band) {
        const int32_t stride = static_cast<int32_t>(width) * bytesPerPixel;
        ImageRect rect{static_cast<int32_t>(width), static_cast<int32_t>(band), stride, 8 * bytesPerPixel, 0, 0,
                       pixels.data() + static_cast<size_t>(row) * stride, 0};
        if (scale == JPEG_SCALE_FULL ? jpegDecodeToRect(handle, &rect, row + band) <= 0
                                     : jpegDecodeScaleOutputToRect(handle, &rect, row + band, scale) <= 0)
            break;
    }
    jpegDecodeEpilog(handle);
    pixels.resize(static_cast<size_t>(width) * bytesPerPixel * height);
    return pixels;
}

// The whole 24-bit bitmap of a colour stream through the bitmap entry.
Bytes decodeToBitmap(const Bytes& stream) {
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = stream.data();
    params.dataLength = static_cast<uint32_t>(stream.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    if (!handle) return {};
    BITMAPINFOHEADER header{};
    header.biBitCount = 24;
    jpegDecodeScaleOutputToWinDIBits(handle, 0, nullptr, &header, JPEG_SCALE_FULL);
    Bytes bits(static_cast<size_t>((header.biWidth * 3 + 3) & ~3) * static_cast<size_t>(header.biHeight));
    jpegDecodeScaleOutputToWinDIBits(handle, static_cast<uint32_t>(header.biHeight), bits.data(), &header,
                                     JPEG_SCALE_FULL);
    jpegDecodeEpilog(handle);
    return bits;
}

struct Job {
    std::string name;
    std::function<Bytes()> run;
};

std::vector<Job> jobs(const std::vector<Bytes>& streams) {
    std::vector<Job> all;
    const struct {
        int width, height, channels;
        uint32_t sampling;
        uint16_t quality, restart;
    } encodes[] = {{61, 45, 3, 0x221111, 75, 0}, {40, 33, 3, 0x211111, 90, 2}, {33, 20, 1, 0x11, 50, 1},
                   {48, 48, 3, 0x111111, 30, 0}};
    for (const auto& e : encodes)
        all.push_back({"encode " + std::to_string(e.sampling),
                       [e] { return encode(e.width, e.height, e.channels, e.sampling, e.quality, e.restart); }});
    for (size_t i = 0; i < streams.size(); ++i) {
        const Bytes* s = &streams[i];
        for (int32_t scale : {JPEG_SCALE_FULL, JPEG_SCALE_1_2, JPEG_SCALE_1_8})
            all.push_back({"decode " + std::to_string(i) + " scale " + std::to_string(scale),
                           [s, scale] { return decode(*s, scale); }});
        all.push_back({"bitmap " + std::to_string(i), [s] { return decodeToBitmap(*s); }});
    }
    return all;
}

}  // namespace

TEST(Threads, ConcurrentContextsGiveTheBytesOfOneThread) {
    std::vector<Bytes> streams = {encode(61, 45, 3, 0x221111, 75, 0), encode(40, 33, 3, 0x211111, 90, 2),
                                  encode(48, 48, 3, 0x111111, 30, 0)};
    for (const Bytes& s : streams) ASSERT_FALSE(s.empty());
    const std::vector<Job> work = jobs(streams);
    std::vector<Bytes> expected;
    {
        testing_support::ReportCapture reports;
        for (const Job& job : work) {
            expected.push_back(job.run());
            ASSERT_FALSE(expected.back().empty()) << job.name;
            ASSERT_TRUE(reports.reports().empty()) << job.name << ": " << reports.reports()[0].text;
        }
    }

    constexpr int kThreads = 8;
    constexpr int kRounds = 3;
    std::atomic<int> mismatches{0};
    std::vector<std::string> firstMismatch(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            // Each thread walks the jobs from its own starting point, so that
            // different stages run side by side.
            for (int round = 0; round < kRounds; ++round) {
                for (size_t k = 0; k < work.size(); ++k) {
                    const size_t j = (k + static_cast<size_t>(t) * 3 + static_cast<size_t>(round)) % work.size();
                    if (work[j].run() == expected[j]) continue;
                    ++mismatches;
                    if (firstMismatch[t].empty()) firstMismatch[t] = work[j].name;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    for (int t = 0; t < kThreads; ++t)
        EXPECT_TRUE(firstMismatch[t].empty()) << "thread " << t << ": " << firstMismatch[t];
}
