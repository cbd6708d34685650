// The fixed YCbCr palette of 8-bit bitmap output and the ordered-dither
// tables that map raw (Y, Cb, Cr) samples onto it.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

// 9 Y levels x 5 Cb levels x 5 Cr levels would be 225 colours; only the
// first 202 are generated (the ninth Y level contributes entries 200, 201).
constexpr int kDitherPaletteEntries = 202;

// Sample-value thresholds are 36 apart for Y and 64 apart for Cb and Cr; a
// palette index is 25 x Y level + 5 x Cb level + Cr level.
struct DitherTables {
    uint8_t y[4][4][256];
    uint8_t cb[4][4][256];
    uint8_t cr[4][4][256];
};

// One colour of the palette: unsigned samples (Y may exceed 255) through the
// decoder's colour-difference products, each channel limited to 0..255.
void jpegDecodeYCbCrToRGB(uint8_t* red, uint8_t* green, uint8_t* blue, int32_t y, int32_t cb, int32_t cr);

// Writes the 202 palette entries (blue, green, red, 0); entries behind them
// are left alone.
void complibFillDitherPalette(RGBQUAD* palette);

// Builds the process-wide dither tables when the header asks for 8 bits per
// pixel; does nothing otherwise. Safe to call from several threads at once.
void complibBuildDitherTables(const BITMAPINFOHEADER* header);

// The tables once built, or null before the first build. Dithering before
// then yields palette index 0 for every pixel.
const DitherTables* complibDitherTables();
