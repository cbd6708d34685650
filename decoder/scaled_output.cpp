// Sequential images at 1/8, 1/4 or 1/2 size: the reduced MCU decoders and
// expanders, and the rewind to the scan's start when the scale changes.
#include "context/jpeg_context.h"
#include "decoder/scaled_output.h"
#include "runtime/report.h"

namespace {

constexpr uint32_t kSeekFailed = 0xFFFFFFFFu;

}  // namespace

McuDecoder reducedMcuDecoder(int32_t scale) {
    switch (scale) {
        case 0: return decodeMcuEighth;
        case 1: return decodeMcuQuarter;
        case 2: return decodeMcuHalf;
        default: return nullptr;
    }
}

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
        reportJpegError(report_text::kSeekFailedStop);  // decoding goes on from wherever the source stands
        return;
    }
    bf->bytePosition = dec.scanDataOffset;  // keeps the position count true for the refills that follow
}

