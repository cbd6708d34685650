// Pixel writers: the block positions of one MCU into a band of the caller's
// rectangle, in slices of 8 rows and block columns of 8 pixels, clipped to
// the band's rows and to w columns.
#include "decoder/pixel_writers.h"

#include "context/jpeg_context.h"
#include "decoder/colour_tables.h"
#include "decoder/kernels.h"

namespace {

// The component blocks at one block position.
struct PositionBlocks {
    const int16_t* c[4];
};

// Calls writeBlock(blocks, out, rows, cols) once for every block position
// that falls inside the band and the w columns; out is its top-left pixel.
template <typename WriteBlock>
void forEachBlock(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t bytesPerPixel,
                  WriteBlock writeBlock) {
    const DecoderState& dec = context->dec;
    const int32_t maxH = static_cast<int32_t>(dec.maxH), maxV = static_cast<int32_t>(dec.maxV);
    const uint32_t* index = dec.mcuXYBlocksIndex;
    for (int32_t slice = 0; slice < maxV; ++slice, index += 4 * maxH) {
        int32_t rowsHere = band->height - 8 * slice;
        if (rowsHere <= 0) break;
        if (rowsHere > 8) rowsHere = 8;
        for (int32_t j = 0; j < maxH; ++j) {
            int32_t colsHere = w - 8 * j;
            if (colsHere <= 0) break;
            if (colsHere > 8) colsHere = 8;
            const uint32_t* entry = index + 4 * j;
            PositionBlocks blocks;
            for (int c = 0; c < 4; ++c) blocks.c[c] = dec.mcuXYBlocks[entry[c]];
            uint8_t* out = band->bits + static_cast<ptrdiff_t>(8 * slice) * band->stride +
                           static_cast<ptrdiff_t>(x + 8 * j) * bytesPerPixel;
            writeBlock(blocks, out, rowsHere, colsHere);
        }
    }
}

// Calls writeRow(blocks, row, out, cols) for every row of every block
// position that falls inside the band and the w columns.
template <typename WriteRow>
void forEachBlockRow(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t bytesPerPixel,
                     WriteRow writeRow) {
    forEachBlock(context, band, x, w, bytesPerPixel,
                 [&](const PositionBlocks& blocks, uint8_t* out, int32_t rows, int32_t cols) {
                     for (int32_t r = 0; r < rows; ++r) writeRow(blocks, r, out + static_cast<ptrdiff_t>(r) * band->stride, cols);
                 });
}

inline uint8_t levelShift(int16_t sample) { return static_cast<uint8_t>(sample + 128); }

template <int Components>
void writeRaw(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    forEachBlockRow(context, band, x, w, Components,
                    [](const PositionBlocks& blocks, int32_t r, uint8_t* out, int32_t cols) {
                        for (int32_t col = 0; col < cols; ++col)
                            for (int c = 0; c < Components; ++c)
                                *out++ = levelShift(blocks.c[c][r * 8 + col]);
                    });
}

}  // namespace

void jpegDecodeWriteGray(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeRaw<1>(context, band, x, w);
}

void jpegDecodeWriteBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    const DecoderKernels& kernels = decoderKernels();
    const ptrdiff_t stride = band->stride;
    forEachBlock(context, band, x, w, 3, [&kernels, stride](const PositionBlocks& blocks, uint8_t* origin,
                                                             int32_t rows, int32_t cols) {
        if (cols == 8) {
            kernels.colourBlock(blocks.c[0], blocks.c[1], blocks.c[2], origin, stride, rows);
            return;
        }
        for (int32_t r = 0; r < rows; ++r) {
            const int16_t* y = blocks.c[0] + r * 8;
            const int16_t* cb = blocks.c[1] + r * 8;
            const int16_t* cr = blocks.c[2] + r * 8;
            uint8_t* out = origin + r * stride;
            for (int32_t col = 0; col < cols; ++col, out += 3) {
                // Samples are limited to -128..127 before they get here; the
                // 8-bit views only keep a stray value from indexing off the tables.
                int32_t luma = static_cast<int8_t>(y[col]);
                const ChromaOffsets& b = cbOffsetTable[static_cast<uint8_t>(cb[col] + 128)];
                const ChromaOffsets& red = crOffsetTable[static_cast<uint8_t>(cr[col] + 128)];
                out[0] = rangeLimit(luma + b.first);
                out[1] = rangeLimit(luma + b.second + red.first);
                out[2] = rangeLimit(luma + red.second);
            }
        }
    });
}

void jpegDecodeWriteRaw2(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeRaw<2>(context, band, x, w);
}

void jpegDecodeWriteRaw3(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeRaw<3>(context, band, x, w);
}

void jpegDecodeWriteRaw4(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w) {
    writeRaw<4>(context, band, x, w);
}

PixelWriter selectPixelWriter(const JpegContext* context, const ImageRect* rect) {
    uint32_t count = context->dec.componentCount;
    if (!(context->options & JPEG_OPT_RAW_COMPONENTS)) return count < 3 ? jpegDecodeWriteGray : jpegDecodeWriteBGR;
    if (static_cast<uint32_t>(rect->bitsPerPixel >> 3) != count) return nullptr;
    switch (count) {
        case 1: return jpegDecodeWriteGray;
        case 2: return jpegDecodeWriteRaw2;
        case 3: return jpegDecodeWriteRaw3;
        case 4: return jpegDecodeWriteRaw4;
        default: return nullptr;
    }
}
