// Output at 1/8, 1/4 and 1/2 size. The reduction happens in the inverse
// transform (the reduced MCU decoders leave n x n samples, n = 1, 2 or 4, in
// the top-left corner of each 64-value slot, row pitch 8); the expanders and
// writers take n as their block side and never filter pixels.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "decoder/mcu_decode.h"

struct JpegContext;

// The reduced MCU decoder of scale 0, 1 or 2; null for any other scale.
McuDecoder reducedMcuDecoder(int32_t scale);

// Back to the first MCU of the scan: DC predictors, rows delivered, last
// marker and MCU counter cleared, the bit reader emptied and the bitstream
// sought to the scan's first entropy-coded byte. A failed seek is reported
// ("seek failed.") and otherwise ignored.
void rewindScan(JpegContext* context);
