// Services on packed device-independent bitmaps (header, colour table and
// pixels back to back) and on separately allocated ones.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

// Bytes of colour table behind a header: 4 x biClrUsed when the header is
// long enough to hold it and it is set; else by depth (three masks for
// bit-field 16/32-bit pixels, none for 24-bit or plain 16/32-bit, otherwise a
// full 2^biBitCount-entry table). Computed without overflow; depths whose
// table could not exist in memory give UINT64_MAX.
uint64_t complibDIBColorTableSize(const BITMAPINFOHEADER* header);

// Address of the pixel array of a packed bitmap, for the 12-byte core header
// as well. Null when the header puts it further away than any bitmap can.
const uint8_t* complibDIBBitsAddress(const BITMAPINFOHEADER* header);

// Copies 40 bytes of header plus the colour table to headerOut and
// ((biBitCount x biWidth) >> 3, rounded up to 4) x biHeight bytes of pixels to
// bitsOut (the row length is shifted before it is rounded, without first
// rounding the bit count up to whole bytes). Returns 0; a header whose sizes
// are negative or beyond 32 bits copies nothing and returns 0x80000000.
[[nodiscard]] uint32_t complibCopyPackedDIB(void* bitsOut, BITMAPINFOHEADER* headerOut, const void* bits,
                                            const BITMAPINFOHEADER* header);

// Allocates a 40-byte header with room for its colour table (2^bitCount
// entries for 1, 4, 8 bits; three masks for 16, 32; none for 24) and a pixel
// array of rows padded to 4 bytes. Fills the header; the table and the pixels
// are left uninitialised. 1 on success, 0 on failure (an unknown bitCount
// without a report). Both blocks are released with complibFreeMemory.
[[nodiscard]] int32_t complibCreateWinDIBits(void** bitsOut, BITMAPINFOHEADER** headerOut, int32_t width,
                                             int32_t height, int32_t bitCount);
