// Expanders: per MCU, point each (component, block position) entry of the
// block pointer table at a block of side n (8 at full size; 4, 2, 1 at the
// reduced sizes, in the top-left corner of its 64-value slot), replicating
// subsampled components into the expansion scratch. Component c expands into
// scratch blocks c*P..c*P+P-1. A component whose blocks already cover the MCU
// is only pointed at; at 1/8 size a block is one sample, so replication needs
// no copy: the positions it covers all point at the same block.
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

// One output row of a full-size block from the source row: each sample once,
// or twice side by side.
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

// A full-size block: dst(r, c) := src(row0 + r / vRepeat, col0 + c / hRepeat),
// with the repeat factors as constants so that each shape compiles to straight copies.
template <int hRepeat, int vRepeat>
void replicateFull(const int16_t* src, int16_t* dst, int row0, int col0) {
    for (int r = 0; r < 8; r += vRepeat) {
        int16_t* to = dst + r * 8;
        widenRow<hRepeat>(src + (row0 + r / vRepeat) * 8 + col0, to);
        if (vRepeat == 2) std::memcpy(to + 8, to, 8 * sizeof(int16_t));  // the row again below
    }
}

// Fills dst (n x n) from the quarter or half of src that starts at (top,
// left), each source sample repeated across xRepeat columns and down yRepeat
// rows.
void replicate(const int16_t* src, int16_t* dst, int32_t n, int32_t top, int32_t left, int32_t yRepeat,
               int32_t xRepeat) {
    if (n == 8) {
        if (xRepeat == 2 && yRepeat == 2) return replicateFull<2, 2>(src, dst, top, left);
        if (xRepeat == 2) return replicateFull<2, 1>(src, dst, top, left);
        return replicateFull<1, 2>(src, dst, top, left);
    }
    for (int32_t r = 0; r < n; ++r) {
        for (int32_t c = 0; c < n; ++c) dst[r * 8 + c] = src[(top + r / yRepeat) * 8 + left + c / xRepeat];
    }
}

struct Mcu {
    JpegContext* context;
    int32_t n;           // block side
    uint32_t positions;  // P
    int16_t* source;     // next decoded block of the MCU
};

int16_t* scratchBlock(const Mcu& mcu, uint32_t component, uint32_t position) {
    return mcu.context->dec.expansionScratch + static_cast<size_t>(component * mcu.positions + position) * kBlockValues;
}

void point(const Mcu& mcu, uint32_t component, uint32_t position, int16_t* block) {
    mcu.context->dec.mcuXYBlocks[component * mcu.positions + position] = block;
}

// Widens one block into the positions left and right (each sample twice across).
void widen(const Mcu& mcu, uint32_t component, int16_t* src, uint32_t leftPos, uint32_t rightPos) {
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
void heighten(const Mcu& mcu, uint32_t component, int16_t* src, uint32_t topPos, uint32_t bottomPos) {
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

// One block over the four positions of a 2 x 2 MCU, quadrant by quadrant:
// top-left, top-right, bottom-left, bottom-right.
void quadruple(const Mcu& mcu, uint32_t component, int16_t* src) {
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

// Points the first `count` positions of a component at its own blocks.
void pointAtOwnBlocks(const Mcu& mcu, uint32_t component, uint32_t count) {
    for (uint32_t k = 0; k < count; ++k) point(mcu, component, k, mcu.source + k * kBlockValues);
}

Mcu startMcu(JpegContext* context, int32_t n) {
    return {context, n, context->dec.positionCount, context->dec.mcuBlocks};
}

uint32_t componentsOf(const JpegContext* context) {
    return context->dec.componentCount < 4 ? context->dec.componentCount : 4;
}

}  // namespace

void jpegDecodeUpsampleH1V1(JpegContext* context, uint32_t mask, int32_t n) {
    Mcu mcu = startMcu(context, n);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        pointAtOwnBlocks(mcu, c, 1);
        mcu.source += blocksOf(mask >> 24) * kBlockValues;
    }
}

namespace {

// A two-position MCU: a 0x11 component is spread over both positions (widened
// side by side, or heightened one above the other); any other covers them.
template <void (*spread)(const Mcu&, uint32_t, int16_t*, uint32_t, uint32_t)>
void expandPair(JpegContext* context, uint32_t mask, int32_t n) {
    Mcu mcu = startMcu(context, n);
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t sampling = mask >> 24;
        if (sampling == 0x11) {
            spread(mcu, c, mcu.source, 0, 1);
        } else {
            pointAtOwnBlocks(mcu, c, 2);
        }
        mcu.source += blocksOf(sampling) * kBlockValues;
    }
}

}  // namespace

void jpegDecodeUpsampleH2V1(JpegContext* context, uint32_t mask, int32_t n) { expandPair<widen>(context, mask, n); }

void jpegDecodeUpsampleH1V2(JpegContext* context, uint32_t mask, int32_t n) { expandPair<heighten>(context, mask, n); }

void jpegDecodeUpsampleH2V2(JpegContext* context, uint32_t mask, int32_t n) {
    Mcu mcu = startMcu(context, n);
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

namespace {

// The sample of component c (h x v blocks of side n in the MCU) that covers
// output pixel (x, y) of the MCU: x * h / maxH across, as if the component
// were stretched over the MCU. With maxH 4 and h 1, output columns 0..31 of
// an 8-sample block row read samples 0..7, each four times.
int16_t coveringSample(const int16_t* source, uint32_t h, uint32_t v, uint32_t maxH, uint32_t maxV, int32_t n,
                       uint32_t x, uint32_t y) {
    const uint32_t sx = x * h / maxH, sy = y * v / maxV;
    const uint32_t side = static_cast<uint32_t>(n);
    const int16_t* block = source + static_cast<size_t>((sy / side) * h + sx / side) * kBlockValues;
    return block[(sy % side) * 8 + sx % side];
}

}  // namespace

// Any other MCU shape (factors up to 4, in any ratio): a component that fills
// the MCU is pointed at, any other is sampled into every position, pixel by
// pixel. Such frames are rare; the two-by-two shapes above keep the speed.
void jpegDecodeUpsampleAny(JpegContext* context, uint32_t mask, int32_t n) {
    Mcu mcu = startMcu(context, n);
    const uint32_t maxH = context->dec.maxH, maxV = context->dec.maxV;
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t h = (mask >> 28) & 15, v = (mask >> 24) & 15;
        if (h == maxH && v == maxV) {
            pointAtOwnBlocks(mcu, c, mcu.positions);
        } else {
            for (uint32_t position = 0; position < mcu.positions; ++position) {
                const uint32_t left = (position % maxH) * static_cast<uint32_t>(n);
                const uint32_t top = (position / maxH) * static_cast<uint32_t>(n);
                int16_t* dst = scratchBlock(mcu, c, position);
                for (int32_t r = 0; r < n; ++r)
                    for (int32_t col = 0; col < n; ++col)
                        dst[r * 8 + col] = coveringSample(mcu.source, h, v, maxH, maxV, n, left + col, top + r);
                point(mcu, c, position, dst);
            }
        }
        mcu.source += static_cast<size_t>(h) * v * kBlockValues;
    }
}

// Chroma of half width (and height) at full size is not copied: each
// position's entry points at the part of the chroma block that covers it,
// for the writer to take each sample for two pixels (and two rows). In a
// 4:2:0 MCU the bottom-right position points at chroma row 4, column 4.
void jpegDecodePointHalvedChroma(JpegContext* context, uint32_t mask, int32_t n) {
    Mcu mcu = startMcu(context, n);
    const uint32_t maxH = context->dec.maxH;
    for (uint32_t c = 0; c < componentsOf(context); ++c, mask <<= 8) {
        const uint32_t sampling = mask >> 24;
        if (c == 0) {
            pointAtOwnBlocks(mcu, c, mcu.positions);
        } else {
            const uint32_t downs = mcu.positions / maxH, half = static_cast<uint32_t>(n / 2);
            for (uint32_t down = 0, position = 0; down < downs; ++down)
                for (uint32_t across = 0; across < maxH; ++across, ++position)
                    point(mcu, c, position, mcu.source + static_cast<size_t>(down * half * 8 + across * half));
        }
        mcu.source += blocksOf(sampling) * kBlockValues;
    }
}

bool chromaHalved(const JpegContext* context) {
    const DecoderState& dec = context->dec;
    return dec.componentCount == 3 && dec.maxH == 2 &&
           (dec.samplingSignature == 0x221111 || dec.samplingSignature == 0x211111);
}

bool expanderOnlyPoints(Expander expand, int32_t n) {
    if (expand == jpegDecodePointHalvedChroma || expand == jpegDecodeUpsampleH1V1) return true;
    return n == 1 && (expand == jpegDecodeUpsampleH2V1 || expand == jpegDecodeUpsampleH1V2 ||
                      expand == jpegDecodeUpsampleH2V2);
}

Expander selectExpander(const JpegContext* context) {
    if (context->dec.maxH > 2 || context->dec.maxV > 2) return jpegDecodeUpsampleAny;
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
