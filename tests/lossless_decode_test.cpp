// Lossless decoding in both readings checked by exact round trips through
// the test-side encoder: every precision from 2 to 16, every predictor, point
// transforms, several components, rows in pieces, and the difference of
// 32768 as each reading codes it; standard mode's sampled components,
// restarts and short files. In the legacy reading unsupported frames deliver
// nothing and damaged ones fail without harm, never leaving a row half written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "decoder_test_support.h"

using namespace testing_support;

namespace {

struct Mode {
    const char* name;
    uint16_t options;
    bool bitsAfter32768;  // how this reading takes category 16
};
const Mode kModes[] = {{"legacy", 0, true}, {"standard", JPEG_OPT_STANDARD, false}};

// Decoded samples in one call per `rowsPerCall` rows, as 16-bit values.
std::vector<uint16_t> decodeSamples(const std::vector<uint8_t>& jpeg, const LosslessRecipe& shape, int rowsPerCall,
                                    int32_t* lastResult = nullptr, uint16_t options = 0, int32_t* damage = nullptr) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return {};
    const int bytes = shape.precision <= 8 ? 1 : 2;
    Output out = outputFor(shape.width, shape.height, bytes * int(shape.sampling.size()));
    for (int row = 0; row < shape.height;) {
        ImageRect rect = out.rect(row);
        const int want = std::min(rowsPerCall, shape.height - row);
        int32_t got = jpegDecodeToRect(d.handle, &rect, static_cast<uint32_t>(want));
        if (lastResult) *lastResult = got;
        if (got != want) return {};
        row += got;
    }
    if (damage) *damage = jpegDecodeQueryDamage(d.handle);
    std::vector<uint16_t> samples;
    for (size_t i = 0; i < out.pixels.size(); i += bytes) {
        uint16_t v = out.pixels[i];
        if (bytes == 2) std::memcpy(&v, &out.pixels[i], 2);
        samples.push_back(v);
    }
    return samples;
}

struct LosslessCase {
    LosslessRecipe recipe;
    std::vector<std::vector<int32_t>> planes;  // point-transformed, padded to whole MCUs
};

// Busy samples over the whole range left by the point transform: gradients,
// full-range steps, noise and a ramp about the middle side by side
// (differences of every category).
LosslessCase losslessCase(LosslessRecipe recipe, uint32_t seed = 1) {
    LosslessCase c{recipe, {}};
    const auto [maxH, maxV] = recipe.largestFactors();
    const int across = (recipe.width + maxH - 1) / maxH, down = (recipe.height + maxV - 1) / maxV;
    const int precision = recipe.precision - recipe.pointTransform;
    const uint32_t top = (1u << precision) - 1;
    for (size_t k = 0; k < recipe.sampling.size(); ++k) {
        const int w = across * (recipe.sampling[k] >> 4), h = down * (recipe.sampling[k] & 15), ck = int(k);
        std::vector<int32_t> plane;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                uint32_t v;
                switch ((x / 3 + y / 2 + ck) % 4) {
                    case 0: v = static_cast<uint32_t>(x * 37 + y * 11 + ck * 5) << (precision > 6 ? precision - 6 : 0); break;
                    case 1: v = (x + y) % 2 ? top : 0; break;
                    case 2: v = mix(seed + uint32_t(x * 7 + y * 131 + ck)); break;
                    default: v = top / 2 + static_cast<uint32_t>(x) - static_cast<uint32_t>(y); break;
                }
                plane.push_back(int32_t(v & top));
            }
        c.planes.push_back(std::move(plane));
    }
    return c;
}

// The case's file, coding the difference of 32768 as `written` does, decoded
// by `reading` (one row per call when there are components enough to need
// the kept row): the number of samples unlike the plane sample that covers
// them (shifted back up by the point transform in standard mode, left down in
// the legacy reading), or -1 when rows are missing. A file cut short at half
// its data still shows every row, the first quarter of them exact.
int wrongSamples(const LosslessCase& c, const Mode& reading, const Mode& written, bool cutShort = false) {
    LosslessRecipe recipe = c.recipe;
    recipe.bitsAfter32768 = written.bitsAfter32768;
    std::vector<uint8_t> jpeg = writeLossless(recipe, c.planes);
    if (cutShort) jpeg.resize(jpeg.size() / 2 + scanDataRanges(jpeg).front().first / 2);
    ReportCapture reports;
    const int count = int(recipe.sampling.size());
    int32_t damage = -1;
    const std::vector<uint16_t> got = decodeSamples(jpeg, recipe, count > 1 ? 1 : recipe.height, nullptr, reading.options, &damage);
    if (got.empty()) return -1;
    if (reading.options && &reading == &written) {
        EXPECT_EQ(damage, cutShort ? JPEG_DAMAGE_TRUNCATED : 0);
        EXPECT_EQ(reports.reports().size(), cutShort ? 1u : 0u);
    }
    const auto [maxH, maxV] = recipe.largestFactors();
    int wrong = 0;
    for (int y = 0; y < (cutShort ? recipe.height / 4 : recipe.height); ++y)
        for (int x = 0; x < recipe.width; ++x)
            for (int k = 0; k < count; ++k) {
                const int hk = recipe.sampling[size_t(k)] >> 4, vk = recipe.sampling[size_t(k)] & 15;
                const int w = (recipe.width + maxH - 1) / maxH * hk;
                const uint32_t expected = uint32_t(c.planes[size_t(k)][size_t(y * vk / maxV) * size_t(w) + size_t(x * hk / maxH)])
                                          << (reading.options ? recipe.pointTransform : 0);
                wrong += got[(size_t(y) * recipe.width + size_t(x)) * size_t(count) + size_t(k)] != (expected & 0xFFFF);
            }
    return wrong;
}

}  // namespace

TEST(LosslessDecode, RoundTripsAreExactInBothReadings) {
    for (const Mode& mode : kModes) {
        SCOPED_TRACE(mode.name);
        for (int precision = 2; precision <= 16; ++precision)
            for (int predictor = 1; predictor <= 7; ++predictor) {
                const LosslessCase c = losslessCase({23, 9, precision, predictor, 0, 0, {0x11}}, uint32_t(precision * 10 + predictor));
                EXPECT_EQ(wrongSamples(c, mode, mode), 0) << "P=" << precision << " predictor " << predictor;
            }
        // Several components, point transforms, and a single column predicted from above.
        const struct {
            int width, height, components, precision, predictor, pointTransform;
        } cases[] = {{17, 13, 2, 8, 3, 0},  {17, 13, 3, 12, 2, 0}, {17, 13, 4, 16, 6, 0}, {19, 7, 3, 8, 4, 1},
                     {19, 7, 3, 12, 4, 3},  {19, 7, 3, 16, 4, 3},  {1, 20, 2, 10, 5, 0},  {1, 20, 2, 10, 7, 0}};
        for (const auto& c : cases) {
            LosslessRecipe recipe{c.width, c.height, c.precision, c.predictor, c.pointTransform, 0, {}};
            recipe.sampling.assign(size_t(c.components), 0x11);
            EXPECT_EQ(wrongSamples(losslessCase(recipe), mode, mode), 0)
                << c.width << "x" << c.height << "x" << c.components << " P=" << c.precision << " Pt=" << c.pointTransform;
        }
    }
}

TEST(LosslessDecode, TheDifferenceOf32768) {
    // Only 16-bit samples can differ by 32768, the one difference of category
    // 16: the legacy reading takes 16 more bits after it, standard mode none,
    // and each loses its place in the other's file.
    LosslessCase c = losslessCase({6, 4, 16, 1, 0, 0, {0x11}});
    for (int i = 0; i < 24; ++i) c.planes[0][size_t(i)] = (i * 5 % 3) ? 32768 + i : i;
    for (const Mode& mode : kModes) {
        SCOPED_TRACE(mode.name);
        for (c.recipe.predictor = 1; c.recipe.predictor <= 7; ++c.recipe.predictor) {
            EXPECT_EQ(wrongSamples(c, mode, mode), 0) << c.recipe.predictor;
            ReportCapture quiet;
            EXPECT_NE(wrongSamples(c, mode, kModes[mode.options ? 0 : 1]), 0) << c.recipe.predictor;
        }
    }
}

TEST(LosslessDecode, UnsupportedFramesDeliverNothingAndSamplingIsIgnored) {
    LosslessCase c = losslessCase({8, 4, 8, 1, 0, 0, {0x11}});
    std::vector<std::vector<uint8_t>> streams;
    for (c.recipe.predictor = 0; c.recipe.predictor <= 8; c.recipe.predictor += 8) streams.push_back(writeLossless(c.recipe, c.planes));
    c.recipe.predictor = 1;
    for (uint8_t precision : {1, 17}) {
        streams.push_back(writeLossless(c.recipe, c.planes));
        streams.back()[segmentAt(streams.back(), 0xC3) + 4] = precision;
    }
    for (const auto& jpeg : streams) {
        int32_t result = -1;
        EXPECT_TRUE(decodeSamples(jpeg, c.recipe, 4, &result).empty());
        EXPECT_EQ(result, 0);
    }
    // The row decoder takes one difference per component per pixel whatever
    // the frame's sampling factors say.
    const LosslessCase big = losslessCase({40, 16, 8, 1, 0, 0, {0x11, 0x11, 0x11}});
    auto sampled = writeLossless(big.recipe, big.planes);
    const std::vector<uint16_t> asWritten = decodeSamples(sampled, big.recipe, 16);
    ASSERT_FALSE(asWritten.empty());
    sampled[segmentAt(sampled, 0xC3) + 11] = 0x22;
    EXPECT_EQ(decodeSamples(sampled, big.recipe, 16), asWritten);
    // 16-bit samples into a rectangle with room for 8-bit ones.
    const LosslessCase wide = losslessCase({16, 4, 12, 1, 0, 0, {0x11, 0x11, 0x11}});
    MemoryDecode d(writeLossless(wide.recipe, wide.planes));
    Output out = outputFor(16 * 3, 4, 2);
    ImageRect rect = out.rect();
    rect.stride = 16 * 3;
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 4), 0);
    EXPECT_EQ(out.pixels[0], kGuard);
}

TEST(LosslessDecode, DamagedStreamsFailWithoutHarm) {
    const LosslessCase c = losslessCase({33, 21, 16, 7, 0, 0, {0x11, 0x11, 0x11}});
    const auto jpeg = writeLossless(c.recipe, c.planes);
    const size_t sos = segmentAt(jpeg, 0xDA), dataStart = sos + 2 + ((jpeg[sos + 2] << 8) | jpeg[sos + 3]);
    testing_support::ReportCapture quiet;
    for (uint32_t trial = 0; trial < 200; ++trial) {
        auto damaged = jpeg;
        const size_t at = dataStart + mix(trial) % (jpeg.size() - 2 - dataStart);
        damaged[at] = static_cast<uint8_t>(mix(trial + 1000));
        uint16_t options = 0;
        if (trial % 3 == 0) {  // cut short as well, past the final-marker check
            damaged.resize(at + 1);
            options = JPEG_OPT_PARTIAL_BITSTREAM;
        }
        // One row per call: the row whose data fails is not written at all.
        MemoryDecode d(damaged, options);
        if (!d.handle) continue;
        Output out = outputFor(33 * 3, 21, 2);
        const size_t rowBytes = 33 * 3 * 2;
        for (int row = 0; row < 21; ++row) {
            ImageRect rect = out.rect(row);
            if (jpegDecodeToRect(d.handle, &rect, 1) == 1) continue;
            const uint8_t* failed = out.pixels.data() + row * rowBytes;
            for (size_t i = 0; i < rowBytes; ++i) ASSERT_EQ(failed[i], kGuard) << "trial " << trial << " row " << row;
            break;
        }
    }
}

TEST(LosslessDecode, StandardModeSampledComponentsRestartsAndShortFiles) {
    const std::vector<std::vector<uint8_t>> samplings = {{0x22, 0x11, 0x11}, {0x21, 0x11, 0x12}, {0x12}, {0x41, 0x11}};
    uint32_t seed = 10;
    for (const auto& sampling : samplings)
        for (int restart : {0, 1, 4}) {
            const LosslessCase c = losslessCase({19, 13, seed % 2 ? 12 : 8, int(1 + seed % 7), int(seed % 3), restart, sampling}, seed);
            EXPECT_EQ(wrongSamples(c, kModes[1], kModes[1], restart == 4), 0) << seed;
            EXPECT_EQ(wrongSamples(losslessCase(c.recipe, ++seed), kModes[1], kModes[1]), 0) << seed;
        }
}
