// The forward DCT against a floating-point one. The bit writer's stuffing and
// padding and both block coders' bits (the quantising one natively, the plain
// one with the plain kernels forced) are pinned by the manifest's encodes at
// every quality and restart interval; the kernel tests hold the two coders to
// the same streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "encoder/forward_dct.h"

using namespace encoder;

namespace {

// 8 x the forward DCT in floating point.
double referenceCoefficient(const int16_t block[64], int u, int v) {
    const double pi = std::acos(-1.0);
    double sum = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            sum += block[8 * y + x] * std::cos((2 * x + 1) * u * pi / 16) * std::cos((2 * y + 1) * v * pi / 16);
    return 2 * (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) * sum;
}

TEST(EncoderForwardDct, FlatBlocksAreExactAndTextureTracksTheExactTransform) {
    for (int v : {-128, -1, 1, 77, 128}) {
        int16_t block[64];
        for (int16_t& s : block) s = static_cast<int16_t>(v);
        forwardDct(block);
        EXPECT_EQ(block[0], 64 * v);
        for (int k = 1; k < 64; ++k) ASSERT_EQ(block[k], 0) << "value " << v << " position " << k;
    }
    uint32_t state = 7;
    double worst = 0;
    for (int trial = 0; trial < 200; ++trial) {
        int16_t block[64], original[64];
        int span = trial % 2 ? 256 : 40;  // full-range noise and gentle texture
        for (int i = 0; i < 64; ++i) {
            state = state * 1103515245u + 12345u;
            original[i] = block[i] = static_cast<int16_t>(static_cast<int>((state >> 16) % span) - span / 2 +
                                                         (trial % 2 ? 0 : (i % 8) * 6 - 20));
        }
        forwardDct(block);
        for (int k = 0; k < 64; ++k) worst = std::max(worst, std::fabs(block[k] - referenceCoefficient(original, k % 8, k / 8)));
    }
    EXPECT_LT(worst, 12.0);  // a few units of rounding across the two passes
}

}  // namespace
