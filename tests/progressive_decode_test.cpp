// Progressive decoding checked by exact properties: a progressive file the
// peer makes from the same picture, tables and sampling as a baseline one
// carries the same quantised coefficients, so it must decode to the very
// same pixels, for every sampling and every scan script. Then streams the
// decoder cannot or must not decode: restart markers (single-component scans
// do no restart processing), scan headers with impossible bands, shifts or
// components, stray markers between scans. Each must end in the failure
// value or a finished picture, never a crash, a hang or a write outside the
// buffers (random damage: DamagedInput).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decoder_test_support.h"

using namespace testing_support;

#if defined(KELJPEG_HAVE_LIBJPEG)

// (Namespace-scope constants: internal linkage.)
// Scan scripts for three components (grey pictures use the first-component lines only).
// DC first scans are interleaved: the decoder keeps one DC predictor across
// non-interleaved DC scans, so scripts that split the DC band per component
// are not among the properties. An empty script is the peer's own progression.
const char* const kColourScripts[] = {
    "",
    // band selection only, bands split unevenly
    "0,1,2: 0-0, 0, 0; 0: 1-5, 0, 0; 0: 6-63, 0, 0; 1: 1-63, 0, 0; 2: 1-2, 0, 0; 2: 3-63, 0, 0;",
    // successive approximation in DC and AC, refinement of a band first coded in two parts
    ("0,1,2: 0-0, 0, 2; 0: 1-9, 0, 3; 0: 10-63, 0, 2; 1: 1-63, 0, 1; 2: 1-63, 0, 0;\n"
     "0,1,2: 0-0, 2, 1; 0: 1-9, 3, 2; 0: 1-63, 2, 1; 0,1,2: 0-0, 1, 0; 0: 1-63, 1, 0; 1: 1-63, 1, 0;"),
    // single coefficients and the last coefficient alone
    ("0,1,2: 0-0, 0, 1; 0: 1-1, 0, 0; 0: 2-62, 0, 1; 0: 63-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;\n"
     "0,1,2: 0-0, 1, 0; 0: 2-62, 1, 0;"),
};
const char* const kGreyScripts[] = {
    "",
    "0: 0-0, 0, 0; 0: 1-5, 0, 0; 0: 6-63, 0, 0;",
    ("0: 0-0, 0, 2; 0: 1-9, 0, 3; 0: 10-63, 0, 2; 0: 0-0, 2, 1; 0: 1-9, 3, 2; 0: 1-63, 2, 1;\n"
     "0: 0-0, 1, 0; 0: 1-63, 1, 0;"),
    "0: 0-0, 0, 1; 0: 1-1, 0, 0; 0: 2-62, 0, 1; 0: 63-63, 0, 0; 0: 0-0, 1, 0; 0: 2-62, 1, 0;",
};

TEST(ProgressiveDecode, EveryScanScriptGivesTheBaselinePixelsForEverySampling) {
    const struct {
        const char* name;
        int channels, h, v;
    } samplings[] = {{"grey", 1, 1, 1}, {"h1v1", 3, 1, 1}, {"h2v1", 3, 2, 1}, {"h1v2", 3, 1, 2}, {"h2v2", 3, 2, 2}};
    for (const auto& s : samplings) {
        const auto& scripts = s.channels == 1 ? kGreyScripts : kColourScripts;
        for (const char* script : scripts) {
            for (int quality : {30, 90}) {
                SCOPED_TRACE(std::string(s.name) + " q" + std::to_string(quality) + " script: " + script);
                Picture picture = busyPicture(61 + quality / 15, 37 + quality / 10, s.channels, quality);
                auto baseline = peerJpeg(picture, s.h, s.v, quality);
                auto progressive = peerJpeg(picture, s.h, s.v, quality, script);
                ASSERT_GT(scanDataRanges(progressive).size(), 1u);
                auto expected = decodeWhole(baseline);
                ASSERT_FALSE(expected.empty());
                EXPECT_EQ(decodeWhole(progressive), expected);
            }
        }
    }
    // A mostly flat picture at low quality: whole rows of blocks have empty AC
    // bands, coded as end-of-band runs that span them.
    const Picture flat = cellPicture(256, 200, 3, 64);
    EXPECT_EQ(decodeWhole(peerJpeg(flat, 2, 2, 20, "")), decodeWhole(peerJpeg(flat, 2, 2, 20)));
}

// Rows are a count per call: strips of them are pinned by the manifest's
// progressive strip decodes.
TEST(ProgressiveDecode, CompletionAndRowCountsOverSeveralCalls) {
    auto progressive = peerJpeg(busyPicture(45, 53, 3), 2, 2, 85, "");
    auto whole = decodeWhole(progressive);
    ASSERT_FALSE(whole.empty());
    MemoryDecode d(progressive);
    ASSERT_NE(d.handle, nullptr);
    EXPECT_TRUE(d.params.options & JPEG_OPT_PROGRESSIVE);
    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(d.handle), 0);
    Output out = outputFor(45, 53, 3);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 53), 53);
    EXPECT_EQ(out.packed(45, 53), whole);
    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(d.handle), 1);
    // A later pass re-renders the finished picture without decoding anything.
    Output again = outputFor(45, 53, 3);
    rect = again.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 53), 53);
    EXPECT_EQ(again.packed(45, 53), whole);
    MemoryDecode fresh(progressive);
    Output five = outputFor(45, 53, 3);
    rect = five.rect();
    EXPECT_EQ(jpegDecodeToRect(fresh.handle, &rect, 65536 + 5), 5);  // only the low 16 bits count
    EXPECT_EQ(five.packed(45, 5), std::vector<uint8_t>(whole.begin(), whole.begin() + 45 * 3 * 5));
    EXPECT_EQ(five.pixels[45 * 3 * 5], kGuard);  // row 5 untouched
    EXPECT_EQ(jpegDecodeToRect(fresh.handle, &rect, 0), 0);

    EXPECT_EQ(jpegDecodeQueryProgressiveComplete(nullptr), 1);
    EXPECT_EQ(jpegDecodeSetProgressiveMode(nullptr, 1), -1);
}

TEST(ProgressiveDecode, NonInterleavedDcScansShareTheFirstRecordsPredictor) {
    // Every single-component scan decodes through the first component record,
    // and DC predictors are not reset between scans: the Cb scan starts from
    // the predictor the Y scan left. Y comes out right, Cb does not.
    const Picture picture = busyPicture(32, 16, 3);
    auto baseline = peerJpeg(picture, 1, 1, 90);
    auto progressive =
        peerJpeg(picture, 1, 1, 90, "0: 0-0, 0, 0; 1: 0-0, 0, 0; 2: 0-0, 0, 0; 0: 1-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;");
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

// Streams the decoder must not decode, each read pass by pass both ways:
// restart markers (a restart at the end of an interleaved scan reads the next
// scan header early, no marker following the scan: a silent 0; or a
// single-component scan meets the marker as data and fails), impossible
// bands, shifts and components, and a marker the scan set-up stops at.
TEST(ProgressiveHostile, ImpossibleStreamsFailOrDecodeWithinBounds) {
    testing_support::ReportCapture quiet;
    const Picture picture = busyPicture(48, 40, 3);
    const std::vector<uint8_t> base = peerJpeg(picture, 2, 2, 80, "");
    const auto segments = segmentsOf(base);
    std::vector<size_t> bodies;  // of the scan headers, just after the SOS length
    for (const Segment& segment : segments)
        if (segment.marker == 0xDA) bodies.push_back(segment.offset + 4);
    ASSERT_GT(bodies.size(), 2u);
    struct Case {
        std::string name;
        std::vector<uint8_t> jpeg;
        bool fails;  // else it may also decode, within bounds
    };
    std::vector<Case> cases;
    for (int interval : {-1, 1, 5})  // one row, one block, five blocks
        cases.push_back({"restarts " + std::to_string(interval), peerJpeg(picture, 2, 2, 80, "", interval), true});
    struct Patch {
        int ss, se, ahal;  // -1: leave
    };
    const Patch patches[] = {{-1, 64, -1}, {-1, 255, -1}, {63, 200, -1}, {200, 200, -1}, {10, 5, -1},
                             {-1, -1, 0x0F}, {-1, -1, 0xFF}, {-1, -1, 0xF0}, {0, 63, -1}};
    for (size_t scan = 0; scan < bodies.size(); ++scan)
        for (const Patch& p : patches) {
            auto damaged = base;
            const size_t at = bodies[scan] + 1 + 2 * damaged[bodies[scan]];  // Ss, Se, Ah/Al
            if (p.ss >= 0) damaged[at] = static_cast<uint8_t>(p.ss);
            if (p.se >= 0) damaged[at + 1] = static_cast<uint8_t>(p.se);
            if (p.ahal >= 0) damaged[at + 2] = static_cast<uint8_t>(p.ahal);
            cases.push_back({"scan " + std::to_string(scan) + " band " + std::to_string(p.ss) + "-" + std::to_string(p.se),
                             damaged, p.se > 63 && p.ss <= 63});
        }
    // The second scan names a component the frame lacks.
    cases.push_back({"unknown component", base, true});
    cases.back().jpeg[bodies[1] + 1] = 0x77;
    // JPG (reserved, neither a table nor a scan) instead of a scan header
    // after tables: decoding the old scan header again would loop over the
    // rest of the stream for ever.
    size_t stray = bodies[1] - 4;
    for (size_t i = 2; i < segments.size(); ++i)
        if (segments[i].marker == 0xDA && segments[i - 1].marker != 0xDA) {
            stray = segments[i].offset;
            break;
        }
    cases.push_back({"stray marker", base, true});
    cases.back().jpeg[stray + 1] = 0xC8;
    for (const Case& c : cases)
        for (uint32_t mode : {0u, 1u}) {
            // Pass after pass (at most 40) into a picture-sized rectangle with room for a spare MCU row.
            MemoryDecode d(c.jpeg);
            ASSERT_NE(d.handle, nullptr) << c.name;
            jpegDecodeSetProgressiveMode(d.handle, mode);
            Output out = outputFor(48, 40, 3, 0, 16);
            int32_t result = 0;
            for (int pass = 0; pass < 40 && !jpegDecodeQueryProgressiveComplete(d.handle); ++pass) {
                ImageRect rect = out.rect();
                if ((result = jpegDecodeToRect(d.handle, &rect, 40)) <= 0) break;
            }
            EXPECT_TRUE(result == 0 || !c.fails) << c.name << ", mode " << mode;
        }
}

#endif  // KELJPEG_HAVE_LIBJPEG
