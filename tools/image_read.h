// Readers for the uncompressed inputs of `keljpeg encode`: BMP, binary PPM
// (P6) and PGM (P5), and planar YUV 4:2:0 frames.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Pixels top row first, rows packed without padding: one byte per pixel for
// grey images, blue-green-red for colour (the library's pixel order).
struct PixelImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t components = 0;  // 1 or 3
    std::vector<uint8_t> pixels;
};

// Reads a BMP (1, 4, 8, 16, 24 or 32 bits, uncompressed or with colour
// masks), PPM or PGM file (8 or 16 bits per sample, scaled to 8) from its
// bytes, chosen by its signature. On failure returns false with a message in
// error.
bool readPixelImage(const std::vector<uint8_t>& bytes, PixelImage& image, std::string& error);

// Checks that planes (a planar file's bytes: width * height luma bytes, then
// the U and V planes at quarter size) hold a whole frame, and drops the rest.
bool takeYuv420Planes(uint32_t width, uint32_t height, std::vector<uint8_t>& planes, std::string& error);
