// jpegDecodeScaleOutputToRect: sequential images at 1/8, 1/4 or 1/2 size
// through the reduced MCU decoders; full size and progressive frames are
// handed on. A change of scale between calls rewinds to the scan's start.
#include "context/jpeg_context.h"
#include "decoder/decode_to_rect.h"
#include "decoder/progressive_decode.h"
#include "decoder/scaled_output.h"
#include "decoder/standard_decode.h"
#include "runtime/report.h"

namespace {

constexpr uint16_t kProgressiveFrame = 0xFFC2;
constexpr uint16_t kLosslessFrame = 0xFFC3;
constexpr uint32_t kSeekFailed = 0xFFFFFFFFu;

McuDecoder reducedMcuDecoder(int32_t scale) {
    switch (scale) {
        case 0: return decodeMcuEighth;
        case 1: return decodeMcuQuarter;
        case 2: return decodeMcuHalf;
        default: return nullptr;
    }
}

Expander scaledExpander(const JpegContext* context) {
    switch (context->dec.positionCount) {
        case 1: return jpegDecodeScaleUpsampleH1V1;
        case 2: return context->dec.maxH == 2 ? jpegDecodeScaleUpsampleH2V1 : jpegDecodeScaleUpsampleH1V2;
        case 4: return jpegDecodeScaleUpsampleH2V2;
        default: return nullptr;
    }
}

}  // namespace

void rewindScan(JpegContext* context) {
    for (ComponentRecord& component : context->components) component.dcPredictor = 0;
    DecoderState& dec = context->dec;
    dec.rowsDelivered = 0;
    dec.lastMarker = 0;
    context->mcuCounter = 0;
    BitstreamFile* bf = context->bitstream;
    bf->readIndex = 0;
    bf->bufferedCount = 0;
    bf->bitCount = 0;
    bf->bitBuffer = 0;
    if (complibSeekBitstreamFile(bf, static_cast<int32_t>(dec.scanDataOffset), 0) == kSeekFailed) {
        reportJpegError(KJ_TEXT("seek failed."));  // decoding goes on from wherever the source stands
        return;
    }
    bf->bytePosition = dec.scanDataOffset;  // keeps the position count true for the refills that follow
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToRect(JpegHandle context, ImageRect* rect,
                                                                        uint32_t rows, int32_t scale) {
    if (!context) return 0;
    DecoderState& dec = context->dec;
    if (dec.standard) {  // standard mode: every frame type, every scale
        dec.currentScale = static_cast<int16_t>(scale);
        return decodeStandardRows(context, rect, rows, scale);
    }
    // Recorded before any other test: an unusable scale or a progressive
    // frame also takes the new scale and rewinds.
    if (scale != dec.currentScale) {
        if (dec.currentScale != -1) rewindScan(context);
        dec.currentScale = static_cast<int16_t>(scale);
    }
    if (context->frame.sofMarker == kProgressiveFrame) return decodeProgressiveRows(context, rect, rows);
    if (scale >= 3) return jpegDecodeToRect(context, rect, rows);
    BandLoopSetup setup{};
    setup.decodeMcu = reducedMcuDecoder(scale);
    // A lossless frame has no block buffers to reduce.
    if (!setup.decodeMcu || !rect || context->frame.sofMarker >= kLosslessFrame || !dec.mcuBlocks) return 0;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(context, &width, &height, scale);
    setup.expand = scaledExpander(context);
    if (!setup.expand || (context->options & JPEG_OPT_RAW_COMPONENTS)) return 0;
    setup.write = dec.componentCount < 3 ? jpegDecodeScaleWriteGray : jpegDecodeScaleWriteBGR;
    const int32_t shift = 3 - scale;
    setup.mcuWidth = static_cast<int32_t>(dec.mcuWidth) >> shift;
    setup.mcuHeight = static_cast<int32_t>(dec.mcuHeight) >> shift;
    setup.columnsPerBand = static_cast<int32_t>(width);  // the scaled width, not the rectangle's
    setup.clipWithoutHeight = true;
    return runBandLoop(context, rect, rows, setup);
}
