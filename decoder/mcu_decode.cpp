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

// Blocks the MCU walk may fill: the decoded MCU and the expansion scratch
// after it. Scan records left over from another scan cannot push past it.
uint32_t blockRoom(const DecoderState& dec) { return dec.blocksPerMcu + dec.scratchBlocks; }

// Runs decodeOne on every block of the MCU; stops at the first failure.
template <typename DecodeOne>
int32_t forEachMcuBlock(JpegContext* context, DecodeOne decodeOne) {
    DecoderState& dec = context->dec;
    int16_t* block = dec.mcuBlocks;
    if (!block) return -1;
    uint32_t used = 0, room = blockRoom(dec);
    for (uint32_t c = 0; c < dec.componentCount && c < 4; ++c) {
        ComponentRecord* component = &context->componentRecords[c];
        for (uint32_t b = 0; b < component->blocksInMcu; ++b) {
            if (++used > room) return -1;
            if (decodeOne(block, component) != 0) return -1;
            block += kBlockValues;
        }
    }
    return 0;
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
    const DecoderKernels& kernels = decoderKernels();
    int32_t result = forEachMcuBlock(context, [context, &kernels](int16_t* block, ComponentRecord* component) {
        if (kernels.decodeBlock(context, block, component) != 0) {
            reportJpegError(KJ_TEXT("UnitNo"));
            return -1;
        }
        kernels.inverseDctClamp(block);
        return 0;
    });
    if (result != 0) return -1;
    finishMcu(context);
    return 1;
}

int32_t decodeMcuHalf(JpegContext* context) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    const DecoderKernels& kernels = decoderKernels();
    int32_t result = forEachMcuBlock(context, [context, &kernels](int16_t* block, ComponentRecord* component) {
        std::memset(block, 0, 32 * sizeof(int16_t));  // rows 0..3 only; the rest is never read
        if (kernels.decodeBlockPartial(context, block, component, 24) != 0) return -1;
        kernels.inverseDct4x4Clamp(block);
        return 0;
    });
    if (result != 0) return -1;
    finishMcu(context);
    return 1;
}

int32_t decodeMcuQuarter(JpegContext* context) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    const DecoderKernels& kernels = decoderKernels();
    int32_t result = forEachMcuBlock(context, [context, &kernels](int16_t* block, ComponentRecord* component) {
        block[1] = block[8] = block[9] = 0;
        if (kernels.decodeBlockPartial(context, block, component, 4) != 0) return -1;
        inverseDct2x2(block);
        for (int i : {0, 1, 8, 9}) block[i] = clampSample(block[i]);
        return 0;
    });
    if (result != 0) return -1;
    finishMcu(context);
    return 1;
}

int32_t decodeMcuEighth(JpegContext* context) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    const DecoderKernels& kernels = decoderKernels();
    int32_t result = forEachMcuBlock(context, [context, &kernels](int16_t* block, ComponentRecord* component) {
        if (kernels.decodeBlockPartial(context, block, component, 0) != 0) return -1;
        block[0] = clampSample((block[0] + 4) >> 3);  // the 8x8 transform's mean
        return 0;
    });
    if (result != 0) return -1;
    finishMcu(context);
    return 1;
}
