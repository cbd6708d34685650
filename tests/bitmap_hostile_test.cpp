// Random headers against buffers sized exactly as those headers describe
// them: run under the sanitizers, any access outside is a failure.
#include <gtest/gtest.h>

#include <random>

#include "bitmap/dib_to_rect.h"
#include "bitmap/rect_to_dib.h"
#include "bitmap_test_support.h"
#include "decoder_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;

namespace {

const int kDepths[] = {0, 1, 2, 4, 8, 16, 24, 32, 48};
const int kRectDepths[] = {1, 8, 16, 24, 32};

struct Random {
    std::mt19937 engine{20261122};
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine); }
    template <size_t N>
    int pick(const int (&values)[N]) { return values[between(0, N - 1)]; }
};

size_t describedBytes(int bitCount, int32_t width, int32_t height) {
    int64_t step = complibDIBRowStep(bitCount, width);
    return static_cast<size_t>(step * std::abs(height));
}

}  // namespace

TEST(HostileBitmaps, ConvertersStayInsideBothBuffers) {
    testing_support::ReportCapture quiet;
    Random random;
    for (int round = 0; round < 3000; ++round) {
        int rectBytes = random.pick(kRectDepths) / 8;
        int32_t w = random.between(0, 19), h = random.between(0, 9);
        int32_t stride = std::max(1, w * std::max(rectBytes, 1) + random.between(0, 3));
        std::vector<uint8_t> rectStore(static_cast<size_t>(stride) * h + 1);
        ImageRect rect{w, h, stride, rectBytes ? 8 * rectBytes : 1, 0, 0, rectStore.data() + 1, 0};

        DibHeader header(random.pick(kDepths), random.between(-25, 25), random.between(-12, 12));
        header.get()->biCompression = random.between(0, 3) == 3 ? 3 : 0;
        header.get()->biClrUsed = static_cast<uint32_t>(random.between(0, 300));
        std::vector<uint8_t> bitmap(describedBytes(header.get()->biBitCount, header.get()->biWidth,
                                                   header.get()->biHeight));
        (void)complibGetDIBitsFromRect(&rect, bitmap.data(), header.get());

        // The other way the rectangle gives the geometry: a bitmap as wide
        // and as tall as the rectangle.
        std::vector<uint8_t> source(describedBytes(header.get()->biBitCount, w, h));
        (void)complibSetDIBitsToRect(&rect, source.data(), header.get());
    }
}

TEST(HostileBitmaps, DecodeEntryStaysInsideTheDescribedBitmap) {
    testing_support::ReportCapture quiet;
    testing_support::FlatJpeg layout;
    layout.width = 21;
    layout.height = 11;
    layout.components = {{1, 0x22}, {2, 0x11}, {3, 0x11}};
    std::vector<uint8_t> colour = testing_support::flatJpeg(layout);
    layout.components = {{1, 0x11}};
    std::vector<uint8_t> grey = testing_support::flatJpeg(layout);
    layout.heightInDnl = true;
    std::vector<uint8_t> dnl = testing_support::flatJpeg(layout);
    const std::vector<uint8_t>* streams[] = {&colour, &grey, &dnl};
    Random random;
    for (int round = 0; round < 400; ++round) {
        testing_support::MemoryDecode d(*streams[round % 3]);
        ASSERT_NE(d.handle, nullptr);
        DibHeader header(random.pick(kDepths), random.between(-30, 30), random.between(-20, 20));
        if (round % 7 == 0) {
            DibHeader query(header.get()->biBitCount);
            (void)jpegDecodeScaleOutputToWinDIBits(d.handle, 0, nullptr, query.get(), random.between(0, 4));
        }
        std::vector<uint8_t> bitmap(describedBytes(header.get()->biBitCount, header.get()->biWidth,
                                                   header.get()->biHeight) + 1);
        uint32_t lines = static_cast<uint32_t>(random.between(1, 24));
        (void)jpegDecodeScaleOutputToWinDIBits(d.handle, lines, bitmap.data() + 1, header.get(), random.between(0, 3));
    }
}
