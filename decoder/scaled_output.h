// Output at 1/8, 1/4 and 1/2 size. The reduction happens in the inverse
// transform (the reduced MCU decoders leave n x n samples, n = 1, 2 or 4, in
// the top-left corner of each 64-value slot, row pitch 8); the expanders and
// writers here work on those small blocks and never filter pixels.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

#include "decoder/mcu_decode.h"
#include "decoder/upsample.h"

struct JpegContext;

// The reduced MCU decoder of scale 0, 1 or 2; null for any other scale.
McuDecoder reducedMcuDecoder(int32_t scale);
// The scaled expander for the MCU's shape; null for an unsupported one.
Expander scaledExpander(const JpegContext* context);

// Reduced block side for a scale code: 0 -> 1, 1 -> 2, 2 -> 4.
inline int32_t reducedBlockSide(int32_t scale) { return 1 << scale; }

// Scaled expanders: like the full-size ones, for blocks of side n taken from
// the context's current scale.
void jpegDecodeScaleUpsampleH1V1(JpegContext* context, uint32_t mask);
void jpegDecodeScaleUpsampleH2V1(JpegContext* context, uint32_t mask);
void jpegDecodeScaleUpsampleH1V2(JpegContext* context, uint32_t mask);
void jpegDecodeScaleUpsampleH2V2(JpegContext* context, uint32_t mask);

// Scaled writers: slices of n rows, block columns of n pixels; partial
// patches at the right and bottom write only what remains.
void jpegDecodeScaleWriteGray(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w);
void jpegDecodeScaleWriteBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w);

// Back to the first MCU of the scan: DC predictors, rows delivered, last
// marker and MCU counter cleared, the bit reader emptied and the bitstream
// sought to the scan's first entropy-coded byte. A failed seek is reported
// ("seek failed.") and otherwise ignored.
void rewindScan(JpegContext* context);
