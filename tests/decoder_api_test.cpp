// The decode entry points on streams whose pixels are known exactly: options,
// the completeness check, geometry, strips, restarts, DNL, partial
// bitstreams, raw output and damaged data.
#include <gtest/gtest.h>

#include <algorithm>

#include "decoder_test_support.h"
#include "test_support.h"

using namespace testing_support;

namespace {

// Block sample that names its component, MCU and block, kept within -128..127.
int patternSample(int component, uint32_t mcu, int block) {
    return static_cast<int>((component * 50 + mcu * 7 + block * 13) % 200) - 100;
}

FlatJpeg colourImage(uint16_t width, uint16_t height, uint8_t lumaSampling, uint16_t restartInterval = 0) {
    FlatJpeg recipe;
    recipe.width = width;
    recipe.height = height;
    recipe.components = {{1, lumaSampling}, {2, 0x11}, {3, 0x11}};
    recipe.level = samples(patternSample);
    recipe.restartInterval = restartInterval;
    return recipe;
}

// Expected raw sample of component c at pixel (x, y): the value of the block
// that covers it after replication of subsampled components.
uint8_t expectedRaw(const FlatJpeg& recipe, int c, uint32_t x, uint32_t y) {
    int maxH = 1, maxV = 1;
    for (auto comp : recipe.components) {
        maxH = std::max(maxH, comp.sampling >> 4);
        maxV = std::max(maxV, comp.sampling & 15);
    }
    uint32_t mcusPerRow = (recipe.width + 8 * maxH - 1) / (8 * maxH);
    uint32_t mcu = (y / (8 * maxV)) * mcusPerRow + x / (8 * maxH);
    int h = recipe.components[c].sampling >> 4, v = recipe.components[c].sampling & 15;
    uint32_t inX = x % (8 * maxH), inY = y % (8 * maxV);
    int bx = static_cast<int>(inX * h / (8 * maxH)), by = static_cast<int>(inY * v / (8 * maxV));
    return static_cast<uint8_t>(patternSample(c, mcu, by * h + bx) + 128);
}

// Raw pixels of a buffer `width` pixels wide: the first `rows` rows hold the
// picture, the rest of the buffer its guard bytes.
void expectRawImage(const FlatJpeg& recipe, const std::vector<uint8_t>& pixels, uint32_t width, uint32_t rows) {
    const uint32_t n = static_cast<uint32_t>(recipe.components.size());
    for (uint32_t y = 0; y < pixels.size() / (width * n); ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (uint32_t c = 0; c < n; ++c)
                ASSERT_EQ(pixels[(y * width + x) * n + c], y < rows ? expectedRaw(recipe, static_cast<int>(c), x, y) : kGuard)
                    << "x " << x << " y " << y << " c " << c;
}

TEST(DecodeProlog, ReportsGeometryAndFrameHeader) {
    MemoryDecode d(flatJpeg(colourImage(17, 9, 0x22, 1)));
    ASSERT_NE(d.handle, nullptr);
    FrameHeader f{};
    ASSERT_EQ(jpegGetFrameHeader(d.handle, &f), 0);
    const JpegDecodeParams& p = d.params;
    EXPECT_EQ((std::vector<uint32_t>{p.samplingSignature, p.width, p.height, p.restartInterval, p.componentCount,
                                     p.options & JPEG_OPT_PROGRESSIVE, f.sofMarker, f.lines, f.samplesPerLine, f.componentCount,
                                     f.components[0].horizontalSampling, f.components[0].verticalSampling, f.components[2].identifier}),
              (std::vector<uint32_t>{0x221111, 17, 9, 1, 3, 0, 0xFFC0, 9, 17, 3, 2, 2, 3}));
    // Reduced sizes round up (the manifest's odd-sized corpus pins them); past full size there is none.
    uint32_t w = 1, h = 1;
    ASSERT_EQ(jpegDecodeGetImageSize(d.handle, &w, &h, JPEG_SCALE_FULL + 1), 0);
    EXPECT_EQ(w + h, 0u);
}

TEST(DecodeProlog, BadHandlesOptionsFilesAndTheCompletenessCheck) {
    uint32_t w, h;
    FrameHeader frame;
    EXPECT_EQ(jpegDecodeEpilog(nullptr), -1);
    EXPECT_EQ(jpegDecodeGetImageSize(nullptr, &w, &h, 3), -1);
    EXPECT_EQ(jpegGetFrameHeader(nullptr, &frame), -1);
    uint32_t notAContext[64] = {0x12345678};
    EXPECT_EQ(jpegGetFrameHeader(reinterpret_cast<JpegHandle>(notAContext), &frame), -1);
    EXPECT_EQ(jpegDecodeToRect(nullptr, nullptr, 8), 0);
    EXPECT_EQ(jpegDecodeSetPartialBitstream(nullptr, nullptr, 0), -1);
    auto bytes = flatJpeg(colourImage(40, 24, 0x21));
    std::string path = tempPath("illegal_options.jpg");
    writeFileBytes(path, bytes);
    const WideName name = wideName(path), missing = wideName(tempPath("does_not_exist.jpg"));
    std::vector<uint8_t> trailing = bytes, cut(bytes.begin(), bytes.end() - 9);
    trailing.insert(trailing.end(), {0x00, 0x12, 0x34});
    const std::vector<uint8_t> noFrame = {0xFF, 0xD8, 0xFF, 0xD9}, zeros(200, 0), none, eoiByte = {0xD9};
    const std::string illegal = text(report_text::kIllegalOptions), incomplete = text(report_text::kJpegFileIsNotComplete);
    const struct {
        uint16_t options;  // without memory mode the file is read
        const std::vector<uint8_t>& data;
        const WideName& file;
        std::vector<std::string> reports;  // none: it opens
    } cases[] = {
        {JPEG_OPT_MEMORY | JPEG_OPT_START_OFFSET, bytes, name, {illegal}},
        {JPEG_OPT_PARTIAL_BITSTREAM, bytes, name, {illegal}},
        // Standard mode reads the whole stream at once: no pieces can be fed later.
        {JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM | JPEG_OPT_STANDARD, noFrame, name, {illegal}},
        {JPEG_OPT_MEMORY | JPEG_OPT_STANDARD, noFrame, name,
         {text(report_text::kNoScanInTheFrame), text(report_text::kFrameLevelParseFailed)}},
        {JPEG_OPT_MEMORY | JPEG_OPT_ENCODE, bytes, name,
         {text(report_text::kIllegalOptionsParameter), text(report_text::kPrologFailed)}},
        {0, bytes, missing, {text(report_text::kNoSuchFileOrDirectory)}},
        // The completeness check: the data ends in EOI, or EOI and trailing bytes.
        {JPEG_OPT_MEMORY, bytes, name, {}},
        {JPEG_OPT_MEMORY, trailing, name, {}},
        {JPEG_OPT_MEMORY, cut, name, {incomplete}},
        {JPEG_OPT_MEMORY, zeros, name, {incomplete}},
        {JPEG_OPT_MEMORY, none, name, {incomplete}},
        {JPEG_OPT_MEMORY, eoiByte, name, {incomplete}},
        // The partial-bitstream option skips it.
        {JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM, cut, name, {}},
    };
    for (const auto& c : cases) {
        ReportCapture capture;
        JpegDecodeParams params{0, 0, 0, 0, 0, 0, c.options, 0, nullptr, c.data.data(), uint32_t(c.data.size())};
        JpegHandle handle = jpegDecodeProlog(c.options & JPEG_OPT_MEMORY ? nullptr : c.file.c_str(), &params);
        EXPECT_EQ(handle != nullptr, c.reports.empty()) << c.options << ", " << c.data.size() << " bytes";
        EXPECT_EQ(capture.texts(), c.reports) << c.options << ", " << c.data.size() << " bytes";
        if (handle) jpegDecodeEpilog(handle);
    }
}

TEST(DecodeProlog, FileWithStartOffsetAndJfif) {
    std::vector<uint8_t> app0 = {0xFF, 0xE0, 0x00, 0x16, 'J', 'F', 'I', 'F', 0, 1, 2, 1, 0x01, 0x2C, 0x00, 0x96, 2, 1};
    for (int i = 0; i < 6; ++i) app0.push_back(static_cast<uint8_t>(10 + i));  // 2x1 thumbnail
    std::vector<uint8_t> com = {0xFF, 0xFE, 0x00, 0x05, 'a', 'b', 'c'};
    std::vector<uint8_t> app1 = {0xFF, 0xE1, 0x00, 0x06, 0xFF, 0xD9, 0xFF, 0xD8};
    // An APP0 of another kind: Ln - 7 bytes follow its 5-byte identifier.
    std::vector<uint8_t> otherApp0 = {0xFF, 0xE0, 0x00, 0x0A, 'J', 'F', 'X', 'X', 0, 0xFF, 0xC0, 0x12};
    FlatJpeg recipe;
    for (const auto* segment : {&app0, &com, &app1, &otherApp0})
        recipe.extraSegments.insert(recipe.extraSegments.end(), segment->begin(), segment->end());
    recipe.level = samples([](int, uint32_t, int) { return 37; });
    auto jpeg = flatJpeg(recipe);
    std::vector<uint8_t> file(100, 0x55);
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    std::string path = tempPath("offset.jpg");
    writeFileBytes(path, file);
    WideName name = wideName(path);

    uint8_t jfifBuffer[7 + 6] = {};
    JpegDecodeParams params{0, 0, 0, 0, 0, 0, JPEG_OPT_START_OFFSET | JPEG_OPT_JFIF, 100, reinterpret_cast<JfifInfo*>(jfifBuffer), nullptr, 0};
    ReportCapture capture;
    JpegHandle h = jpegDecodeProlog(name.c_str(), &params);
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(capture.texts());
    // Densities 300 and 150 (host order), units, the thumbnail's size and bytes.
    EXPECT_EQ(std::vector<uint8_t>(jfifBuffer, jfifBuffer + 13),
              (std::vector<uint8_t>{0x2C, 0x01, 0x96, 0x00, 1, 2, 1, 10, 11, 12, 13, 14, 15}));
    Output out = outputFor(8, 8, 1);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(h, &rect, 8), 8);
    EXPECT_EQ(out.pixels, std::vector<uint8_t>(64, 128 + 37));
    jpegDecodeEpilog(h);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(DecodeProlog, HeaderFailuresReportTheirReason) {
    const auto base = flatJpeg(colourImage(16, 16, 0x22));
    const size_t sof = segmentAt(base, 0xC0), dht = segmentAt(base, 0xC4), dqt = segmentAt(base, 0xDB);
    const std::string frameFailed = text(report_text::kFrameLevelParseFailed), badDht = text(report_text::kInvalidDhtSegmentSyntax);
    const struct {
        size_t at;
        uint8_t value;
        std::string reason;  // the first report
    } cases[] = {
        {1, 0xD7, text(report_text::kExtraneousBytesBeforeSoiMarker)},
        {sof + 1, 0xC5, text(report_text::kUnsupportedSofCodingMode)},
        {sof + 1, 0xCC, text(report_text::kArithmeticCodingNotSupported)},
        {sof + 11, 0x20, text(report_text::kUnsupportedSamplingFactor)},  // (4:1:1: the manifest's corpus)
        {sof + 9, 0, text(report_text::kNotSupportImageComponents)},
        {sof + 12, 7, text(report_text::kInvalidQuantizationTableNumber)},
        {dht + 4, 0x25, badDht},     // table class 2
        {dht + 4, 0x07, badDht},     // table number 7
        {dht + 3, 0x10, badDht},     // segment shorter than its tables
        {dht + 5 + 3, 200, badDht},  // 200 codes of length 4 (too many symbols for the segment)
        {dht + 5, 9, badDht},        // 9 codes of length 1: codes wider than their length
        {dqt + 4, 0x05, text(report_text::kInvalidDqtSegmentSyntax)},  // table number 5
    };
    for (const auto& c : cases) {
        auto bytes = base;
        bytes[c.at] = c.value;
        ReportCapture capture;
        MemoryDecode d(bytes);
        EXPECT_EQ(d.handle, nullptr) << c.at << " " << int(c.value);
        ASSERT_FALSE(capture.reports().empty()) << c.at;
        EXPECT_EQ(capture.reports().front().text, c.reason) << c.at;
        EXPECT_EQ(capture.reports().back().text, frameFailed) << c.at;
    }
}

// Data that ends inside the headers: the end is reported once ("read
// failed."), every byte asked for after it once more, and the parse goes on
// as if 0xFF bytes followed, so the parser's own reason comes next.
TEST(DecodeProlog, HeadersCutShortReportTheEndThenGoOn) {
    const std::string readFailed = text(report_text::kReadFailedStop), pastEnd = text(report_text::kFoundUnexpectedEndOfJpegFile),
                      badSof = text(report_text::kUnsupportedSofCodingMode), badSampling = text(report_text::kUnsupportedSamplingFactor),
                      frameFailed = text(report_text::kFrameLevelParseFailed);
    FlatJpeg recipe = colourImage(16, 16, 0x22, 1);
    // JFIF with a 2 x 1 thumbnail, bytes 20 to 25 of the file.
    recipe.extraSegments = {0xFF, 0xE0, 0x00, 0x16, 'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 72, 0, 72, 2, 1, 9, 9, 9, 9, 9, 9};
    const auto base = flatJpeg(recipe);
    const size_t dqt = segmentAt(base, 0xDB), dht = segmentAt(base, 0xC4), dri = segmentAt(base, 0xDD),
                 sof = segmentAt(base, 0xC0), sos = segmentAt(base, 0xDA);
    auto upTo = [&base](size_t end) { return std::vector<uint8_t>(base.begin(), base.begin() + static_cast<ptrdiff_t>(end)); };
    // An APP1 holding an embedded picture, cut right after that picture's EOI:
    // the file ends in FF D9 and passes the completeness check.
    const std::vector<uint8_t> exifCut = {0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x40, 'E', 'x', 'i', 'f', 0, 0, 0xFF, 0xD8, 0xFF, 0xD9};
    const uint16_t partial = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM | JPEG_OPT_JFIF;
    struct Run {
        std::string text;
        int count = 1;
    };
    // Most cases: the missing bytes the parse asks for, then its reason.
    auto ends = [&](int missing, const std::string& reason) {
        return std::vector<Run>{{readFailed}, {pastEnd, missing - 1}, {reason}, {frameFailed}};
    };
    const struct {
        const char* what;
        std::vector<uint8_t> data;
        uint16_t options;  // without memory mode the data is read from a file
        std::vector<Run> reports;
        bool opens;
    } cases[] = {
        {"SOI", {0xFF}, partial, ends(1, text(report_text::kExtraneousBytesBeforeSoiMarker)), false},
        // Length 0x00FF: 5 identifier bytes, Ln - 7 skipped, 2 peeked for the next marker.
        {"APP0 length", upTo(5), partial, ends(1 + 5 + 248 + 2, badSof), false},
        // 4 thumbnail bytes copied out, 0xFF among them.
        {"JFIF thumbnail", upTo(22), partial, ends(4 + 2, badSof), false},
        // Without the copy the thumbnail's bytes are dropped and skipped again.
        {"JFIF thumbnail dropped", upTo(22), partial & ~JPEG_OPT_JFIF, ends(4 + 6 + 2, badSof), false},
        {"DQT entries", upTo(dqt + 15), partial, ends(54 + 2, badSof), false},
        // 13 counts of 0xFF: more symbols than the segment holds.
        {"DHT counts", upTo(dht + 8), partial, ends(13, text(report_text::kInvalidDhtSegmentSyntax)), false},
        {"DHT symbols", upTo(dri - 2), partial, ends(2 + 2, badSof), false},
        // A malformed DRI is reported and the walk goes on.
        {"DRI length", upTo(dri + 3), partial,
         {{readFailed}, {text(report_text::kInvalidDriSegmentSyntax)}, {pastEnd, 2 + 2}, {badSof}, {frameFailed}}, false},
        // Sampling byte 0xFF on the second component.
        {"SOF component", upTo(sof + 14), partial, ends(5, badSampling), false},
        // 0xFFFF samples per line and 255 components, all read.
        {"SOF size", upTo(sof + 6), partial, ends(4 + 255 * 3, badSampling), false},
        // The walk stops at 0xFFFF; the scan header of a frame without SOS stays empty.
        {"before SOS", upTo(sos), partial, {{readFailed}, {pastEnd}}, true},
        // Table byte 0xFF on the first component; the rest of the segment is still read.
        {"SOS tables", upTo(sos + 6), partial, ends(1 + 2 + 2 + 3, text(report_text::kInvalidSosSegmentSyntax)), false},
        {"SOS selection", upTo(sos + 11), partial, {{readFailed}, {pastEnd, 2}}, true},
        // 62 bytes to skip, 10 of them there.
        {"APP1 ending in FF D9, file", exifCut, 0, ends(52 + 2, badSof), false},
    };
    std::vector<uint8_t> jfifBuffer(7 + 3 * 255 * 255);
    for (const auto& c : cases) {
        std::vector<std::string> expected;
        for (const Run& run : c.reports) expected.insert(expected.end(), run.count, run.text);
        JpegDecodeParams params{0, 0, 0, 0, 0, 0, c.options, 0, reinterpret_cast<JfifInfo*>(jfifBuffer.data()), c.data.data(),
                                uint32_t(c.data.size())};
        WideName name;
        if (!(c.options & JPEG_OPT_MEMORY)) {  // read from a file
            std::string path = tempPath("headers_cut_short.jpg");
            writeFileBytes(path, c.data);
            name = wideName(path);
        }
        ReportCapture capture;
        JpegHandle handle = jpegDecodeProlog(name.c_str(), &params);
        EXPECT_EQ(handle != nullptr, c.opens) << c.what;
        EXPECT_EQ(capture.texts(), expected) << c.what;
        if (handle) jpegDecodeEpilog(handle);
    }

    // At every cut in the headers the end is reported first and once, and a
    // failure always names the parser's reason before the summary.
    const auto bytes = flatJpeg(colourImage(16, 16, 0x22, 1));
    for (size_t cut = 1; cut < segmentAt(bytes, 0xDA) + 14; ++cut) {
        ReportCapture capture;
        MemoryDecode d(std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(cut)),
                       JPEG_OPT_PARTIAL_BITSTREAM);
        const std::vector<std::string> texts = capture.texts();
        ASSERT_FALSE(texts.empty()) << cut;
        EXPECT_EQ(texts.front(), readFailed) << cut;
        EXPECT_EQ(std::count(texts.begin(), texts.end(), readFailed), 1) << cut;
        if (d.handle) continue;
        ASSERT_GE(texts.size(), 3u) << cut;
        EXPECT_EQ(texts.back(), frameFailed) << cut;
        EXPECT_NE(texts[texts.size() - 2], pastEnd) << cut;
        EXPECT_NE(texts[texts.size() - 2], readFailed) << cut;
    }
}

// Raw output of three components of every sampling, with and without
// restarts, is pinned by the manifest's raw decodes of the corpus.
TEST(DecodeToRect, RawOutputOfOtherComponentCounts) {
    const struct {
        uint16_t width, height, restartInterval;
        std::vector<FlatComponent> components;
    } cases[] = {
        {19, 13, 0, {{1, 0x21}}},
        {19, 13, 3, {{1, 0x21}, {2, 0x11}}},
        // Four components, two of them subsampled the two other ways.
        {32, 32, 0, {{1, 0x22}, {2, 0x12}, {3, 0x21}, {4, 0x11}}},
    };
    for (const auto& c : cases) {
        FlatJpeg recipe = colourImage(c.width, c.height, 0x11, c.restartInterval);
        recipe.components = c.components;
        const int count = static_cast<int>(c.components.size());
        ReportCapture capture;
        MemoryDecode d(flatJpeg(recipe), JPEG_OPT_RAW_COMPONENTS);
        ASSERT_NE(d.handle, nullptr);
        Output out = outputFor(c.width, c.height, count);
        ImageRect rect = out.rect();
        EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, c.height), c.height);
        expectRawImage(recipe, out.pixels, c.width, c.height);
        EXPECT_TRUE(capture.reports().empty());
    }
}

TEST(DecodeToRect, PixelSizeIsReadForRawOutputAlone) {
    // Grey writes one byte a pixel and colour three, whatever the rectangle
    // says; raw output needs one byte per component, else nothing is written.
    FlatJpeg grey;
    grey.width = 9;
    grey.height = 3;
    grey.level = samples([](int, uint32_t mcu, int) { return mcu == 0 ? -128 : 127; });
    const struct {
        std::vector<uint8_t> jpeg;
        uint16_t options;
        int bytes, claimed;
    } cases[] = {{flatJpeg(grey), 0, 1, 24},
                 {flatJpeg(colourImage(8, 8, 0x11)), 0, 3, 8},
                 {flatJpeg(colourImage(16, 16, 0x11)), JPEG_OPT_RAW_COMPONENTS, 3, 32}};
    for (const auto& c : cases) {
        MemoryDecode d(c.jpeg, c.options);
        const int w = d.params.width, h = d.params.height;
        const bool raw = c.options & JPEG_OPT_RAW_COMPONENTS;
        Output out = outputFor(w, h, c.bytes, 1);  // a spare column shows wider writes
        ImageRect rect = out.rect();
        rect.bitsPerPixel = c.claimed;
        EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, uint32_t(h)), raw ? 0 : h) << c.claimed;
        EXPECT_EQ(out.packed(w, h), raw ? std::vector<uint8_t>(size_t(w * h * c.bytes), kGuard) : decodeWhole(c.jpeg));
        for (int y = 0; y < h; ++y)
            for (int i = w * c.bytes; i < out.stride; ++i) ASSERT_EQ(out.pixels[size_t(y * out.stride + i)], kGuard) << y;
    }
}

TEST(DecodeToRect, HeightFromDnl) {
    // The frame says 0 lines: no bottom clip, whole MCU rows are written
    // (LegacyStrips has the bands). With restart markers the DNL segment is
    // met and read.
    FlatJpeg recipe = colourImage(24, 20, 0x22, 2);
    recipe.heightInDnl = true;
    MemoryDecode d(flatJpeg(recipe), JPEG_OPT_RAW_COMPONENTS);
    ASSERT_NE(d.handle, nullptr);
    EXPECT_EQ(d.params.height, 0);
    Output out = outputFor(24, 32, 3);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 20), 32);
    uint32_t w = 0, height = 0;
    jpegDecodeGetImageSize(d.handle, &w, &height, JPEG_SCALE_FULL);
    EXPECT_EQ(height, 20u);
    out.pixels.resize(24 * 20 * 3);
    expectRawImage(recipe, out.pixels, 24, 20);
}

TEST(DecodeToRect, PartialBitstreamPieces) {
    // One restart interval per MCU row: each piece after the first is one
    // band's data, starting where the predictors restart.
    FlatJpeg recipe = colourImage(64, 24, 0x11, 8);
    auto bytes = flatJpeg(recipe);
    std::vector<size_t> cuts;
    for (const Segment& s : segmentsOf(bytes))
        if (s.marker >= 0xD0 && s.marker <= 0xD7) cuts.push_back(s.offset + 2);
    ASSERT_EQ(cuts.size(), 2u);
    cuts.push_back(bytes.size());
    std::vector<std::vector<uint8_t>> pieces;
    for (size_t from = 0, i = 0; i < cuts.size(); from = cuts[i++])
        pieces.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(from), bytes.begin() + static_cast<ptrdiff_t>(cuts[i]));
    ReportCapture capture;
    MemoryDecode d(pieces[0], JPEG_OPT_PARTIAL_BITSTREAM | JPEG_OPT_RAW_COMPONENTS);
    ASSERT_NE(d.handle, nullptr);
    Output out = outputFor(64, 24, 3);
    for (int band = 0; band < 3; ++band) {
        if (band > 0) {
            ASSERT_EQ(jpegDecodeSetPartialBitstream(d.handle, pieces[band].data(), static_cast<uint32_t>(pieces[band].size())), 0);
        }
        ImageRect view = out.rect(8 * band);
        EXPECT_EQ(jpegDecodeToRect(d.handle, &view, static_cast<uint32_t>(8 * (band + 1))), 8) << band;
    }
    expectRawImage(recipe, out.pixels, 64, 24);
    EXPECT_FALSE(capture.saw(report_text::kUnitNo));

    // Without the partial option the feeder refuses.
    MemoryDecode whole(bytes);
    ASSERT_NE(whole.handle, nullptr);
    EXPECT_EQ(jpegDecodeSetPartialBitstream(whole.handle, pieces[1].data(), 10), -1);
}

}  // namespace
