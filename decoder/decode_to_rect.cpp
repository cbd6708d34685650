// Full-size output: the band loop over MCU rows, and its entry point.
#include "decoder/decode_to_rect.h"

#include "context/jpeg_context.h"
#include "decoder/lossless_decode.h"
#include "decoder/progressive_decode.h"
#include "decoder/standard_decode.h"

int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoopSetup& setup) {
    DecoderState& dec = context->dec;
    const uint32_t mask = samplingMask(context);
    const int32_t rows16 = static_cast<int32_t>(rows & 0xFFFF);
    int32_t bandRows = rows16 < setup.mcuHeight ? rows16 : setup.mcuHeight;
    const int32_t start = static_cast<int32_t>(dec.rowsDelivered);
    int32_t position = start;
    int32_t remaining = rows16;
    // The rectangle's height is never read: every band is written whole, also
    // below the picture, so the caller's rectangle has room for whole bands.
    ImageRect band = *rect;
    while (remaining > 0) {
        band.height = bandRows;
        int32_t columnsLeft = setup.columnsPerBand;
        int32_t x = 0;
        // MCUs right of the rectangle are decoded all the same: their data must be consumed.
        for (uint32_t m = 0; m < dec.mcusPerRow; ++m) {
            if (setup.decodeMcu(context) < 0) return 0;
            setup.expand(context, mask);
            setup.write(context, &band, x, columnsLeft < setup.mcuWidth ? columnsLeft : setup.mcuWidth);
            x += setup.mcuWidth;
            columnsLeft -= setup.mcuWidth;
        }
        band.bits += static_cast<ptrdiff_t>(band.stride) * setup.mcuHeight;
        position += bandRows;
        // position is absolute (it carries over from earlier calls), so rows
        // reads here as the row up to which to decode, while remaining below
        // counts it as rows for this call. Both readings are kept.
        int32_t left = rows16 - position;
        if (left < setup.mcuHeight && (dec.imageHeight != 0 || setup.clipWithoutHeight)) {
            bandRows = left;
            if (left == 0) break;
        }
        remaining -= setup.mcuHeight;
    }
    dec.rowsDelivered = static_cast<uint32_t>(position);
    return position - start;
}

int32_t jpegDecodeToRect(JpegHandle context, ImageRect* rect, uint32_t rows) {
    if (!context || !rect) return 0;
    if (context->dec.standard) return decodeStandardRows(context, rect, rows, 3);
    // Progressive and lossless frames have drivers of their own.
    uint16_t frameType = context->frame.sofMarker;
    if (frameType == 0xFFC2) return decodeProgressiveRows(context, rect, rows);
    if (frameType == 0xFFC3) return decodeLosslessRows(context, rect, rows);
    if (!context->dec.mcuBlocks) return 0;
    BandLoopSetup setup{};
    setup.decodeMcu = decodeMcuFull;
    setup.expand = selectExpander(context);
    setup.write = selectPixelWriter(context, rect);
    if (!setup.expand || !setup.write) return 0;
    setup.mcuWidth = static_cast<int32_t>(context->dec.mcuWidth);
    setup.mcuHeight = static_cast<int32_t>(context->dec.mcuHeight);
    setup.columnsPerBand = rect->width;
    setup.clipWithoutHeight = false;
    return runBandLoop(context, rect, rows, setup);
}
