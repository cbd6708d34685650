// Whole encodes through the exported calls: the JFIF segment, DNL, memory
// output, write errors, misuse, partial strips and the padding of partial
// MCUs (restart intervals, whole-row strips, colour conversion and the planar
// entries' output are pinned by the manifest's encodes).
#include <gtest/gtest.h>

#include <cstring>

#include <functional>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/encode_prolog.h"
#include "encoder_test_support.h"
#include "test_support.h"

using namespace testing_support;
using testing_support::ReportCapture;
using Bytes = std::vector<uint8_t>;

namespace {

Bytes bytesAt(const Bytes& s, size_t offset, size_t count) {
    if (offset + count > s.size()) return {};
    return Bytes(s.begin() + offset, s.begin() + offset + count);
}

Bytes tail(const Bytes& s, size_t count) { return bytesAt(s, s.size() - std::min(count, s.size()), count); }

Bytes encodeToFile(const std::string& path, const Picture& image, JpegEncodeParams params) {
    JpegHandle handle = jpegEncodeProlog(testing_support::wideName(path).c_str(), &params);
    if (!handle) return {};
    ImageRect rect = rectOf(image);
    bool ok = jpegEncodeFromRect(handle, &rect, uint32_t(image.height)) == uint32_t(image.height);
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    return ok ? testing_support::readFileBytes(path) : Bytes{};
}

TEST(EncoderStream, JfifSegmentOnlyForOneOrThreeComponentsAndCountsThumbnailBytes) {
    Picture grey = photoLikeImage(16, 16, 1), colour = photoLikeImage(8, 8);
    EXPECT_EQ(segmentsOf(encodeImage(grey, paramsFor(grey, 0x11, 75, JPEG_OPT_JFIF)), true)[1].marker, 0xE0);
    EXPECT_EQ(segmentsOf(encodeImage(colour, paramsFor(colour, 0x111111, 75, JPEG_OPT_JFIF |
                                                                                    JPEG_OPT_RAW_COMPONENTS)))[1]
                  .marker,
              0xDB);
    // Densities 300 x 150 per centimetre, and a 2 x 2 thumbnail: the length
    // field counts one byte per pixel, the copy three.
    uint8_t storage[7 + 12] = {0x2C, 0x01, 0x96, 0x00, 2, 2, 2};
    for (int i = 0; i < 12; ++i) storage[7 + i] = static_cast<uint8_t>(0xA0 + i);
    JpegEncodeParams p = paramsFor(colour, 0x111111, 75, JPEG_OPT_JFIF);
    p.jfif = reinterpret_cast<JfifInfo*>(storage);
    Bytes s = encodeImage(colour, p);
    EXPECT_EQ(bytesAt(s, 4, 2), (Bytes{0x00, 0x14}));
    EXPECT_EQ(bytesAt(s, 11, 7), (Bytes{0x01, 0x02, 2, 0x01, 0x2C, 0x00, 0x96}));  // version 1.02, units, densities
    EXPECT_EQ(bytesAt(s, 18, 4), (Bytes{0x02, 0x02, 0xA0, 0xA1}));
    EXPECT_EQ(s[18 + 2 + 11], 0xAB);
    EXPECT_EQ(bytesAt(s, 2 + 2 + 28, 2), (Bytes{0xFF, 0xDB}));
}

TEST(EncoderStream, UnknownHeightWritesZeroAndADnlSegmentWithTheLinesEncoded) {
    Picture image = photoLikeImage(24, 37);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75);
    p.height = 0;
    Bytes s = encodeImage(image, p, 8);  // strips of 8 lines, the last of 5
    std::vector<Segment> segments = segmentsOf(s, true);
    ASSERT_EQ(segments[segments.size() - 2].marker, 0xC0);
    EXPECT_EQ(bytesAt(s, segments[segments.size() - 2].offset + 5, 2), (Bytes{0, 0}));
    EXPECT_EQ(tail(s, 8), (Bytes{0xFF, 0xDC, 0x00, 0x04, 0x00, 37, 0xFF, 0xD9}));
    Bytes withDnl = scanData(s);
    withDnl.erase(withDnl.end() - 8, withDnl.end() - 2);
    EXPECT_EQ(withDnl, scanData(encodeImage(image, paramsFor(image, 0x111111, 75), 8)));
}

TEST(EncoderStream, MemoryOutputGrowsInWholeBuffersAndMatchesTheFile) {
    Picture image = photoLikeImage(320, 240);
    JpegEncodeParams p = paramsFor(image, 0x211111, 90, JPEG_OPT_MEMORY);
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ImageRect rect = rectOf(image);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 240), 240u);
    EXPECT_EQ(h->bitstream->memCapacity % 4096, 0u);
    EXPECT_EQ(h->bitstream->memLength % 4096, 0u);  // only whole buffers so far
    EXPECT_GE(h->bitstream->memCapacity, h->bitstream->memLength);
    ASSERT_EQ(jpegEncodeEpilog(h), 0);
    Bytes memory = takeOutput(p);
    EXPECT_GT(memory.size(), 3 * 4096u);
    p.options = 0;
    EXPECT_EQ(encodeToFile(testing_support::tempPath("memory_vs_file.jpg"), image, p), memory);
}

TEST(EncoderStream, WriteErrorsAreStickyAndReachTheEpilog) {
    Picture image = photoLikeImage(256, 256);
    JpegEncodeParams p = paramsFor(image, 0x221111, 95);
    ImageRect rect = rectOf(image);
    if (JpegHandle h = jpegEncodeProlog(testing_support::wideName("/dev/full").c_str(), &p)) {
        EXPECT_EQ(jpegEncodeFromRect(h, &rect, 256), 0u);  // stops after the MCU row whose buffer was lost
        EXPECT_EQ(jpegEncodeFromRect(h, &rect, 16), 0u);
        EXPECT_EQ(jpegEncodeEpilog(h), -1);
    }
    // Memory growth that fails: the epilog fails too, yet hands back the block it has.
    ReportCapture capture;
    p = paramsFor(image, 0x111111, 95, JPEG_OPT_MEMORY);
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 64), 64u);
    BitstreamFile* bf = h->bitstream;
    ASSERT_NE(bf->memCursor, nullptr);
    uint8_t* block = bf->memCursor;
    uint32_t written = bf->memLength;
    bf->memPosition = UINT32_MAX;  // a write position no block can grow to
    rect = rectOf(image, 64);
    EXPECT_EQ(jpegEncodeFromRect(h, &rect, 192), 0u);
    EXPECT_TRUE(capture.saw(report_text::kGlobalReallocFailed));
    EXPECT_EQ(jpegEncodeEpilog(h), -1);
    uint8_t* output = p.outputBuffer;  // packed field: copied before gtest binds a reference
    EXPECT_EQ(output, block);
    EXPECT_EQ(uint32_t{p.outputSize}, written);
    EXPECT_EQ(jpegFreeMemory(output), 0);
}

TEST(EncoderStream, PrologFailuresReportAndReturnNull) {
    ReportCapture capture;
    Picture image = photoLikeImage(8, 8);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75, JPEG_OPT_DECODE);
    EXPECT_EQ(jpegEncodeProlog(nullptr, &p), nullptr);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{text(report_text::kIllegalOptionsParameter),
                                                         text(report_text::kJpegPrologFailedInJpegEncodeProlog)}));
    capture.clear();
    for (uint32_t sampling : {0x131111u, 0x111100u, 0x441111u, 0x11u}) {
        p = paramsFor(image, sampling, 75, JPEG_OPT_MEMORY);
        if (sampling == 0x11) p.componentCount = 5;
        EXPECT_EQ(jpegEncodeProlog(nullptr, &p), nullptr);
    }
    EXPECT_EQ(capture.texts(), std::vector<std::string>(4, text(report_text::kUnsupportedSamplingFactors)));
    capture.clear();
    p = paramsFor(image, 0x111111, 75);
    std::string missing = testing_support::tempPath("no/such/dir/out.jpg");
    EXPECT_EQ(jpegEncodeProlog(testing_support::wideName(missing).c_str(), &p), nullptr);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{text(report_text::kFileCreateError), text(report_text::kNoSuchFileOrDirectory)}));
    EXPECT_EQ(jpegEncodeEpilog(nullptr), -1);
    EXPECT_EQ(jpegEncodeFromRect(nullptr, nullptr, 8), 0u);
    Picture four = photoLikeImage(24, 16, 4);  // four components only at full sampling
    EXPECT_FALSE(encodeImage(four, paramsFor(four, 0x11111111, 75)).empty());
    EXPECT_TRUE(encodeImage(four, paramsFor(four, 0x22111111, 75)).empty());
    // Planar entries: no handle, or a width that is not a whole number of chroma samples.
    const std::vector<uint8_t> planes(16 * 16 * 3 / 2, 128);
    EXPECT_EQ(jpegEncodeFromYUV411(nullptr, planes.data(), 16, 16), 0u);
    EXPECT_TRUE(encodePlanar(jpegEncodeFromYUV411, planes, 1, 16).empty());
}

TEST(EncoderStrips, APartialMcuRowAtTheStartOfACallIsPaddedWithZeros) {
    // 16 x 20 at 4:4:4 in strips of 16 and 4 lines: the last call's MCUs start
    // from a fresh work buffer, as if the strip were a 16 x 8 image of mid grey.
    Picture image = photoLikeImage(16, 20);
    JpegEncodeParams p = paramsFor(image, 0x111111, 90);
    p.restartInterval = 2;  // a restart at the strip edge resets the DC predictors too
    Bytes strips = scanData(encodeImage(image, p, 16));
    Picture last{16, 8, 3, Bytes(16 * 8 * 3, 128)};
    std::memcpy(last.pixels.data(), image.row(16), 16 * 4 * 3);
    Bytes lastScan = scanData(encodeImage(last, p));
    ASSERT_GT(strips.size(), lastScan.size());
    // In the strip encode those MCUs end with RST2; on their own with RST0.
    EXPECT_EQ(tail(strips, 4), (Bytes{0xFF, 0xD2, 0xFF, 0xD9}));
    EXPECT_EQ(tail(lastScan, 4), (Bytes{0xFF, 0xD0, 0xFF, 0xD9}));
    EXPECT_EQ(Bytes(strips.end() - static_cast<std::ptrdiff_t>(lastScan.size()), strips.end() - 4),
              Bytes(lastScan.begin(), lastScan.end() - 4));
}

// An image of the given size spelling out, through `source`, what the padding
// rule leaves in the partial MCUs of `partial`: the pixel at (x, y) comes from
// the partial image's (sx, sy) when source returns true, else it is `fill`.
Picture spelledOut(const Picture& partial, uint32_t w, uint32_t h, uint8_t fill,
                     const std::function<bool(uint32_t&, uint32_t&)>& source) {
    Picture full{int(w), int(h), partial.channels, Bytes(size_t(w) * h * partial.channels, fill)};
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            uint32_t sx = x, sy = y;
            if (source(sx, sy)) std::memcpy(full.row(y) + x * full.channels, partial.row(sy) + sx * full.channels,
                                            full.channels);
        }
    return full;
}

TEST(EncoderPadding, PartialMcusRepeatThePreviousMcuOrStartFromZeroSamples) {
    struct Case {
        const char* what;
        Picture partial;
        uint32_t w, h, sampling;
        uint8_t fill;
        std::function<bool(uint32_t&, uint32_t&)> source;
    };
    const Case cases[] = {
        // 17 wide: the second MCU column keeps the first MCU's pixels.
        {"partial column", photoLikeImage(17, 16), 32, 16, 0x221111, 0,
         [](uint32_t& x, uint32_t&) { x = x < 17 ? x : x - 16; return true; }},
        // 20 high: rows 4..15 of the second MCU row keep those of the MCU above.
        {"partial row", photoLikeImage(16, 20), 16, 32, 0x221111, 0,
         [](uint32_t&, uint32_t& y) { y = y < 20 ? y : y - 16; return true; }},
        // The first MCU has nothing to repeat: zero samples, mid grey in colour...
        {"first colour MCU", photoLikeImage(8, 8), 16, 16, 0x221111, 128,
         [](uint32_t& x, uint32_t& y) { return x < 8 && y < 8; }},
        // ...and black in grey, whose samples are plain bytes.
        {"first grey MCU", photoLikeImage(5, 3, 1), 8, 8, 0x11, 0,
         [](uint32_t& x, uint32_t& y) { return x < 5 && y < 3; }},
    };
    for (const Case& c : cases) {
        Picture full = spelledOut(c.partial, c.w, c.h, c.fill, c.source);
        Bytes a = scanData(encodeImage(c.partial, paramsFor(c.partial, c.sampling, 90)));
        ASSERT_FALSE(a.empty()) << c.what;
        EXPECT_EQ(a, scanData(encodeImage(full, paramsFor(full, c.sampling, 90)))) << c.what;
    }
}

TEST(EncoderFrameRestart, HandsBackTheStreamAndStartsOverWithTheSameTables) {
    Picture image = photoLikeImage(16, 16);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75, JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM);
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ImageRect rect = rectOf(image);
    uint8_t* buffer = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 16), 16u);
    ASSERT_EQ(encoder::jpegEncodeRestartFrame(h, &buffer, &size), 0);
    Bytes first = scanData(Bytes(buffer, buffer + size));
    EXPECT_EQ(first, scanData(encodeImage(image, paramsFor(image, 0x111111, 75))));
    // The next frame's data starts over in the same block, without headers,
    // from fresh DC predictors.
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 16), 16u);
    EXPECT_EQ(jpegEncodeEpilog(h), 0);
    uint8_t* output = p.outputBuffer;
    EXPECT_EQ(output, buffer);
    EXPECT_EQ(takeOutput(p), first);
}

}  // namespace
