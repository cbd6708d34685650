// Scaled pixel writers: the full-size writers' structure with blocks of side
// n. The band is written in slices of n rows; each slice holds maxH block
// positions of n columns. At 1/8 size every position gives one pixel.
#include "context/jpeg_context.h"
#include "decoder/colour_tables.h"
#include "decoder/scaled_output.h"

namespace {

struct GrayPixel {
    static constexpr int kBytes = 1;
    static void store(uint8_t* out, const int16_t* const* blocks, int32_t at) {
        out[0] = static_cast<uint8_t>(blocks[0][at] + 128);
    }
};

struct BgrPixel {
    static constexpr int kBytes = 3;
    static void store(uint8_t* out, const int16_t* const* blocks, int32_t at) {
        const int32_t y = blocks[0][at];
        const ChromaOffsets& cb = cbOffsetTable[blocks[1][at] + 128];
        const ChromaOffsets& cr = crOffsetTable[blocks[2][at] + 128];
        out[0] = rangeLimit(y + cb.first);
        out[1] = rangeLimit(y + cb.second + cr.first);
        out[2] = rangeLimit(y + cr.second);
    }
};

template <typename Pixel>
void writeScaled(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    const DecoderState& dec = context->dec;
    const int32_t n = reducedBlockSide(dec.currentScale);
    const uint32_t components = dec.componentCount < Pixel::kBytes ? dec.componentCount : Pixel::kBytes;
    int32_t rowsLeft = band->height;
    for (uint32_t slice = 0; slice < dec.maxV && rowsLeft > 0; ++slice, rowsLeft -= n) {
        const int32_t rowsHere = rowsLeft < n ? rowsLeft : n;
        int32_t columnsLeft = w;
        for (uint32_t j = 0; j < dec.maxH && columnsLeft > 0; ++j, columnsLeft -= n) {
            const int32_t columnsHere = columnsLeft < n ? columnsLeft : n;
            const uint32_t* index = dec.mcuXYBlocksIndex + 4 * (slice * dec.maxH + j);
            const int16_t* blocks[3] = {};
            for (uint32_t c = 0; c < components; ++c) blocks[c] = dec.mcuXYBlocks[index[c]];
            uint8_t* origin = band->bits + static_cast<ptrdiff_t>(slice) * n * band->stride +
                              static_cast<ptrdiff_t>(x + static_cast<int32_t>(j) * n) * Pixel::kBytes;
            for (int32_t r = 0; r < rowsHere; ++r) {
                uint8_t* out = origin + static_cast<ptrdiff_t>(r) * band->stride;
                for (int32_t col = 0; col < columnsHere; ++col, out += Pixel::kBytes) {
                    Pixel::store(out, blocks, r * 8 + col);
                }
            }
        }
    }
}

}  // namespace

void jpegDecodeScaleWriteGray(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeScaled<GrayPixel>(context, band, x, w);
}

void jpegDecodeScaleWriteBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeScaled<BgrPixel>(context, band, x, w);
}
