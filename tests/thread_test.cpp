// Distinct contexts share nothing that decoding or encoding writes: many
// threads encoding and decoding at once produce exactly the bytes one thread
// produces. Run under the thread sanitizer, any shared write is a failure.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "encoder_test_support.h"
#include "test_support.h"

using namespace testing_support;
using Bytes = std::vector<uint8_t>;

TEST(Threads, ConcurrentContextsGiveTheBytesOfOneThread) {
    struct Job {
        std::string name;
        std::function<Bytes()> run;
    };
    std::vector<Job> work;
    const struct {
        int width, height, channels;
        uint32_t sampling;
        uint16_t quality, restart;
    } encodes[] = {{61, 45, 3, 0x221111, 75, 0}, {40, 33, 3, 0x211111, 90, 2}, {33, 20, 1, 0x11, 50, 1},
                   {48, 48, 3, 0x111111, 30, 0}};
    for (const auto& e : encodes)
        work.push_back({"encode " + std::to_string(e.sampling), [e] {
                            const Picture image = photoLikeImage(e.width, e.height, e.channels, e.quality);
                            JpegEncodeParams params = paramsFor(image, e.sampling, e.quality);
                            params.restartInterval = e.restart;
                            return encodeImage(image, params, 32);  // strips of two MCU rows, as a streaming host sends them
                        }});
    std::vector<Bytes> streams;  // the colour ones
    for (size_t i = 0; i < work.size(); ++i)
        if (encodes[i].channels == 3) streams.push_back(work[i].run());
    for (size_t i = 0; i < streams.size(); ++i) {
        const Bytes* s = &streams[i];
        // In one call by the legacy reading, in strips of 8 rows, as a
        // streaming host takes them, by standard mode.
        for (int32_t scale : {JPEG_SCALE_FULL, JPEG_SCALE_1_2, JPEG_SCALE_1_8})
            for (uint16_t mode : {uint16_t{0}, uint16_t{JPEG_OPT_STANDARD}})
                work.push_back({"decode " + std::to_string(i) + " scale " + std::to_string(scale) + " mode " + std::to_string(mode),
                                [s, scale, mode] {
                                    Picture picture;
                                    return ourDecode(*s, mode, picture, scale, mode ? 8 : 0) ? picture.pixels : Bytes{};
                                }});
        // The whole 24-bit bitmap through the bitmap entry.
        work.push_back({"bitmap " + std::to_string(i), [s] {
                            MemoryDecode d(*s);
                            BITMAPINFOHEADER header{};
                            header.biBitCount = 24;
                            jpegDecodeScaleOutputToWinDIBits(d.handle, 0, nullptr, &header, JPEG_SCALE_FULL);
                            Bytes bits(static_cast<size_t>((header.biWidth * 3 + 3) & ~3) * static_cast<size_t>(header.biHeight));
                            jpegDecodeScaleOutputToWinDIBits(d.handle, uint32_t(header.biHeight), bits.data(), &header, JPEG_SCALE_FULL);
                            return bits;
                        }});
    }
    std::vector<Bytes> expected;
    {
        ReportCapture reports;
        for (const Job& job : work) {
            expected.push_back(job.run());
            ASSERT_FALSE(expected.back().empty()) << job.name;
            ASSERT_TRUE(reports.reports().empty()) << job.name << ": " << reports.reports()[0].text;
        }
    }

    constexpr int kThreads = 8;
    constexpr int kRounds = 3;
    std::vector<std::string> firstMismatch(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            // Each thread walks the jobs from its own starting point, so that
            // different stages run side by side.
            for (int round = 0; round < kRounds; ++round) {
                for (size_t k = 0; k < work.size(); ++k) {
                    const size_t j = (k + static_cast<size_t>(t) * 3 + static_cast<size_t>(round)) % work.size();
                    if (work[j].run() != expected[j] && firstMismatch[t].empty()) firstMismatch[t] = work[j].name;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_TRUE(firstMismatch[t].empty()) << "thread " << t << ": " << firstMismatch[t];
}
