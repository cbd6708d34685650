// Interoperability: JPEG files made by libjpeg-turbo's cjpeg (a black-box
// peer) for every sampling, odd sizes, restart intervals, optimised Huffman
// tables and 16-bit quantisation tables, decoded here and by djpeg (integer
// DCT, no fancy upsampling) and compared. The two differ only by rounding in
// the inverse DCT and the colour conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "decoder_test_support.h"

using namespace decoder_testing;

namespace {

using DecoderInterop = PeerToolTest;

TEST_F(DecoderInterop, MatchesThePeerWithinRounding) {
    const struct {
        const char* switches;
        int channels, width, height;
        uint8_t sof;
    } cases[] = {
        {"-sample 1x1", 3, 641, 481, 0xC0},
        {"-sample 2x1", 3, 641, 481, 0xC0},
        {"-sample 1x2", 3, 641, 481, 0xC0},
        {"-sample 2x2 -restart 2", 3, 641, 481, 0xC0},  // restarts every two MCU rows
        {"-grayscale", 1, 641, 481, 0xC0},
        {"-sample 2x2", 3, 1, 1, 0xC0},
        {"-sample 1x1", 3, 1, 1, 0xC0},
        {"-grayscale", 1, 1, 1, 0xC0},
        {"-sample 2x2", 3, 17, 9, 0xC0},
        {"-sample 2x1", 3, 17, 9, 0xC0},
        {"-sample 1x2", 3, 17, 9, 0xC0},
        {"-sample 2x1 -restart 5B -optimize", 3, 333, 200, 0xC0},
        {"-grayscale -restart 1B -optimize", 1, 100, 75, 0xC0},
        {"-sample 2x2 -optimize -quality 100", 3, 257, 129, 0xC0},
        {"-sample 2x2 -quality 3", 3, 200, 150, 0xC1},  // 16-bit tables: an extended frame
        {"-grayscale -optimize -quality 2", 1, 64, 64, 0xC1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.switches) + " " + std::to_string(c.width) + "x" + std::to_string(c.height));
        auto jpeg = cjpegStream(busyPicture(c.width, c.height, c.channels), c.switches);
        ASSERT_NE(segmentAt(jpeg, c.sof), 0u);
        auto expected = djpegPixels(jpeg, "-dct int -nosmooth -pnm");
        auto actual = decodeWhole(jpeg);
        if (c.channels == 3)  // ours is blue-green-red, the peer's red-green-blue
            for (size_t i = 0; i + 2 < actual.size(); i += 3) std::swap(actual[i], actual[i + 2]);
        ASSERT_EQ(actual.size(), expected.size());
        int largest = 0;
        double squared = 0;
        for (size_t i = 0; i < actual.size(); ++i) {
            int d = std::abs(int(actual[i]) - int(expected[i]));
            largest = std::max(largest, d);
            squared += double(d) * d;
        }
        double psnr = squared == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * double(actual.size()) / squared);
        std::printf("    %-36s %4dx%-4d %6zu bytes: largest difference %d, PSNR %.1f dB\n", c.switches, c.width, c.height,
                    jpeg.size(), largest, psnr);
        EXPECT_LE(largest, 6);
        EXPECT_GT(psnr, 45.0);
    }
}

}  // namespace
