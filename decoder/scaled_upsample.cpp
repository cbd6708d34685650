// Scaled expanders. A component whose blocks already cover the MCU is only
// pointed at; a subsampled one is replicated into the expansion scratch, one
// block side n at a time. At 1/8 size a block is one sample, so replication
// needs no copy: the positions it covers all point at the same block.
#include "context/jpeg_context.h"
#include "decoder/scaled_output.h"

namespace {

struct ScaledMcu {
    JpegContext* context;
    int32_t n;             // reduced block side
    uint32_t positions;    // P
    int16_t* source;       // next decoded block of the MCU
};

int16_t* scratchBlock(const ScaledMcu& mcu, uint32_t component, uint32_t position) {
    return mcu.context->dec.expansionScratch + static_cast<size_t>(component * mcu.positions + position) * kBlockValues;
}

void point(const ScaledMcu& mcu, uint32_t component, uint32_t position, int16_t* block) {
    mcu.context->dec.mcuXYBlocks[component * mcu.positions + position] = block;
}

// Fills dst (n x n) from the quadrant of src that starts at (top, left) in
// half-size coordinates, each source sample repeated across xRepeat columns
// and down yRepeat rows.
void replicate(const int16_t* src, int16_t* dst, int32_t n, int32_t top, int32_t left, int32_t yRepeat,
               int32_t xRepeat) {
    for (int32_t r = 0; r < n; ++r) {
        for (int32_t c = 0; c < n; ++c) dst[r * 8 + c] = src[(top + r / yRepeat) * 8 + left + c / xRepeat];
    }
}

// Widens one block into the positions left and right (each sample twice across).
void widen(const ScaledMcu& mcu, uint32_t component, int16_t* src, uint32_t leftPos, uint32_t rightPos) {
    if (mcu.n == 1) {
        point(mcu, component, leftPos, src);
        point(mcu, component, rightPos, src);
        return;
    }
    int16_t* left = scratchBlock(mcu, component, leftPos);
    int16_t* right = scratchBlock(mcu, component, rightPos);
    replicate(src, left, mcu.n, 0, 0, 1, 2);
    replicate(src, right, mcu.n, 0, mcu.n / 2, 1, 2);
    point(mcu, component, leftPos, left);
    point(mcu, component, rightPos, right);
}

// Heightens one block into the positions above and below (each row twice).
void heighten(const ScaledMcu& mcu, uint32_t component, int16_t* src, uint32_t topPos, uint32_t bottomPos) {
    if (mcu.n == 1) {
        point(mcu, component, topPos, src);
        point(mcu, component, bottomPos, src);
        return;
    }
    int16_t* top = scratchBlock(mcu, component, topPos);
    int16_t* bottom = scratchBlock(mcu, component, bottomPos);
    replicate(src, top, mcu.n, 0, 0, 2, 1);
    replicate(src, bottom, mcu.n, mcu.n / 2, 0, 2, 1);
    point(mcu, component, topPos, top);
    point(mcu, component, bottomPos, bottom);
}

// One block over the four positions of a 2 x 2 MCU, quadrant by quadrant.
void quadruple(const ScaledMcu& mcu, uint32_t component, int16_t* src) {
    for (uint32_t q = 0; q < 4; ++q) {
        if (mcu.n == 1) {
            point(mcu, component, q, src);
            continue;
        }
        int16_t* dst = scratchBlock(mcu, component, q);
        replicate(src, dst, mcu.n, (q / 2) * (mcu.n / 2), (q % 2) * (mcu.n / 2), 2, 2);
        point(mcu, component, q, dst);
    }
}

// Blocks a component occupies in the decoded MCU, by its sampling byte (the
// full-size expanders use the same rule).
uint32_t blocksOf(uint32_t samplingByte) {
    switch (samplingByte) {
        case 0x22: return 4;
        case 0x12:
        case 0x21: return 2;
        default: return 1;
    }
}

// Points the first `count` positions of a component at its own blocks.
void pointAtOwnBlocks(const ScaledMcu& mcu, uint32_t component, uint32_t count) {
    for (uint32_t k = 0; k < count; ++k) point(mcu, component, k, mcu.source + k * kBlockValues);
}

ScaledMcu startMcu(JpegContext* context) {
    return {context, reducedBlockSide(context->dec.currentScale), context->dec.positionCount, context->dec.mcuBlocks};
}

uint32_t componentsOf(const JpegContext* context) {
    return context->dec.componentCount < 4 ? context->dec.componentCount : 4;
}

}  // namespace

void jpegDecodeScaleUpsampleH1V1(JpegContext* context, uint32_t mask) {
    ScaledMcu mcu = startMcu(context);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        pointAtOwnBlocks(mcu, c, 1);
        mcu.source += blocksOf(mask >> 24) * kBlockValues;
    }
}

void jpegDecodeScaleUpsampleH2V1(JpegContext* context, uint32_t mask) {
    ScaledMcu mcu = startMcu(context);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t sampling = mask >> 24;
        if (sampling == 0x11) {
            widen(mcu, c, mcu.source, 0, 1);
        } else {
            pointAtOwnBlocks(mcu, c, 2);
        }
        mcu.source += blocksOf(sampling) * kBlockValues;
    }
}

void jpegDecodeScaleUpsampleH1V2(JpegContext* context, uint32_t mask) {
    ScaledMcu mcu = startMcu(context);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t sampling = mask >> 24;
        if (sampling == 0x11) {
            heighten(mcu, c, mcu.source, 0, 1);
        } else {
            pointAtOwnBlocks(mcu, c, 2);
        }
        mcu.source += blocksOf(sampling) * kBlockValues;
    }
}

// Positions of a 2 x 2 MCU: 0 top left, 1 top right, 2 bottom left, 3 bottom right.
void jpegDecodeScaleUpsampleH2V2(JpegContext* context, uint32_t mask) {
    ScaledMcu mcu = startMcu(context);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t sampling = mask >> 24;
        if (sampling == 0x22) {
            pointAtOwnBlocks(mcu, c, 4);
        } else if (sampling == 0x11) {
            quadruple(mcu, c, mcu.source);
        } else if (sampling == 0x12) {  // two stacked blocks, each widened
            widen(mcu, c, mcu.source, 0, 1);
            widen(mcu, c, mcu.source + kBlockValues, 2, 3);
        } else {  // 0x21: two side-by-side blocks, each heightened
            heighten(mcu, c, mcu.source, 0, 2);
            heighten(mcu, c, mcu.source + kBlockValues, 1, 3);
        }
        mcu.source += blocksOf(sampling) * kBlockValues;
    }
}
