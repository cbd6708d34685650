// Full-size output: the band loop over MCU rows, and its entry point.
#include "decoder/decode_to_rect.h"

#include "context/jpeg_context.h"
#include "decoder/decode_route.h"
#include "decoder/scaled_output.h"

bool writeMcuRow(JpegContext* context, const McuRowStage& stage, const ImageRect* band, int32_t columns) {
    int32_t x = 0;
    for (uint32_t m = 0; m < context->dec.mcusPerRow; ++m, x += stage.mcuWidth, columns -= stage.mcuWidth) {
        if (!stage.produce(context, m, stage.state)) return false;
        stage.expand(context, stage.mask, stage.blockSide);
        stage.write(context, band, x, columns < stage.mcuWidth ? columns : stage.mcuWidth, stage.blockSide);
    }
    return true;
}

namespace {

bool decodeNextMcu(JpegContext* context, uint32_t, void* decoder) {
    return (*static_cast<const McuDecoder*>(decoder))(context) >= 0;
}

}  // namespace

int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoopSetup& setup) {
    DecoderState& dec = context->dec;
    McuDecoder decoder = setup.decodeMcu;
    const McuRowStage stage = {decodeNextMcu, &decoder, setup.expand, setup.write, samplingMask(context),
                               setup.blockSide, setup.mcuWidth};
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
        if (!writeMcuRow(context, stage, &band, setup.columnsPerBand)) return 0;
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

int32_t deliverSequentialRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    DecoderState& dec = context->dec;
    if (!dec.mcuBlocks) return 0;
    BandLoopSetup setup{};
    setup.expand = selectExpander(context);
    if (scale >= 3) {
        setup.decodeMcu = decodeMcuFull;
        setup.write = selectPixelWriter(context, rect);
        setup.blockSide = 8;
        setup.mcuWidth = static_cast<int32_t>(dec.mcuWidth);
        setup.mcuHeight = static_cast<int32_t>(dec.mcuHeight);
        setup.columnsPerBand = rect->width;
        setup.clipWithoutHeight = false;
    } else {
        // There is no raw-component output at reduced size.
        setup.decodeMcu = reducedMcuDecoder(scale);
        if (!setup.decodeMcu || (context->options & JPEG_OPT_RAW_COMPONENTS)) return 0;
        setup.write = dec.componentCount < 3 ? jpegDecodeWriteGray : jpegDecodeWriteBGR;
        setup.blockSide = 1 << scale;
        const int32_t shift = 3 - scale;
        setup.mcuWidth = static_cast<int32_t>(dec.mcuWidth) >> shift;
        setup.mcuHeight = static_cast<int32_t>(dec.mcuHeight) >> shift;
        uint32_t width = 0;
        routeOf(context).imageSize(context, scale, &width, nullptr);
        setup.columnsPerBand = static_cast<int32_t>(width);  // the scaled width, not the rectangle's
        setup.clipWithoutHeight = true;
    }
    if (!setup.expand || !setup.write) return 0;
    return runBandLoop(context, rect, rows, setup);
}

int32_t jpegDecodeToRect(JpegHandle context, ImageRect* rect, uint32_t rows) {
    if (!context || !rect) return 0;
    return routeOf(context).deliverRows(context, rect, rows, JPEG_SCALE_FULL);
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToRect(JpegHandle context, ImageRect* rect,
                                                                        uint32_t rows, int32_t scale) {
    if (!context) return 0;
    const DecodeRoute& route = routeOf(context);
    route.nameScale(context, scale);  // before anything else: an unusable scale is recorded too
    if (!rect) return 0;
    return route.deliverRows(context, rect, rows, scale);
}
