// The vector and quick-path kernels against their plain twins: the same bits
// on random, extreme and damaged input, kernel by kernel. Whole pictures of
// ordinary content are left to the manifest, which CI also runs with the
// plain kernels forced.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "decoder/colour_tables.h"
#include "context/jpeg_context.h"
#include "decoder/kernels.h"
#include "decoder/mcu_decode.h"
#include "decoder_test_support.h"
#include "decoder/standard/standard_decode.h"
#include "encoder/kernels.h"
#include "encoder_test_support.h"
#include "fuzz/harnesses.h"
#include "test_support.h"

namespace {

using Block = std::vector<int16_t>;
using BlockKernel = void (*)(int16_t*);
using RowKernel = void (*)(const int16_t*, const int16_t*, const int16_t*, uint8_t*);

// A kernel and the name of its instruction set.
template <typename Kernel>
struct Named {
    const char* name;
    Kernel run;
};

// The compiled vector kernels this processor runs: the 8x8 transform, the
// colour row, and the rounded colour row where the set has one.
struct VectorSet {
    const char* name;
    BlockKernel transform;
    RowKernel colourRow, roundedColourRow;
};

std::vector<VectorSet> vectorSets() {
    std::vector<VectorSet> out;
#if KELJPEG_X86_KERNELS
    out.push_back({"sse2", inverseDctClampSse2, colourRow8Sse2, roundedColourRow8Sse2});
#if defined(__GNUC__) || defined(__clang__)
    if (__builtin_cpu_supports("avx2")) out.push_back({"avx2", inverseDctClampAvx2, colourRow8Avx2, roundedColourRow8Avx2});
#endif
#endif
#if KELJPEG_NEON_KERNELS
    out.push_back({"neon", inverseDctClampNeon, colourRow8Neon, nullptr});
#endif
    return out;
}

// Coefficient blocks of several kinds: typical dequantised values, sparse
// blocks, DC only, and the whole 16-bit range (where the 32-bit sums wrap).
// The vector transforms take their row pass on 16-bit pairs when the column
// outputs fit 16 bits (typical values, most sparse blocks) and in 32-bit
// lanes when not (the whole range).
Block randomBlock(std::mt19937& rng, int kind) {
    Block block(64, 0);
    std::uniform_int_distribution<int> full(-32768, 32767), small(-1024, 1023), position(0, 63);
    switch (kind % 5) {
        case 0:
            for (auto& v : block) v = static_cast<int16_t>(small(rng));
            break;
        case 1:
            for (int i = 0; i < 6; ++i) block[position(rng)] = static_cast<int16_t>(small(rng) * 4);
            break;
        case 2:
            block[0] = static_cast<int16_t>(full(rng));
            break;
        case 3:
            for (auto& v : block) v = static_cast<int16_t>(full(rng));
            break;
        default:
            for (auto& v : block) v = (rng() & 1) ? int16_t{32767} : int16_t{-32768};
            break;
    }
    return block;
}

struct Coefficient {
    int index;
    int16_t value;
};
struct LimitBlock {
    const char* what;
    std::vector<Coefficient> coefficients;  // the rest are zero
};

// Blocks whose column pass gives one output just past the 16-bit range, in a
// row whose row pass would move a sample were that output saturated to 16
// bits: the vector transforms must send them to their 32-bit row pass.
// Random blocks almost never land there (past the range, the samples
// usually clamp whatever the row pass is fed).
const LimitBlock kEightByEightAtTheLimit[] = {
    // Column 0 gives rows 1 and 6 (2896 * 5791 + 1567 * 4 + 256) >> 9 = 32768,
    // column 4 the negation -32768, so those rows see x0 + x4 = 0; column 1
    // gives them x1 = 17, and their first sample is (4017 * 17 + 65536) >> 17
    // = 1, but 0 had 32768 become 32767 (x0 + x4 = -1 takes 2896 off).
    {"32768, column 0", {{0, 5691}, {16, 4}, {32, -100}, {4, -5691}, {20, -4}, {36, 100}, {1, 3}}},
    {"32768, column 4", {{4, 5691}, {20, 4}, {36, -100}, {0, -5691}, {16, -4}, {32, 100}, {1, 3}}},
    // Rows 1 and 6 get -32769 from column 0 and 32696 from column 4; their
    // fourth sample is (2896 * -73 + 799 * 17 + 65536) >> 17 = -2, but -1 from -32768.
    {"-32769, column 0", {{0, -5689}, {16, -8}, {32, 100}, {4, 5680}, {20, 1}, {36, -100}, {1, 3}}},
    {"-32769, column 4", {{4, -5689}, {20, -8}, {36, 100}, {0, 5680}, {16, 1}, {32, -100}, {1, 3}}},
};

const LimitBlock kFourByFourAtTheLimit[] = {
    // Column 0 at 16384 in rows 0 and 2 gives workspace rows 0 and 3
    // (4096 * 32768 + 2048) >> 12 = 32768, column 2 the negation; with columns
    // 1 and 3 their first sample is (5352 + 2217 * 5 + 16384) >> 15 = 1, but
    // 0 from 32767.
    {"32768", {{0, 16384}, {16, 16384}, {2, -16384}, {18, -16384}, {1, 1}, {3, 5}}},
    // Workspace rows 0 and 3 get -32769 and 32767; their fourth sample is
    // (4096 * -2 - 5352 * 2 + 16384) >> 15 = -1, but 0 from -32768.
    {"-32769", {{0, -16385}, {16, -16384}, {2, 16383}, {18, 16384}, {1, 2}}},
};

// Every compiled 8x8 transform, and the half-size one of the set in use,
// against its plain twin.
TEST(VectorKernels, InverseTransformsMatchThePlainOnesOnRandomAndExtremeBlocks) {
    struct Case {
        Named<BlockKernel> kernel;
        BlockKernel plain;
        const LimitBlock* limits;
        size_t limitCount;
    };
    std::vector<Case> cases;
    for (const VectorSet& set : vectorSets())
        cases.push_back({{set.name, set.transform}, inverseDctClampScalar, kEightByEightAtTheLimit, std::size(kEightByEightAtTheLimit)});
    forceScalarKernels(false);
    cases.push_back({{"half size", decoderKernels().inverseDct4x4Clamp}, inverseDct4x4ClampScalar, kFourByFourAtTheLimit,
                     std::size(kFourByFourAtTheLimit)});
    std::mt19937 rng(20261122);
    for (const Case& c : cases) {
        for (int trial = 0; trial < 20000; ++trial) {
            Block expected = randomBlock(rng, trial), actual = expected;
            c.plain(expected.data());
            c.kernel.run(actual.data());
            ASSERT_EQ(expected, actual) << c.kernel.name << " trial " << trial;
        }
        for (size_t i = 0; i < c.limitCount; ++i) {
            Block expected(64, 0);
            for (const Coefficient& k : c.limits[i].coefficients) expected[static_cast<size_t>(k.index)] = k.value;
            Block actual = expected;
            c.plain(expected.data());
            c.kernel.run(actual.data());
            EXPECT_EQ(expected, actual) << c.kernel.name << ", " << c.limits[i].what;
        }
    }
}

// Every (Cb, Cr) pair, each with luma at the extremes and in between: the
// plain rounded rows against the formula standard mode states, and every
// compiled vector row, truncating and rounded, against its plain twin.
TEST(VectorKernels, ColourRowsMatchThePlainOnesAndTheFormulaForEverySamplePair) {
    std::vector<Named<RowKernel>> rounded = {{"scalar", roundedColourRow8Scalar}}, truncating;
    for (const VectorSet& set : vectorSets()) {
        truncating.push_back({set.name, set.colourRow});
        if (set.roundedColourRow) rounded.push_back({set.name, set.roundedColourRow});
    }
    std::mt19937 rng(7);
    for (int cb = -128; cb < 128; ++cb) {
        for (int cr = -128; cr < 128; cr += 8) {
            int16_t y[8], b[8], r[8];
            uint8_t formula[24], plain[24], actual[24];
            for (int i = 0; i < 8; ++i) {
                y[i] = static_cast<int16_t>(i == 0 ? -128 : i == 1 ? 127 : static_cast<int>(rng() % 256) - 128);
                b[i] = static_cast<int16_t>(cb);
                r[i] = static_cast<int16_t>(cr + i);
                int32_t rgb[3];
                standardYccToRgb(y[i] + 128, b[i] + 128, r[i] + 128, rgb);
                for (int c = 0; c < 3; ++c) formula[3 * i + c] = uint8_t(rgb[2 - c]);
            }
            for (const Named<RowKernel>& kernel : rounded) {
                kernel.run(y, b, r, actual);
                ASSERT_EQ(0, std::memcmp(formula, actual, 24)) << kernel.name << " cb " << cb << " cr " << cr;
            }
            colourRow8Scalar(y, b, r, plain);
            for (const Named<RowKernel>& kernel : truncating) {
                kernel.run(y, b, r, actual);
                ASSERT_EQ(0, std::memcmp(plain, actual, 24)) << kernel.name << " cb " << cb << " cr " << cr;
            }
        }
    }
    // Samples outside -128..127 are read through the same 8-bit view.
    for (int trial = 0; trial < 2000; ++trial) {
        int16_t y[8], b[8], r[8];
        for (int i = 0; i < 8; ++i) {
            y[i] = static_cast<int16_t>(rng());
            b[i] = static_cast<int16_t>(rng());
            r[i] = static_cast<int16_t>(rng());
        }
        uint8_t expected[24], actual[24];
        colourRow8Scalar(y, b, r, expected);
        for (const Named<RowKernel>& kernel : truncating) {
            kernel.run(y, b, r, actual);
            ASSERT_EQ(0, std::memcmp(expected, actual, 24)) << kernel.name << " trial " << trial;
        }
    }
}

// Every block kernel of every set this processor runs against the plain rows,
// for every row count: chroma at every pixel, or halved (four samples for
// eight pixels, one chroma row for one or two rows) and read where it lies
// against the plain rows given it widened beforehand.
TEST(VectorKernels, ColourGreyAndHalvedChromaBlocksMatchThePlainRows) {
    std::mt19937 rng(8);
    for (const DecoderKernels* kernels : runnableDecoderKernels()) {
        for (int trial = 0; trial < 2400; ++trial) {
            const int32_t rows = 1 + trial % 8;
            const int layout = trial / 8 % 3;   // 0: chroma at every pixel, 1: halved, 2: halved, one row for two
            const bool wild = trial % 10 == 0;  // luma beyond -128..127: the truncating blocks only
            int16_t y[64], cb[64], cr[64];
            for (int i = 0; i < 64; ++i) {
                y[i] = wild ? static_cast<int16_t>(rng()) : static_cast<int16_t>(static_cast<int>(rng() % 256) - 128);
                cb[i] = static_cast<int16_t>(static_cast<int>(rng() % 256) - 128);
                cr[i] = static_cast<int16_t>(static_cast<int>(rng() % 256) - 128);
            }
            const ptrdiff_t stride = 29;  // wider than a row, and odd
            std::vector<uint8_t> expected(8 * stride, 0xAB), rounded = expected, grey = expected, actual = expected;
            for (int32_t r = 0; r < rows; ++r) {
                int16_t blue[8], red[8];
                for (int i = 0; i < 8; ++i) {
                    const int at = layout == 0 ? 8 * r + i : 8 * (layout == 2 ? r / 2 : r) + i / 2;
                    blue[i] = cb[at];
                    red[i] = cr[at];
                }
                colourRow8Scalar(y + 8 * r, blue, red, expected.data() + r * stride);
                if (!wild) roundedColourRowScalar(y + 8 * r, blue, red, 8, rounded.data() + r * stride);
            }
            greyBlockScalar(y, grey.data(), stride, rows);
            const std::string where = std::string(kernels->name) + " rows " + std::to_string(rows) + " layout " +
                                      std::to_string(layout) + " trial " + std::to_string(trial);
            if (layout) kernels->colourBlockHalved(y, cb, cr, actual.data(), stride, rows, layout == 2);
            else kernels->colourBlock(y, cb, cr, actual.data(), stride, rows);
            ASSERT_EQ(expected, actual) << where;
            if (!wild) {
                std::fill(actual.begin(), actual.end(), 0xAB);
                if (layout) kernels->roundedColourBlockHalved(y, cb, cr, actual.data(), stride, rows, layout == 2);
                else kernels->roundedColourBlock(y, cb, cr, actual.data(), stride, rows);
                ASSERT_EQ(rounded, actual) << where;
            }
            std::fill(actual.begin(), actual.end(), 0xAB);
            kernels->greyBlock(y, actual.data(), stride, rows);
            ASSERT_EQ(grey, actual) << where;
            if (layout) {
                uint8_t row[24];
                kernels->colourRow8Wide(y, cb, cr, row);
                ASSERT_EQ(0, std::memcmp(row, expected.data(), 24)) << where;
            }
        }
    }
}

// ---- The quick Huffman reader ----

// The quick reader holds up to 64 bits through an MCU, takes stuffed bytes
// itself and hands the plain reader's state back after it. Streams with much
// stuffing (high qualities), restarts, reads across the 4096-byte buffer and
// damage of every kind must leave both readers in the same state after
// every MCU.
TEST(VectorKernels, QuickReaderLeavesThePlainReadersStateAfterEveryMcu) {
    std::mt19937 rng(7);
    // Blocks from DC only (a flat patch) to full (noise).
    auto encodePicture = [](uint32_t sampling, uint16_t components, int width, int height, uint16_t quality, uint16_t restart,
                            uint32_t seed) {
        const testing_support::Picture image = testing_support::busyPicture(width, height, components, seed);
        JpegEncodeParams params = testing_support::paramsFor(image, sampling, quality);
        params.restartInterval = restart;
        return testing_support::encodeImage(image, params);
    };
    std::vector<std::vector<uint8_t>> clean;
    for (auto [sampling, components] : {std::pair<uint32_t, uint16_t>{0x221111, 3}, {0x211111, 3}, {0x121111, 3}, {0x111111, 3},
                                        {0x11, 1}, {0x22, 1}})
        for (uint16_t restart : {0, 2})
            clean.push_back(encodePicture(sampling, components, 64, 40, 100, restart, sampling + restart));
    clean.push_back(encodePicture(0x221111, 3, 160, 120, 98, 7, 5));  // over 4096 bytes
    for (const std::vector<uint8_t>& picture : clean) {
        ASSERT_GT(picture.size(), 700u);
        EXPECT_EQ("", fuzz_harness::firstReaderDifference(picture.data(), picture.size()))
            << "clean picture of " << picture.size() << " bytes";
        std::uniform_int_distribution<size_t> at(620, picture.size() - 3);  // past the headers
        for (int trial = 0; trial < 16; ++trial) {
            std::vector<uint8_t> jpeg = picture;
            const size_t p = at(rng);
            switch (trial % 5) {
                case 0: jpeg[p] ^= static_cast<uint8_t>(1 + rng() % 255); break;
                case 1: jpeg[p] = 0xFF; break;
                case 2: jpeg[p] = 0xFF, jpeg[p + 1] = static_cast<uint8_t>(0xC0 + rng() % 0x3F); break;
                case 3: jpeg[p] = 0xFF, jpeg[p + 1] = 0; break;  // a stuffed byte where none was
                default: jpeg.resize(p); break;
            }
            EXPECT_EQ("", fuzz_harness::firstReaderDifference(jpeg.data(), jpeg.size()))
                << "damaged picture of " << picture.size() << " bytes, trial " << trial << " at " << p;
        }
    }
}

// ---- Encoder ----

// The vector sets this processor runs, each compared with the plain one, the first.
std::vector<const encoder::EncoderKernels*> vectorEncoderKernels() {
    const std::vector<const encoder::EncoderKernels*> sets = encoder::runnableEncoderKernels();
    return {sets.begin() + 1, sets.end()};
}

// The quantisers divide by multiplying: every divisor the tables make (8 times
// 1..255) against every 16-bit coefficient, then random divisors of the
// same range through the whole transform, on extreme and random samples.
TEST(VectorKernels, ForwardTransformAndQuantiserMatchThePlainOnes) {
    for (const encoder::EncoderKernels* set : vectorEncoderKernels()) {
        const encoder::EncoderKernels& kernels = *set;
        for (int32_t entry = 1; entry <= 255; ++entry) {
            int32_t divisors[64];
            std::fill(divisors, divisors + 64, 8 * entry);
            encoder::QuantPlan plan;
            encoder::prepareQuantPlan(divisors, plan);
            for (int32_t first = -32768; first < 32768; first += 64) {
                int16_t coefficients[64], expected[64], actual[64];
                for (int i = 0; i < 64; ++i) coefficients[i] = static_cast<int16_t>(first + i);
                uint64_t expectedMask = encoder::quantiseScalar(coefficients, plan, expected);
                uint64_t actualMask = kernels.quantise(coefficients, plan, actual);
                ASSERT_EQ(expectedMask, actualMask) << kernels.name << " divisor " << 8 * entry << " from " << first;
                ASSERT_EQ(0, std::memcmp(expected, actual, sizeof expected))
                    << kernels.name << " divisor " << 8 * entry << " from " << first;
            }
        }
        std::mt19937 rng(4242);
        std::uniform_int_distribution<int> sample(-128, 128), divisor(8, 8 * 255);
        for (int trial = 0; trial < 20000; ++trial) {
            int16_t samples[64], expected[64], actual[64];
            int32_t divisors[64];
            for (int k = 0; k < 64; ++k) {
                samples[k] = static_cast<int16_t>(trial % 4 == 0 ? ((rng() & 1) ? 128 : -128) : sample(rng));
                divisors[k] = trial % 5 == 0 ? 8 : divisor(rng);
            }
            encoder::QuantPlan plan;
            encoder::prepareQuantPlan(divisors, plan);
            uint64_t expectedMask = encoder::transformQuantiseScalar(samples, plan, expected);
            uint64_t actualMask = kernels.transformQuantise(samples, plan, actual);
            ASSERT_EQ(expectedMask, actualMask) << kernels.name << " trial " << trial;
            ASSERT_EQ(0, std::memcmp(expected, actual, sizeof expected)) << kernels.name << " trial " << trial;
        }
    }
}

// Each row converter writes eight samples to each of its destinations and
// nothing else (sentinels between them), the grey one a block; all read only
// the pixels they are given: the inputs are allocations of exactly that size
// (the grey block's rows 11 bytes apart), so that a sanitizer build sees a
// read beyond them.
TEST(VectorKernels, ColourRowsMatchThePlainOnesForEveryGreyAndRandomPixels) {
    using namespace encoder;
    const EncoderKernels& plain = *runnableEncoderKernels().front();
    constexpr intptr_t kGreyStride = 11;
    std::mt19937 rng(11);
    for (const EncoderKernels* set : vectorEncoderKernels()) {
        const EncoderKernels& kernels = *set;
        for (int trial = 0; trial < 20000; ++trial) {
            std::vector<uint8_t> pixels(48), grey(7 * kGreyStride + 8);
            for (std::vector<uint8_t>* bytes : {&pixels, &grey})
                for (size_t i = 0; i < bytes->size(); ++i) {
                    if (trial < 32) (*bytes)[i] = static_cast<uint8_t>(trial * 8 + (i / 3) % 8);  // every grey level
                    else if (trial % 7 == 0) (*bytes)[i] = (rng() & 1) ? 255 : 0;  // the corners of the cube
                    else (*bytes)[i] = static_cast<uint8_t>(rng());
                }
            std::vector<uint8_t> a(pixels.begin(), pixels.begin() + 24), b(pixels.begin() + 24, pixels.end());
            auto run = [&](const EncoderKernels& set, int kernel) {
                std::vector<int16_t> out(6 * 16, 0x5A5A);
                YccRowOut rows{&out[0], &out[16], &out[32], &out[48], &out[64], &out[80]};
                switch (kernel) {
                    case 0: set.yccPixels16(a.data(), b.data(), rows); break;
                    case 1: set.yccEven16(pixels.data(), rows); break;
                    case 2: set.luma16(a.data(), b.data(), rows); break;
                    default: set.levelShiftBlock(grey.data(), kGreyStride, &out[8]); break;
                }
                return out;
            };
            for (int kernel = 0; kernel < 4; ++kernel)
                ASSERT_EQ(run(plain, kernel), run(kernels, kernel))
                    << kernels.name << " converter " << kernel << " trial " << trial;
        }
    }
}

// The layouts the manifest's encodes do not reach (4:2:0, 4:2:2, 4:4:0,
// 4:4:4 and grey whole, raw components in strips of 16 are there, and CI
// runs it with the plain kernels): strips that cut MCU rows, the unusual
// samplings, four components; the last picture, at quality 100, fills
// several output buffers with many stuffed 0xFF bytes.
TEST(VectorKernels, EncodedStreamsAreTheSameWithFastPathsOnAndOff) {
    struct Case {
        uint32_t sampling;
        uint16_t components;
        uint32_t width, height, strip;
    };
    const Case cases[] = {
        {0x211111, 3, 83, 37, 8},    // 4:2:2 in strips of half an MCU row
        {0x111111, 3, 83, 37, 5},    // 4:4:4, strips cutting MCU rows
        {0x212111, 3, 83, 37, 0},    // chroma at every pixel of 16-pixel MCUs
        {0x222111, 3, 83, 37, 0},    // unlike chroma: plain conversion
        {0x112211, 3, 45, 29, 0},    // luma coarser than chroma
        {0x22, 1, 83, 37, 7},        {0x11111111, 4, 83, 37, 0},
        {0x221111, 3, 200, 120, 0},
    };
    for (const Case& c : cases) {
        testing_support::Picture image = testing_support::busyPicture(int(c.width), int(c.height), c.components, c.sampling + c.width);
        for (uint16_t quality : {1, 30, 75, 100})
            for (uint16_t restart : {0, 5}) {
                JpegEncodeParams params = testing_support::paramsFor(image, c.sampling, quality);
                params.restartInterval = restart;
                encoder::forceScalarEncoderKernels(true);
                std::vector<uint8_t> plain = testing_support::encodeImage(image, params, c.strip);
                encoder::forceScalarEncoderKernels(false);
                std::vector<uint8_t> fast = testing_support::encodeImage(image, params, c.strip);
                ASSERT_FALSE(plain.empty());
                ASSERT_TRUE(plain == fast) << "sampling " << std::hex << c.sampling << std::dec << " q" << quality
                                           << " restart " << restart << " (kernels "
                                           << encoder::encoderKernels().name << ")";
            }
    }
}

}  // namespace
