// Block and MCU decoders of sequential (Huffman) scans. The MCU decoders
// return 1 when an MCU was decoded into mcuBlocks, 0 once the image's end
// (lastMarker 0xFFD9) has been met (nothing decoded), -1 on a coding error.
#pragma once

#include <cstdint>

#include "decoder/inverse_dct.h"

struct JpegContext;
struct ComponentRecord;

// Decodes one 8x8 block: clears it, predicts the DC term, dequantises and
// places each coefficient in natural order. 0, or -1 after reporting "DC"/"AC".
[[nodiscard]] int32_t decodeBlock(JpegContext* context, int16_t* block, ComponentRecord* component);

// For the reduced-size decoders: stores coefficients while the zig-zag index
// is below keepLimit (24, 4 or 0) and skips the value bits of the rest. Does
// not clear the block. 0, or -1 ("DC" on every corrupt code; silent on an
// index overshoot in the skip phase).
[[nodiscard]] int32_t decodeBlockPartial(JpegContext* context, int16_t* block, ComponentRecord* component,
                                         int32_t keepLimit);

// What the MCU decoders do to each block around its decoding: clear the
// first clearRows rows (the reduced-size decoders leave the rest of a block
// uncleared), keep coefficients up to keepLimit (kKeepAll: decodeBlock's
// full decode; else decodeBlockPartial's limit), then turn the block into
// samples with finish before the next block is read. At 1/8 size finish is
// null: the block's one sample is its mean, worked out in the walk itself,
// since a call per block cost more than the mean.
constexpr int32_t kKeepAll = 64;
struct McuBlockStep {
    int32_t clearRows;
    int32_t keepLimit;
    void (*finish)(int16_t* block);
};

// The 1/8 sample: the 8x8 transform's mean of a block's DC term.
inline int16_t meanSample(int16_t dc) { return clampSample((dc + 4) >> 3); }

// Every block of the MCU, component by component, each component's H x V
// blocks in raster order, into mcuBlocks; 0, or -1 at the first block that
// fails (after its block decoder's report).
[[nodiscard]] int32_t decodeMcuBlocks(JpegContext* context, const McuBlockStep& step);

// MCU bookkeeping shared by every MCU decoder: counts the MCU, processes a
// restart at the interval, and after the image's last MCU records the marker
// that follows in lastMarker.
void finishMcu(JpegContext* context);

[[nodiscard]] int32_t decodeMcuFull(JpegContext* context);     // 8x8 samples per block
[[nodiscard]] int32_t decodeMcuHalf(JpegContext* context);     // 4x4, top left of each slot
[[nodiscard]] int32_t decodeMcuQuarter(JpegContext* context);  // 2x2, top left of each slot
[[nodiscard]] int32_t decodeMcuEighth(JpegContext* context);   // value 0 of each slot

using McuDecoder = int32_t (*)(JpegContext* context);
