// BMP files through the library's bitmap entries: `keljpeg encode` reads
// bottom-up BMP files of every depth into jpegEncodeFromWinDIBits, and
// `keljpeg decode --bmp-depth` writes what jpegDecodeScaleOutputToWinDIBits
// delivers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelJPEG.h"

// A bitmap as the library takes it: a 40-byte header with a 256-entry colour
// table behind it, and the stored rows (bottom-up, padded to 4 bytes).
struct DibFile {
    std::vector<uint8_t> info = std::vector<uint8_t>(40 + 256 * 4, 0);
    std::vector<uint8_t> bits;
    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(info.data()); }
    const BITMAPINFOHEADER* header() const { return reinterpret_cast<const BITMAPINFOHEADER*>(info.data()); }
    // Palette bitmaps whose colours are all grey encode as one component.
    bool grey = false;
};

// True when file holds a bottom-up BMP with plain rows, read into dib. False
// with an empty error for other files (the caller reads them its own way);
// false with a message for a BMP that is damaged.
bool readDibFile(const std::vector<uint8_t>& file, DibFile& dib, std::string& error);

// Encodes the bitmap's rows top to bottom in strips of whole MCU rows.
bool encodeDibStrips(JpegHandle handle, const DibFile& dib, uint32_t mcuHeight);

// Decodes the opened image at scale into a BMP file of depth bits per pixel
// (8, 16, 24 or 32), or to standard output for "-"; height is used when the
// frame leaves it to a DNL segment.
// Returns an error text, or "" on success.
std::string decodeToDibFile(JpegHandle handle, int32_t scale, int depth, uint32_t height, const std::string& path);
