// A JPEG input of the keljpeg commands: a named file, which the library
// opens itself, or standard input ("-"), read whole and decoded in memory
// mode.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelJPEG.h"

struct JpegInput {
    std::string name;            // file name, or "-"
    std::vector<uint8_t> bytes;  // standard input's bytes
    bool inMemory = false;
};

// Prepares name for decoding; reads standard input for "-". On failure
// returns false with a message in error.
bool openJpegInput(const std::string& name, JpegInput& input, std::string& error);

// jpegDecodeProlog on the input: params.options gets JPEG_OPT_MEMORY and the
// data fields for standard input; the caller sets the other options.
JpegHandle startJpegDecode(const JpegInput& input, JpegDecodeParams& params);

// Lines given by the last DNL segment (for frames whose header says 0
// lines), or 0 when there is none.
uint32_t heightFromDnl(const JpegInput& input);

// The name to show in messages: the file name or "standard input".
std::string displayName(const std::string& name);
