// Image rectangle (8 or 24 bits per pixel, or 1 bit) into the pixel array of a
// device-independent bitmap: bottom-up rows padded to 4 bytes.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

// Converts the common part of rectangle and bitmap: the smaller width and the
// smaller height, the rectangle's bottom rows when the bitmap is shorter.
// Returns that row count (the smaller of the two heights), or 0 on failure.
// 8-bit bitmaps of 24-bit rectangles take raw (Y, Cb, Cr) samples and dither
// them to the fixed palette.
//
// After the rows of an 8-bit rectangle, one more row is converted as if the
// rectangle were 24-bit: the row above the last one read, into the bitmap
// row after the last one written (for an 8-bit bitmap dithered with row count
// 0). Only the pixels of that row whose source bytes lie inside the
// rectangle's rows, and only when the bitmap has that row, are converted.
[[nodiscard]] int32_t complibGetDIBitsFromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);

[[nodiscard]] int32_t complibGetDIBits1FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] int32_t complibGetDIBits4FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] int32_t complibGetDIBits8FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] int32_t complibGetDIBits16FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] int32_t complibGetDIBits24FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] int32_t complibGetDIBits32FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header);

// Bytes from one stored row of a bitmap to the next, by depth; 0 for a width
// or depth that gives no whole row.
int64_t complibDIBRowStep(int bitCount, int64_t width);
