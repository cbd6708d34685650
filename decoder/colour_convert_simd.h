// The colour tables' products in integer vector arithmetic. For a sample c in
// -128..127, trunc(k * c) = sign(c) * (whole * |c| + ((|c| * fraction) >> 16)),
// where whole is the integer part of k and fraction a 16-bit approximation of
// the rest; the fractions below give every table entry exactly, which the
// compile-time checks at the end of this file prove.
#pragma once

#include <cstdint>

#include "decoder/colour_tables.h"

namespace colour_simd {

struct Factor {
    int32_t whole;      // 0 or 1
    uint16_t fraction;  // the fractional part, times 65536
};

constexpr Factor kBlueFromCb = {1, 50596};   // 1.772
constexpr Factor kGreenFromCb = {0, 22556};  // 0.34414, negated after
constexpr Factor kGreenFromCr = {0, 46773};  // 0.71414, negated after
constexpr Factor kRedFromCr = {1, 26346};    // 1.402

constexpr int32_t truncatedProduct(int32_t c, Factor f) {
    int32_t magnitude = c < 0 ? -c : c;
    int32_t product = f.whole * magnitude + ((magnitude * int32_t{f.fraction}) >> 16);
    return c < 0 ? -product : product;
}

// trunc(numerator / denominator * c) for every c, as the tables hold it.
constexpr bool matchesEverySample(Factor f, int32_t numerator, int32_t denominator) {
    for (int32_t c = -128; c < 128; ++c)
        if (truncatedProduct(c, f) != c * numerator / denominator) return false;
    return true;
}

static_assert(matchesEverySample(kBlueFromCb, 1772, 1000), "blue from Cb");
static_assert(matchesEverySample(kGreenFromCb, 34414, 100000), "green from Cb");
static_assert(matchesEverySample(kGreenFromCr, 71414, 100000), "green from Cr");
static_assert(matchesEverySample(kRedFromCr, 1402, 1000), "red from Cr");

}  // namespace colour_simd
