// Standard mode (JPEG_OPT_STANDARD) against libjpeg-turbo as a black-box
// peer: files the legacy reading refuses or mis-reads decode within a few
// levels of the peer's accurate integer decode, and the legacy reading of the
// same files stays what it was.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "standard_test_support.h"
#include "test_support.h"

using namespace standard_test;
using testing_support::ReportCapture;

namespace {

constexpr uint16_t kStandard = JPEG_OPT_STANDARD;
constexpr uint16_t kLegacy = 0;
// The peer's transform and ours are both exact to within rounding; colour
// conversion rounds once more.
constexpr int kTolerance = 3;
// A reading that loses its place or its colours is off by far more.
constexpr int kMisread = 10;

ImageRect makeRect(int32_t width, int32_t height, int32_t stride, int32_t bitsPerPixel, uint8_t* bits) {
    ImageRect rect{};
    rect.width = width;
    rect.height = height;
    rect.stride = stride;
    rect.bitsPerPixel = bitsPerPixel;
    rect.bits = bits;
    return rect;
}

[[maybe_unused]] int channelsFor(const std::vector<uint8_t>& jpeg) {
    // The frame's component count: grey output for one component, colour otherwise.
    std::vector<size_t> offsets = markerOffsets(jpeg);
    for (size_t at : offsets)
        if (jpeg[at + 1] >= 0xC0 && jpeg[at + 1] <= 0xC3) return jpeg[at + 9] == 1 ? 1 : 3;
    return 3;
}

#if defined(KELJPEG_HAVE_LIBJPEG)
// Standard mode's largest difference from the peer, or 1000 when either fails.
int standardDifference(const std::vector<uint8_t>& jpeg) {
    Picture ours, peer;
    if (!ourDecode(jpeg, kStandard, channelsFor(jpeg), ours)) return 1000;
    if (!peerDecode(jpeg, peer)) return 1000;
    return largestDifference(ours, peer);
}

// The legacy reading: refused (1000) or its difference from the peer.
int legacyDifference(const std::vector<uint8_t>& jpeg) {
    ReportCapture quiet;
    Picture ours, peer;
    if (!ourDecode(jpeg, kLegacy, channelsFor(jpeg), ours) || !peerDecode(jpeg, peer)) return 1000;
    return largestDifference(ours, peer);
}

std::vector<uint8_t> encoded(const PeerSpec& spec) {
    std::vector<uint8_t> jpeg;
    EXPECT_TRUE(peerEncode(spec, jpeg));
    return jpeg;
}


PeerSpec colour(std::vector<std::pair<int, int>> sampling, int seed = 1) {
    PeerSpec spec;
    spec.sampling = std::move(sampling);
    spec.seed = seed;
    return spec;
}

TEST(StandardModeSequential, ComponentsInScansOfTheirOwnInAnyOrder) {
    // 4:2:0 with each component in its own scan, chroma first; then luma alone
    // and both chroma components interleaved; then a restart interval.
    PeerSpec separate = colour({{2, 2}, {1, 1}, {1, 1}});
    separate.scans = {scan({2}, 0, 63, 0, 0), scan({0}, 0, 63, 0, 0), scan({1}, 0, 63, 0, 0)};
    PeerSpec pair = colour({{2, 1}, {1, 1}, {1, 1}}, 2);
    pair.scans = {scan({0}, 0, 63, 0, 0), scan({1, 2}, 0, 63, 0, 0)};
    pair.optimize = true;  // a DHT segment before each scan
    PeerSpec restarting = separate;
    restarting.restartBlocks = 5;
    for (const PeerSpec& spec : {separate, pair, restarting}) {
        std::vector<uint8_t> jpeg = encoded(spec);
        EXPECT_LE(standardDifference(jpeg), kTolerance);
        // The legacy reading expects one interleaved scan.
        EXPECT_GT(legacyDifference(jpeg), kMisread);
    }
}

TEST(StandardModeSequential, GreyFrameSampledOtherThanOneByOne) {
    // One component with factors 2x2 is coded one block per MCU.
    for (auto sampling : {std::pair<int, int>{2, 2}, {2, 1}, {1, 2}}) {
        PeerSpec spec;
        spec.inputChannels = 1;
        spec.stored = JCS_GRAYSCALE;
        spec.sampling = {sampling};
        spec.width = 37;
        spec.height = 29;
        std::vector<uint8_t> jpeg = encoded(spec);
        EXPECT_LE(standardDifference(jpeg), kTolerance);
        EXPECT_GT(legacyDifference(jpeg), kMisread);
    }
}

TEST(StandardModeSequential, SamplingFactorsBeyondTwo) {
    // 4:1:1 and other factors up to 4; the legacy reading refuses them.
    for (auto sampling : std::vector<std::vector<std::pair<int, int>>>{
             {{4, 1}, {1, 1}, {1, 1}}, {{1, 4}, {1, 1}, {1, 1}}, {{3, 1}, {1, 1}, {1, 1}}, {{4, 2}, {1, 1}, {1, 1}}}) {
        std::vector<uint8_t> jpeg = encoded(colour(sampling));
        EXPECT_LE(standardDifference(jpeg), kTolerance);
        ReportCapture reports;
        Picture ours;
        EXPECT_FALSE(ourDecode(jpeg, kLegacy, 3, ours));
        EXPECT_TRUE(reports.saw("unsupported sampling factor"));
    }
}

TEST(StandardModeSequential, SixteenBitTablesFillBytesAndHeightFromDnl) {
    PeerSpec coarse = colour({{2, 2}, {1, 1}, {1, 1}});
    coarse.quality = 3;
    coarse.baseline = false;  // entries above 255: 16-bit tables, extended frame
    EXPECT_LE(standardDifference(encoded(coarse)), kTolerance);

    PeerSpec restarting = colour({{2, 1}, {1, 1}, {1, 1}}, 3);
    restarting.restartRows = 1;
    const std::vector<uint8_t> plain = encoded(restarting);
    Picture peer, ours, legacy;
    ASSERT_TRUE(peerDecode(plain, peer));
    // Fill bytes before every marker, restart markers included.
    ASSERT_TRUE(ourDecode(withFillBytes(plain, 3), kStandard, 3, ours));
    EXPECT_LE(largestDifference(ours, peer), kTolerance);
    // The height given after the first scan, read ahead by the prolog.
    std::vector<uint8_t> dnl = withDnlHeight(plain);
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY | kStandard;
    params.data = dnl.data();
    params.dataLength = uint32_t(dnl.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(params.height, 45);
    (void)jpegDecodeEpilog(h);
    ASSERT_TRUE(ourDecode(dnl, kStandard, 3, ours));
    EXPECT_LE(largestDifference(ours, peer), kTolerance);
    // The legacy reading of the fill bytes before its restart markers goes wrong.
    ReportCapture quiet;
    EXPECT_FALSE(ourDecode(withFillBytes(plain, 3), kLegacy, 3, legacy) && largestDifference(legacy, peer) <= kTolerance);
}

TEST(StandardModeProgressive, RestartMarkersInEveryScan) {
    for (int restart : {1, 3, 7}) {
        PeerSpec spec = colour({{2, 2}, {1, 1}, {1, 1}}, restart);
        spec.progressive = true;
        spec.restartBlocks = restart;
        std::vector<uint8_t> jpeg = encoded(spec);
        EXPECT_LE(standardDifference(jpeg), kTolerance) << "restart " << restart;
        EXPECT_GT(legacyDifference(jpeg), kMisread) << "restart " << restart;
    }
    PeerSpec grey;
    grey.inputChannels = 1;
    grey.stored = JCS_GRAYSCALE;
    grey.progressive = true;
    grey.restartRows = 1;
    EXPECT_LE(standardDifference(encoded(grey)), kTolerance);
}

TEST(StandardModeProgressive, DcScansOfOneComponentEach) {
    // Every component's DC in a scan of its own, refined separately: each keeps its own predictor.
    PeerSpec spec = colour({{2, 2}, {1, 1}, {1, 1}});
    spec.scans = {scan({0}, 0, 0, 0, 1),  scan({1}, 0, 0, 0, 1),  scan({2}, 0, 0, 0, 0),
                  scan({0}, 1, 5, 0, 2),  scan({2}, 1, 63, 0, 1), scan({1}, 1, 63, 0, 0),
                  scan({0}, 6, 63, 0, 2), scan({0}, 1, 63, 2, 1), scan({0}, 0, 0, 1, 0),
                  scan({1}, 0, 0, 1, 0),  scan({2}, 1, 63, 1, 0), scan({0}, 1, 63, 1, 0)};
    std::vector<uint8_t> jpeg = encoded(spec);
    EXPECT_LE(standardDifference(jpeg), kTolerance);
    EXPECT_GT(legacyDifference(jpeg), kMisread);
}

TEST(StandardModeProgressive, OneScanPerPassEndsWithTheFullPicture) {
    PeerSpec spec = colour({{2, 1}, {1, 1}, {1, 1}});
    spec.progressive = true;
    std::vector<uint8_t> jpeg = encoded(spec);
    Picture full, peer;
    ASSERT_TRUE(ourDecode(jpeg, kStandard, 3, full));
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY | kStandard;
    params.data = jpeg.data();
    params.dataLength = uint32_t(jpeg.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    EXPECT_TRUE(params.options & JPEG_OPT_PROGRESSIVE);
    ASSERT_EQ(jpegDecodeSetProgressiveMode(h, 1), 1);
    std::vector<uint8_t> pixels(full.pixels.size());
    ImageRect rect = makeRect(full.width, full.height, full.width * 3, 24, pixels.data());
    int passes = 0;
    while (!jpegDecodeQueryProgressiveComplete(h) && passes < 50) {
        ASSERT_EQ(jpegDecodeToRect(h, &rect, uint32_t(full.height)), full.height);
        ++passes;
    }
    (void)jpegDecodeEpilog(h);
    EXPECT_EQ(passes, 10);  // the library's colour progression has ten scans
    EXPECT_EQ(pixels, full.pixels);
}

TEST(StandardModeColour, AdobeRgbCmykAndYcck) {
    PeerSpec rgb = colour({{1, 1}, {1, 1}, {1, 1}});
    rgb.stored = JCS_RGB;  // Adobe transform 0: no colour conversion
    std::vector<uint8_t> rgbFile = encoded(rgb);
    EXPECT_LE(standardDifference(rgbFile), kTolerance);
    EXPECT_GT(legacyDifference(rgbFile), kMisread);
    for (J_COLOR_SPACE stored : {JCS_CMYK, JCS_YCCK}) {
        PeerSpec spec;
        spec.inputChannels = 4;
        spec.stored = stored;
        if (stored == JCS_YCCK) spec.sampling = {{2, 2}, {1, 1}, {1, 1}, {2, 2}};
        std::vector<uint8_t> jpeg = encoded(spec);
        EXPECT_LE(standardDifference(jpeg), kTolerance) << stored;
        EXPECT_GT(legacyDifference(jpeg), kMisread) << stored;
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
        PeerSpec interleaved;
        interleaved.sampling = coding.sampling;
        interleaved.restartBlocks = coding.restartBlocks;
        interleaved.inputChannels = coding.inputChannels;
        interleaved.stored = coding.stored;
        interleaved.quality = coding.quality;
        PeerSpec separate = interleaved, progressive = interleaved;
        for (int c = 0; c < int(coding.sampling.size()); ++c) separate.scans.push_back(scan({c}, 0, 63, 0, 0));
        progressive.progressive = true;
        const int channels = coding.inputChannels == 1 ? 1 : 3;
        const std::vector<uint8_t> streams[] = {encoded(interleaved), encoded(separate), encoded(progressive)};
        for (int scale = 0; scale <= 3; ++scale) {
            SCOPED_TRACE(scale);
            Picture reference, peer, legacy;
            ASSERT_TRUE(ourDecode(streams[0], kStandard, channels, reference, scale));
            // The peer's reduced transforms take more coefficients than ours
            // and scale chroma in the transform, so only full size compares.
            if (scale == 3) {
                ASSERT_TRUE(peerDecode(streams[0], peer, scale));
                EXPECT_LE(largestDifference(reference, peer), kTolerance);
            }
            // The legacy reading of the interleaved file has the same
            // transforms and expanders; only its colour tables truncate.
            const bool legacyReads = (coding.stored == JCS_YCbCr || coding.stored == JCS_GRAYSCALE) &&
                                     std::all_of(coding.sampling.begin(), coding.sampling.end(),
                                                 [](std::pair<int, int> f) { return f.first <= 2 && f.second <= 2; });
            if (legacyReads) {
                ASSERT_TRUE(ourDecode(streams[0], kLegacy, channels, legacy, scale));
                ASSERT_EQ(legacy.pixels.size(), reference.pixels.size());
                int largest = 0;
                for (size_t i = 0; i < legacy.pixels.size(); ++i)
                    largest = std::max(largest, std::abs(int(legacy.pixels[i]) - int(reference.pixels[i])));
                EXPECT_LE(largest, channels == 1 ? 0 : 2);
            }
            for (const std::vector<uint8_t>& jpeg : streams) {
                Picture whole, strips;
                ASSERT_TRUE(ourDecode(jpeg, kStandard, channels, whole, scale));
                ASSERT_TRUE(ourDecode(jpeg, kStandard, channels, strips, scale, 7));
                EXPECT_EQ(whole.pixels, reference.pixels);
                EXPECT_EQ(strips.pixels, reference.pixels);
            }
        }
    }
}

TEST(StandardModeDamage, DamagedFilesFailOrDecodeWithoutHarm) {
    // Sanitizer builds watch the reads and writes; here only the outcome's kind is checked.
    PeerSpec progressive = colour({{2, 2}, {1, 1}, {1, 1}});
    progressive.progressive = true;
    progressive.restartBlocks = 2;
    PeerSpec separate = colour({{4, 1}, {1, 1}, {1, 1}});
    separate.scans = {scan({2}, 0, 63, 0, 0), scan({0}, 0, 63, 0, 0), scan({1}, 0, 63, 0, 0)};
    ReportCapture quiet;
    uint32_t noise = 99;
    for (const PeerSpec& spec : {progressive, separate}) {
        const std::vector<uint8_t> good = encoded(spec);
        for (int trial = 0; trial < 150; ++trial) {
            std::vector<uint8_t> bad = good;
            for (int hits = 0; hits < 1 + trial % 4; ++hits) {
                noise = noise * 1103515245u + 12345u;
                size_t at = 2 + (noise >> 8) % (bad.size() - 4);
                bad[at] = uint8_t(trial % 3 == 0 ? 0xFF : bad[at] ^ (noise >> 24));
            }
            if (trial % 10 == 9) bad.erase(bad.begin() + ptrdiff_t(bad.size() / 2), bad.end() - 2);  // cut, EOI kept
            Picture ours;
            (void)ourDecode(bad, kStandard, 3, ours);
            (void)ourDecode(bad, kStandard, 3, ours, 1);
        }
    }
}

#endif  // KELJPEG_HAVE_LIBJPEG

// ---- Lossless frames: exact, checked against the samples written ----

struct LosslessCase {
    LosslessSpec spec;
    std::vector<std::vector<int32_t>> planes;  // point-transformed, padded to whole MCUs
};

LosslessCase losslessCase(LosslessSpec spec, int seed) {
    LosslessCase c{spec, {}};
    int maxH = 1, maxV = 1;
    for (uint8_t s : spec.sampling) {
        maxH = std::max(maxH, s >> 4);
        maxV = std::max(maxV, s & 15);
    }
    const int across = (spec.width + maxH - 1) / maxH, down = (spec.height + maxV - 1) / maxV;
    const int32_t top = (1 << (spec.precision - spec.pointTransform)) - 1;
    uint32_t noise = uint32_t(seed) * 2654435761u;
    for (uint8_t s : spec.sampling) {
        const int w = across * (s >> 4), h = down * (s & 15);
        std::vector<int32_t> plane(size_t(w) * size_t(h));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                noise = noise * 1103515245u + 12345u;
                // Alternating extremes force differences of 32768 at 16 bits.
                int32_t v = ((x + y) % 5 == 0) ? ((x & 1) ? top : 0) : int32_t((noise >> 8) % uint32_t(top + 1));
                plane[size_t(y) * size_t(w) + size_t(x)] = v;
            }
        c.planes.push_back(std::move(plane));
    }
    return c;
}

// Decodes in standard mode; checks every output sample against the plane
// sample that covers it, shifted back by the point transform.
void expectLosslessExact(const LosslessCase& c) {
    const LosslessSpec& spec = c.spec;
    std::vector<uint8_t> jpeg = writeLossless(spec, c.planes);
    const int count = int(spec.sampling.size()), bytes = spec.precision > 8 ? 2 : 1;
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY | kStandard;
    params.data = jpeg.data();
    params.dataLength = uint32_t(jpeg.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    std::vector<uint8_t> pixels(size_t(spec.width) * spec.height * count * bytes);
    ImageRect rect = makeRect(spec.width, spec.height, spec.width * count * bytes, 8 * count * bytes, pixels.data());
    EXPECT_EQ(jpegDecodeToRect(h, &rect, uint32_t(spec.height)), spec.height);
    (void)jpegDecodeEpilog(h);
    int maxH = 1, maxV = 1;
    for (uint8_t s : spec.sampling) {
        maxH = std::max(maxH, s >> 4);
        maxV = std::max(maxV, s & 15);
    }
    int wrong = 0;
    for (int y = 0; y < spec.height; ++y)
        for (int x = 0; x < spec.width; ++x)
            for (int k = 0; k < count; ++k) {
                const int hk = spec.sampling[size_t(k)] >> 4, vk = spec.sampling[size_t(k)] & 15;
                const int w = (spec.width + maxH - 1) / maxH * hk;
                uint32_t expected = uint32_t(c.planes[size_t(k)][size_t(y * vk / maxV) * size_t(w) + size_t(x * hk / maxH)])
                                    << spec.pointTransform;
                size_t at = ((size_t(y) * spec.width + size_t(x)) * size_t(count) + size_t(k)) * size_t(bytes);
                uint32_t got = pixels[at];
                if (bytes == 2) {
                    uint16_t wide;
                    std::memcpy(&wide, &pixels[at], 2);
                    got = wide;
                }
                if (got != (expected & 0xFFFF)) ++wrong;
            }
    EXPECT_EQ(wrong, 0) << "precision " << spec.precision << " predictor " << spec.predictor;
}

TEST(StandardModeLossless, DifferenceOf32768CarriesNoBits) {
    for (int predictor = 1; predictor <= 7; ++predictor) {
        LosslessSpec spec;
        spec.precision = 16;
        spec.predictor = predictor;
        spec.sampling = {0x11};
        expectLosslessExact(losslessCase(spec, predictor));
    }
    // The legacy reading takes 16 more bits after category 16 and loses its place.
    LosslessSpec spec;
    spec.precision = 16;
    spec.sampling = {0x11};
    LosslessCase c = losslessCase(spec, 1);
    std::vector<uint8_t> jpeg = writeLossless(spec, c.planes);
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = jpeg.data();
    params.dataLength = uint32_t(jpeg.size());
    ReportCapture quiet;
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    ASSERT_NE(h, nullptr);
    std::vector<uint8_t> pixels(size_t(spec.width) * spec.height * 2);
    ImageRect rect = makeRect(spec.width, spec.height, spec.width * 2, 16, pixels.data());
    int32_t rows = jpegDecodeToRect(h, &rect, uint32_t(spec.height));
    (void)jpegDecodeEpilog(h);
    bool exact = rows == spec.height;
    for (size_t i = 0; exact && i < size_t(spec.width) * size_t(spec.height); ++i) {
        uint16_t got;
        std::memcpy(&got, &pixels[2 * i], 2);
        exact = got == uint16_t(c.planes[0][i]);
    }
    EXPECT_FALSE(exact);
}

TEST(StandardModeLossless, SampledComponentsRestartsAndPointTransform) {
    const std::vector<std::vector<uint8_t>> samplings = {{0x22, 0x11, 0x11}, {0x21, 0x11, 0x12}, {0x12}, {0x41, 0x11}};
    int seed = 10;
    for (const auto& sampling : samplings)
        for (int restart : {0, 1, 4}) {
            LosslessSpec spec;
            spec.sampling = sampling;
            spec.restartInterval = restart;
            spec.predictor = 1 + seed % 7;
            spec.precision = seed % 2 ? 12 : 8;
            spec.pointTransform = seed % 3;
            expectLosslessExact(losslessCase(spec, seed++));
        }
}

int flatLevel(int component, int blockX, int blockY) { return ((blockX * 37 + blockY * 91 + component * 13) % 21 - 10) * 8; }

// Each component in a scan of its own, out of frame order; the tables and the
// restart interval change between scans, and each component keeps the table
// in force when its scan starts.
FlatFrame tablesBetweenScans(int precision) {
    FlatFrame f;
    f.precision = precision;
    f.width = 45;
    f.height = 27;
    f.components = {{1, 2, 2, 0}, {2, 1, 1, 1}, {3, 1, 1, 1}};
    f.scans = {{{2}, 3, {{1, 24}, {0, 16}}}, {{0}, 0, {{0, 8}}}, {{1}, 2, {{1, 40}}}};
    f.level = flatLevel;
    return f;
}

TEST(StandardModeSequential, TablesAndRestartIntervalsBetweenScansAtBothPrecisions) {
    const int quant[3] = {8, 40, 24};  // the tables each component latched
    for (int precision : {8, 12}) {
        FlatFrame f = tablesBetweenScans(precision);
        std::vector<uint8_t> jpeg = writeFlatFrame(f);
        Picture ours;
        ASSERT_TRUE(ourDecode(jpeg, kStandard | JPEG_OPT_RAW_COMPONENTS, 3, ours)) << precision;
        int largest = 0;
        for (int y = 0; y < f.height; ++y)
            for (int x = 0; x < f.width; ++x)
                for (int c = 0; c < 3; ++c) {
                    const FlatComponent& k = f.components[size_t(c)];
                    int offset = flatLevel(c, (x * k.h / 2) / 8, (y * k.v / 2) / 8) * quant[c] / 8;
                    int expected = precision == 8 ? std::clamp(offset + 128, 0, 255) : (offset + 2048) >> 4;
                    int got = ours.pixels[(size_t(y) * size_t(f.width) + size_t(x)) * 3 + size_t(c)];
                    largest = std::max(largest, std::abs(got - expected));
                }
        EXPECT_LE(largest, 1) << precision;
        // The legacy reading takes only frames of one interleaved scan.
        ReportCapture quiet;
        Picture legacy;
        bool legacyRead = ourDecode(jpeg, JPEG_OPT_RAW_COMPONENTS, 3, legacy);
        EXPECT_FALSE(legacyRead && legacy.pixels == ours.pixels) << precision;
    }
}

TEST(StandardModeOptions, PartialBitstreamIsRefusedAndLegacyDefaultsStay) {
    // The whole stream is read at once, so pieces cannot be fed later.
    std::vector<uint8_t> jpeg = {0xFF, 0xD8, 0xFF, 0xD9};
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM | kStandard;
    params.data = jpeg.data();
    params.dataLength = uint32_t(jpeg.size());
    ReportCapture reports;
    EXPECT_EQ(jpegDecodeProlog(nullptr, &params), nullptr);
    EXPECT_TRUE(reports.saw("Illegal options"));
    // A stream with no frame fails with the prolog's own report.
    reports.clear();
    params.options = JPEG_OPT_MEMORY | kStandard;
    EXPECT_EQ(jpegDecodeProlog(nullptr, &params), nullptr);
    EXPECT_TRUE(reports.saw("Frame Level parse failed."));
}

}  // namespace
