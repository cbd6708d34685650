// The walk over the blocks of one MCU that every sequential block decoder
// shares: component by component, each component's H x V blocks in raster
// order, stopping at the first failure.
#pragma once

#include "context/jpeg_context.h"
#include "decoder/mcu_decode.h"
#include "runtime/block_memory.h"

// decodeOne(block, component) returns 0 or -1; step.finish (or the 1/8
// mean) runs on each block decoded. Blocks the walk may fill: the decoded
// MCU and the expansion scratch after it, so that scan records left over
// from another scan cannot push it past them.
template <typename DecodeOne>
int32_t forEachMcuBlock(JpegContext* context, const McuBlockStep& step, DecodeOne decodeOne) {
    DecoderState& dec = context->dec;
    int16_t* block = dec.mcuBlocks;
    if (!block) return -1;
    const uint32_t room = dec.blocksPerMcu + dec.scratchBlocks;
    uint32_t used = 0;
    for (uint32_t c = 0; c < dec.componentCount && c < 4; ++c) {
        ComponentRecord* component = &context->componentRecords[c];
        for (uint32_t b = 0; b < component->blocksInMcu; ++b) {
            if (++used > room) return -1;
            clearBlockRows(block, step.clearRows);
            if (decodeOne(block, component) != 0) return -1;
            if (step.finish) {
                step.finish(block);
            } else {
                block[0] = meanSample(block[0]);
            }
            block += kBlockValues;
        }
    }
    return 0;
}
