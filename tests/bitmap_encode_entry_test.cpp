// Encoding from bitmaps and TWAIN transfers through the exported entries. The
// rectangle encoder is the oracle: a bitmap must encode to exactly the bytes
// its top-down rectangle gives. Round trips go back through the bitmap decode.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "bitmap/dither_palette.h"
#include "bitmap_test_support.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;

namespace {

// A memory-mode encode, finished into a byte vector.
struct MemoryEncode {
    JpegEncodeParams params{};
    JpegHandle handle = nullptr;
    MemoryEncode(uint16_t width, uint16_t height, uint16_t components, uint32_t sampling, uint16_t quality = 90) {
        params.samplingFactors = sampling;
        params.width = width;
        params.height = height;
        params.componentCount = components;
        params.quality = quality;
        params.options = JPEG_OPT_MEMORY;
        handle = jpegEncodeProlog(nullptr, &params);
    }
    std::vector<uint8_t> finish() {
        std::vector<uint8_t> out;
        if (jpegEncodeEpilog(handle) == 0 && params.outputBuffer)
            out.assign(params.outputBuffer, params.outputBuffer + params.outputSize);
        if (params.outputBuffer) jpegFreeMemory(params.outputBuffer);
        handle = nullptr;
        return out;
    }
    ~MemoryEncode() {
        if (handle) finish();
    }
};

constexpr uint32_t k420 = 0x221111;
constexpr uint32_t k444 = 0x111111;

// Smooth colour content with some detail; (blue, green, red) at (x, y).
void colourAt(int x, int y, uint8_t* bgr) {
    bgr[0] = static_cast<uint8_t>(40 + 3 * x + y);
    bgr[1] = static_cast<uint8_t>(90 + 2 * y + 20 * std::sin(x * 0.4));
    bgr[2] = static_cast<uint8_t>(200 - x + 15 * std::cos(y * 0.3));
}

// Top-down tight rectangle pixels from a pixel function.
std::vector<uint8_t> topDown(int width, int height, int bytes, const std::function<void(int, int, uint8_t*)>& pixel) {
    std::vector<uint8_t> out(size_t(width) * height * bytes);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) pixel(x, y, &out[(size_t(y) * width + x) * bytes]);
    return out;
}

std::vector<uint8_t> encodeRect(uint16_t width, uint16_t height, uint16_t components, uint32_t sampling,
                                std::vector<uint8_t> pixels) {
    MemoryEncode e(width, height, components, sampling);
    ImageRect rect{};
    rect.width = width;
    rect.height = height;
    rect.stride = width * components;
    rect.bitsPerPixel = 8 * components;
    rect.bits = pixels.data();
    EXPECT_EQ(jpegEncodeFromRect(e.handle, &rect, height), height);
    return e.finish();
}

std::vector<uint8_t> encodeDib(uint16_t width, uint16_t height, uint16_t components, uint32_t sampling,
                               const std::vector<uint8_t>& bits, DibHeader& header, uint32_t expectLines) {
    MemoryEncode e(width, height, components, sampling);
    EXPECT_EQ(jpegEncodeFromWinDIBits(e.handle, height, bits.data(), header.get()), expectLines);
    return e.finish();
}

// Bottom-up bitmap rows of `step` bytes from a function of (x, y) writing the
// bitmap pixel bytes.
std::vector<uint8_t> bottomUp(int width, int height, size_t step, int bytes,
                              const std::function<void(int, int, uint8_t*)>& pixel) {
    std::vector<uint8_t> bits(step * height, 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) pixel(x, y, &bits[(height - 1 - y) * step + size_t(x) * bytes]);
    return bits;
}

double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
    return sum == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * a.size() / sum);
}

}  // namespace

TEST(EncodeFromDibEntry, TwentyFourBitRowsAreReadInPlaceLastStoredRowFirst) {
    // 100 pixels: rows 300 bytes apart; 101 pixels: 303 padded to 304.
    for (uint16_t width : {100, 101}) {
        const uint16_t height = 20;
        size_t step = (3 * width + 3) & ~size_t{3};
        std::vector<uint8_t> bits = bottomUp(width, height, step, 3, colourAt);
        DibHeader header(24, width, height, 0);
        std::vector<uint8_t> viaDib = encodeDib(width, height, 3, k420, bits, header, height);
        std::vector<uint8_t> viaRect = encodeRect(width, height, 3, k420, topDown(width, height, 3, colourAt));
        ASSERT_FALSE(viaRect.empty());
        EXPECT_EQ(viaDib, viaRect) << width;
    }
}

TEST(EncodeFromDibEntry, EveryBitmapDepthIsConvertedBeforeEncoding) {
    const uint16_t w = 13, h = 10;
    DibHeader palette(8);
    for (int i = 0; i < 256; ++i)
        palette.setEntry(i, static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i * 7));
    auto entryColour = [&](unsigned i, uint8_t* bgr) {
        const RGBQUAD& q = palette.entry(i);
        bgr[0] = q.rgbBlue, bgr[1] = q.rgbGreen, bgr[2] = q.rgbRed;
    };
    auto index = [](int x, int y) { return unsigned(x * 5 + y * 3); };
    struct Case {
        int bitCount;
        size_t step;
        std::function<void(int, int, uint8_t*)> store;   // bitmap bytes of pixel (x, y)
        std::function<void(int, int, uint8_t*)> colour;  // the blue, green, red it stands for
    };
    const Case cases[] = {
        {1, 4, [&](int x, int y, uint8_t* p) { p[0] = 0; (void)x, (void)y; },
         [&](int, int, uint8_t* c) { entryColour(0, c); }},
        {4, 8, [&](int, int, uint8_t*) {}, [&](int x, int y, uint8_t* c) { entryColour((x + 2 * y) & 15, c); }},
        {8, 16, [&](int x, int y, uint8_t* p) { p[0] = static_cast<uint8_t>(index(x, y)); },
         [&](int x, int y, uint8_t* c) { entryColour(index(x, y) & 0xFF, c); }},
        {16, 28,
         [&](int x, int y, uint8_t* p) {
             unsigned v = ((x & 31) << 10) | ((y & 31) << 5) | ((x + y) & 31);
             p[0] = static_cast<uint8_t>(v), p[1] = static_cast<uint8_t>(v >> 8);
         },
         [&](int x, int y, uint8_t* c) {
             c[0] = static_cast<uint8_t>(((x + y) & 31) << 3), c[1] = static_cast<uint8_t>((y & 31) << 3),
             c[2] = static_cast<uint8_t>((x & 31) << 3);
         }},
        {32, 52, [&](int x, int y, uint8_t* p) { colourAt(x, y, p); p[3] = 0x77; }, colourAt},
    };
    for (const Case& c : cases) {
        DibHeader header = palette;
        header.get()->biBitCount = static_cast<uint16_t>(c.bitCount);
        header.get()->biWidth = w;
        header.get()->biHeight = h;
        std::vector<uint8_t> bits = bottomUp(w, h, c.step, c.bitCount / 8, c.store);
        if (c.bitCount == 1) {  // a checkerboard of palette entries 0 and 1
            for (int y = 0; y < h; ++y) bits[(h - 1 - y) * c.step] = 0x55;
        }
        if (c.bitCount == 4) {  // two pixels a byte, the left one in the high nibble
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    bits[(h - 1 - y) * c.step + x / 2] |= static_cast<uint8_t>(((x + 2 * y) & 15) << (x & 1 ? 0 : 4));
        }
        auto expectedColour = [&](int x, int y, uint8_t* bgr) {
            if (c.bitCount == 1) {
                entryColour(x < 8 ? (x & 1) : 0, bgr);
            } else {
                c.colour(x, y, bgr);
            }
        };
        std::vector<uint8_t> viaDib = encodeDib(w, h, 3, k444, bits, header, h);
        std::vector<uint8_t> viaRect = encodeRect(w, h, 3, k444, topDown(w, h, 3, expectedColour));
        ASSERT_FALSE(viaRect.empty());
        EXPECT_EQ(viaDib, viaRect) << c.bitCount;

        // A one-component encoder takes the green channel as the grey level.
        std::vector<uint8_t> greyDib = encodeDib(w, h, 1, 0x11, bits, header, h);
        std::vector<uint8_t> greyRect = encodeRect(w, h, 1, 0x11, topDown(w, h, 1, [&](int x, int y, uint8_t* g) {
                                                       uint8_t bgr[3];
                                                       expectedColour(x, y, bgr);
                                                       g[0] = bgr[1];
                                                   }));
        EXPECT_EQ(greyDib, greyRect) << c.bitCount;
    }
}

TEST(EncodeFromDibEntry, RefusedBitmapsReportAndEncodeNothing) {
    ReportCapture capture;
    std::vector<uint8_t> bits(64 * 16, 0);
    DibHeader masks(16, 8, 8);
    masks.setMasks(0xF800, 0x07E0, 0x001F);
    encodeDib(8, 8, 3, k444, bits, masks, 0);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"not BI_RGB.", "complibSetDIBitsToRect failed."}));

    capture.clear();
    DibHeader two(2, 8, 8);
    encodeDib(8, 8, 3, k444, bits, two, 0);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"undefined biBitCount in DIB", "complibSetDIBitsToRect failed."}));
    EXPECT_EQ(capture.reports()[1].source, "JPEG");

    // Four components would need a 32-bit rectangle, which no bitmap converter makes.
    capture.clear();
    DibHeader four(24, 8, 8, 0);
    encodeDib(8, 8, 4, 0x11111111, bits, four, 0);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"complibSetDIBitsToRect failed."});
}

TEST(EncodeFromDibEntry, MisuseAndTheNoOperationEntry) {
    DibHeader header(24, 8, 8, 0);
    std::vector<uint8_t> bits(32 * 8, 0);
    EXPECT_EQ(jpegEncodeFromWinDIBits(nullptr, 8, bits.data(), header.get()), 0u);
    MemoryEncode e(8, 8, 3, k444);
    EXPECT_EQ(jpegEncodeFromWinDIBits(e.handle, 8, nullptr, header.get()), 0u);
    EXPECT_EQ(jpegEncodeFromWinDIBits(e.handle, 8, bits.data(), nullptr), 0u);
    EXPECT_EQ(jpegEncodeFromWinDIB(), 0);
}

TEST(EncodeFromTwainEntry, TransferEncodesLikeItsBlueGreenRedRectangle) {
    for (uint16_t width : {1, 7, 16}) {
        const uint16_t height = 9;
        size_t row = (3 * width + 1) & ~size_t{1};
        std::vector<uint8_t> transfer(row * height, 0xEE);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                uint8_t bgr[3];
                colourAt(x, y, bgr);
                uint8_t* p = &transfer[y * row + 3 * x];
                p[0] = bgr[2], p[1] = bgr[1], p[2] = bgr[0];
            }
        MemoryEncode e(width, height, 3, k420);
        EXPECT_EQ(jpegEncodeFromWinTWAIN(e.handle, transfer.data(), width, height), height);
        std::vector<uint8_t> viaTwain = e.finish();
        EXPECT_EQ(viaTwain, encodeRect(width, height, 3, k420, topDown(width, height, 3, colourAt))) << width;
    }
}

TEST(EncodeFromTwainEntry, ZeroWidthReportsAndEncodesNothing) {
    ReportCapture capture;
    MemoryEncode e(8, 8, 3, k444);
    const uint8_t data[4] = {};
    EXPECT_EQ(jpegEncodeFromWinTWAIN(e.handle, data, 0, 8), 0u);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"LocalAlloc failed"});
}

TEST(BitmapRoundTrip, TwentyFourAndEightBitBitmapsSurviveAtHighQuality) {
    const uint16_t w = 48, h = 32;
    // Colour: 24-bit bitmap in, 24-bit bitmap out.
    std::vector<uint8_t> bits = bottomUp(w, h, 144, 3, colourAt);
    DibHeader header(24, w, h, 0);
    std::vector<uint8_t> jpeg = encodeDib(w, h, 3, k444, bits, header, h);
    OpenDecode d(jpeg);
    ASSERT_NE(d.handle, nullptr);
    DibHeader outHeader(24);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, h, nullptr, outHeader.get(), JPEG_SCALE_FULL), 0);
    EXPECT_EQ(outHeader.get()->biWidth, w);
    EXPECT_EQ(outHeader.get()->biHeight, h);
    std::vector<uint8_t> out(bits.size());
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(d.handle, h, out.data(), outHeader.get(), JPEG_SCALE_FULL), h);
    double colourPsnr = psnr(bits, out);
    EXPECT_GT(colourPsnr, 32.0);
    EXPECT_LT(colourPsnr, 60.0);

    // Grey: the green channel encoded alone and decoded into an 8-bit bitmap.
    std::vector<uint8_t> grey = bottomUp(w, h, 48, 1, [](int x, int y, uint8_t* g) {
        uint8_t bgr[3];
        colourAt(x, y, bgr);
        g[0] = bgr[1];
    });
    std::vector<uint8_t> greyJpeg = encodeDib(w, h, 1, 0x11, bits, header, h);
    OpenDecode g(greyJpeg);
    DibHeader greyHeader(8);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(g.handle, h, nullptr, greyHeader.get(), JPEG_SCALE_FULL), 0);
    std::vector<uint8_t> greyOut(grey.size());
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(g.handle, h, greyOut.data(), greyHeader.get(), JPEG_SCALE_FULL), h);
    EXPECT_GT(psnr(grey, greyOut), 34.0);

    // Colour into the 202-colour dithered palette: coarse, but recognisable.
    OpenDecode p(jpeg);
    DibHeader paletteHeader(8);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(p.handle, h, nullptr, paletteHeader.get(), JPEG_SCALE_FULL), 0);
    std::vector<uint8_t> indexes(48 * h);
    ASSERT_EQ(jpegDecodeScaleOutputToWinDIBits(p.handle, h, indexes.data(), paletteHeader.get(), JPEG_SCALE_FULL), h);
    std::vector<uint8_t> looked(bits.size());
    for (int r = 0; r < h; ++r)
        for (int x = 0; x < w; ++x) {
            const RGBQUAD& q = paletteHeader.entry(indexes[r * 48 + x]);
            uint8_t* o = &looked[r * 144 + 3 * x];
            o[0] = q.rgbBlue, o[1] = q.rgbGreen, o[2] = q.rgbRed;
        }
    double palettePsnr = psnr(bits, looked);
    EXPECT_GT(palettePsnr, 14.0);
    EXPECT_LT(palettePsnr, colourPsnr);
}
