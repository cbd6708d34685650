// Progressive decoding checked by exact properties: a progressive stream that
// jpegtran makes from a baseline stream carries the same quantised
// coefficients, so it must decode to the very same pixels, for every
// sampling and every scan script; passes of one scan each must end at that
// same picture; damaged streams must fail cleanly.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "progressive_test_support.h"

using namespace decode_testing;

namespace {

struct SamplingCase {
    const char* name;
    int channels;
    const char* cjpegSwitches;
};

const SamplingCase kSamplings[] = {
    {"grey", 1, "-grayscale"},
    {"h1v1", 3, "-sample 1x1"},
    {"h2v1", 3, "-sample 2x1"},
    {"h1v2", 3, "-sample 1x2"},
    {"h2v2", 3, "-sample 2x2"},
};

// Scan scripts for three components (grey pictures use the first-component lines only).
// DC first scans are interleaved: the decoder keeps one DC predictor across
// non-interleaved DC scans, so scripts that split the DC band per component
// are not among the properties.
const char* const kColourScripts[] = {
    // spectral selection only, bands split unevenly
    "0,1,2: 0-0, 0, 0; 0: 1-5, 0, 0; 0: 6-63, 0, 0; 1: 1-63, 0, 0; 2: 1-2, 0, 0; 2: 3-63, 0, 0;",
    // successive approximation in DC and AC, refinement of a band first coded in two parts
    ("0,1,2: 0-0, 0, 2; 0: 1-9, 0, 3; 0: 10-63, 0, 2; 1: 1-63, 0, 1; 2: 1-63, 0, 0;\n"
     "0,1,2: 0-0, 2, 1; 0: 1-9, 3, 2; 0: 1-63, 2, 1; 0,1,2: 0-0, 1, 0; 0: 1-63, 1, 0; 1: 1-63, 1, 0;"),
    // single coefficients and the last coefficient alone
    ("0,1,2: 0-0, 0, 1; 0: 1-1, 0, 0; 0: 2-62, 0, 1; 0: 63-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;\n"
     "0,1,2: 0-0, 1, 0; 0: 2-62, 1, 0;"),
};
const char* const kGreyScripts[] = {
    "0: 0-0, 0, 0; 0: 1-5, 0, 0; 0: 6-63, 0, 0;",
    ("0: 0-0, 0, 2; 0: 1-9, 0, 3; 0: 10-63, 0, 2; 0: 0-0, 2, 1; 0: 1-9, 3, 2; 0: 1-63, 2, 1;\n"
     "0: 0-0, 1, 0; 0: 1-63, 1, 0;"),
    "0: 0-0, 0, 1; 0: 1-1, 0, 0; 0: 2-62, 0, 1; 0: 63-63, 0, 0; 0: 0-0, 1, 0; 0: 2-62, 1, 0;",
};

class ProgressiveDecode : public ::testing::Test {
protected:
    void SetUp() override {
        if (!peerToolsAvailable()) GTEST_SKIP() << "cjpeg/jpegtran not available";
    }
    static std::string tag() { return ::testing::UnitTest::GetInstance()->current_test_info()->name(); }
};

// Decodes one pass of the whole picture per call until the stream reports
// completion; returns every pass's pixels.
std::vector<std::vector<uint8_t>> decodePassByPass(const std::vector<uint8_t>& jpeg, int maxPasses = 64) {
    MemoryDecode d(jpeg);
    std::vector<std::vector<uint8_t>> passes;
    if (!d.handle) return passes;
    EXPECT_EQ(jpegDecodeSetProgressiveMode(d.handle, 1), 1);
    const int width = d.params.width, height = d.params.height, bpp = d.params.componentCount >= 3 ? 3 : 1;
    Output out = outputFor(width, height, bpp);
    while (!jpegDecodeQueryProgressiveComplete(d.handle) && static_cast<int>(passes.size()) < maxPasses) {
        ImageRect rect = out.rect();
        if (jpegDecodeToRect(d.handle, &rect, static_cast<uint32_t>(height)) != height) break;
        passes.push_back(out.packed(width, height));
    }
    return passes;
}

size_t scanCount(const std::vector<uint8_t>& jpeg) {
    size_t n = 0;
    for (const Segment& s : segmentsOf(jpeg)) n += s.marker == 0xDA;
    return n;
}

}  // namespace

TEST_F(ProgressiveDecode, DefaultScriptGivesTheBaselinePixelsForEverySampling) {
    for (const SamplingCase& s : kSamplings) {
        for (int quality : {30, 90}) {
            SCOPED_TRACE(std::string(s.name) + " q" + std::to_string(quality));
            Picture picture = busyPicture(61, 45, s.channels);
            auto baseline = cjpegStream(picture, tag(), std::string(s.cjpegSwitches) + " -quality " + std::to_string(quality));
            auto progressive = jpegtranStream(baseline, tag(), "-progressive");
            ASSERT_FALSE(progressive.empty());
            ASSERT_GT(scanCount(progressive), 1u);
            auto expected = decodeWhole(baseline);
            ASSERT_FALSE(expected.empty());
            EXPECT_EQ(decodeWhole(progressive), expected);
        }
    }
}

TEST_F(ProgressiveDecode, CustomScanScriptsGiveTheBaselinePixels) {
    for (const SamplingCase& s : kSamplings) {
        const auto& scripts = s.channels == 1 ? kGreyScripts : kColourScripts;
        for (const char* script : scripts) {
            SCOPED_TRACE(std::string(s.name) + " script: " + script);
            Picture picture = busyPicture(83, 37, s.channels, 3);
            auto baseline = cjpegStream(picture, tag(), std::string(s.cjpegSwitches) + " -quality 75");
            auto progressive = jpegtranStream(baseline, tag(), "", script);
            ASSERT_FALSE(progressive.empty());
            auto expected = decodeWhole(baseline);
            ASSERT_FALSE(expected.empty());
            EXPECT_EQ(decodeWhole(progressive), expected);
        }
    }
}

TEST_F(ProgressiveDecode, LongEndOfBandRunsAcrossManyBlocks) {
    // A mostly flat picture at low quality: whole rows of blocks have empty AC
    // bands, coded as end-of-band runs that span them.
    Picture picture = cellPicture(256, 200, 3, 64);
    auto baseline = cjpegStream(picture, tag(), "-sample 2x2 -quality 20");
    auto progressive = jpegtranStream(baseline, tag(), "-progressive");
    ASSERT_FALSE(progressive.empty());
    EXPECT_EQ(decodeWhole(progressive), decodeWhole(baseline));
}

TEST_F(ProgressiveDecode, OneScanPerPassEndsAtTheBaselinePicture) {
    for (const SamplingCase& s : kSamplings) {
        SCOPED_TRACE(s.name);
        Picture picture = busyPicture(50, 34, s.channels);
        auto baseline = cjpegStream(picture, tag(), std::string(s.cjpegSwitches) + " -quality 80");
        auto progressive = jpegtranStream(baseline, tag(), "-progressive");
        auto passes = decodePassByPass(progressive);
        ASSERT_EQ(passes.size(), scanCount(progressive));
        EXPECT_EQ(passes.back(), decodeWhole(baseline));
        EXPECT_NE(passes.front(), passes.back());
    }
}

TEST_F(ProgressiveDecode, FirstPassOfADcScanShowsBlockMeans) {
    Picture picture = busyPicture(40, 24, 1);
    auto baseline = cjpegStream(picture, tag(), "-grayscale -quality 90");
    auto progressive = jpegtranStream(baseline, tag(), "", "0: 0-0, 0, 0; 0: 1-63, 0, 0;");
    auto passes = decodePassByPass(progressive);
    ASSERT_EQ(passes.size(), 2u);
    const std::vector<uint8_t>& first = passes[0];
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(first[y * 40 + x], first[(y / 8 * 8) * 40 + x / 8 * 8]) << x << "," << y;
}

TEST_F(ProgressiveDecode, CompletionIsReportedOnceEveryScanIsDecoded) {
    Picture picture = busyPicture(30, 30, 3);
    auto progressive = jpegtranStream(cjpegStream(picture, tag(), "-quality 70"), tag(), "-progressive");
    MemoryDecode d(progressive);
    ASSERT_NE(d.handle, nullptr);
    EXPECT_TRUE(d.params.options & JPEG_OPT_PROGRESSIVE);
    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(d.handle), 0);
    Output out = outputFor(30, 30, 3);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 30), 30);
    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(d.handle), 1);
    // A later pass re-renders the finished picture without decoding anything.
    auto finished = out.packed(30, 30);
    Output again = outputFor(30, 30, 3);
    rect = again.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 30), 30);
    EXPECT_EQ(again.packed(30, 30), finished);

    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(nullptr), 1);
    EXPECT_EQ(jpegDecodeSetProgressiveMode(nullptr, 1), -1);
}

TEST_F(ProgressiveDecode, StripsOfOneMcuRowAddUpToTheWholePicture) {
    Picture picture = busyPicture(45, 53, 3);
    auto progressive = jpegtranStream(cjpegStream(picture, tag(), "-sample 2x2 -quality 85"), tag(), "-progressive");
    auto whole = decodeWhole(progressive);
    ASSERT_FALSE(whole.empty());
    MemoryDecode d(progressive);
    Output out = outputFor(45, 53, 3);
    int row = 0;
    while (row < 53) {
        // Each call counts its own rows; the last asks for what is left.
        const int want = std::min(16, 53 - row);
        ImageRect rect = out.rect(row);
        ASSERT_EQ(jpegDecodeToRect(d.handle, &rect, static_cast<uint32_t>(want)), want);
        row += want;
    }
    EXPECT_EQ(out.packed(45, 53), whole);
}

TEST_F(ProgressiveDecode, RequestBelowOneMcuRowDeliversThatManyRows) {
    Picture picture = busyPicture(32, 32, 3);
    auto progressive = jpegtranStream(cjpegStream(picture, tag(), "-sample 2x2"), tag(), "-progressive");
    auto whole = decodeWhole(progressive);
    MemoryDecode d(progressive);
    Output out = outputFor(32, 32, 3, 0, 0);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 65536 + 5), 5);  // only the low 16 bits count
    auto five = out.packed(32, 5);
    EXPECT_EQ(five, std::vector<uint8_t>(whole.begin(), whole.begin() + 32 * 3 * 5));
    EXPECT_EQ(out.pixels[32 * 3 * 5], kGuard);  // row 5 untouched
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 0), 0);
}

TEST_F(ProgressiveDecode, NonInterleavedDcScansShareTheFirstRecordsPredictor) {
    // Every single-component scan decodes through the first component record,
    // and DC predictors are not reset between scans: the Cb scan starts from
    // the predictor the Y scan left. Y comes out right, Cb does not.
    Picture picture = busyPicture(32, 16, 3);
    auto baseline = cjpegStream(picture, tag(), "-sample 1x1 -quality 90");
    auto progressive = jpegtranStream(baseline, tag(), "",
                                      "0: 0-0, 0, 0; 1: 0-0, 0, 0; 2: 0-0, 0, 0; 0: 1-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;");
    ASSERT_FALSE(progressive.empty());
    auto expected = decodeWhole(baseline, JPEG_SCALE_FULL, JPEG_OPT_RAW_COMPONENTS);
    auto got = decodeWhole(progressive, JPEG_SCALE_FULL, JPEG_OPT_RAW_COMPONENTS);
    ASSERT_EQ(got.size(), expected.size());
    auto plane = [](const std::vector<uint8_t>& raw, int c) {
        std::vector<uint8_t> out;
        for (size_t i = static_cast<size_t>(c); i < raw.size(); i += 3) out.push_back(raw[i]);
        return out;
    };
    EXPECT_EQ(plane(got, 0), plane(expected, 0));
    EXPECT_NE(plane(got, 1), plane(expected, 1));
}
