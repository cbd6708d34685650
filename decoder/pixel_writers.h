// Pixel writers: once per MCU they turn the block positions of the pointer
// table into pixels of a band view (an ImageRect whose bits are the band's
// top row and whose height is the band's rows), starting at column x and
// writing w columns (w <= 0 writes nothing), from blocks of side n (8 at full
// size; 4, 2, 1 at the reduced sizes).
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "decoder/upsample.h"

struct JpegContext;

void jpegDecodeWriteGray(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteRaw2(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteRaw3(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteRaw4(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);

// Standard mode's colour: YCbCr with every term rounded (the kernels'
// roundedColourBlock), and RGB stored as red, green, blue components.
void jpegDecodeWriteRoundedBGR(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteRGB(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);

// Standard mode's four-component colour, written as blue, green, red: ink
// stored plainly (Cmyk), inverted as Adobe stores it (InvertedCmyk), or
// inverted ink coded as YCbCr plus black (Ycck).
enum class InkModel { Cmyk, InvertedCmyk, Ycck };
void jpegDecodeWriteCmyk(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteInvertedCmyk(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteYcck(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
// Inverted ink 0..255 under inverted black 0..255, rounded: the colour value.
inline int32_t inkUnderBlack(int32_t ink, int32_t black) { return (ink * black + 127) / 255; }

using PixelWriter = void (*)(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);

// 4:2:0 and 4:2:2 colour at full and half size, chroma read where it lies
// (after jpegDecodePointHalvedChroma), in the legacy tables' colours or rounded.
void jpegDecodeWriteBGRHalvedChroma(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w, int32_t n);
void jpegDecodeWriteRoundedBGRHalvedChroma(const JpegContext* context, const ImageRect* band, int32_t x, int32_t w,
                                           int32_t n);

// The two stages that turn a decoded MCU into pixels.
struct McuOutput {
    Expander expand;
    PixelWriter write;
};

// Full-size output for the context's options and component count; a null
// writer when raw output is asked for and the component count does not
// match bitsPerPixel / 8 or lies outside 1..4.
McuOutput selectMcuOutput(const JpegContext* context, const ImageRect* rect);

// How YCbCr becomes blue, green, red: the legacy colour tables, or every
// term rounded (standard mode).
enum class ColourRule { Tables, Rounded };
// Colour output at block side n: 4:2:0 and 4:2:2 chroma is read where it
// lies; other shapes are expanded first.
McuOutput colourOutput(const JpegContext* context, ColourRule rule, int32_t n);
