// Encoder operations shared by the data calls: restart emission after each
// MCU, and the frame restart that hands back a memory-mode stream so far.
#pragma once

#include <cstdint>

struct JpegContext;

namespace encoder {

// Counts one coded MCU; at the restart interval writes the next RSTn (RST0
// to RST7 in turn) and resets the DC predictors.
void jpegEncodeCountMcuForRestart(JpegContext* context);

// Memory mode with JPEG_OPT_PARTIAL_BITSTREAM only: ends the stream with EOI,
// hands its address and length back, and rewinds the output so that a further
// frame's data can follow with the same tables (no headers are written
// again). Returns 0, or -1 when the options do not allow it or a write failed.
int32_t jpegEncodeRestartFrame(JpegContext* context, uint8_t** buffer, uint32_t* size);

}  // namespace encoder
