// Lossless decoding checked by exact round trips through the test-side
// encoder: every precision from 2 to 16, every predictor, point transforms,
// several components, rows in pieces; unsupported frames deliver nothing and
// damaged ones fail without harm.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "lossless_test_encoder.h"
#include "progressive_test_support.h"

using namespace decode_testing;
using lossless_test::encodeLossless;
using lossless_test::LosslessImage;
using lossless_test::LosslessOptions;

namespace {

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

int sampleBytes(int precision) { return precision <= 8 ? 1 : 2; }

// Decoded samples in one call per `rowsPerCall` rows, as 16-bit values.
std::vector<uint16_t> decodeSamples(const std::vector<uint8_t>& jpeg, const LosslessImage& shape, int rowsPerCall,
                                    int32_t* lastResult = nullptr, uint16_t options = 0) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return {};
    const int bytes = sampleBytes(shape.precision);
    Output out = outputFor(shape.width * shape.components, shape.height, bytes);
    for (int row = 0; row < shape.height;) {
        ImageRect rect = out.rect(row);
        const int want = std::min(rowsPerCall, shape.height - row);
        int32_t got = jpegDecodeToRect(d.handle, &rect, static_cast<uint32_t>(want));
        if (lastResult) *lastResult = got;
        if (got != want) return {};
        row += got;
    }
    std::vector<uint16_t> samples;
    for (size_t i = 0; i < out.pixels.size(); i += bytes) {
        uint16_t v = out.pixels[i];
        if (bytes == 2) std::memcpy(&v, &out.pixels[i], 2);
        samples.push_back(v);
    }
    return samples;
}

std::vector<uint16_t> shifted(const std::vector<uint16_t>& samples, int pointTransform) {
    std::vector<uint16_t> out;
    for (uint16_t s : samples) out.push_back(static_cast<uint16_t>(s >> pointTransform));
    return out;
}

}  // namespace

TEST(LosslessDecode, EveryPrecisionAndPredictorRoundTrips) {
    for (int precision = 2; precision <= 16; ++precision) {
        for (int predictor = 1; predictor <= 7; ++predictor) {
            SCOPED_TRACE("P=" + std::to_string(precision) + " predictor " + std::to_string(predictor));
            LosslessImage img = rangeImage(23, 9, 1, precision, precision * 10 + predictor);
            LosslessOptions opt;
            opt.predictor = predictor;
            EXPECT_EQ(decodeSamples(encodeLossless(img, opt), img, 9), img.samples);
        }
    }
}

TEST(LosslessDecode, SeveralComponentsRoundTrip) {
    for (int components : {2, 3, 4}) {
        for (int precision : {8, 12, 16}) {
            SCOPED_TRACE(std::to_string(components) + " components, P=" + std::to_string(precision));
            LosslessImage img = rangeImage(17, 13, components, precision);
            LosslessOptions opt;
            opt.predictor = 1 + (components + precision) % 7;
            EXPECT_EQ(decodeSamples(encodeLossless(img, opt), img, 13), img.samples);
        }
    }
}

TEST(LosslessDecode, PointTransformKeepsTheReducedRange) {
    for (int precision : {8, 12, 16}) {
        for (int pt : {1, 3}) {
            SCOPED_TRACE("P=" + std::to_string(precision) + " Pt=" + std::to_string(pt));
            LosslessImage img = rangeImage(19, 7, 3, precision);
            LosslessOptions opt;
            opt.predictor = 4;
            opt.pointTransform = pt;
            EXPECT_EQ(decodeSamples(encodeLossless(img, opt), img, 7), shifted(img.samples, pt));
        }
    }
}

TEST(LosslessDecode, ZeroDifferencesGiveTheInitialPrediction) {
    // 128 everywhere: every difference is 0 and every sample 2^(P - Pt - 1).
    LosslessImage flat{12, 5, 1, 8, std::vector<uint16_t>(60, 128)};
    EXPECT_EQ(decodeSamples(encodeLossless(flat), flat, 5), std::vector<uint16_t>(60, 128));
    LosslessOptions halved;
    halved.pointTransform = 1;
    EXPECT_EQ(decodeSamples(encodeLossless(flat, halved), flat, 5), std::vector<uint16_t>(60, 64));
}

TEST(LosslessDecode, DifferenceOf32768RoundTrips) {
    // Only 16-bit samples can differ by 32768, the one difference of category 16.
    LosslessImage img{6, 4, 1, 16, {}};
    for (int i = 0; i < 24; ++i) img.samples.push_back(static_cast<uint16_t>((i * 5 % 3) ? 32768 + i : i));
    for (int predictor : {1, 2, 7}) {
        LosslessOptions opt;
        opt.predictor = predictor;
        EXPECT_EQ(decodeSamples(encodeLossless(img, opt), img, 4), img.samples);
    }
}

TEST(LosslessDecode, SingleColumnPredictsFromAbove) {
    for (int predictor : {1, 5, 7}) {
        LosslessImage img = rangeImage(1, 20, 2, 10);
        LosslessOptions opt;
        opt.predictor = predictor;
        EXPECT_EQ(decodeSamples(encodeLossless(img, opt), img, 20), img.samples);
    }
}

TEST(LosslessDecode, CallsInPiecesContinueFromTheKeptRow) {
    LosslessImage img = rangeImage(31, 25, 3, 12);
    LosslessOptions opt;
    opt.predictor = 6;
    auto jpeg = encodeLossless(img, opt);
    MemoryDecode d(jpeg);
    ASSERT_NE(d.handle, nullptr);
    Output out = outputFor(31 * 3, 25, 2);
    std::vector<int32_t> delivered;
    for (int row = 0; row < 25;) {
        ImageRect rect = out.rect(row);
        delivered.push_back(jpegDecodeToRect(d.handle, &rect, 10));
        if (delivered.back() <= 0) break;
        row += delivered.back();
    }
    EXPECT_EQ(delivered, (std::vector<int32_t>{10, 10, 5}));
    EXPECT_EQ(decodeSamples(jpeg, img, 25), decodeSamples(jpeg, img, 1));
    EXPECT_EQ(decodeSamples(jpeg, img, 1), img.samples);
    // The picture is complete: nothing more to deliver.
    ImageRect rect = out.rect(24);
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 1), 0);
}

TEST(LosslessDecode, UnsupportedPredictorOrPrecisionDeliversNothing) {
    LosslessImage img = rangeImage(8, 4, 1, 8);
    LosslessOptions zero;
    zero.predictor = 0;
    int32_t result = -1;
    EXPECT_TRUE(decodeSamples(encodeLossless(img, zero), img, 4, &result).empty());
    EXPECT_EQ(result, 0);
    LosslessOptions eight;
    eight.predictor = 8;
    EXPECT_TRUE(decodeSamples(encodeLossless(img, eight), img, 4, &result).empty());
    EXPECT_EQ(result, 0);
    for (uint8_t precision : {1, 17}) {
        auto jpeg = encodeLossless(img);
        for (const Segment& s : segmentsOf(jpeg))
            if (s.marker == 0xC3) jpeg[s.offset + 4] = precision;
        EXPECT_TRUE(decodeSamples(jpeg, img, 4, &result).empty());
        EXPECT_EQ(result, 0);
    }
}

TEST(LosslessDecode, SubsampledFramesFailCleanly) {
    // The row decoder takes one sample per component per pixel; a frame whose
    // MCUs carry subsampled components does not hold that many differences.
    LosslessImage img = rangeImage(40, 16, 3, 8);
    LosslessOptions opt;
    opt.sampling = {0x22, 0x11, 0x11};
    testing_support::ReportCapture reports;
    int32_t result = -1;
    auto samples = decodeSamples(encodeLossless(img, opt), img, 16, &result);
    EXPECT_NE(samples, img.samples);
    EXPECT_EQ(result, 0);
}

TEST(LosslessDecode, RectangleTooNarrowForARowIsRefused) {
    LosslessImage img = rangeImage(16, 4, 3, 12);
    auto jpeg = encodeLossless(img);
    MemoryDecode d(jpeg);
    Output out = outputFor(16 * 3, 4, 2);
    ImageRect rect = out.rect();
    rect.stride = 16 * 3;  // bytes for 8-bit samples, but these are 16-bit
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 4), 0);
    EXPECT_EQ(out.pixels[0], kGuard);
}

TEST(LosslessDecode, DamagedStreamsFailWithoutHarm) {
    LosslessImage img = rangeImage(33, 21, 3, 16);
    LosslessOptions opt;
    opt.predictor = 7;
    const auto jpeg = encodeLossless(img, opt);
    size_t dataStart = 0;
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker == 0xDA) dataStart = s.offset + 2 + ((jpeg[s.offset + 2] << 8) | jpeg[s.offset + 3]);
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
        decodeSamples(damaged, img, 5, nullptr, options);
    }
}
