// keljpeg decode helpers for progressive passes and scale names.
#pragma once

#include <cstdint>
#include <string>

#include "KelJPEG.h"

// Reads a scale as the decode command takes it: "1/8", "1/4", "1/2", "1" or
// the library's codes "0".."3". Returns false for anything else.
bool parseScaleArgument(const std::string& text, int32_t& scale);

struct DecodedPicture;

// Decodes a progressive frame one scan per output pass and writes each pass's
// picture as DIR/pass-NN.ppm (colour) or .pgm (grey); the last pass is also
// left in picture. Returns an error text, or "" with passes set to the
// number of pictures written.
std::string decodeProgressivePasses(JpegHandle handle, const JpegDecodeParams& params, uint32_t height,
                                    const std::string& dir, DecodedPicture& picture, int& passes);
