// The band loop behind jpegDecodeToRect: one band per MCU row, each MCU
// decoded, expanded and written into the caller's rectangle.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "decoder/mcu_decode.h"
#include "decoder/pixel_writers.h"
#include "decoder/upsample.h"

struct JpegContext;

// One MCU row into a band view, the stage every output loop shares: each MCU
// produced (decoded from the data, rebuilt from coefficients), expanded and
// written. produce returns false when the MCU cannot be had (nothing more of
// the row is written); state is its own.
struct McuRowStage {
    bool (*produce)(JpegContext* context, uint32_t mcuX, void* state);
    void* state;
    Expander expand;
    PixelWriter write;
    uint32_t mask;       // samplingMask
    int32_t blockSide;   // 8 at full size; 4, 2, 1 at 1/2, 1/4, 1/8
    int32_t mcuWidth;    // output columns per MCU
};

// Writes the first `columns` columns of the MCU row into band (band->height
// rows); MCUs right of them are still produced, since their data must be
// consumed. false when an MCU could not be produced.
[[nodiscard]] bool writeMcuRow(JpegContext* context, const McuRowStage& stage, const ImageRect* band, int32_t columns);

// What varies between full-size and reduced-size output.
struct BandLoopSetup {
    McuDecoder decodeMcu;
    Expander expand;
    PixelWriter write;
    int32_t blockSide;        // 8 at full size; 4, 2, 1 at 1/2, 1/4, 1/8
    int32_t mcuWidth;         // output columns per MCU
    int32_t mcuHeight;        // output rows per MCU row
    int32_t columnsPerBand;   // columns left at the start of every band
    bool clipWithoutHeight;   // clip the last band even while the image height is unknown
};

// Runs the band loop for rows (low 16 bits) from the context's rowsDelivered
// on. Returns the rows by which rowsDelivered advanced, or 0 when an MCU
// decoder fails (rowsDelivered is then left alone).
int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoopSetup& setup);
