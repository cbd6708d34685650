// The band loop behind jpegDecodeToRect: one band per MCU row, each MCU
// decoded, expanded and written into the caller's rectangle.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "decoder/mcu_decode.h"
#include "decoder/pixel_writers.h"
#include "decoder/upsample.h"

struct JpegContext;

// What varies between full-size and reduced-size output.
struct BandLoopSetup {
    McuDecoder decodeMcu;
    Expander expand;
    PixelWriter write;
    int32_t mcuWidth;         // output columns per MCU
    int32_t mcuHeight;        // output rows per MCU row
    int32_t columnsPerBand;   // columns left at the start of every band
    bool clipWithoutHeight;   // clip the last band even while the image height is unknown
};

// Rows of a band that may be written: a rectangle that states its height
// (height > 0) is never written below it; one that leaves the height at 0 is
// written as the image asks, since the legacy decode calls never read it.
inline int32_t writableBandRows(const ImageRect* rect, int32_t rowsAbove, int32_t bandRows) {
    if (rect->height <= 0) return bandRows;
    int32_t room = rect->height - rowsAbove;
    return bandRows < room ? bandRows : room;
}

// Runs the band loop for rows (low 16 bits) from the context's rowsDelivered
// on. Returns the rows by which rowsDelivered advanced, or 0 when an MCU
// decoder fails (rowsDelivered is then left alone).
int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoopSetup& setup);
