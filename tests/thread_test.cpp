// Distinct contexts share nothing that decoding or encoding writes: many
// threads encoding and decoding at once produce exactly the bytes one thread
// produces. Run under the thread sanitizer, any shared write is a failure.
#include <gtest/gtest.h>

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

// A stream decoded at a scale: in one call by the legacy reading, in strips
// of 8 rows, as a streaming host takes them, by standard mode; the pixels, or empty.
Bytes decode(const Bytes& stream, int32_t scale, uint16_t mode) {
    testing_support::Picture picture;
    return testing_support::ourDecode(stream, mode, picture, scale, mode ? 8 : 0) ? picture.pixels : Bytes{};
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
            for (uint16_t mode : {uint16_t{0}, uint16_t{JPEG_OPT_STANDARD}})
                all.push_back({"decode " + std::to_string(i) + " scale " + std::to_string(scale) + " mode " + std::to_string(mode),
                               [s, scale, mode] { return decode(*s, scale, mode); }});
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
