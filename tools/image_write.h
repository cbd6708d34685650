// Writers for the outputs of `keljpeg decode`: BMP, binary PPM (P6) and PGM
// (P5), chosen by the file name's extension; and the host's file names in the
// library's UTF-16 form.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelJPEG.h"

// A decoded picture, top row first, rows packed without padding. Colour
// pixels are blue, green, red (the library's order) unless rgbOrder is set
// (samples in component order, as raw and lossless output delivers them).
struct DecodedPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t components = 0;     // 1 or 3 samples per pixel
    uint32_t bytesPerSample = 1; // 2: 16-bit samples in host order (PPM/PGM only)
    bool rgbOrder = false;
    uint32_t maxValue = 0;       // PNM maxval of the samples as stored; 0: 255, or 65535 for 16-bit samples
    std::vector<uint8_t> pixels;
};

// Pnm: PPM (P6) for colour pictures, PGM (P5) for grey ones.
enum class ImageFormat { Bmp, Ppm, Pgm, Pnm, Unknown };

// By extension: .bmp, .ppm, .pgm, .pnm (any case).
ImageFormat imageFormatFor(const std::string& path);

// By name: "bmp", "ppm", "pgm" or "pnm".
ImageFormat imageFormatNamed(const std::string& name);

// The extension a picture is written with: ".ppm" or ".pgm" for Pnm.
std::string extensionFor(ImageFormat format, const DecodedPicture& picture);

// Writes the picture; a colour picture written as PGM, or grey as PPM, is
// converted (luma by the usual weights, or grey repeated). On failure returns
// false with a message in error.
bool writePicture(const std::string& path, const DecodedPicture& picture, std::string& error);

// Writes the picture in format to path, or to standard output for "-".
bool writePictureAs(const std::string& path, ImageFormat format, const DecodedPicture& picture, std::string& error);

// UTF-8 path to the library's UTF-16 file name.
std::basic_string<KelChar16> libraryPath(const std::string& path);
