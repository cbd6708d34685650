// MCU decoders: every block of one MCU, component by component, each
// component's H x V blocks in raster order, at full or reduced size.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/bit_reader.h"
#include "decoder/inverse_dct.h"
#include "decoder/kernels.h"
#include "decoder/marker_parser.h"
#include "decoder/mcu_decode.h"
#include "runtime/report.h"

namespace {

// One MCU through the chosen kernels' block walk: 1, 0 at the image's end,
// or -1.
int32_t decodeMcu(JpegContext* context, const McuBlockStep& step) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    if (context->dec.kernels->decodeMcuBlocks(context, step) != 0) return -1;
    finishMcu(context);
    return 1;
}

}  // namespace

void finishMcu(JpegContext* context) {
    DecoderState& dec = context->dec;
    ++context->mcuCounter;
    if (context->mcuCounter == dec.restartInterval) {
        (void)processRestart(context);
    } else if (context->mcuCounter == dec.totalMcus) {
        dec.lastMarker = peekMarker(context->bitstream);
    }
}

int32_t decodeMcuFull(JpegContext* context) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    const DecoderKernels& kernels = *context->dec.kernels;
    if (kernels.decodeMcuBlocks(context, {0, kKeepAll, kernels.inverseDctClamp}) != 0) {
        reportJpegError(report_text::kUnitNo);
        return -1;
    }
    finishMcu(context);
    return 1;
}

// The reduced sizes clear only the rows their transforms read (the 2x2
// one reads 0, 1, 8 and 9) and keep the coefficients those need.
int32_t decodeMcuHalf(JpegContext* context) {
    return decodeMcu(context, {4, 24, context->dec.kernels->inverseDct4x4Clamp});
}

int32_t decodeMcuQuarter(JpegContext* context) { return decodeMcu(context, {2, 4, inverseDct2x2Clamp}); }

int32_t decodeMcuEighth(JpegContext* context) { return decodeMcu(context, {0, 0, nullptr}); }
