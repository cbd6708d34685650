// The decode entry points on streams whose pixels are known exactly: options,
// the completeness check, geometry, strips, restarts, DNL, partial
// bitstreams, raw output and damaged data.
#include <gtest/gtest.h>

#include <algorithm>

#include "decoder_test_support.h"
#include "test_support.h"

using namespace testing_support;
using namespace decoder_testing;

namespace {

JpegDecodeParams memoryParams(const std::vector<uint8_t>& bytes, uint16_t options = JPEG_OPT_MEMORY) {
    JpegDecodeParams params{};
    params.options = options;
    params.data = bytes.data();
    params.dataLength = static_cast<uint32_t>(bytes.size());
    return params;
}

ImageRect makeRect(std::vector<uint8_t>& storage, int32_t width, int32_t height, int32_t bytesPerPixel) {
    storage.assign(static_cast<size_t>(width) * height * bytesPerPixel, 0xEE);
    ImageRect rect{};
    rect.width = width;
    rect.height = height;
    rect.stride = width * bytesPerPixel;
    rect.bitsPerPixel = bytesPerPixel * 8;
    rect.bits = storage.data();
    rect.size = static_cast<uint32_t>(storage.size());
    return rect;
}

// Block sample that names its component, MCU and block, kept within -128..127.
int patternSample(int component, uint32_t mcu, int block) {
    return static_cast<int>((component * 50 + mcu * 7 + block * 13) % 200) - 100;
}

MiniJpeg colourImage(uint16_t width, uint16_t height, uint8_t lumaSampling) {
    MiniJpeg spec;
    spec.width = width;
    spec.height = height;
    spec.components = {{1, lumaSampling}, {2, 0x11}, {3, 0x11}};
    spec.sample = patternSample;
    return spec;
}

// Expected raw sample of component c at pixel (x, y): the value of the block
// that covers it after replication of subsampled components.
uint8_t expectedRaw(const MiniJpeg& spec, int c, uint32_t x, uint32_t y) {
    int maxH = 1, maxV = 1;
    for (auto comp : spec.components) {
        maxH = std::max(maxH, comp.sampling >> 4);
        maxV = std::max(maxV, comp.sampling & 15);
    }
    uint32_t mcusPerRow = (spec.width + 8 * maxH - 1) / (8 * maxH);
    uint32_t mcu = (y / (8 * maxV)) * mcusPerRow + x / (8 * maxH);
    int h = spec.components[c].sampling >> 4, v = spec.components[c].sampling & 15;
    uint32_t inX = x % (8 * maxH), inY = y % (8 * maxV);
    int bx = static_cast<int>(inX * h / (8 * maxH)), by = static_cast<int>(inY * v / (8 * maxV));
    return static_cast<uint8_t>(spec.sample(c, mcu, by * h + bx) + 128);
}

void expectRawImage(const MiniJpeg& spec, const std::vector<uint8_t>& pixels, int components) {
    for (uint32_t y = 0; y < spec.height; ++y)
        for (uint32_t x = 0; x < spec.width; ++x)
            for (int c = 0; c < components; ++c)
                ASSERT_EQ(pixels[(y * spec.width + x) * components + c], expectedRaw(spec, c, x, y))
                    << "x " << x << " y " << y << " c " << c;
}

TEST(DecodeProlog, ReportsGeometryAndFrameHeader) {
    MiniJpeg spec = colourImage(17, 9, 0x22);
    spec.restartInterval = 1;
    auto bytes = buildMiniJpeg(spec);
    JpegDecodeParams params = memoryParams(bytes);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(params.samplingSignature, 0x221111u);
    EXPECT_EQ(params.width, 17);
    EXPECT_EQ(params.height, 9);
    EXPECT_EQ(params.restartInterval, 1);
    EXPECT_EQ(params.componentCount, 3);
    EXPECT_EQ(params.options & JPEG_OPT_PROGRESSIVE, 0);
    FrameHeader frame{};
    ASSERT_EQ(jpegGetFrameHeader(h, &frame), 0);
    EXPECT_EQ(frame.sofMarker, 0xFFC0);
    EXPECT_EQ(frame.lines, 9);
    EXPECT_EQ(frame.samplesPerLine, 17);
    EXPECT_EQ(frame.componentCount, 3);
    EXPECT_EQ(frame.components[0].horizontalSampling, 2);
    EXPECT_EQ(frame.components[0].verticalSampling, 2);
    EXPECT_EQ(frame.components[2].identifier, 3);
    uint32_t w = 0, hgt = 0;
    const uint32_t expected[4][2] = {{3, 2}, {5, 3}, {9, 5}, {17, 9}};
    for (int scale = 0; scale <= 3; ++scale) {
        ASSERT_EQ(jpegDecodeGetImageSize(h, &w, &hgt, scale), 0);
        EXPECT_EQ(w, expected[scale][0]);
        EXPECT_EQ(hgt, expected[scale][1]);
    }
    ASSERT_EQ(jpegDecodeGetImageSize(h, &w, &hgt, 4), 0);
    EXPECT_EQ(w, 0u);
    EXPECT_EQ(hgt, 0u);
    EXPECT_EQ(jpegDecodeEpilog(h), 0);
}

TEST(DecodeProlog, HandleChecks) {
    uint32_t w, h;
    FrameHeader frame;
    EXPECT_EQ(jpegDecodeEpilog(nullptr), -1);
    EXPECT_EQ(jpegDecodeGetImageSize(nullptr, &w, &h, 3), -1);
    EXPECT_EQ(jpegGetFrameHeader(nullptr, &frame), -1);
    uint32_t notAContext[64] = {0x12345678};
    EXPECT_EQ(jpegGetFrameHeader(reinterpret_cast<JpegHandle>(notAContext), &frame), -1);
    EXPECT_EQ(jpegDecodeToRect(nullptr, nullptr, 8), 0);
    EXPECT_EQ(jpegDecodeSetPartialBitstream(nullptr, nullptr, 0), -1);
}

TEST(DecodeProlog, IllegalOptionCombinations) {
    auto bytes = buildMiniJpeg(MiniJpeg{});
    const uint16_t bad[] = {JPEG_OPT_MEMORY | JPEG_OPT_START_OFFSET, JPEG_OPT_PARTIAL_BITSTREAM};
    for (uint16_t options : bad) {
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(bytes, options);
        std::string path = tempPath("illegal_options.jpg");
        writeFileBytes(path, bytes);
        WideName name = wideName(path);
        EXPECT_EQ(jpegDecodeProlog(name.c_str(), &params), nullptr);
        EXPECT_TRUE(capture.saw("Illegal options")) << options;
    }
    ReportCapture capture;
    JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_ENCODE | JPEG_OPT_MEMORY);
    EXPECT_EQ(jpegDecodeProlog(nullptr, &params), nullptr);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Illegal options parameter", "Prolog failed."}));
}

TEST(DecodeProlog, MissingFile) {
    ReportCapture capture;
    JpegDecodeParams params{};
    WideName name = wideName(tempPath("does_not_exist.jpg"));
    EXPECT_EQ(jpegDecodeProlog(name.c_str(), &params), nullptr);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{"no such file or directory"});
}

TEST(DecodeProlog, CompletenessCheck) {
    auto bytes = buildMiniJpeg(colourImage(40, 24, 0x21));
    struct Case {
        std::vector<uint8_t> data;
        bool complete;
    };
    std::vector<uint8_t> trailing = bytes;
    trailing.insert(trailing.end(), {0x00, 0x12, 0x34});
    std::vector<uint8_t> cut(bytes.begin(), bytes.end() - 9);
    std::vector<uint8_t> noFF(200, 0x00);
    std::vector<Case> cases = {{bytes, true}, {trailing, true}, {cut, false}, {noFF, false}, {{}, false}, {{0xD9}, false}};
    for (size_t i = 0; i < cases.size(); ++i) {
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(cases[i].data);
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        EXPECT_EQ(h != nullptr, cases[i].complete) << i;
        if (!cases[i].complete) {
            EXPECT_EQ(capture.texts(), std::vector<std::string>{"JPEG file is NOT complete"}) << i;
        }
        jpegDecodeEpilog(h);
    }
    // The partial-bitstream option skips the check.
    JpegDecodeParams params = memoryParams(cut, JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    EXPECT_NE(h, nullptr);
    jpegDecodeEpilog(h);
}

TEST(DecodeProlog, FileWithStartOffsetAndJfif) {
    std::vector<uint8_t> app0 = {0xFF, 0xE0, 0x00, 0x16, 'J', 'F', 'I', 'F', 0, 1, 2, 1, 0x01, 0x2C, 0x00, 0x96, 2, 1};
    for (int i = 0; i < 6; ++i) app0.push_back(static_cast<uint8_t>(10 + i));  // 2x1 thumbnail
    std::vector<uint8_t> com = {0xFF, 0xFE, 0x00, 0x05, 'a', 'b', 'c'};
    std::vector<uint8_t> app1 = {0xFF, 0xE1, 0x00, 0x06, 0xFF, 0xD9, 0xFF, 0xD8};
    // An APP0 of another kind: Ln - 7 bytes follow its 5-byte identifier.
    std::vector<uint8_t> otherApp0 = {0xFF, 0xE0, 0x00, 0x0A, 'J', 'F', 'X', 'X', 0, 0xFF, 0xC0, 0x12};
    app1.insert(app1.end(), otherApp0.begin(), otherApp0.end());
    MiniJpeg spec;
    spec.extraSegments = app0;
    spec.extraSegments.insert(spec.extraSegments.end(), com.begin(), com.end());
    spec.extraSegments.insert(spec.extraSegments.end(), app1.begin(), app1.end());
    spec.sample = [](int, uint32_t, int) { return 37; };
    auto jpeg = buildMiniJpeg(spec);
    std::vector<uint8_t> file(100, 0x55);
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    std::string path = tempPath("offset.jpg");
    writeFileBytes(path, file);
    WideName name = wideName(path);

    uint8_t jfifBuffer[7 + 6] = {};
    JpegDecodeParams params{};
    params.options = JPEG_OPT_START_OFFSET | JPEG_OPT_JFIF;
    params.startOffset = 100;
    params.jfifInfo = reinterpret_cast<JfifInfo*>(jfifBuffer);
    ReportCapture capture;
    JpegHandle h = jpegDecodeProlog(name.c_str(), &params);
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(capture.texts());
    EXPECT_EQ(params.jfifInfo->xDensity, 300);
    EXPECT_EQ(params.jfifInfo->yDensity, 150);
    EXPECT_EQ(params.jfifInfo->units, 1);
    EXPECT_EQ(params.jfifInfo->thumbnailWidth, 2);
    EXPECT_EQ(params.jfifInfo->thumbnailHeight, 1);
    EXPECT_EQ(jfifBuffer[7], 10);
    EXPECT_EQ(jfifBuffer[12], 15);
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 8, 8, 1);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 8), 8);
    EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), [](uint8_t p) { return p == 128 + 37; }));
    jpegDecodeEpilog(h);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(DecodeProlog, HeaderFailuresReportTheirReason) {
    struct Case {
        std::function<void(std::vector<uint8_t>&)> damage;
        std::string reason;
    };
    auto base = buildMiniJpeg(colourImage(16, 16, 0x22));
    auto sofAt = [](std::vector<uint8_t>& b) {
        for (size_t i = 0; i + 1 < b.size(); ++i)
            if (b[i] == 0xFF && b[i + 1] == 0xC0) return i;
        return size_t{0};
    };
    std::vector<Case> cases = {
        {[](std::vector<uint8_t>& b) { b[1] = 0xD7; }, "extraneous bytes before SOI marker"},
        {[&](std::vector<uint8_t>& b) { b[sofAt(b) + 1] = 0xC5; }, "unsupported SOF coding mode"},
        {[&](std::vector<uint8_t>& b) { b[sofAt(b) + 11] = 0x31; }, "unsupported sampling factor"},
        {[&](std::vector<uint8_t>& b) { b[sofAt(b) + 11] = 0x20; }, "unsupported sampling factor"},
        {[&](std::vector<uint8_t>& b) { b[sofAt(b) + 9] = 0; }, "not support image components"},
        {[&](std::vector<uint8_t>& b) { b[sofAt(b) + 12] = 7; }, "invalid quantization table number"},
        {[](std::vector<uint8_t>& b) { b.insert(b.begin() + 2, {0xFF, 0xCC, 0x00, 0x04, 0, 0}); },
         "arithmetic coding not supported"},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        auto bytes = base;
        cases[i].damage(bytes);
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(bytes);
        EXPECT_EQ(jpegDecodeProlog(nullptr, &params), nullptr) << i;
        ASSERT_FALSE(capture.reports().empty()) << i;
        EXPECT_EQ(capture.reports().front().text, cases[i].reason) << i;
        EXPECT_EQ(capture.reports().back().text, "Frame Level parse failed.") << i;
    }
}

TEST(DecodeProlog, BadHuffmanAndQuantisationSegmentsAreRejected) {
    auto base = buildMiniJpeg(MiniJpeg{});
    size_t dht = 0;
    for (size_t i = 2; i + 1 < base.size(); ++i)
        if (base[i] == 0xFF && base[i + 1] == 0xC4) dht = i;
    const std::vector<std::pair<size_t, uint8_t>> damages = {
        {dht + 4, 0x25},          // table class 2
        {dht + 4, 0x07},          // table number 7
        {dht + 3, 0x10},          // segment shorter than its tables
        {dht + 5 + 3, 200},       // 200 codes of length 4 (too many symbols for the segment)
        {dht + 5, 9},             // 9 codes of length 1: codes wider than their length
        {6, 0x05},                // DQT table number 5
    };
    for (auto [at, value] : damages) {
        auto bytes = base;
        bytes[at] = value;
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(bytes);
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        EXPECT_EQ(h, nullptr) << at << " " << int(value);
        EXPECT_TRUE(capture.saw("Frame Level parse failed.")) << at;
        jpegDecodeEpilog(h);
    }
}

TEST(DecodeToRect, RawOutputOfEverySamplingAndComponentCount) {
    struct Case {
        uint16_t width, height;
        std::vector<MiniComponent> components;
    };
    const std::vector<Case> cases = {
        {35, 21, {{1, 0x11}, {2, 0x11}, {3, 0x11}}},
        {35, 21, {{1, 0x21}, {2, 0x11}, {3, 0x11}}},
        {35, 21, {{1, 0x12}, {2, 0x11}, {3, 0x11}}},
        {35, 21, {{1, 0x22}, {2, 0x11}, {3, 0x11}}},
        {19, 13, {{1, 0x21}}},
        {19, 13, {{1, 0x21}, {2, 0x11}}},
        // Four components, two of them subsampled the two other ways.
        {32, 32, {{1, 0x22}, {2, 0x12}, {3, 0x21}, {4, 0x11}}},
    };
    for (const Case& c : cases) {
        MiniJpeg spec = colourImage(c.width, c.height, 0x11);
        spec.components = c.components;
        const int count = static_cast<int>(c.components.size());
        auto bytes = buildMiniJpeg(spec);
        JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        ASSERT_NE(h, nullptr);
        std::vector<uint8_t> pixels;
        ImageRect rect = makeRect(pixels, c.width, c.height, count);
        EXPECT_EQ(jpegDecodeToRect(h, &rect, c.height), c.height);
        expectRawImage(spec, pixels, count);
        jpegDecodeEpilog(h);
    }
}

TEST(DecodeToRect, RawOutputNeedsMatchingPixelSize) {
    auto bytes = buildMiniJpeg(colourImage(16, 16, 0x11));
    JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 16, 16, 4);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 16), 0);
    EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), [](uint8_t p) { return p == 0xEE; }));
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, ColourAndGreyOutputIgnoreBitsPerPixel) {
    MiniJpeg grey;
    grey.width = 9;
    grey.height = 3;
    grey.sample = [](int, uint32_t mcu, int) { return mcu == 0 ? -128 : 127; };
    auto bytes = buildMiniJpeg(grey);
    JpegDecodeParams params = memoryParams(bytes);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 9, 3, 3);  // 24 bits per pixel; grey still writes one byte
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 3), 3);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 9; ++x) EXPECT_EQ(pixels[y * 27 + x], x < 8 ? 0 : 255);
        EXPECT_EQ(pixels[y * 27 + 9], 0xEE);
    }
    jpegDecodeEpilog(h);

    MiniJpeg colour = colourImage(8, 8, 0x11);
    colour.sample = [](int c, uint32_t, int) { return c == 0 ? 127 : (c == 2 ? 127 : 0); };
    bytes = buildMiniJpeg(colour);
    params = memoryParams(bytes);
    h = jpegDecodeProlog(nullptr, &params);
    rect = makeRect(pixels, 8, 8, 3);
    rect.bitsPerPixel = 8;
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 8), 8);
    EXPECT_EQ(pixels[0], 255);  // blue: 127 + 0
    EXPECT_EQ(pixels[1], 165);  // green: 127 + 0 - 90 + 128
    EXPECT_EQ(pixels[2], 255);  // red: saturated
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, StripsOverSeveralCallsAndTheMixedRowReading) {
    MiniJpeg spec = colourImage(17, 40, 0x22);
    auto bytes = buildMiniJpeg(spec);
    JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    std::vector<uint8_t> pixels;
    // The first band of a call is a whole MCU row whatever the position: the
    // third call writes 16 rows from row 32, so the buffer has room for 48.
    ImageRect rect = makeRect(pixels, 17, 48, 3);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 0), 0);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 65536 + 16), 16);  // only the low 16 bits count
    // The second call names the row up to which to decode: 32, not 16 more.
    ImageRect second = rect;
    second.bits += 16 * rect.stride;
    EXPECT_EQ(jpegDecodeToRect(h, &second, 32), 16);
    ImageRect third = rect;
    third.bits += 32 * rect.stride;
    EXPECT_EQ(jpegDecodeToRect(h, &third, 40), 8);
    pixels.resize(17 * 40 * 3);
    expectRawImage(spec, pixels, 3);
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, ShortRequestsAndNarrowRectangles) {
    MiniJpeg spec = colourImage(40, 16, 0x22);
    auto bytes = buildMiniJpeg(spec);
    JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 20, 16, 3);  // narrower than the image
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 5), 5);   // five rows of the first MCU row
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 20; ++x)
            for (int c = 0; c < 3; ++c) {
                uint8_t got = pixels[(y * 20 + x) * 3 + c];
                uint8_t expected = y < 5 ? expectedRaw(spec, c, x, y) : 0xEE;
                ASSERT_EQ(got, expected) << x << "," << y;
            }
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, RestartIntervalsResetPredictors) {
    for (uint16_t interval : {1, 2, 3, 7}) {
        MiniJpeg spec = colourImage(56, 40, 0x21);
        spec.restartInterval = interval;
        auto bytes = buildMiniJpeg(spec);
        JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
        ReportCapture capture;
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        std::vector<uint8_t> pixels;
        ImageRect rect = makeRect(pixels, 56, 40, 3);
        EXPECT_EQ(jpegDecodeToRect(h, &rect, 40), 40);
        expectRawImage(spec, pixels, 3);
        EXPECT_TRUE(capture.reports().empty()) << interval;
        jpegDecodeEpilog(h);
    }
}

TEST(DecodeToRect, HeightFromDnl) {
    MiniJpeg spec = colourImage(24, 20, 0x22);
    spec.heightInDnl = true;
    auto bytes = buildMiniJpeg(spec);
    JpegDecodeParams params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(params.height, 0);
    // Without a known height there is no bottom clip: whole MCU rows are written.
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 24, 32, 3);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 20), 32);
    pixels.resize(24 * 20 * 3);
    expectRawImage(spec, pixels, 3);
    jpegDecodeEpilog(h);

    // With restart markers the DNL segment is met and read.
    spec.restartInterval = 2;
    bytes = buildMiniJpeg(spec);
    params = memoryParams(bytes, JPEG_OPT_MEMORY | JPEG_OPT_RAW_COMPONENTS);
    h = jpegDecodeProlog(nullptr, &params);
    rect = makeRect(pixels, 24, 32, 3);
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 32), 32);
    uint32_t w = 0, height = 0;
    jpegDecodeGetImageSize(h, &w, &height, 3);
    EXPECT_EQ(height, 20u);
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, PartialBitstreamPieces) {
    // One restart interval per MCU row: each piece after the first is one
    // band's data, starting where the predictors restart.
    MiniJpeg spec = colourImage(64, 24, 0x11);
    spec.restartInterval = 8;
    auto bytes = buildMiniJpeg(spec);
    std::vector<size_t> cuts;
    bool inScan = false;
    for (size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xDA) inScan = true;
        if (inScan && bytes[i] == 0xFF && bytes[i + 1] >= 0xD0 && bytes[i + 1] <= 0xD7) cuts.push_back(i + 2);
    }
    ASSERT_EQ(cuts.size(), 2u);
    cuts.push_back(bytes.size());
    std::vector<std::vector<uint8_t>> pieces;
    size_t from = 0;
    for (size_t cut : cuts) {
        pieces.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(from), bytes.begin() + static_cast<ptrdiff_t>(cut));
        from = cut;
    }
    JpegDecodeParams params =
        memoryParams(pieces[0], JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM | JPEG_OPT_RAW_COMPONENTS);
    ReportCapture capture;
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    std::vector<uint8_t> pixels;
    ImageRect rect = makeRect(pixels, 64, 24, 3);
    for (int band = 0; band < 3; ++band) {
        if (band > 0) {
            ASSERT_EQ(jpegDecodeSetPartialBitstream(h, pieces[band].data(), static_cast<uint32_t>(pieces[band].size())), 0);
        }
        ImageRect view = rect;
        view.bits += band * 8 * rect.stride;
        EXPECT_EQ(jpegDecodeToRect(h, &view, static_cast<uint32_t>(8 * (band + 1))), 8) << band;
    }
    expectRawImage(spec, pixels, 3);
    EXPECT_FALSE(capture.saw("UnitNo"));
    jpegDecodeEpilog(h);

    // Without the partial option the feeder refuses.
    params = memoryParams(bytes);
    h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(jpegDecodeSetPartialBitstream(h, pieces[1].data(), 10), -1);
    jpegDecodeEpilog(h);
}

TEST(DecodeToRect, TruncatedAndCorruptDataFailWithReports) {
    MiniJpeg spec = colourImage(64, 64, 0x22);
    auto bytes = buildMiniJpeg(spec);
    size_t sos = 0;
    for (size_t i = 0; i + 1 < bytes.size(); ++i)
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xDA) sos = i;
    // Cut inside the entropy data, accepted through the partial option.
    std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(sos + 14 + 20));
    {
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(cut, JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM);
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        ASSERT_NE(h, nullptr);
        std::vector<uint8_t> pixels;
        ImageRect rect = makeRect(pixels, 64, 64, 3);
        EXPECT_EQ(jpegDecodeToRect(h, &rect, 64), 0);
        ASSERT_GE(capture.reports().size(), 3u);
        EXPECT_TRUE(capture.saw("read failed."));
        EXPECT_TRUE(capture.saw("found unexpected end of JPEG file"));
        EXPECT_TRUE(capture.saw("UnitNo"));
        jpegDecodeEpilog(h);
    }
    // Corrupt codes: 1111 is no DC code of the stream's table.
    for (size_t at = sos + 14; at < bytes.size() - 2; at += 7) {
        auto bad = bytes;
        bad[at] = 0xF7;
        ReportCapture capture;
        JpegDecodeParams params = memoryParams(bad);
        JpegHandle h = jpegDecodeProlog(nullptr, &params);
        ASSERT_NE(h, nullptr);
        std::vector<uint8_t> pixels;
        ImageRect rect = makeRect(pixels, 64, 80, 3);
        int32_t rows = jpegDecodeToRect(h, &rect, 64);
        EXPECT_TRUE(rows == 0 || rows == 64);
        if (rows == 0) {
            EXPECT_TRUE(capture.saw("UnitNo"));
        }
        jpegDecodeEpilog(h);
    }
}

}  // namespace
