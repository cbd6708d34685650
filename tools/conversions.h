// The conversions behind keljpeg decode, encode and transcode, shared so that
// transcode is exactly a decode followed by an encode.
#pragma once

#include <cstdint>
#include <string>

#include "commands.h"
#include "image_read.h"
#include "image_write.h"
#include "jpeg_input.h"
#include "png_io.h"

// ---- decode (cmd_decode.cpp) ---------------------------------------------

struct DecodeSettings {
    int32_t scale = 3;    // the library's scale code: 0 = 1/8 ... 3 = full size
    bool legacy = false;  // the legacy reading instead of standard mode
};

// JFIF densities of a stream; all 0 when it has no JFIF segment.
struct JfifDensity {
    uint16_t x = 0, y = 0;
    uint8_t units = 0;
};

// Decodes the whole image into picture, and the JFIF densities into density
// when given. Returns "" or an error text.
std::string decodeToPicture(const JpegInput& input, const DecodeSettings& settings, DecodedPicture& picture,
                            JfifDensity* density = nullptr);

// ---- encode (cmd_encode.cpp) ---------------------------------------------

struct EncodeOptions {
    uint32_t quality = 75;
    uint32_t samplingY = 0x22;  // of the first component; chroma is always 1x1
    uint32_t restart = 0;
    bool fineTables = false;
    bool jfif = true;
    uint16_t xDensity = 1, yDensity = 1;
    uint8_t units = 0;
    bool yuv = false;
    uint32_t yuvWidth = 0, yuvHeight = 0;
    bool dnl = false;
    bool interleavedGrey = false;
    PngOptions png;
    bool quiet = false;
};

// Takes one encode option at args[i] (advancing i past its value). Returns 1
// when taken, 0 when args[i] is no encode option, -1 for a bad value.
// withInput: also the options about the input (--yuv420).
int takeEncodeOption(const Args& args, size_t& i, EncodeOptions& o, bool withInput);

// The encode options' help lines (without --yuv420).
extern const char kEncodeOptionsHelp[];

// Encodes 8-bit pixels to output (a file, or "-" for standard output).
// Returns "" or an error text.
std::string encodePixels(const PixelImage& image, const EncodeOptions& o, const std::string& output);

// 8-bit blue-green-red (or grey) pixels of a decoded picture, for re-encoding.
PixelImage pixelsOf(const DecodedPicture& picture);
