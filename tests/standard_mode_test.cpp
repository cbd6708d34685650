// Both readings against libjpeg-turbo as a black-box peer: standard mode
// (JPEG_OPT_STANDARD) within a few levels of the peer's accurate integer
// decode for every file, the legacy reading close to it where it reads the
// file and far off or refusing where it does not; then standard mode's
// routes and damage handling.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "decoder_test_support.h"
#include "test_support.h"

using namespace testing_support;
using testing_support::ReportCapture;

namespace {

constexpr uint16_t kStandard = JPEG_OPT_STANDARD;
constexpr uint16_t kLegacy = 0;
// The peer's transform and ours are both exact to within rounding; colour
// conversion rounds once more.
constexpr int kTolerance = 3;
// A reading that loses its place or its colours is off by far more.
constexpr int kMisread = 10;

#if defined(KELJPEG_HAVE_LIBJPEG)
// Offsets of the markers with the given code.
std::vector<size_t> markersCoded(const std::vector<uint8_t>& jpeg, uint8_t code) {
    std::vector<size_t> out;
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker == code) out.push_back(s.offset);
    return out;
}

std::vector<uint8_t> encoded(const PeerRecipe& recipe) {
    std::vector<uint8_t> jpeg = peerEncode(recipe);
    EXPECT_FALSE(jpeg.empty());
    return jpeg;
}

PeerRecipe colour(std::vector<std::pair<int, int>> sampling, int seed = 1) {
    PeerRecipe recipe;
    recipe.sampling = std::move(sampling);
    recipe.seed = seed;
    return recipe;
}

PeerRecipe greyRecipe() {
    PeerRecipe recipe;
    recipe.inputChannels = 1;
    return recipe;
}

// How the legacy reading takes a file: within rounding of the peer (a
// little more than standard mode, its colour tables truncating), far off
// (it loses its place or its colours), refused for its sampling, or (its
// height known only after the first scan) not compared here.
enum class Legacy { kAgrees, kMisreads, kRefuses, kLater };

// Both readings of files of every sampling, size, table kind, scan layout and
// colour space against the peer's accurate integer decode.
TEST(PeerAgreement, BothReadingsAgainstThePeer) {
    struct Case {
        std::string name;
        PeerRecipe recipe;
        Legacy legacy;
        std::vector<uint8_t> (*edit)(const std::vector<uint8_t>&) = nullptr;  // applied to the peer's file
    };
    std::vector<Case> cases;
    // What both read: every sampling at odd sizes, restarts, optimised and 16-bit tables.
    const struct {
        int h, v, width, height, restartRows, restartBlocks;
        bool optimize;
        int quality;
    } plain[] = {
        {1, 1, 641, 481, 0, 0, false, 75}, {2, 1, 641, 481, 0, 0, false, 75}, {1, 2, 641, 481, 0, 0, false, 75},
        {2, 2, 641, 481, 2, 0, false, 75}, {0, 0, 641, 481, 0, 0, false, 75}, {2, 2, 1, 1, 0, 0, false, 75},
        {1, 1, 1, 1, 0, 0, false, 75},     {0, 0, 1, 1, 0, 0, false, 75},     {2, 2, 17, 9, 0, 0, false, 75},
        {2, 1, 17, 9, 0, 0, false, 75},    {1, 2, 17, 9, 0, 0, false, 75},    {2, 1, 333, 200, 0, 5, true, 75},
        {0, 0, 100, 75, 0, 1, true, 75},   {2, 2, 257, 129, 0, 0, true, 100},
        {2, 2, 200, 150, 0, 0, false, 3},  {0, 0, 64, 64, 0, 0, true, 2},  // 16-bit tables: extended frames
    };
    for (const auto& c : plain) {
        PeerRecipe recipe = c.h ? colour(lumaSampling(c.h, c.v)) : greyRecipe();
        recipe.width = c.width;
        recipe.height = c.height;
        recipe.restartRows = c.restartRows;
        recipe.restartBlocks = c.restartBlocks;
        recipe.optimize = c.optimize;
        recipe.quality = c.quality;
        recipe.baseline = false;
        cases.push_back({"plain row " + std::to_string(&c - plain), recipe, Legacy::kAgrees});
    }
    // What the legacy reading, which expects one interleaved scan of factors
    // up to 2 in YCbCr, misreads: 4:2:0 with each component in its own scan,
    // chroma first; luma alone and both chroma components interleaved; then a
    // restart interval.
    PeerRecipe separate = colour(lumaSampling(2, 2));
    separate.scans = scanScript("2: 0-63, 0, 0; 0: 0-63, 0, 0; 1: 0-63, 0, 0;");
    PeerRecipe pair = colour(lumaSampling(2, 1), 2);
    pair.scans = scanScript("0: 0-63, 0, 0; 1, 2: 0-63, 0, 0;");
    pair.optimize = true;  // a DHT segment before each scan
    PeerRecipe restarting = separate;
    restarting.restartBlocks = 5;
    cases.push_back({"one scan per component", separate, Legacy::kMisreads});
    cases.push_back({"luma, then chroma interleaved", pair, Legacy::kMisreads});
    cases.push_back({"one scan per component, restarts", restarting, Legacy::kMisreads});
    // One grey component with factors 2x2 is still coded one block per MCU.
    for (auto sampling : {std::pair<int, int>{2, 2}, {2, 1}, {1, 2}}) {
        PeerRecipe grey = greyRecipe();
        grey.sampling = {sampling};
        grey.width = 37;
        grey.height = 29;
        cases.push_back({"grey " + std::to_string(sampling.first) + "x" + std::to_string(sampling.second), grey, Legacy::kMisreads});
    }
    // 4:1:1 and other factors up to 4.
    for (auto luma : {std::pair<int, int>{4, 1}, {1, 4}, {3, 1}, {4, 2}})
        cases.push_back({"luma " + std::to_string(luma.first) + "x" + std::to_string(luma.second),
                         colour(lumaSampling(luma.first, luma.second)), Legacy::kRefuses});
    // Restart markers in every scan of a progression.
    for (int restart : {1, 3, 7}) {
        PeerRecipe recipe = colour(lumaSampling(2, 2), restart);
        recipe.progressive = true;
        recipe.restartBlocks = restart;
        cases.push_back({"progressive, restart " + std::to_string(restart), recipe, Legacy::kMisreads});
    }
    PeerRecipe greyRestarts = greyRecipe();
    greyRestarts.progressive = true;
    greyRestarts.restartRows = 1;
    cases.push_back({"grey progressive, restart every row", greyRestarts, Legacy::kMisreads});
    // Every component's DC in a scan of its own, refined separately: each keeps its own predictor.
    PeerRecipe dcScans = colour(lumaSampling(2, 2));
    dcScans.scans = scanScript("0: 0-0, 0, 1; 1: 0-0, 0, 1; 2: 0-0, 0, 0; 0: 1-5, 0, 2; 2: 1-63, 0, 1; 1: 1-63, 0, 0;"
                               "0: 6-63, 0, 2; 0: 1-63, 2, 1; 0: 0-0, 1, 0; 1: 0-0, 1, 0; 2: 1-63, 1, 0; 0: 1-63, 1, 0;");
    cases.push_back({"DC scans of one component each", dcScans, Legacy::kMisreads});
    // RGB, CMYK and YCCK: StandardModeOutput's codings.
    // Fill bytes before every marker, restart markers included (the legacy
    // reading goes wrong before its restart markers); the height given after
    // the first scan, which the prolog reads ahead for the picture's size.
    PeerRecipe rowRestarts = colour({{2, 1}, {1, 1}, {1, 1}}, 3);
    rowRestarts.restartRows = 1;
    cases.push_back({"fill bytes", rowRestarts, Legacy::kMisreads, [](const std::vector<uint8_t>& j) { return withFillBytes(j, 3); }});
    cases.push_back({"height from DNL", rowRestarts, Legacy::kLater, withDnlHeight});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<uint8_t> jpeg = c.edit ? c.edit(encoded(c.recipe)) : encoded(c.recipe);
        Picture peer, standard, legacy;
        ASSERT_TRUE(peerDecode(encoded(c.recipe), peer));
        ASSERT_TRUE(ourDecode(jpeg, kStandard, standard));
        EXPECT_LE(largestDifference(standard, peer), kTolerance);
        ReportCapture reports;
        const bool legacyRead = ourDecode(jpeg, kLegacy, legacy);
        if (c.legacy == Legacy::kAgrees) {
            ASSERT_TRUE(legacyRead);
            EXPECT_LE(largestDifference(legacy, peer), 6);
            EXPECT_GT(psnr(legacy.pixels, peer.pixels), 45.0);
        } else if (c.legacy == Legacy::kMisreads) {
            EXPECT_GT(legacyRead ? largestDifference(legacy, peer) : 1000, kMisread);
        } else if (c.legacy == Legacy::kRefuses) {
            EXPECT_FALSE(legacyRead);
            EXPECT_TRUE(reports.saw(report_text::kUnsupportedSamplingFactor));
        }
    }
}

TEST(StandardModeOutput, EveryRouteAndScaleShowsTheSameCoefficientsAlike) {
    // The same picture and tables coded as one interleaved scan (decoded
    // from the data a band at a time), as one scan per component and as a
    // progression (both rendered from coefficients): the coefficients are the
    // same, so every scale of every coding must give the same bytes, in one
    // call or in strips of 7 rows.
    struct Coding {
        const char* name;
        std::vector<std::pair<int, int>> sampling;
        int restartBlocks;
        int inputChannels;
        J_COLOR_SPACE stored;
        int quality;
    };
    const Coding codings[] = {
        {"4:2:0", {{2, 2}, {1, 1}, {1, 1}}, 0, 3, JCS_YCbCr, 85},
        // Blocks whose last coefficient is coded: no end of block follows it.
        {"4:2:0 q100", {{2, 2}, {1, 1}, {1, 1}}, 0, 3, JCS_YCbCr, 100},
        {"4:2:2 restarts", {{2, 1}, {1, 1}, {1, 1}}, 3, 3, JCS_YCbCr, 85},
        {"4:4:0", {{1, 2}, {1, 1}, {1, 1}}, 0, 3, JCS_YCbCr, 85},
        {"4:1:1 restarts", {{4, 1}, {1, 1}, {1, 1}}, 2, 3, JCS_YCbCr, 85},
        {"3x2 1x1 1x2", {{3, 2}, {1, 1}, {1, 2}}, 0, 3, JCS_YCbCr, 85},
        {"4:4:4 RGB", {{1, 1}, {1, 1}, {1, 1}}, 0, 3, JCS_RGB, 85},
        {"grey", {{1, 1}}, 2, 1, JCS_GRAYSCALE, 85},
        {"CMYK", {{1, 1}, {1, 1}, {1, 1}, {1, 1}}, 0, 4, JCS_CMYK, 95},
        {"YCCK 4:2:0", {{2, 2}, {1, 1}, {1, 1}, {2, 2}}, 1, 4, JCS_YCCK, 85},
    };
    for (const Coding& coding : codings) {
        SCOPED_TRACE(coding.name);
        PeerRecipe interleaved;
        interleaved.sampling = coding.sampling;
        interleaved.restartBlocks = coding.restartBlocks;
        interleaved.inputChannels = coding.inputChannels;
        interleaved.stored = coding.stored;
        interleaved.quality = coding.quality;
        PeerRecipe separate = interleaved, progressive = interleaved;
        for (int c = 0; c < int(coding.sampling.size()); ++c) separate.scans.push_back(scanScript(std::to_string(c) + ": 0-63, 0, 0;")[0]);
        progressive.progressive = true;
        const std::vector<uint8_t> streams[] = {encoded(interleaved), encoded(separate), encoded(progressive)};
        for (int scale = 0; scale <= 3; ++scale) {
            SCOPED_TRACE(scale);
            Picture reference, peer, legacy;
            ASSERT_TRUE(ourDecode(streams[0], kStandard, reference, scale));
            // The peer's reduced transforms take more coefficients than ours
            // and scale chroma in the transform, so only full size compares.
            if (scale == 3) {
                ASSERT_TRUE(peerDecode(streams[0], peer, scale));
                EXPECT_LE(largestDifference(reference, peer), kTolerance);
            }
            // The legacy reading of the interleaved file has the same
            // transforms and expanders, only its colour tables truncate;
            // other colour spaces it misreads, factors past 2 it refuses.
            const bool legacyReads = (coding.stored == JCS_YCbCr || coding.stored == JCS_GRAYSCALE) &&
                                     std::all_of(coding.sampling.begin(), coding.sampling.end(),
                                                 [](std::pair<int, int> f) { return f.first <= 2 && f.second <= 2; });
            ReportCapture reports;
            const bool legacyRead = ourDecode(streams[0], kLegacy, legacy, scale);
            EXPECT_EQ(legacyRead, legacyReads || coding.stored != JCS_YCbCr);
            if (!legacyRead) {
                EXPECT_TRUE(reports.saw(report_text::kUnsupportedSamplingFactor));
            } else if (legacyReads) {
                EXPECT_LE(largestDifference(legacy, reference), coding.inputChannels == 1 ? 0 : 2);
            } else {
                EXPECT_GT(largestDifference(legacy, reference), kMisread);
            }
            for (const std::vector<uint8_t>& jpeg : streams) {
                Picture whole, strips;
                ASSERT_TRUE(ourDecode(jpeg, kStandard, whole, scale));
                ASSERT_TRUE(ourDecode(jpeg, kStandard, strips, scale, 7));
                EXPECT_EQ(whole.pixels, reference.pixels);
                EXPECT_EQ(strips.pixels, reference.pixels);
            }
        }
    }
}

// ---- Damaged and incomplete files ----

std::vector<uint8_t> inserted(std::vector<uint8_t> jpeg, size_t at, std::initializer_list<uint8_t> bytes) {
    jpeg.insert(jpeg.begin() + ptrdiff_t(at), bytes);
    return jpeg;
}

// Files cut short anywhere, bytes of the entropy-coded data corrupted, and
// stray bytes, bad lengths and a second SOI between segments, from each
// source: every row shown as the peer shows it, each kind of damage reported
// once, and strict reading refusing at the first damage.
TEST(StandardModeDamage, DamagedFilesShowWhatThePeerShowsAndStrictReadingRefuses) {
    struct Damaged {
        std::string name;
        std::vector<uint8_t> file;
        int32_t damage;  // the damage reported, or with anyOf the kinds it may be
        bool anyOf, strict;
        int rowsLost;  // MCU rows that may differ from the clean picture; -1: any
    };
    // The files the damage cases start from, as the peer writes them:
    // baseline 4:2:0, the same with a restart marker after every MCU row, the
    // library's progression, and a grey progression with restarts every 7 blocks.
    PeerRecipe baseline = colour({{2, 2}, {1, 1}, {1, 1}}, 4);
    baseline.width = 83;
    baseline.height = 90;
    PeerRecipe restarting = baseline;
    restarting.restartRows = 1;
    PeerRecipe progressive = baseline;
    progressive.progressive = true;
    PeerRecipe grey = baseline;
    grey.inputChannels = 1;
    grey.stored = JCS_GRAYSCALE;
    grey.sampling = {};
    grey.progressive = true;
    grey.restartBlocks = 7;
    const struct {
        const char* name;
        PeerRecipe recipe;
        int mcuHeight;
        bool restarts;
    } sources[] = {{"baseline", baseline, 16, false},
                   {"restarts", restarting, 16, true},
                   {"progressive", progressive, 16, false},
                   {"grey progressive restarts", grey, 8, true}};
    for (const auto& source : sources) {
        const std::vector<uint8_t> clean = encoded(source.recipe);
        Picture whole, strict, peerClean;
        ASSERT_TRUE(ourDecode(clean, kStandard, whole));
        ASSERT_TRUE(peerDecode(clean, peerClean));
        // Strict reading of the whole file is the ordinary one.
        ASSERT_TRUE(ourDecode(clean, kStandard | JPEG_OPT_STRICT, strict));
        EXPECT_EQ(strict.pixels, whole.pixels);
        std::vector<Damaged> cases;
        // Cuts all through the entropy-coded data, between scans and just before EOI.
        const std::vector<size_t> scans = markersCoded(clean, 0xDA);
        const size_t first = scanDataRanges(clean).front().first, end = clean.size() - 2;
        std::vector<size_t> cuts(scans.begin() + 1, scans.end());
        for (int i = 0; i <= 16; ++i) cuts.push_back(first + (end - first) * size_t(i) / 16);
        for (size_t cut : cuts)
            cases.push_back({"cut at " + std::to_string(cut), std::vector<uint8_t>(clean.begin(), clean.begin() + ptrdiff_t(cut)),
                             JPEG_DAMAGE_TRUNCATED, false, cut == (first + end) / 2, -1});
        // Bytes spread over the entropy-coded data of every scan. A scan read
        // out of step can leave its last bytes over, as stray bytes before the
        // next marker. Restart markers put the decode back in step: an
        // interval or two is lost, not the rest.
        std::vector<size_t> data;
        for (auto [from, to] : scanDataRanges(clean))
            for (size_t at = from; at < to; ++at) data.push_back(at);
        for (int i = 1; i <= 6; ++i)
            for (uint8_t flip : {uint8_t(0x5A), uint8_t(0xFF)}) {
                std::vector<uint8_t> damaged = clean;
                const size_t at = data[data.size() * size_t(i) / 7];
                damaged[at] = flip == 0xFF ? 0xFF : uint8_t(damaged[at] ^ flip);
                cases.push_back({"byte " + std::to_string(at) + " flip " + std::to_string(flip), damaged,
                                 JPEG_DAMAGE_ENTROPY | JPEG_DAMAGE_TRUNCATED | JPEG_DAMAGE_STRAY, true, i == 3,
                                 source.restarts ? 3 : -1});
            }
        // Where the intent is clear nothing is lost.
        const size_t app0 = markersCoded(clean, 0xE0).front(), dqt = markersCoded(clean, 0xDB).front();
        size_t sof = 0;
        for (const Segment& s : segmentsOf(clean))
            if (s.marker == 0xC0 || s.marker == 0xC2) sof = s.offset;
        const std::vector<Damaged> stray = {
            {"bytes before DQT", inserted(clean, dqt, {0x00, 0x12, 0x34}), JPEG_DAMAGE_STRAY, false, true, 0},
            {"bytes before SOS", inserted(clean, scans.front(), {0x7E}), JPEG_DAMAGE_STRAY, false, true, 0},
            {"bytes before EOI", inserted(clean, end, {0x00, 0x11}), JPEG_DAMAGE_STRAY, false, true, 0},
            {"unknown marker", inserted(clean, sof, {0xFF, 0x05}), JPEG_DAMAGE_STRAY, false, true, 0},
            {"second SOI", inserted(clean, dqt, {0xFF, 0xD8}), JPEG_DAMAGE_STRAY, false, true, 0},
            // Comments whose length field says 9 bytes too many, or 4 too few.
            {"comment too long", inserted(clean, dqt, {0xFF, 0xFE, 0x00, 0x11, 'h', 'e', 'l', 'l', 'o'}), JPEG_DAMAGE_SEGMENT,
             false, true, 0},
            // The text behind a length too short shows as stray bytes.
            {"comment too short", inserted(clean, dqt, {0xFF, 0xFE, 0x00, 0x04, 'h', 'e', 'l', 'l', 'o', '!'}), JPEG_DAMAGE_STRAY,
             false, true, 0},
            {"comment past the end", inserted(clean, app0, {0xFF, 0xFE, 0xFF, 0xF0, 'h', 'i'}), JPEG_DAMAGE_SEGMENT, false, true, 0},
            {"bytes between scans", inserted(clean, scans.back(), {0x33, 0x44, 0x55}), JPEG_DAMAGE_STRAY, false, true, 0},
        };
        if (!source.restarts) cases.insert(cases.end(), stray.begin(), stray.end() - (scans.size() == 1 ? 1 : 0));
        for (const Damaged& c : cases) {
            const std::string label = std::string(source.name) + ", " + c.name;
            // Our standard-mode decode: every row delivered, each kind of
            // damage reported once, as a warning, and nothing else reported.
            Picture ours, peer;
            int32_t damage = -1;
            {
                ReportCapture reports;
                EXPECT_TRUE(ourDecode(c.file, kStandard, ours, 3, 0, &damage)) << label;
                std::vector<std::string> texts = reports.texts();
                for (const auto& report : reports.reports()) EXPECT_EQ(report.severity, JPEG_SEVERITY_WARNING) << label << ": " << report.text;
                std::sort(texts.begin(), texts.end());
                EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end()) << label;
                int kinds = 0;
                for (int32_t bits = damage; bits > 0; bits >>= 1) kinds += bits & 1;
                EXPECT_EQ(int(texts.size()), kinds) << label;
            }
            EXPECT_EQ(c.anyOf ? damage & ~c.damage : damage, c.anyOf ? 0 : c.damage) << label;
            // Every MCU row the peer shows as it shows the clean file is the
            // peer's: damage costs no row it does not cost libjpeg-turbo. Rows
            // unlike the clean picture's: no more than the case may lose.
            const bool peerShows = peerDecode(c.file, peer);
            int rowsDiffering = 0;
            for (int top = 0; top < whole.height; top += source.mcuHeight) {
                const int bottom = std::min(top + source.mcuHeight, whole.height);
                rowsDiffering += largestDifference(ours, whole, top, bottom) != 0;
                if (peerShows && largestDifference(peer, peerClean, top, bottom) == 0) {
                    EXPECT_LE(largestDifference(ours, peer, top, bottom), kTolerance) << label << ", rows from " << top;
                }
            }
            EXPECT_LE(rowsDiffering, c.rowsLost >= 0 ? c.rowsLost : whole.height) << label;
            if (c.strict && damage != 0) {  // strict reading refuses at the first damage, with an error
                ReportCapture reports;
                Picture refused;
                EXPECT_FALSE(ourDecode(c.file, kStandard | JPEG_OPT_STRICT, refused)) << label;
                ASSERT_FALSE(reports.reports().empty()) << label;
                EXPECT_EQ(reports.reports()[0].severity, JPEG_SEVERITY_ERROR) << label;
            }
        }
        if (source.restarts) continue;
        // A damaged table is refused: what it meant is not clear.
        std::vector<uint8_t> table = clean;
        table[markersCoded(clean, 0xC4).front() + 5] = 0xF0;  // the first table's code counts overflow
        ReportCapture reports;
        Picture refused;
        EXPECT_FALSE(ourDecode(table, kStandard, refused)) << source.name;
        EXPECT_TRUE(reports.saw(report_text::kInvalidDhtSegmentSyntax)) << source.name;
    }
}

TEST(StandardModeDamage, FramesWithoutHuffmanTablesUseTheExampleOnes) {
    // Motion-JPEG frames leave out the tables that the peer writes by default.
    for (const PeerRecipe& recipe : {colour({{2, 1}, {1, 1}, {1, 1}}), greyRecipe()}) {
        const std::vector<uint8_t> clean = encoded(recipe);
        std::vector<uint8_t> frame;
        size_t from = 0;
        for (size_t at : markersCoded(clean, 0xC4)) {
            frame.insert(frame.end(), clean.begin() + ptrdiff_t(from), clean.begin() + ptrdiff_t(at));
            from = at + 2 + ((size_t(clean[at + 2]) << 8) | clean[at + 3]);
        }
        frame.insert(frame.end(), clean.begin() + ptrdiff_t(from), clean.end());
        ASSERT_LT(frame.size(), clean.size());
        Picture whole, ours, peer;
        ASSERT_TRUE(ourDecode(clean, kStandard, whole));
        ReportCapture reports;
        int32_t damage = -1;
        ASSERT_TRUE(ourDecode(frame, kStandard | JPEG_OPT_STRICT, ours, 3, 0, &damage));
        EXPECT_EQ(ours.pixels, whole.pixels);
        EXPECT_EQ(damage, 0);
        EXPECT_TRUE(reports.reports().empty());
        ASSERT_TRUE(peerDecode(frame, peer));
        EXPECT_LE(largestDifference(ours, peer), kTolerance);
    }
}

#endif  // KELJPEG_HAVE_LIBJPEG

int flatLevel(int component, int blockX, int blockY) { return ((blockX * 37 + blockY * 91 + component * 13) % 21 - 10) * 8; }

// Each component in a scan of its own, out of frame order; the tables and the
// restart interval change between scans, and each component keeps the table
// in force when its scan starts.
TEST(StandardModeSequential, TablesAndRestartIntervalsBetweenScansAtBothPrecisions) {
    const int quant[3] = {8, 40, 24};  // the tables each component latched
    for (int precision : {8, 12}) {
        FlatJpeg f;
        f.frame = 0xC1;
        f.precision = precision;
        f.width = 45;
        f.height = 27;
        f.components = {{1, 0x22, 0}, {2, 0x11, 1}, {3, 0x11, 1}};
        f.scans = {{{2}, 3, {{1, 24}, {0, 16}}}, {{0}, 0, {{0, 8}}}, {{1}, 2, {{1, 40}}}};
        f.level = [](const Block& b) { return flatLevel(b.component, b.x, b.y); };
        std::vector<uint8_t> jpeg = flatJpeg(f);
        Picture ours;
        ASSERT_TRUE(ourDecode(jpeg, kStandard | JPEG_OPT_RAW_COMPONENTS, ours)) << precision;
        int largest = 0;
        for (int y = 0; y < f.height; ++y)
            for (int x = 0; x < f.width; ++x)
                for (int c = 0; c < 3; ++c) {
                    const int h = f.components[size_t(c)].sampling >> 4, v = f.components[size_t(c)].sampling & 15;
                    int offset = flatLevel(c, (x * h / 2) / 8, (y * v / 2) / 8) * quant[c] / 8;
                    int expected = precision == 8 ? std::clamp(offset + 128, 0, 255) : (offset + 2048) >> 4;
                    int got = ours.pixels[(size_t(y) * size_t(f.width) + size_t(x)) * 3 + size_t(c)];
                    largest = std::max(largest, std::abs(got - expected));
                }
        EXPECT_LE(largest, 1) << precision;
        // The legacy reading takes only frames of one interleaved scan.
        ReportCapture quiet;
        Picture legacy;
        bool legacyRead = ourDecode(jpeg, JPEG_OPT_RAW_COMPONENTS, legacy);
        EXPECT_FALSE(legacyRead && legacy.pixels == ours.pixels) << precision;
    }
}

}  // namespace
