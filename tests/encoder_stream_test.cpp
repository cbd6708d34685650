// Whole encodes through the exported calls: the JFIF segment, DNL, memory
// output, write errors, misuse and the padding of a lone partial MCU
// (restart intervals, strips whose last call starts a partial MCU row,
// partial MCUs after whole ones, colour conversion and the planar entries'
// output are pinned by the manifest's encodes).
#include <gtest/gtest.h>

#include <cstring>

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

TEST(EncoderStream, JfifSegmentOnlyForOneOrThreeComponentsAndCountsThumbnailBytes) {
    // (One or three components with the option: the manifest's JFIF encodes.)
    Picture colour = photoLikeImage(8, 8);
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
    EXPECT_EQ(bytesAt(s, s.size() - 8, 8), (Bytes{0xFF, 0xDC, 0x00, 0x04, 0x00, 37, 0xFF, 0xD9}));
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
    EXPECT_EQ(h->bitstream->memLength % 4096, 0u);  // only whole buffers so far
    ASSERT_EQ(jpegEncodeEpilog(h), 0);
    Bytes memory = takeOutput(p);
    EXPECT_GT(memory.size(), 3 * 4096u);
    p.options = 0;
    const std::string path = tempPath("memory_vs_file.jpg");
    h = jpegEncodeProlog(wideName(path).c_str(), &p);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 240), 240u);
    ASSERT_EQ(jpegEncodeEpilog(h), 0);
    EXPECT_EQ(readFileBytes(path), memory);
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

TEST(EncoderPadding, ALonePartialMcuStartsFromZeroSamples) {
    // The first MCU has nothing to repeat: zero samples, black in grey, whose
    // samples are plain bytes. (Mid grey in colour, and partial MCUs that
    // repeat the MCU before or above them, are pinned by the manifest's
    // 17 x 9 encodes.)
    Picture partial = photoLikeImage(5, 3, 1);
    Picture full = pictureOf(8, 8, 1, [&](int x, int y, int) { return x < 5 && y < 3 ? partial.row(y)[x] : 0; });
    Bytes a = scanData(encodeImage(partial, paramsFor(partial, 0x11, 90)));
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(a, scanData(encodeImage(full, paramsFor(full, 0x11, 90))));
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
