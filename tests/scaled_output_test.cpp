// Scaled output (the sizes, pixels and guard bytes of every scale of the
// corpus are pinned by the manifest): exact agreement of the reduced
// transforms on DC-only blocks (and with the peer's 1/8 output for
// greyscale), rewinds on a change of scale, wide rectangles, and lossless
// frames, full size only.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "decoder_test_support.h"

using namespace testing_support;

#if defined(KELJPEG_HAVE_LIBJPEG)
TEST(ScaledOutput, GreyEighthMatchesThePeersDcOnlyReduction) {
    // At 1/8 each block is its rounded mean, (DC * q + 4) >> 3, the same rule as
    // the peer's 1/8 reduction, so greyscale output agrees exactly.
    for (int quality : {10, 60, 95}) {
        SCOPED_TRACE(quality);
        auto jpeg = peerJpeg(busyPicture(123, 77, 1, quality), 1, 1, quality);
        Picture peer;
        ASSERT_TRUE(peerDecode(jpeg, peer, JPEG_SCALE_1_8));
        EXPECT_EQ(decodeWhole(jpeg, JPEG_SCALE_1_8), peer.pixels);
    }
}

TEST(ScaledOutput, DcOnlyBlocksLookAlikeAtEveryScale) {
    // Pictures flat over each 16 x 16 cell code every block, chroma included,
    // with its DC term alone; the 4x4 and 2x2 transforms then give each sample
    // (DC + 4) >> 3 like the 1/8 rule, and full size is within one step of it.
    const std::pair<int, int> samplings[] = {{0, 0}, {2, 2}, {2, 1}, {1, 1}};  // 0: grey
    for (auto [h, v] : samplings) {
        const int channels = h ? 3 : 1;
        SCOPED_TRACE(std::to_string(h) + "x" + std::to_string(v));
        auto jpeg = peerJpeg(cellPicture(72, 40, channels, 16), h, v, 90);
        auto eighth = decodeWhole(jpeg, JPEG_SCALE_1_8);
        ASSERT_EQ(eighth.size(), static_cast<size_t>(9 * 5 * channels));
        for (int scale : {JPEG_SCALE_1_4, JPEG_SCALE_1_2}) {
            const int n = 1 << scale, width = 9 * n;
            auto scaled = decodeWhole(jpeg, scale);
            ASSERT_EQ(scaled.size(), static_cast<size_t>(width * 5 * n * channels));
            for (int y = 0; y < 5 * n; ++y)
                for (int x = 0; x < width; ++x)
                    for (int c = 0; c < channels; ++c)
                        ASSERT_EQ(scaled[size_t((y * width + x) * channels + c)], eighth[size_t(((y / n) * 9 + x / n) * channels + c)])
                            << "scale " << scale << " at " << x << "," << y;
        }
        if (channels == 1) {
            auto full = decodeWhole(jpeg);
            for (int y = 0; y < 40; ++y)
                for (int x = 0; x < 72; ++x)
                    ASSERT_LE(std::abs(full[y * 72 + x] - eighth[(y / 8) * 9 + x / 8]), 1) << x << "," << y;
        }
    }
}

TEST(ScaledOutput, CallsContinueAtOneScaleAndStartAgainOnAChange) {
    // rows reads as the scaled row up to which to decode (the clip compares
    // it with the absolute position), while each call's first band is whole:
    // calls ending at 16, 32 and 45 of a 45-row picture with 8-row bands
    // deliver 16, 16 and 13 rows.
    PeerRecipe recipe;
    const Picture source = busyPicture(70, 90, 3);
    recipe.picture = &source;
    recipe.sampling = lumaSampling(2, 2);
    recipe.restartRows = 1;
    auto jpeg = peerEncode(recipe);
    MemoryDecode d(jpeg);
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(d.handle, &width, &height, JPEG_SCALE_1_2);
    ASSERT_EQ(height, 45u);
    Output out = outputFor(static_cast<int>(width), 45, 3);
    // A change of scale part of the way through a picture starts again from the top.
    ImageRect rect = out.rect();
    ASSERT_GT(jpegDecodeScaleOutputToRect(d.handle, &rect, 8, JPEG_SCALE_1_4), 0);
    std::vector<int32_t> delivered;
    for (uint32_t end : {16u, 32u, 45u}) {
        rect = out.rect(end == 16 ? 0 : static_cast<int>(end == 32 ? 16 : 32));
        delivered.push_back(jpegDecodeScaleOutputToRect(d.handle, &rect, end, JPEG_SCALE_1_2));
    }
    EXPECT_EQ(delivered, (std::vector<int32_t>{16, 16, 13}));
    EXPECT_EQ(out.packed(static_cast<int>(width), 45), decodeWhole(jpeg, JPEG_SCALE_1_2));
    // So does one after a finished picture, full size included. At a reduced
    // size a rectangle wider than the picture gets only the picture's width;
    // only the low 16 bits of the row count count.
    for (int scale : {JPEG_SCALE_1_4, JPEG_SCALE_1_8, JPEG_SCALE_FULL}) {
        SCOPED_TRACE(scale);
        jpegDecodeGetImageSize(d.handle, &width, &height, scale);
        Output whole = outputFor(static_cast<int>(width), static_cast<int>(height), 3, 3);
        rect = whole.rect();
        if (scale != JPEG_SCALE_FULL) rect.width += 3;
        ASSERT_EQ(jpegDecodeScaleOutputToRect(d.handle, &rect, 65536 + height, scale), static_cast<int32_t>(height));
        EXPECT_EQ(whole.packed(static_cast<int>(width), static_cast<int>(height)), decodeWhole(jpeg, scale));
        for (size_t y = 0; scale != JPEG_SCALE_FULL && y < height; ++y)
            for (size_t i = width * 3; i < static_cast<size_t>(whole.stride); ++i)
                ASSERT_EQ(whole.pixels[y * whole.stride + i], kGuard) << "row " << y << " byte " << i;
    }
}

// Progressive frames at full size whatever the scale, and raw output refused
// at reduced sizes, are pinned by the manifest's scaled decodes.
TEST(ScaledOutput, LosslessFramesAndRefusedCases) {
    Output out = outputFor(32, 32, 3);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeScaleOutputToRect(nullptr, &rect, 32, JPEG_SCALE_1_2), 0);
    {
        MemoryDecode d(peerJpeg(busyPicture(32, 32, 3), 2, 2));
        EXPECT_EQ(jpegDecodeScaleOutputToRect(d.handle, &rect, 32, -1), 0);
    }
    // Lossless frames: full size only.
    auto lossless = writeLossless({16, 8, 8, 1, 0, 0, {0x11, 0x11, 0x11}},
                                  std::vector<std::vector<int32_t>>(3, std::vector<int32_t>(16 * 8, 77)));
    for (int scale = 0; scale <= 2; ++scale) {
        MemoryDecode d(lossless);
        EXPECT_EQ(jpegDecodeScaleOutputToRect(d.handle, &rect, 8, scale), 0);
    }
    EXPECT_EQ(out.pixels, std::vector<uint8_t>(out.pixels.size(), kGuard));
    MemoryDecode d(lossless);
    Output samples = outputFor(16 * 3, 8, 1);
    rect = samples.rect();
    EXPECT_EQ(jpegDecodeScaleOutputToRect(d.handle, &rect, 8, JPEG_SCALE_FULL), 8);
    EXPECT_EQ(samples.pixels, std::vector<uint8_t>(16 * 8 * 3, 77));
}

#endif
