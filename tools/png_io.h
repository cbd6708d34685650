// PNG files for the keljpeg commands, through libspng when the program is
// built with it (KELJPEG_HAVE_SPNG).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

class OutputFile;

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
