// The band loop: one band per MCU row, each MCU produced (decoded, or rebuilt
// from coefficients), expanded and written into the caller's rectangle.
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
    bool (*produce)(JpegContext* context, uint32_t mcuRow, uint32_t mcuX, void* state);
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
[[nodiscard]] bool writeMcuRow(JpegContext* context, const McuRowStage& stage, uint32_t mcuRow, const ImageRect* band,
                               int32_t columns);

// The legacy band loop, for sequential frames at every scale and for the
// passes of progressive frames.
struct BandLoop {
    McuRowStage stage;
    int32_t mcuHeight;          // output rows per MCU row
    int32_t columnsPerBand;     // columns left at the start of every band
    int32_t clipTo;             // the row the last band is clipped to; kNoClip while there is none
    uint32_t writtenMcuRows;    // bands from this MCU row on are counted, not written
};
constexpr int32_t kNoClip = INT32_MAX;

// Runs the band loop for rows (low 16 bits) from the context's rowsDelivered
// on. Returns the rows by which rowsDelivered advanced, or 0 when an MCU
// cannot be produced (rowsDelivered is then left alone).
int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoop& loop);
