// Device-independent bitmap (bottom-up, rows padded to 4 bytes) into an image
// rectangle of 8 or 24 bits per pixel, or 1 bit from a 1-bit bitmap.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

// The geometry comes from the rectangle (its width and height must be the
// bitmap's); the header contributes only biSize, biCompression, biBitCount
// and, for 16-bit pixels, the first colour mask. The colour table is read 40
// bytes after the header's start whatever biSize says.
// 0 on success, 0x80030057 for a 12-byte core header (no report), 0x80000000
// otherwise.
[[nodiscard]] uint32_t complibSetDIBitsToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);

// One converter per bitmap depth; a destination depth a converter does not
// handle returns 0x80000000 without a report.
[[nodiscard]] uint32_t complibSetDIBits1ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] uint32_t complibSetDIBits4ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] uint32_t complibSetDIBits8ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] uint32_t complibSetDIBits16ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] uint32_t complibSetDIBits24ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);
[[nodiscard]] uint32_t complibSetDIBits32ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header);

// 16-bit pixels are 5-6-5 when the header says bit fields and the first mask
// is a 5-bit red at the top (second mask byte has its top bit set); else 5-5-5.
bool complibDIBIs565(const BITMAPINFOHEADER* header);
