// Full-size output: the band loop over MCU rows, and its entry point.
#include "decoder/decode_to_rect.h"

#include "context/jpeg_context.h"
#include "decoder/decode_route.h"
#include "decoder/scaled_output.h"

bool writeMcuRow(JpegContext* context, const McuRowStage& stage, uint32_t mcuRow, const ImageRect* band,
                 int32_t columns) {
    const bool pointOnce = expanderOnlyPoints(stage.expand, stage.blockSide);
    if (pointOnce) stage.expand(context, stage.mask, stage.blockSide);
    int32_t x = 0;
    for (uint32_t m = 0; m < context->dec.mcusPerRow; ++m, x += stage.mcuWidth, columns -= stage.mcuWidth) {
        if (!stage.produce(context, mcuRow, m, stage.state)) return false;
        if (!pointOnce) stage.expand(context, stage.mask, stage.blockSide);
        stage.write(context, band, x, columns < stage.mcuWidth ? columns : stage.mcuWidth, stage.blockSide);
    }
    return true;
}

int32_t runBandLoop(JpegContext* context, ImageRect* rect, uint32_t rows, const BandLoop& loop) {
    DecoderState& dec = context->dec;
    const int32_t rows16 = static_cast<int32_t>(rows & 0xFFFF);
    int32_t bandRows = rows16 < loop.mcuHeight ? rows16 : loop.mcuHeight;
    const int32_t start = static_cast<int32_t>(dec.rowsDelivered);
    uint32_t mcuRow = dec.rowsDelivered / static_cast<uint32_t>(loop.mcuHeight);
    int32_t position = start;
    int32_t remaining = rows16;
    // The rectangle's height is never read: every band is written whole, also
    // below the picture, so the caller's rectangle has room for whole bands.
    ImageRect band = *rect;
    for (; remaining > 0; ++mcuRow) {
        if (mcuRow < loop.writtenMcuRows) {
            band.height = bandRows;
            if (!writeMcuRow(context, loop.stage, mcuRow, &band, loop.columnsPerBand)) return 0;
        }
        band.bits += static_cast<ptrdiff_t>(band.stride) * loop.mcuHeight;
        position += bandRows;
        // The last band is cut to the rows left before clipTo, which can be
        // fewer than none: with 16 of 20 rows delivered in MCU rows of 8, a
        // call for 16 writes rows 16..23 and counts 8, then counts -4 for a
        // band past the end, so it returns 4. For sequential frames clipTo is
        // the rows asked for read as an absolute row, while remaining below
        // counts them as rows for this call; both readings are kept.
        const int32_t left = loop.clipTo - position;
        if (left < loop.mcuHeight) {
            bandRows = left;
            if (left == 0) break;
        }
        remaining -= loop.mcuHeight;
    }
    dec.rowsDelivered = static_cast<uint32_t>(position);
    return position - start;
}

namespace {

bool decodeNextMcu(JpegContext* context, uint32_t, uint32_t, void* decoder) {
    return (*static_cast<const McuDecoder*>(decoder))(context) >= 0;
}

}  // namespace

int32_t deliverSequentialRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    DecoderState& dec = context->dec;
    if (!dec.mcuBlocks) return 0;
    // There is no raw-component output at reduced size.
    const bool full = scale >= 3;
    if (!full && (context->options & JPEG_OPT_RAW_COMPONENTS)) return 0;
    McuDecoder decoder = full ? decodeMcuFull : reducedMcuDecoder(scale);
    if (!decoder) return 0;  // a scale below 0
    const int32_t blockSide = full ? 8 : 1 << scale;
    const int32_t shift = full ? 0 : 3 - scale;
    const McuOutput output = full ? selectMcuOutput(context, rect)
                             : dec.componentCount < 3 ? McuOutput{selectExpander(context), jpegDecodeWriteGray}
                                                      : colourOutput(context, ColourRule::Tables, blockSide);
    BandLoop loop{};
    loop.stage = {decodeNextMcu, &decoder, output.expand, output.write, samplingMask(context), blockSide,
                  static_cast<int32_t>(dec.mcuWidth) >> shift};
    if (!loop.stage.expand || !loop.stage.write) return 0;
    loop.mcuHeight = static_cast<int32_t>(dec.mcuHeight) >> shift;
    if (full) {
        loop.columnsPerBand = rect->width;
    } else {
        uint32_t width = 0;
        routeOf(context).imageSize(context, scale, &width, nullptr);
        loop.columnsPerBand = static_cast<int32_t>(width);  // the scaled width, not the rectangle's
    }
    // While a DNL frame's height is unknown, full-size bands are not clipped.
    const bool clip = !full || dec.imageHeight != 0;
    loop.clipTo = clip ? static_cast<int32_t>(rows & 0xFFFF) : kNoClip;
    loop.writtenMcuRows = UINT32_MAX;  // past the last MCU row, the data goes on being decoded
    return runBandLoop(context, rect, rows, loop);
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToRect(JpegHandle context, ImageRect* rect,
                                                             uint32_t rows) {
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
