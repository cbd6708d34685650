// Whole encodes through the exported calls: segment layout, restart markers,
// DNL, memory output, write errors, strips and the padding of partial MCUs.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/encode_prolog.h"
#include "encoder_test_support.h"
#include "test_support.h"

using namespace encoder_testing;
using testing_support::ReportCapture;

namespace {

std::vector<uint8_t> bytesAt(const std::vector<uint8_t>& s, size_t offset, size_t count) {
    if (offset + count > s.size()) return {};
    return std::vector<uint8_t>(s.begin() + offset, s.begin() + offset + count);
}

std::vector<uint8_t> encodeToFile(const std::string& path, const TestImage& image, JpegEncodeParams params) {
    JpegHandle handle = jpegEncodeProlog(testing_support::wideName(path).c_str(), &params);
    if (!handle) return {};
    ImageRect rect = rectOf(image);
    bool ok = jpegEncodeFromRect(handle, &rect, image.height) == image.height;
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    return ok ? testing_support::readFileBytes(path) : std::vector<uint8_t>{};
}

TEST(EncoderStream, HeaderOfA640x480JfifFileIsExact) {
    TestImage image = photoLikeImage(640, 480);
    JfifInfo jfif{72, 72, 1, 0, 0, {0}};
    JpegEncodeParams params = paramsFor(image, 0x221111, 75, JPEG_OPT_JFIF);
    params.jfif = &jfif;
    std::vector<uint8_t> s = encodeToFile(testing_support::tempPath("header640.jpg"), image, params);
    ASSERT_GT(s.size(), 1000u);

    const std::vector<uint8_t> soiApp0 = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J',  'F',  'I',  'F',
                                          0x00, 0x01, 0x02, 0x01, 0x00, 0x48, 0x00, 0x48, 0x00, 0x00};
    EXPECT_EQ(bytesAt(s, 0, soiApp0.size()), soiApp0);
    EXPECT_EQ(bytesAt(s, 20, 5), (std::vector<uint8_t>{0xFF, 0xDB, 0x00, 0x84, 0x00}));
    EXPECT_EQ(s[25], 8);        // luminance DC at quality 75
    EXPECT_EQ(s[20 + 4 + 65], 0x01);  // second table's identifier byte

    // Four DHT segments DC 0, DC 1, AC 0, AC 1 after DQT, then SOF0 and SOS.
    std::vector<Segment> segments = headerSegments(s);
    ASSERT_EQ(segments.size(), 9u);
    const uint8_t order[] = {0xD8, 0xE0, 0xDB, 0xC4, 0xC4, 0xC4, 0xC4, 0xC0, 0xDA};
    const size_t dhtLengths[] = {31, 31, 181, 181};
    const uint8_t dhtIds[] = {0x00, 0x01, 0x10, 0x11};
    for (size_t i = 0; i < 9; ++i) EXPECT_EQ(segments[i].marker, order[i]) << i;
    for (size_t t = 0; t < 4; ++t) {
        EXPECT_EQ(segments[3 + t].length, dhtLengths[t]);
        EXPECT_EQ(s[segments[3 + t].offset + 4], dhtIds[t]);
    }
    const std::vector<uint8_t> sof = {0xFF, 0xC0, 0x00, 0x11, 0x08, 0x01, 0xE0, 0x02, 0x80, 0x03,
                                      0x01, 0x22, 0x00, 0x02, 0x11, 0x01, 0x03, 0x11, 0x01};
    const std::vector<uint8_t> sos = {0xFF, 0xDA, 0x00, 0x0C, 0x03, 0x01, 0x00, 0x02,
                                      0x11, 0x03, 0x11, 0x00, 0x3F, 0x00};
    EXPECT_EQ(bytesAt(s, segments[7].offset, sof.size()), sof);
    EXPECT_EQ(bytesAt(s, segments[8].offset, sos.size()), sos);
    EXPECT_EQ(segments[8].offset, segments[7].offset + sof.size());  // no DRI without an interval
    EXPECT_EQ(bytesAt(s, s.size() - 2, 2), (std::vector<uint8_t>{0xFF, 0xD9}));

    // The same stream in memory mode.
    EXPECT_EQ(encodeImage(image, params), s);
}

TEST(EncoderStream, JfifOnlyForOneOrThreeComponentsWithoutRawOption) {
    TestImage grey = photoLikeImage(16, 16, 1);
    JpegEncodeParams p = paramsFor(grey, 0x11, 75, JPEG_OPT_JFIF);
    EXPECT_EQ(headerSegments(encodeImage(grey, p))[1].marker, 0xE0);  // null JfifInfo: the segment is still written
    TestImage colour = photoLikeImage(16, 16);
    p = paramsFor(colour, 0x111111, 75, JPEG_OPT_JFIF | JPEG_OPT_RAW_COMPONENTS);
    EXPECT_EQ(headerSegments(encodeImage(colour, p))[1].marker, 0xDB);

    // Two components: the prolog accepts them and writes no APP0; no
    // converter exists for them, so the data call fails.
    JpegEncodeParams two{};
    two.samplingFactors = 0x1111;
    two.width = two.height = 8;
    two.componentCount = 2;
    two.quality = 50;
    two.options = JPEG_OPT_JFIF | JPEG_OPT_MEMORY;
    JpegHandle h = jpegEncodeProlog(nullptr, &two);
    ASSERT_NE(h, nullptr);
    uint8_t pixels[8 * 8 * 2] = {};
    ImageRect rect{8, 8, 16, 16, 0, 0, pixels, sizeof pixels};
    EXPECT_EQ(jpegEncodeFromRect(h, &rect, 8), 0u);
    EXPECT_EQ(jpegEncodeEpilog(h), 0);
    std::vector<uint8_t> s(two.outputBuffer, two.outputBuffer + two.outputSize);
    jpegFreeMemory(two.outputBuffer);
    EXPECT_EQ(headerSegments(s)[1].marker, 0xDB);
}

TEST(EncoderStream, ThumbnailLengthFieldCountsOneBytePerPixel) {
    uint8_t storage[7 + 12];
    auto* jfif = reinterpret_cast<JfifInfo*>(storage);
    jfif->xDensity = 1;
    jfif->yDensity = 1;
    jfif->units = 0;
    jfif->thumbnailWidth = 2;
    jfif->thumbnailHeight = 2;
    for (int i = 0; i < 12; ++i) storage[7 + i] = static_cast<uint8_t>(0xA0 + i);
    TestImage image = photoLikeImage(8, 8);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75, JPEG_OPT_JFIF);
    p.jfif = jfif;
    std::vector<uint8_t> s = encodeImage(image, p);
    ASSERT_GT(s.size(), 40u);
    EXPECT_EQ(bytesAt(s, 4, 2), (std::vector<uint8_t>{0x00, 0x14}));  // 16 + 2 * 2
    EXPECT_EQ(bytesAt(s, 18, 4), (std::vector<uint8_t>{0x02, 0x02, 0xA0, 0xA1}));
    EXPECT_EQ(s[18 + 2 + 11], 0xAB);
    EXPECT_EQ(bytesAt(s, 2 + 2 + 28, 2), (std::vector<uint8_t>{0xFF, 0xDB}));  // 28 bytes from the length on
}

// The restart markers in the scan data, in order (stuffed FF 00 is data).
std::vector<uint8_t> restartMarkers(const std::vector<uint8_t>& data) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < data.size(); ++i)
        if (data[i] == 0xFF && data[i + 1] >= 0xD0 && data[i + 1] <= 0xD7) out.push_back(data[i + 1]);
    return out;
}

TEST(EncoderStream, RestartMarkersCycleAfterEveryIntervalIncludingTheLast) {
    TestImage image = photoLikeImage(80, 8);  // ten 8x8 MCUs at 4:4:4
    JpegEncodeParams p = paramsFor(image, 0x111111, 75);
    p.restartInterval = 1;
    std::vector<uint8_t> s = encodeImage(image, p);
    std::vector<Segment> segments = headerSegments(s);
    ASSERT_EQ(segments[segments.size() - 2].marker, 0xDD);
    EXPECT_EQ(bytesAt(s, segments[segments.size() - 2].offset, 6),
              (std::vector<uint8_t>{0xFF, 0xDD, 0x00, 0x04, 0x00, 0x01}));
    std::vector<uint8_t> data = scanData(s);
    EXPECT_EQ(restartMarkers(data), (std::vector<uint8_t>{0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD0, 0xD1}));
    EXPECT_EQ(bytesAt(data, data.size() - 4, 4), (std::vector<uint8_t>{0xFF, 0xD1, 0xFF, 0xD9}));

    p.restartInterval = 4;  // 10 MCUs: markers after the 4th and 8th only
    EXPECT_EQ(restartMarkers(scanData(encodeImage(image, p))), (std::vector<uint8_t>{0xD0, 0xD1}));
}

TEST(EncoderStream, UnknownHeightWritesZeroAndADnlSegmentWithTheLinesEncoded) {
    TestImage image = photoLikeImage(24, 37);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75);
    p.height = 0;
    std::vector<uint8_t> s = encodeImage(image, p, 8);  // strips of 8 lines, the last of 5
    std::vector<Segment> segments = headerSegments(s);
    ASSERT_EQ(segments[segments.size() - 2].marker, 0xC0);
    EXPECT_EQ(bytesAt(s, segments[segments.size() - 2].offset + 5, 2), (std::vector<uint8_t>{0, 0}));
    EXPECT_EQ(bytesAt(s, s.size() - 8, 8), (std::vector<uint8_t>{0xFF, 0xDC, 0x00, 0x04, 0x00, 37, 0xFF, 0xD9}));
    // The entropy data is that of the same image with its height known.
    std::vector<uint8_t> known = scanData(encodeImage(image, paramsFor(image, 0x111111, 75), 8));
    std::vector<uint8_t> withDnl = scanData(s);
    withDnl.erase(withDnl.end() - 8, withDnl.end() - 2);
    EXPECT_EQ(withDnl, known);
}

TEST(EncoderStream, MemoryOutputGrowsInWholeBuffersAndMatchesTheFile) {
    TestImage image = photoLikeImage(320, 240);
    JpegEncodeParams p = paramsFor(image, 0x211111, 90);
    p.options = JPEG_OPT_MEMORY;
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ImageRect rect = rectOf(image);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 240), 240u);
    EXPECT_EQ(h->bitstream->memCapacity % 4096, 0u);
    EXPECT_EQ(h->bitstream->memLength % 4096, 0u);  // only whole buffers so far
    EXPECT_GE(h->bitstream->memCapacity, h->bitstream->memLength);
    ASSERT_EQ(jpegEncodeEpilog(h), 0);
    uint8_t* output = p.outputBuffer;  // packed field: copied before gtest binds a reference
    ASSERT_NE(output, nullptr);
    std::vector<uint8_t> memory(p.outputBuffer, p.outputBuffer + p.outputSize);
    EXPECT_EQ(jpegFreeMemory(p.outputBuffer), 0);
    EXPECT_GT(memory.size(), 3 * 4096u);
    p.options = 0;
    EXPECT_EQ(encodeToFile(testing_support::tempPath("memory_vs_file.jpg"), image, p), memory);
}

TEST(EncoderStream, FullDiskMakesTheDataCallAndTheEpilogFail) {
    TestImage image = photoLikeImage(256, 256);
    JpegEncodeParams p = paramsFor(image, 0x221111, 95);
    JpegHandle h = jpegEncodeProlog(testing_support::wideName("/dev/full").c_str(), &p);
    if (!h) GTEST_SKIP() << "/dev/full cannot be opened";
    ImageRect rect = rectOf(image);
    EXPECT_EQ(jpegEncodeFromRect(h, &rect, 256), 0u);  // stops after the MCU row whose buffer was lost
    EXPECT_EQ(jpegEncodeFromRect(h, &rect, 16), 0u);   // the error code is sticky
    EXPECT_EQ(jpegEncodeEpilog(h), -1);
}

TEST(EncoderStream, FailingMemoryGrowthReachesTheEpilogWhichStillHandsBackTheBlock) {
    ReportCapture capture;
    TestImage image = photoLikeImage(256, 256);
    JpegEncodeParams p = paramsFor(image, 0x111111, 95, JPEG_OPT_MEMORY);
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ImageRect rect = rectOf(image, 0);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 64), 64u);  // the first buffers reach a real block
    BitstreamFile* bf = h->bitstream;
    ASSERT_NE(bf->memCursor, nullptr);
    // Swap in a block the heap does not own: growing it must fail.
    static uint8_t foreign[64];
    uint8_t* real = bf->memCursor;
    bf->memCursor = foreign + 32;
    bf->memCapacity = bf->memPosition;
    rect = rectOf(image, 64);
    EXPECT_EQ(jpegEncodeFromRect(h, &rect, 192), 0u);
    EXPECT_TRUE(capture.saw("GlobalRealloc failed"));
    EXPECT_EQ(jpegEncodeEpilog(h), -1);
    uint8_t* output = p.outputBuffer;
    uint32_t outputSize = p.outputSize;
    EXPECT_EQ(output, foreign + 32);
    EXPECT_GT(outputSize, 0u);
    jpegFreeMemory(real);
}

TEST(EncoderStream, PrologFailuresReportAndReturnNull) {
    ReportCapture capture;
    TestImage image = photoLikeImage(8, 8);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75, JPEG_OPT_DECODE);
    EXPECT_EQ(jpegEncodeProlog(nullptr, &p), nullptr);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Illegal options parameter",
                                                         "jpegProlog failed in jpegEncodeProlog"}));
    capture.clear();
    for (uint32_t sampling : {0x131111u, 0x111100u, 0x441111u}) {
        p = paramsFor(image, sampling, 75, JPEG_OPT_MEMORY);
        EXPECT_EQ(jpegEncodeProlog(nullptr, &p), nullptr);
    }
    p = paramsFor(image, 0x11, 75, JPEG_OPT_MEMORY);
    p.componentCount = 5;
    EXPECT_EQ(jpegEncodeProlog(nullptr, &p), nullptr);
    ASSERT_EQ(capture.reports().size(), 4u);
    for (const auto& r : capture.reports()) {
        EXPECT_EQ(r.source, "JPEG");
        EXPECT_EQ(r.text, "Unsupported sampling factors");
    }
    capture.clear();
    p = paramsFor(image, 0x111111, 75);
    std::string missing = testing_support::tempPath("no/such/dir/out.jpg");
    EXPECT_EQ(jpegEncodeProlog(testing_support::wideName(missing).c_str(), &p), nullptr);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"file create error", "no such file or directory"}));
    EXPECT_EQ(jpegEncodeEpilog(nullptr), -1);
    EXPECT_EQ(jpegEncodeFromRect(nullptr, nullptr, 8), 0u);
}

TEST(EncoderStrips, WholeMcuRowStripsGiveTheSameStreamAsOneCall) {
    for (uint32_t sampling : {0x111111u, 0x121111u, 0x211111u, 0x221111u}) {
        TestImage image = photoLikeImage(45, 64);
        JpegEncodeParams p = paramsFor(image, sampling, 80);
        p.restartInterval = 5;
        std::vector<uint8_t> whole = encodeImage(image, p);
        ASSERT_FALSE(whole.empty());
        EXPECT_EQ(encodeImage(image, p, 16), whole) << std::hex << sampling;
        EXPECT_EQ(encodeImage(image, p, 32), whole) << std::hex << sampling;
    }
}

TEST(EncoderStrips, APartialMcuRowAtTheStartOfACallIsPaddedWithZeros) {
    // 16 x 20 at 4:4:4 in strips of 16 and 4 lines: the last call's MCUs
    // start from a fresh work buffer, so their missing rows are mid grey,
    // exactly as if the strip were a 16 x 8 image of its own.
    TestImage image = photoLikeImage(16, 20);
    JpegEncodeParams p = paramsFor(image, 0x111111, 90);
    p.restartInterval = 2;  // a restart at the strip edge resets the DC predictors too
    std::vector<uint8_t> strips = scanData(encodeImage(image, p, 16));
    TestImage tail{16, 8, 3, std::vector<uint8_t>(16 * 8 * 3, 128)};
    std::memcpy(tail.pixels.data(), image.row(16), 16 * 4 * 3);
    JpegEncodeParams q = paramsFor(tail, 0x111111, 90);
    q.restartInterval = 2;
    std::vector<uint8_t> tailScan = scanData(encodeImage(tail, q));
    ASSERT_GT(strips.size(), tailScan.size());
    // The tail's two MCUs follow RST1 in the strip encode and end with RST2;
    // on their own they end with RST0.
    EXPECT_EQ(bytesAt(strips, strips.size() - 4, 4), (std::vector<uint8_t>{0xFF, 0xD2, 0xFF, 0xD9}));
    EXPECT_EQ(bytesAt(tailScan, tailScan.size() - 4, 4), (std::vector<uint8_t>{0xFF, 0xD0, 0xFF, 0xD9}));
    std::vector<uint8_t> last(strips.end() - static_cast<std::ptrdiff_t>(tailScan.size()), strips.end() - 4);
    tailScan.resize(tailScan.size() - 4);
    EXPECT_EQ(last, tailScan);
}

// Two images whose scan data must match: the second spells out the samples
// that the padding rule leaves in the partial MCUs of the first.
void expectSameScan(const TestImage& partial, const TestImage& spelledOut, uint32_t sampling) {
    std::vector<uint8_t> a = scanData(encodeImage(partial, paramsFor(partial, sampling, 90)));
    std::vector<uint8_t> b = scanData(encodeImage(spelledOut, paramsFor(spelledOut, sampling, 90)));
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(a, b);
}

TEST(EncoderPadding, PartialColumnsRepeatThePreviousMcu) {
    // 17 wide at 4:2:0: the second MCU column has one real pixel column, the
    // other fifteen keep the first MCU's pixels at the same positions.
    TestImage partial = photoLikeImage(17, 16);
    TestImage full = photoLikeImage(32, 16);
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 32; ++x)
            for (uint32_t c = 0; c < 3; ++c)
                full.row(y)[3 * x + c] = partial.row(y)[3 * (x < 17 ? x : x - 16) + c];
    expectSameScan(partial, full, 0x221111);
}

TEST(EncoderPadding, FirstPartialMcuIsPaddedWithZeroSamples) {
    // Zero samples are Y = Cb = Cr = 0, which is mid grey 128, 128, 128.
    TestImage partial = photoLikeImage(8, 8);
    TestImage full = photoLikeImage(16, 16);
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 16; ++x)
            for (uint32_t c = 0; c < 3; ++c)
                full.row(y)[3 * x + c] = x < 8 && y < 8 ? partial.row(y)[3 * x + c] : 128;
    expectSameScan(partial, full, 0x221111);
    TestImage greyPartial = photoLikeImage(5, 3, 1);
    TestImage greyFull = photoLikeImage(8, 8, 1);
    for (uint32_t y = 0; y < 8; ++y)
        for (uint32_t x = 0; x < 8; ++x) greyFull.row(y)[x] = x < 5 && y < 3 ? greyPartial.row(y)[x] : 0;
    expectSameScan(greyPartial, greyFull, 0x11);  // grey samples are bytes: zero is black
}

TEST(EncoderPadding, PartialLastRowKeepsThePreviousMcuRows) {
    // 16 x 20 at 4:2:0, one MCU column: the second MCU row has 4 real rows;
    // rows 4..15 keep those of the MCU above (image rows 4..15).
    TestImage partial = photoLikeImage(16, 20);
    TestImage full = photoLikeImage(16, 32);
    for (uint32_t y = 0; y < 32; ++y)
        std::memcpy(full.row(y), partial.row(y < 20 ? y : y - 16), 16 * 3);
    expectSameScan(partial, full, 0x221111);
}

TEST(EncoderColour, KnownColoursConvertToTheirYCbCr) {
    // White -> Y 127, Cb 0, Cr 0; black -> -128, 0, 0; grey 128 -> 0, 0, 0;
    // green (0, 255, 0) -> 22, -84, -107. The raw path takes those values
    // plus 128 as bytes, so both encodes must match.
    const uint8_t bgr[4][3] = {{255, 255, 255}, {0, 0, 0}, {128, 128, 128}, {0, 255, 0}};
    const uint8_t ycc[4][3] = {{255, 128, 128}, {0, 128, 128}, {128, 128, 128}, {150, 44, 21}};
    TestImage rgb{32, 8, 3, std::vector<uint8_t>(32 * 8 * 3)}, raw = rgb;
    for (uint32_t y = 0; y < 8; ++y)
        for (uint32_t x = 0; x < 32; ++x)
            for (uint32_t c = 0; c < 3; ++c) {
                rgb.row(y)[3 * x + c] = bgr[x / 8][c];
                raw.row(y)[3 * x + c] = ycc[x / 8][c];
            }
    std::vector<uint8_t> a = scanData(encodeImage(rgb, paramsFor(rgb, 0x111111, 100)));
    std::vector<uint8_t> b = scanData(encodeImage(raw, paramsFor(raw, 0x111111, 100, JPEG_OPT_RAW_COMPONENTS)));
    EXPECT_EQ(a, b);
}

TEST(EncoderComponents, FourComponentsOnlyAtFullSampling) {
    TestImage image = photoLikeImage(24, 16, 4);
    EXPECT_FALSE(encodeImage(image, paramsFor(image, 0x11111111, 75)).empty());
    EXPECT_TRUE(encodeImage(image, paramsFor(image, 0x22111111, 75)).empty());
}

// Planar frames: Y (w x h), then two (w/2 x h/2) planes.
std::vector<uint8_t> planarFrame(uint32_t w, uint32_t h, uint32_t seed) {
    std::vector<uint8_t> planes(w * h + 2 * (w / 2) * (h / 2));
    uint32_t state = seed;
    for (size_t i = 0; i < planes.size(); ++i) {
        state = state * 1664525u + 1013904223u;
        planes[i] = static_cast<uint8_t>(((i * 7) % 200) + ((state >> 28) & 15));
    }
    return planes;
}

using PlanarEntry = uint32_t(KELJPEG_CALL*)(JpegHandle, const uint8_t*, uint32_t, uint32_t);

std::vector<uint8_t> encodePlanar(PlanarEntry entry, const std::vector<uint8_t>& planes, uint32_t w, uint32_t h,
                                  uint32_t sampling = 0x221111) {
    JpegEncodeParams p{};
    p.samplingFactors = sampling;
    p.width = static_cast<uint16_t>(w);
    p.height = static_cast<uint16_t>(h);
    p.componentCount = 3;
    p.quality = 85;
    p.options = JPEG_OPT_MEMORY;
    JpegHandle handle = jpegEncodeProlog(nullptr, &p);
    if (!handle) return {};
    bool ok = entry(handle, planes.data(), w, h) == h;
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    std::vector<uint8_t> out(p.outputBuffer, p.outputBuffer + p.outputSize);
    jpegFreeMemory(p.outputBuffer);
    return ok ? out : std::vector<uint8_t>{};
}

TEST(EncoderPlanar, ChromaOrderIsTheOnlyDifferenceBetweenTheTwoEntries) {
    const uint32_t w = 48, h = 32;
    std::vector<uint8_t> yuv = planarFrame(w, h, 3), yvu = yuv;
    size_t chroma = (w / 2) * (h / 2);
    std::copy(yuv.begin() + w * h, yuv.begin() + w * h + chroma, yvu.begin() + w * h + chroma);
    std::copy(yuv.begin() + w * h + chroma, yuv.end(), yvu.begin() + w * h);
    std::vector<uint8_t> a = encodePlanar(jpegEncodeFromYUV411, yuv, w, h);
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(encodePlanar(jpegEncodeFromYVU411, yvu, w, h), a);
    EXPECT_NE(encodePlanar(jpegEncodeFromYVU411, yuv, w, h), a);
}

TEST(EncoderPlanar, PartialMcusReplicateTheLastValidSample) {
    // 20 x 20: the second MCU column has 4 luma and 2 chroma columns; a
    // 32 x 32 frame spelling out the replication codes the same MCUs.
    const uint32_t w = 20, h = 20, W = 32, H = 32;
    std::vector<uint8_t> small = planarFrame(w, h, 5), big(W * H + 2 * (W / 2) * (H / 2));
    auto expand = [](const uint8_t* from, uint32_t fw, uint32_t fh, uint8_t* to, uint32_t tw, uint32_t th) {
        for (uint32_t y = 0; y < th; ++y)
            for (uint32_t x = 0; x < tw; ++x) to[y * tw + x] = from[std::min(y, fh - 1) * fw + std::min(x, fw - 1)];
    };
    expand(small.data(), w, h, big.data(), W, H);
    expand(small.data() + w * h, w / 2, h / 2, big.data() + W * H, W / 2, H / 2);
    expand(small.data() + w * h + (w / 2) * (h / 2), w / 2, h / 2, big.data() + W * H + (W / 2) * (H / 2), W / 2, H / 2);
    EXPECT_EQ(scanData(encodePlanar(jpegEncodeFromYUV411, small, w, h)),
              scanData(encodePlanar(jpegEncodeFromYUV411, big, W, H)));
}

TEST(EncoderPlanar, MatchesTheRectanglePathOnRawComponents) {
    // The rectangle path at 4:2:0 takes each 2x2 group's top-left chroma;
    // pixels carrying (Y, U, V) of the planes therefore code identically.
    const uint32_t w = 32, h = 32;
    std::vector<uint8_t> planes = planarFrame(w, h, 9);
    TestImage raw{w, h, 3, std::vector<uint8_t>(w * h * 3)};
    const uint8_t* u = planes.data() + w * h;
    const uint8_t* v = u + (w / 2) * (h / 2);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            uint8_t* p = raw.row(y) + 3 * x;
            p[0] = planes[y * w + x];
            p[1] = u[(y / 2) * (w / 2) + x / 2];
            p[2] = v[(y / 2) * (w / 2) + x / 2];
        }
    JpegEncodeParams params = paramsFor(raw, 0x221111, 85, JPEG_OPT_RAW_COMPONENTS);
    EXPECT_EQ(scanData(encodePlanar(jpegEncodeFromYUV411, planes, w, h)), scanData(encodeImage(raw, params)));
}

TEST(EncoderPlanar, RejectsWhatItCannotRead) {
    std::vector<uint8_t> planes = planarFrame(16, 16, 1);
    EXPECT_EQ(jpegEncodeFromYUV411(nullptr, planes.data(), 16, 16), 0u);
    EXPECT_TRUE(encodePlanar(jpegEncodeFromYUV411, planes, 1, 16).empty());
}

TEST(EncoderFrameRestart, HandsBackTheStreamAndStartsOverWithTheSameTables) {
    TestImage image = photoLikeImage(16, 16);
    JpegEncodeParams p = paramsFor(image, 0x111111, 75, JPEG_OPT_MEMORY);
    JpegHandle h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    uint8_t* buffer = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(encoder::jpegEncodeRestartFrame(h, &buffer, &size), -1);  // needs the partial-bitstream option
    EXPECT_EQ(jpegEncodeEpilog(h), 0);
    jpegFreeMemory(p.outputBuffer);

    p = paramsFor(image, 0x111111, 75, JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM);
    h = jpegEncodeProlog(nullptr, &p);
    ASSERT_NE(h, nullptr);
    ImageRect rect = rectOf(image);
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 16), 16u);
    ASSERT_EQ(encoder::jpegEncodeRestartFrame(h, &buffer, &size), 0);
    std::vector<uint8_t> first(buffer, buffer + size);
    EXPECT_EQ(scanData(first), scanData(encodeImage(image, paramsFor(image, 0x111111, 75))));
    EXPECT_EQ(h->bitstream->memLength, 0u);
    for (const ComponentRecord& r : h->components) EXPECT_EQ(r.dcPredictor, 0);
    // The next frame's data starts over in the same block, without headers.
    ASSERT_EQ(jpegEncodeFromRect(h, &rect, 16), 16u);
    EXPECT_EQ(jpegEncodeEpilog(h), 0);
    std::vector<uint8_t> second(p.outputBuffer, p.outputBuffer + p.outputSize);
    uint8_t* output = p.outputBuffer;
    EXPECT_EQ(output, buffer);
    jpegFreeMemory(p.outputBuffer);
    std::vector<uint8_t> expected = scanData(first);
    EXPECT_EQ(second, expected);
}

}  // namespace
