// Pixel writers: the block positions of one MCU into a band of the caller's
// rectangle, in slices of n rows and block columns of n pixels (n = 8 at full
// size; 4, 2, 1 at the reduced sizes, where at 1/8 every position gives one
// pixel), clipped to the band's rows and to w columns.
#include <cstring>

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
void forEachBlock(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n,
                  int32_t bytesPerPixel, WriteBlock writeBlock) {
    const DecoderState& dec = context->dec;
    const int32_t maxH = static_cast<int32_t>(dec.maxH), maxV = static_cast<int32_t>(dec.maxV);
    const uint32_t* index = dec.mcuXYBlocksIndex;
    for (int32_t slice = 0; slice < maxV; ++slice, index += 4 * maxH) {
        int32_t rowsHere = band->height - n * slice;
        if (rowsHere <= 0) break;
        if (rowsHere > n) rowsHere = n;
        for (int32_t j = 0; j < maxH; ++j) {
            int32_t colsHere = w - n * j;
            if (colsHere <= 0) break;
            if (colsHere > n) colsHere = n;
            const uint32_t* entry = index + 4 * j;
            PositionBlocks blocks;
            for (int c = 0; c < 4; ++c) blocks.c[c] = dec.mcuXYBlocks[entry[c]];
            uint8_t* out = band->bits + static_cast<ptrdiff_t>(n * slice) * band->stride +
                           static_cast<ptrdiff_t>(x + n * j) * bytesPerPixel;
            writeBlock(blocks, out, rowsHere, colsHere);
        }
    }
}

// Calls writeRow(blocks, row, out, cols) for every row of every block
// position that falls inside the band and the w columns.
template <typename WriteRow>
void forEachBlockRow(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n,
                     int32_t bytesPerPixel, WriteRow writeRow) {
    forEachBlock(context, band, x, w, n, bytesPerPixel,
                 [&](const PositionBlocks& blocks, uint8_t* out, int32_t rows, int32_t cols) {
                     for (int32_t r = 0; r < rows; ++r) writeRow(blocks, r, out + static_cast<ptrdiff_t>(r) * band->stride, cols);
                 });
}

inline uint8_t levelShift(int16_t sample) { return static_cast<uint8_t>(sample + 128); }

// One pixel through the colour tables. Samples are limited to -128..127
// before they get here; the 8-bit views only keep a stray value from
// indexing off the tables.
inline void tablePixel(int16_t y, int16_t cb, int16_t cr, uint8_t* out) {
    const int32_t luma = static_cast<int8_t>(y);
    const ChromaOffsets& b = cbOffsetTable[static_cast<uint8_t>(cb + 128)];
    const ChromaOffsets& red = crOffsetTable[static_cast<uint8_t>(cr + 128)];
    out[0] = rangeLimit(luma + b.first);
    out[1] = rangeLimit(luma + b.second + red.first);
    out[2] = rangeLimit(luma + red.second);
}

template <int Components>
void writeRaw(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    forEachBlockRow(context, band, x, w, n, Components,
                    [](const PositionBlocks& blocks, int32_t r, uint8_t* out, int32_t cols) {
                        for (int32_t col = 0; col < cols; ++col)
                            for (int c = 0; c < Components; ++c)
                                *out++ = levelShift(blocks.c[c][r * 8 + col]);
                    });
}

// A whole 4x4 colour patch through the vector colour kernel: two rows of
// four pixels per eight-pixel call (the samples are within -128..127 here,
// where the kernel and the tables agree).
void writeHalfSizeColour(const PositionBlocks& blocks, int32_t rows, uint8_t* origin, ptrdiff_t stride,
                         const DecoderKernels& kernels) {
    for (int32_t r = 0; r < rows; r += 2) {
        int16_t y[8] = {}, cb[8] = {}, cr[8] = {};
        const int32_t pairRows = rows - r < 2 ? 1 : 2;
        for (int32_t k = 0; k < pairRows; ++k)
            for (int32_t col = 0; col < 4; ++col) {
                y[4 * k + col] = blocks.c[0][(r + k) * 8 + col];
                cb[4 * k + col] = blocks.c[1][(r + k) * 8 + col];
                cr[4 * k + col] = blocks.c[2][(r + k) * 8 + col];
            }
        uint8_t pixels[24];
        kernels.colourRow8(y, cb, cr, pixels);
        for (int32_t k = 0; k < pairRows; ++k) std::memcpy(origin + (r + k) * stride, pixels + 12 * k, 12);
    }
}

// Half size, where a 4:2:0 or 4:2:2 MCU is eight pixels wide: the luma rows
// of its two positions side by side make eight-pixel rows, and chroma rows
// are read in place, four samples each taken for two pixels. False when the
// band holds less than the whole MCU's width.
template <typename ColourBlockHalved>
bool writeHalfSizeMcu(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w,
                      ColourBlockHalved colourBlock) {
    const DecoderState& dec = context->dec;
    if (w < 8) return false;
    const bool tall = dec.maxV == 2;
    const uint32_t* index = dec.mcuXYBlocksIndex;
    for (int32_t slice = 0; slice < static_cast<int32_t>(dec.maxV); ++slice, index += 8) {
        int32_t rows = band->height - 4 * slice;
        if (rows <= 0) break;
        if (rows > 4) rows = 4;
        const int16_t* left = dec.mcuXYBlocks[index[0]];
        const int16_t* right = dec.mcuXYBlocks[index[4]];
        int16_t luma[4 * 8];
        for (int32_t r = 0; r < rows; ++r) {
            std::memcpy(luma + 8 * r, left + 8 * r, 4 * sizeof(int16_t));
            std::memcpy(luma + 8 * r + 4, right + 8 * r, 4 * sizeof(int16_t));
        }
        uint8_t* out = band->bits + static_cast<ptrdiff_t>(4 * slice) * band->stride + static_cast<ptrdiff_t>(x) * 3;
        colourBlock(luma, dec.mcuXYBlocks[index[1]], dec.mcuXYBlocks[index[2]], out, band->stride, rows, tall);
    }
    return true;
}

}  // namespace

void jpegDecodeWriteGray(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    const auto greyBlock = context->dec.kernels->greyBlock;
    const ptrdiff_t stride = band->stride;
    forEachBlock(context, band, x, w, n, 1, [greyBlock, stride](const PositionBlocks& blocks, uint8_t* origin,
                                                               int32_t rows, int32_t cols) {
        if (cols == 8) {
            greyBlock(blocks.c[0], origin, stride, rows);
            return;
        }
        for (int32_t r = 0; r < rows; ++r)
            for (int32_t col = 0; col < cols; ++col) origin[r * stride + col] = levelShift(blocks.c[0][r * 8 + col]);
    });
}

void jpegDecodeWriteBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    const DecoderKernels& kernels = *context->dec.kernels;
    const ptrdiff_t stride = band->stride;
    forEachBlock(context, band, x, w, n, 3, [&kernels, stride, n](const PositionBlocks& blocks, uint8_t* origin,
                                                                 int32_t rows, int32_t cols) {
        if (n == 8 && cols == 8) {
            kernels.colourBlock(blocks.c[0], blocks.c[1], blocks.c[2], origin, stride, rows);
            return;
        }
        if (n == 4 && cols == 4) {
            writeHalfSizeColour(blocks, rows, origin, stride, kernels);
            return;
        }
        for (int32_t r = 0; r < rows; ++r) {
            const int16_t* y = blocks.c[0] + r * 8;
            const int16_t* cb = blocks.c[1] + r * 8;
            const int16_t* cr = blocks.c[2] + r * 8;
            uint8_t* out = origin + r * stride;
            for (int32_t col = 0; col < cols; ++col, out += 3) tablePixel(y[col], cb[col], cr[col], out);
        }
    });
}

// Standard mode's colours: YCbCr with each term rounded, and RGB as stored.
void jpegDecodeWriteRoundedBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    const auto colourBlock = context->dec.kernels->roundedColourBlock;
    const ptrdiff_t stride = band->stride;
    forEachBlock(context, band, x, w, n, 3, [colourBlock, stride](const PositionBlocks& blocks, uint8_t* origin,
                                                                 int32_t rows, int32_t cols) {
        if (cols == 8) {
            colourBlock(blocks.c[0], blocks.c[1], blocks.c[2], origin, stride, rows);
            return;
        }
        for (int32_t r = 0; r < rows; ++r)
            roundedColourRowScalar(blocks.c[0] + r * 8, blocks.c[1] + r * 8, blocks.c[2] + r * 8, cols,
                                   origin + r * stride);
    });
}

// 4:2:0 and 4:2:2 colour at full and half size with chroma read where it lies (the
// entries point at the covering part of each chroma block): row r of a
// position reads chroma row r, or r / 2 when the MCU is two blocks tall, and
// column c reads chroma column c / 2.
void jpegDecodeWriteBGRHalvedChroma(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    const DecoderKernels& kernels = *context->dec.kernels;
    if (n == 4 && writeHalfSizeMcu(context, band, x, w, kernels.colourBlockHalved)) return;
    const ptrdiff_t stride = band->stride;
    const bool tall = context->dec.maxV == 2;
    forEachBlock(context, band, x, w, n, 3, [&kernels, stride, tall](const PositionBlocks& blocks, uint8_t* origin,
                                                                    int32_t rows, int32_t cols) {
        if (cols == 8) {
            kernels.colourBlockHalved(blocks.c[0], blocks.c[1], blocks.c[2], origin, stride, rows, tall);
            return;
        }
        for (int32_t r = 0; r < rows; ++r) {
            const int32_t chromaRow = 8 * (tall ? r >> 1 : r);
            uint8_t* out = origin + r * stride;
            for (int32_t col = 0; col < cols; ++col, out += 3)
                tablePixel(blocks.c[0][8 * r + col], blocks.c[1][chromaRow + col / 2], blocks.c[2][chromaRow + col / 2], out);
        }
    });
}

void jpegDecodeWriteRoundedBGRHalvedChroma(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w,
                                           int32_t n) {
    const auto colourBlock = context->dec.kernels->roundedColourBlockHalved;
    if (n == 4 && writeHalfSizeMcu(context, band, x, w, colourBlock)) return;
    const ptrdiff_t stride = band->stride;
    const bool tall = context->dec.maxV == 2;
    forEachBlock(context, band, x, w, n, 3, [colourBlock, stride, tall](const PositionBlocks& blocks, uint8_t* origin,
                                                                       int32_t rows, int32_t cols) {
        if (cols == 8) {
            colourBlock(blocks.c[0], blocks.c[1], blocks.c[2], origin, stride, rows, tall);
            return;
        }
        for (int32_t r = 0; r < rows; ++r) {
            const int32_t chromaRow = 8 * (tall ? r >> 1 : r);
            int16_t cb[8], cr[8];
            for (int32_t col = 0; col < cols; ++col) {
                cb[col] = blocks.c[1][chromaRow + col / 2];
                cr[col] = blocks.c[2][chromaRow + col / 2];
            }
            roundedColourRowScalar(blocks.c[0] + 8 * r, cb, cr, cols, origin + r * stride);
        }
    });
}

void jpegDecodeWriteRGB(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    forEachBlockRow(context, band, x, w, n, 3, [](const PositionBlocks& blocks, int32_t r, uint8_t* out, int32_t cols) {
        for (int32_t col = 0; col < cols; ++col, out += 3) {
            out[0] = levelShift(blocks.c[2][r * 8 + col]);
            out[1] = levelShift(blocks.c[1][r * 8 + col]);
            out[2] = levelShift(blocks.c[0][r * 8 + col]);
        }
    });
}

namespace {

// Four-component colour as the stream's colour transform leaves it, as
// cyan, magenta, yellow ink and black: the ink taken out of the black, so
// that ink 255 under black 255 is 255 and ink 128 under black 128 is
// (128 x 128 + 127) / 255 = 64.
template <InkModel model>
void writeInk(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    forEachBlockRow(context, band, x, w, n, 3, [](const PositionBlocks& blocks, int32_t r, uint8_t* out, int32_t cols) {
        uint8_t converted[3 * 8];  // the first three components as blue, green, red
        if (model == InkModel::Ycck)
            roundedColourRowScalar(blocks.c[0] + r * 8, blocks.c[1] + r * 8, blocks.c[2] + r * 8, cols, converted);
        for (int32_t col = 0; col < cols; ++col, out += 3) {
            int32_t black = levelShift(blocks.c[3][r * 8 + col]);
            if (model == InkModel::Cmyk) black = 255 - black;
            for (int i = 0; i < 3; ++i) {
                int32_t ink;
                if (model == InkModel::Ycck) {
                    ink = 255 - converted[3 * col + 2 - i];
                } else {
                    ink = levelShift(blocks.c[i][r * 8 + col]);
                    if (model == InkModel::Cmyk) ink = 255 - ink;
                }
                out[2 - i] = static_cast<uint8_t>(inkUnderBlack(ink, black));
            }
        }
    });
}

}  // namespace

void jpegDecodeWriteCmyk(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeInk<InkModel::Cmyk>(context, band, x, w, n);
}

void jpegDecodeWriteInvertedCmyk(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeInk<InkModel::InvertedCmyk>(context, band, x, w, n);
}

void jpegDecodeWriteYcck(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeInk<InkModel::Ycck>(context, band, x, w, n);
}

void jpegDecodeWriteRaw2(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeRaw<2>(context, band, x, w, n);
}

void jpegDecodeWriteRaw3(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeRaw<3>(context, band, x, w, n);
}

void jpegDecodeWriteRaw4(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n) {
    writeRaw<4>(context, band, x, w, n);
}

McuOutput selectMcuOutput(const JpegContext* context, const ImageRect* rect) {
    const uint32_t count = context->dec.componentCount;
    if (!(context->options & JPEG_OPT_RAW_COMPONENTS)) {
        if (count < 3) return {selectExpander(context), jpegDecodeWriteGray};
        return colourOutput(context, ColourRule::Tables, 8);
    }
    if (static_cast<uint32_t>(rect->bitsPerPixel >> 3) != count) return {selectExpander(context), nullptr};
    switch (count) {
        case 1: return {selectExpander(context), jpegDecodeWriteGray};
        case 2: return {selectExpander(context), jpegDecodeWriteRaw2};
        case 3: return {selectExpander(context), jpegDecodeWriteRaw3};
        case 4: return {selectExpander(context), jpegDecodeWriteRaw4};
        default: return {selectExpander(context), nullptr};
    }
}

namespace {

// The writers below read the decoded blocks where they lie.
void leaveBlocks(JpegContext* /*context*/, uint32_t /*mask*/, int32_t /*n*/) {}

// 1/4 and 1/8 size 4:2:0 and 4:2:2: the n x n samples in the corner of each
// decoded block gathered into one small patch, luma rows of 2n samples and
// chroma rows of n (8 apart, as in a block), which the half-width chroma
// kernel converts whole; the rows and columns inside the band are copied
// out. A 4:2:0 MCU at 1/4 is a 4 x 4 patch whose luma rows hold two samples
// each of Y0 and Y1, then of Y2 and Y3, under 2 x 2 chroma samples.
template <int32_t n, bool rounded>
void writeSmallHalvedChroma(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t /*n*/) {
    const DecoderState& dec = context->dec;
    const DecoderKernels& kernels = *dec.kernels;
    const int32_t maxV = static_cast<int32_t>(dec.maxV);  // chromaHalved: maxH is 2
    const int32_t height = maxV * n, width = 2 * n;
    // MCUs right of the rectangle are decoded too, with no columns left.
    const int32_t rows = band->height < height ? band->height : height, columns = w < width ? w : width;
    if (rows <= 0 || columns <= 0) return;
    const int16_t* luma = dec.mcuBlocks;
    const int16_t* cb = luma + 2 * maxV * kBlockValues;
    const int16_t* cr = cb + kBlockValues;
    alignas(32) int16_t y[4 * 8] = {}, blue[2 * 8] = {}, red[2 * 8] = {};
    for (int32_t r = 0; r < height; ++r)
        for (int32_t j = 0; j < width; ++j)
            y[8 * r + j] = luma[((r / n) * 2 + j / n) * kBlockValues + (r % n) * 8 + j % n];
    for (int32_t r = 0; r < n; ++r)
        for (int32_t j = 0; j < n; ++j) {
            blue[8 * r + j] = cb[8 * r + j];
            red[8 * r + j] = cr[8 * r + j];
        }
    uint8_t pixels[4 * 24];
    const auto convert = rounded ? kernels.roundedColourBlockHalved : kernels.colourBlockHalved;
    convert(y, blue, red, pixels, 24, height, maxV == 2);
    for (int32_t r = 0; r < rows; ++r)
        std::memcpy(band->bits + static_cast<ptrdiff_t>(r) * band->stride + static_cast<ptrdiff_t>(x) * 3,
                    pixels + 24 * r, static_cast<size_t>(columns) * 3);
}

}  // namespace

McuOutput colourOutput(const JpegContext* context, ColourRule rule, int32_t n) {
    const bool tables = rule == ColourRule::Tables;
    if (n == 1 && chromaHalved(context))
        return {leaveBlocks, tables ? writeSmallHalvedChroma<1, false> : writeSmallHalvedChroma<1, true>};
    if (n == 2 && chromaHalved(context))
        return {leaveBlocks, tables ? writeSmallHalvedChroma<2, false> : writeSmallHalvedChroma<2, true>};
    if ((n == 8 || n == 4) && chromaHalved(context))
        return {jpegDecodePointHalvedChroma, tables ? jpegDecodeWriteBGRHalvedChroma : jpegDecodeWriteRoundedBGRHalvedChroma};
    return {selectExpander(context), tables ? jpegDecodeWriteBGR : jpegDecodeWriteRoundedBGR};
}
