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

// Busy samples over the whole range of the precision: gradients, steps,
// noise and the extremes next to each other (differences of every category).
LosslessImage rangeImage(int width, int height, int components, int precision, uint32_t seed = 1) {
    LosslessImage img{width, height, components, precision, {}};
    const uint32_t top = (1u << precision) - 1;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < components; ++c) {
                uint32_t v;
                switch ((x / 3 + y / 2 + c) % 4) {
                    case 0: v = (static_cast<uint32_t>(x * 37 + y * 11 + c * 5) << (precision > 6 ? precision - 6 : 0)); break;
                    case 1: v = (x + y) % 2 ? top : 0; break;  // full-range steps
                    case 2: v = mix(seed + x * 7 + y * 131 + c); break;
                    default: v = top / 2 + static_cast<uint32_t>(x) - static_cast<uint32_t>(y); break;
                }
                img.samples.push_back(static_cast<uint16_t>(v & top));
            }
    return img;
}

// Decoded samples in one call per `rowsPerCall` rows, as 16-bit values.
std::vector<uint16_t> decodeSamples(const std::vector<uint8_t>& jpeg, const LosslessImage& shape, int rowsPerCall,
                                    int32_t* lastResult = nullptr, uint16_t options = 0, int32_t* damage = nullptr) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return {};
    const int bytes = shape.precision <= 8 ? 1 : 2;
    Output out = outputFor(shape.width, shape.height, bytes * shape.components);
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

// The file as `written` codes it, decoded by `reading`, one row per call
// when the picture has components enough to need the kept row.
std::vector<uint16_t> roundTrip(const LosslessImage& img, int predictor, int pointTransform, const Mode& reading,
                                const Mode& written) {
    LosslessOptions opt{predictor, pointTransform, written.bitsAfter32768};
    return decodeSamples(encodeLossless(img, opt), img, img.components > 1 ? 1 : img.height, nullptr, reading.options);
}
std::vector<uint16_t> roundTrip(const LosslessImage& img, int predictor, int pointTransform, const Mode& mode) {
    return roundTrip(img, predictor, pointTransform, mode, mode);
}

// The samples a reading gives back after a point transform: the legacy
// reading leaves them shifted down, standard mode shifts them back up.
std::vector<uint16_t> shifted(const std::vector<uint16_t>& samples, int pointTransform, const Mode& mode) {
    std::vector<uint16_t> out;
    for (uint16_t s : samples) out.push_back(static_cast<uint16_t>((s >> pointTransform) << (mode.options ? pointTransform : 0)));
    return out;
}

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
// sample that covers it, shifted back by the point transform. A file cut
// short at half its data still shows every row, the first quarter of them
// exact.
void expectLosslessExact(const LosslessCase& c, bool cutShort = false) {
    const LosslessSpec& spec = c.spec;
    std::vector<uint8_t> jpeg = writeLossless(spec, c.planes);
    if (cutShort) jpeg.resize(jpeg.size() / 2 + scanDataRanges(jpeg).front().first / 2);
    ReportCapture reports;
    const int count = int(spec.sampling.size());
    int32_t damage = -1;
    const std::vector<uint16_t> got = decodeSamples(jpeg, {spec.width, spec.height, count, spec.precision, {}}, spec.height,
                                                    nullptr, JPEG_OPT_STANDARD, &damage);
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(damage, cutShort ? JPEG_DAMAGE_TRUNCATED : 0);
    EXPECT_EQ(reports.reports().size(), cutShort ? 1u : 0u);
    int maxH = 1, maxV = 1;
    for (uint8_t s : spec.sampling) {
        maxH = std::max(maxH, s >> 4);
        maxV = std::max(maxV, s & 15);
    }
    int wrong = 0;
    for (int y = 0; y < (cutShort ? spec.height / 4 : spec.height); ++y)
        for (int x = 0; x < spec.width; ++x)
            for (int k = 0; k < count; ++k) {
                const int hk = spec.sampling[size_t(k)] >> 4, vk = spec.sampling[size_t(k)] & 15;
                const int w = (spec.width + maxH - 1) / maxH * hk;
                const uint32_t expected = uint32_t(c.planes[size_t(k)][size_t(y * vk / maxV) * size_t(w) + size_t(x * hk / maxH)])
                                          << spec.pointTransform;
                wrong += got[(size_t(y) * spec.width + size_t(x)) * size_t(count) + size_t(k)] != (expected & 0xFFFF);
            }
    EXPECT_EQ(wrong, 0) << "precision " << spec.precision << " predictor " << spec.predictor;
}

}  // namespace

TEST(LosslessDecode, RoundTripsAreExactInBothReadings) {
    for (const Mode& mode : kModes) {
        SCOPED_TRACE(mode.name);
        for (int precision = 2; precision <= 16; ++precision)
            for (int predictor = 1; predictor <= 7; ++predictor) {
                LosslessImage img = rangeImage(23, 9, 1, precision, precision * 10 + predictor);
                EXPECT_EQ(roundTrip(img, predictor, 0, mode), img.samples) << "P=" << precision << " predictor " << predictor;
            }
        // Several components, point transforms, and a single column predicted from above.
        const struct {
            int width, height, components, precision, predictor, pointTransform;
        } cases[] = {{17, 13, 2, 8, 3, 0},  {17, 13, 3, 12, 2, 0}, {17, 13, 4, 16, 6, 0}, {19, 7, 3, 8, 4, 1},
                     {19, 7, 3, 12, 4, 3},  {19, 7, 3, 16, 4, 3},  {1, 20, 2, 10, 5, 0},  {1, 20, 2, 10, 7, 0}};
        for (const auto& c : cases) {
            LosslessImage img = rangeImage(c.width, c.height, c.components, c.precision);
            EXPECT_EQ(roundTrip(img, c.predictor, c.pointTransform, mode), shifted(img.samples, c.pointTransform, mode))
                << c.width << "x" << c.height << "x" << c.components << " P=" << c.precision << " Pt=" << c.pointTransform;
        }
    }
}

TEST(LosslessDecode, TheDifferenceOf32768) {
    // Only 16-bit samples can differ by 32768, the one difference of category
    // 16: the legacy reading takes 16 more bits after it, standard mode none,
    // and each loses its place in the other's file.
    LosslessImage img{6, 4, 1, 16, {}};
    for (int i = 0; i < 24; ++i) img.samples.push_back(static_cast<uint16_t>((i * 5 % 3) ? 32768 + i : i));
    for (const Mode& mode : kModes) {
        SCOPED_TRACE(mode.name);
        for (int predictor = 1; predictor <= 7; ++predictor) {
            EXPECT_EQ(roundTrip(img, predictor, 0, mode), img.samples) << predictor;
            ReportCapture quiet;
            EXPECT_NE(roundTrip(img, predictor, 0, mode, kModes[mode.options ? 0 : 1]), img.samples) << predictor;
        }
    }
}

TEST(LosslessDecode, UnsupportedFramesDeliverNothingAndSamplingIsIgnored) {
    LosslessImage img = rangeImage(8, 4, 1, 8);
    std::vector<std::vector<uint8_t>> streams;
    for (int predictor : {0, 8}) {
        LosslessOptions opt;
        opt.predictor = predictor;
        streams.push_back(encodeLossless(img, opt));
    }
    for (uint8_t precision : {1, 17}) {
        streams.push_back(encodeLossless(img));
        streams.back()[segmentAt(streams.back(), 0xC3) + 4] = precision;
    }
    for (const auto& jpeg : streams) {
        int32_t result = -1;
        EXPECT_TRUE(decodeSamples(jpeg, img, 4, &result).empty());
        EXPECT_EQ(result, 0);
    }
    // The row decoder takes one difference per component per pixel whatever
    // the frame's sampling factors say.
    LosslessImage big = rangeImage(40, 16, 3, 8);
    auto sampled = encodeLossless(big);
    sampled[segmentAt(sampled, 0xC3) + 11] = 0x22;
    EXPECT_EQ(decodeSamples(sampled, big, 16), big.samples);
    // 16-bit samples into a rectangle with room for 8-bit ones.
    LosslessImage wide = rangeImage(16, 4, 3, 12);
    MemoryDecode d(encodeLossless(wide));
    Output out = outputFor(16 * 3, 4, 2);
    ImageRect rect = out.rect();
    rect.stride = 16 * 3;
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 4), 0);
    EXPECT_EQ(out.pixels[0], kGuard);
}

TEST(LosslessDecode, DamagedStreamsFailWithoutHarm) {
    LosslessImage img = rangeImage(33, 21, 3, 16);
    LosslessOptions opt;
    opt.predictor = 7;
    const auto jpeg = encodeLossless(img, opt);
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
    int seed = 10;
    for (const auto& sampling : samplings)
        for (int restart : {0, 1, 4}) {
            LosslessSpec spec;
            spec.sampling = sampling;
            spec.restartInterval = restart;
            spec.predictor = 1 + seed % 7;
            spec.precision = seed % 2 ? 12 : 8;
            spec.pointTransform = seed % 3;
            expectLosslessExact(losslessCase(spec, seed), restart == 4);
            expectLosslessExact(losslessCase(spec, seed++));
        }
}
