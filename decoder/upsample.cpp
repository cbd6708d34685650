// Expanders: per MCU, point each (component, block position) entry of the
// block pointer table at an 8x8 block, replicating subsampled components into
// the expansion scratch. Component c expands into scratch blocks c*P..c*P+P-1.
#include "decoder/upsample.h"

#include <cstring>

#include "context/jpeg_context.h"

namespace {

// Blocks a component occupies in the decoded MCU, by its sampling byte.
uint32_t blocksOf(uint32_t samplingByte) {
    switch (samplingByte) {
        case 0x22: return 4;
        case 0x12:
        case 0x21: return 2;
        default: return 1;
    }
}

// dst(r, c) := src(row0 + r / vRepeat, col0 + c / hRepeat): a quarter or half
// of src blown up to a whole block by repeating samples.
// One output row from the source row: each sample once, or twice side by side.
template <int hRepeat>
inline void widenRow(const int16_t* from, int16_t* to) {
    if (hRepeat == 1) {
        std::memcpy(to, from, 8 * sizeof(int16_t));
        return;
    }
    for (int c = 0; c < 4; ++c) {
        uint32_t pair = static_cast<uint16_t>(from[c]);
        pair |= pair << 16;
        std::memcpy(to + 2 * c, &pair, sizeof pair);
    }
}

template <int hRepeat, int vRepeat>
void replicateBy(const int16_t* src, int16_t* dst, int row0, int col0) {
    for (int r = 0; r < 8; r += vRepeat) {
        int16_t* to = dst + r * 8;
        widenRow<hRepeat>(src + (row0 + r / vRepeat) * 8 + col0, to);
        if (vRepeat == 2) std::memcpy(to + 8, to, 8 * sizeof(int16_t));  // the row again below
    }
}

// The repeat factors as constants, so that each shape compiles to straight copies.
void replicate(const int16_t* src, int16_t* dst, int row0, int col0, int hRepeat, int vRepeat) {
    if (hRepeat == 2 && vRepeat == 2) return replicateBy<2, 2>(src, dst, row0, col0);
    if (hRepeat == 2) return replicateBy<2, 1>(src, dst, row0, col0);
    if (vRepeat == 2) return replicateBy<1, 2>(src, dst, row0, col0);
    replicateBy<1, 1>(src, dst, row0, col0);
}

// Walks the components of the MCU, handing each its decoded blocks, its
// scratch blocks and its entries of the pointer table.
template <typename PerComponent>
void expandMcu(JpegContext* context, uint32_t mask, PerComponent perComponent) {
    DecoderState& dec = context->dec;
    const uint32_t positions = dec.positionCount;
    int16_t* blocks = dec.mcuBlocks;
    for (uint32_t c = 0; c < dec.componentCount && c < 4; ++c) {
        uint32_t samplingByte = mask >> 24;
        mask <<= 8;
        int16_t* scratch = dec.expansionScratch + c * positions * kBlockValues;
        perComponent(samplingByte, blocks, scratch, dec.mcuXYBlocks + c * positions);
        blocks += blocksOf(samplingByte) * kBlockValues;
    }
}

int16_t* blockAt(int16_t* base, int index) { return base + index * kBlockValues; }

}  // namespace

void jpegDecodeUpsampleH1V1(JpegContext* context, uint32_t mask) {
    expandMcu(context, mask, [](uint32_t, int16_t* blocks, int16_t*, int16_t** entries) { entries[0] = blocks; });
}

void jpegDecodeUpsampleH2V1(JpegContext* context, uint32_t mask) {
    expandMcu(context, mask, [](uint32_t samplingByte, int16_t* blocks, int16_t* scratch, int16_t** entries) {
        if (samplingByte != 0x11) {
            entries[0] = blocks;
            entries[1] = blockAt(blocks, 1);
            return;
        }
        replicate(blocks, scratch, 0, 0, 2, 1);
        replicate(blocks, blockAt(scratch, 1), 0, 4, 2, 1);
        entries[0] = scratch;
        entries[1] = blockAt(scratch, 1);
    });
}

void jpegDecodeUpsampleH1V2(JpegContext* context, uint32_t mask) {
    expandMcu(context, mask, [](uint32_t samplingByte, int16_t* blocks, int16_t* scratch, int16_t** entries) {
        if (samplingByte != 0x11) {
            entries[0] = blocks;
            entries[1] = blockAt(blocks, 1);
            return;
        }
        replicate(blocks, scratch, 0, 0, 1, 2);
        replicate(blocks, blockAt(scratch, 1), 4, 0, 1, 2);
        entries[0] = scratch;
        entries[1] = blockAt(scratch, 1);
    });
}

void jpegDecodeUpsampleH2V2(JpegContext* context, uint32_t mask) {
    expandMcu(context, mask, [](uint32_t samplingByte, int16_t* blocks, int16_t* scratch, int16_t** entries) {
        for (int k = 0; k < 4; ++k) entries[k] = blockAt(scratch, k);
        switch (samplingByte) {
            case 0x22:
                for (int k = 0; k < 4; ++k) entries[k] = blockAt(blocks, k);
                break;
            case 0x11:  // quadrants: top-left, top-right, bottom-left, bottom-right
                for (int k = 0; k < 4; ++k) replicate(blocks, blockAt(scratch, k), (k / 2) * 4, (k % 2) * 4, 2, 2);
                break;
            case 0x12:  // a top and a bottom block, each widened into a pair
                for (int k = 0; k < 4; ++k)
                    replicate(blockAt(blocks, k / 2), blockAt(scratch, k), 0, (k % 2) * 4, 2, 1);
                break;
            default:  // 0x21: a left and a right block, each heightened into a pair
                for (int k = 0; k < 4; ++k)
                    replicate(blockAt(blocks, k % 2), blockAt(scratch, k), (k / 2) * 4, 0, 1, 2);
                break;
        }
    });
}

Expander selectExpander(const JpegContext* context) {
    switch (context->dec.positionCount) {
        case 1: return jpegDecodeUpsampleH1V1;
        case 2: return context->dec.maxH == 2 ? jpegDecodeUpsampleH2V1 : jpegDecodeUpsampleH1V2;
        case 4: return jpegDecodeUpsampleH2V2;
        default: return nullptr;
    }
}

uint32_t samplingMask(const JpegContext* context) {
    uint32_t count = context->dec.componentCount;
    return count >= 4 ? context->dec.samplingSignature : context->dec.samplingSignature << (8 * (4 - count));
}
