// Scaled pixel writers: the full-size writers' structure with blocks of side
// n. The band is written in slices of n rows; each slice holds maxH block
// positions of n columns. At 1/8 size every position gives one pixel.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/colour_tables.h"
#include "decoder/kernels.h"
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

// A whole 4x4 colour patch through the vector colour kernel: two rows of
// four pixels per eight-pixel call (the samples are within -128..127 here,
// where the kernel and the tables agree).
void writeHalfSizeColour(const int16_t* const* blocks, int32_t rows, uint8_t* origin, ptrdiff_t stride) {
    auto colourRow8 = decoderKernels().colourRow8;
    for (int32_t r = 0; r < rows; r += 2) {
        int16_t y[8] = {}, cb[8] = {}, cr[8] = {};
        const int32_t pairRows = rows - r < 2 ? 1 : 2;
        for (int32_t k = 0; k < pairRows; ++k)
            for (int32_t col = 0; col < 4; ++col) {
                y[4 * k + col] = blocks[0][(r + k) * 8 + col];
                cb[4 * k + col] = blocks[1][(r + k) * 8 + col];
                cr[4 * k + col] = blocks[2][(r + k) * 8 + col];
            }
        uint8_t pixels[24];
        colourRow8(y, cb, cr, pixels);
        for (int32_t k = 0; k < pairRows; ++k) std::memcpy(origin + (r + k) * stride, pixels + 12 * k, 12);
    }
}

template <typename Pixel>
void writeScaled(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    const DecoderState& dec = context->dec;
    const int32_t n = reducedBlockSide(dec.currentScale);
    const uint32_t components = dec.componentCount < Pixel::kBytes ? dec.componentCount : Pixel::kBytes;
    // The plain kernel set keeps the plain per-pixel path.
    const bool vectorColour = decoderKernels().colourRow8 != colourRow8Scalar;
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
            if (Pixel::kBytes == 3 && n == 4 && columnsHere == 4 && components == 3 && vectorColour) {
                writeHalfSizeColour(blocks, rowsHere, origin, band->stride);
                continue;
            }
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
