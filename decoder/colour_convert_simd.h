// The colour factors as single-precision numbers: trunc(c * factor) in single
// precision equals the colour tables' entry for every sample c in -128..127.
#pragma once

namespace colour_simd {

constexpr float kBlueFromCb = 1.772f;
constexpr float kGreenFromCb = -0.34414f;
constexpr float kGreenFromCr = -0.71414f;
constexpr float kRedFromCr = 1.402f;

}  // namespace colour_simd
