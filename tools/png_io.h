// PNG files for the keljpeg commands, through libpng when the program is
// built with it (KELJPEG_HAVE_PNG); without it they are refused plainly.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

class OutputFile;
class PictureInput;

// How transparent input becomes JPEG's opaque pixels.
struct PngOptions {
    bool background = false;  // blend over this colour; else alpha is dropped
    uint8_t red = 255, green = 255, blue = 255;
};

// True when bytes begin with the PNG signature.
bool isPngSignature(const uint8_t* bytes, size_t count);

// A PNG of any type and depth as 8-bit grey or blue-green-red rows, read as
// the encoder asks for them. file is taken over (closed by the input).
std::unique_ptr<PictureInput> openPngFile(FILE* file, const PngOptions& options, std::string& error,
                                          std::string& warning);
std::unique_ptr<PictureInput> openPngBytes(std::vector<uint8_t> bytes, const PngOptions& options, std::string& error,
                                           std::string& warning);

// Writes an 8-bit grey or RGB PNG row by row into out.
class PngRowWriter {
public:
    virtual ~PngRowWriter() = default;
    // Null with error set when the PNG cannot be started.
    static std::unique_ptr<PngRowWriter> start(OutputFile& out, uint32_t width, uint32_t height, bool colour,
                                               std::string& error);
    // One row of width grey samples or red-green-blue pixels.
    virtual bool writeRow(const uint8_t* row) = 0;
    // Ends the stream once every row is written.
    virtual bool finish() = 0;
};
