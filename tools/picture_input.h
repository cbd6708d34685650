// Inputs of `keljpeg encode`, read strip by strip as the encoder takes them:
// binary PPM (P6) and PGM (P5) of 8 or 16 bits and PNG stream from the file;
// BMP files and standard input are read whole first (a BMP's rows are stored
// bottom-up; a pipe cannot be sought).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dib_file.h"
#include "image_read.h"

class PictureInput {
public:
    virtual ~PictureInput() = default;
    uint32_t width = 0, height = 0;
    uint32_t components = 0;  // 1 grey, 3 blue-green-red (the library's order)
    // Reads the next rows, top first, packed (width * components bytes a row).
    // On failure returns false with a message in error.
    virtual bool read(uint8_t* out, uint32_t rows, std::string& error) = 0;
    // A bottom-up BMP the library's bitmap entry takes as it is, or null.
    virtual const DibFile* dib() const { return nullptr; }
};

struct PngOptions;

// Opens name ("-": standard input), chosen by its signature. On failure
// returns null with a message in error; warnings (an alpha channel dropped)
// go to warning.
std::unique_ptr<PictureInput> openPictureInput(const std::string& name, const PngOptions& png, std::string& error,
                                               std::string& warning);

// A picture already in memory.
std::unique_ptr<PictureInput> pictureInputOf(const PixelImage& image);
