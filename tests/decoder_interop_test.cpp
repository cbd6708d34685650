// Interoperability: files made by libjpeg-turbo (a black-box peer) for every
// sampling, odd sizes, restart intervals, optimised Huffman tables and 16-bit
// quantisation tables, decoded here and by the peer (integer transform,
// replicated chroma) and compared. The two differ only by rounding in the
// inverse transform and the colour conversion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decoder_test_support.h"

using namespace testing_support;

#if defined(KELJPEG_HAVE_LIBJPEG)
TEST(DecoderInterop, MatchesThePeerWithinRounding) {
    const struct {
        int h, v, width, height, restartRows, restartBlocks;
        bool optimize;
        int quality;
        uint8_t sof;
    } cases[] = {
        {1, 1, 641, 481, 0, 0, false, 75, 0xC0}, {2, 1, 641, 481, 0, 0, false, 75, 0xC0},
        {1, 2, 641, 481, 0, 0, false, 75, 0xC0}, {2, 2, 641, 481, 2, 0, false, 75, 0xC0},
        {0, 0, 641, 481, 0, 0, false, 75, 0xC0},  // h 0: grey
        {2, 2, 1, 1, 0, 0, false, 75, 0xC0},     {1, 1, 1, 1, 0, 0, false, 75, 0xC0},
        {0, 0, 1, 1, 0, 0, false, 75, 0xC0},     {2, 2, 17, 9, 0, 0, false, 75, 0xC0},
        {2, 1, 17, 9, 0, 0, false, 75, 0xC0},    {1, 2, 17, 9, 0, 0, false, 75, 0xC0},
        {2, 1, 333, 200, 0, 5, true, 75, 0xC0},  {0, 0, 100, 75, 0, 1, true, 75, 0xC0},
        {2, 2, 257, 129, 0, 0, true, 100, 0xC0},
        {2, 2, 200, 150, 0, 0, false, 3, 0xC1},  // 16-bit tables: an extended frame
        {0, 0, 64, 64, 0, 0, true, 2, 0xC1},
    };
    for (const auto& c : cases) {
        const std::string what = std::to_string(c.h) + "x" + std::to_string(c.v) + " " + std::to_string(c.width) + "x" +
                                 std::to_string(c.height) + " q" + std::to_string(c.quality);
        SCOPED_TRACE(what);
        const Picture source = busyPicture(c.width, c.height, c.h ? 3 : 1);
        PeerSpec spec;
        spec.picture = &source;
        if (c.h) spec.sampling = lumaSampling(c.h, c.v);
        spec.restartRows = c.restartRows;
        spec.restartBlocks = c.restartBlocks;
        spec.optimize = c.optimize;
        spec.quality = c.quality;
        spec.baseline = false;
        const std::vector<uint8_t> jpeg = peerEncode(spec);
        ASSERT_NE(segmentAt(jpeg, c.sof), 0u);
        Picture ours, peer;
        ASSERT_TRUE(ourDecode(jpeg, 0, ours));
        ASSERT_TRUE(peerDecode(jpeg, peer));
        const int largest = largestDifference(ours, peer);
        const double ratio = psnr(ours.pixels, peer.pixels);
        std::printf("    %-20s %6zu bytes: largest difference %d, PSNR %.1f dB\n", what.c_str(), jpeg.size(), largest, ratio);
        EXPECT_LE(largest, 6);
        EXPECT_GT(ratio, 45.0);
    }
}
#endif
