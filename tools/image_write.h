// Writers for the outputs of `keljpeg decode`: BMP, binary PPM (P6) and PGM
// (P5), and PNG where the program is built with it, chosen by the file
// name's extension. Pictures are written strip by strip as they are decoded;
// and the host's file names in the library's UTF-16 form.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "cli_io.h"

// Pixels as the library delivers them, top row first. Colour pixels are
// blue, green, red (the library's order) unless rgbOrder is set (samples in
// component order, as lossless output delivers them).
struct PictureShape {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t components = 0;     // 1 or 3 samples per pixel
    uint32_t bytesPerSample = 1; // 2: 16-bit samples in host order
    bool rgbOrder = false;
    uint32_t maxValue = 0;       // largest sample value; 0: 255, or 65535 for 16-bit samples
};

// A whole decoded picture, rows packed without padding.
struct DecodedPicture : PictureShape {
    std::vector<uint8_t> pixels;
};

// Pnm: PPM (P6) for colour pictures, PGM (P5) for grey ones.
enum class ImageFormat { Bmp, Ppm, Pgm, Pnm, Png, Unknown };

// By extension: .bmp, .ppm, .pgm, .pnm, .png (any case).
ImageFormat imageFormatFor(const std::string& path);

// By name: "bmp", "ppm", "pgm", "pnm" or "png".
ImageFormat imageFormatNamed(const std::string& name);

// The extension a picture is written with: ".ppm" or ".pgm" for Pnm.
std::string extensionFor(ImageFormat format, const PictureShape& picture);

// True when this build reads and writes PNG.
bool pngAvailable();

// Writes a picture as its rows arrive. Colour written as PGM is converted to
// luma by the usual weights; grey written as PPM or colour BMP repeats it;
// 16-bit samples keep their precision in PPM/PGM and are scaled to 8 bits
// elsewhere. A BMP is bottom-up, the form every reader takes: a named file
// gets each strip where it belongs, standard output the whole picture at the
// end.
class PictureWriter {
public:
    PictureWriter();
    ~PictureWriter();
    // Opens path ("-": standard output) for a picture of shape in format. Rows
    // come in strips of at most stripRows; a decoder may write up to
    // slackRows more below a strip. On failure returns false with error set.
    bool open(const std::string& path, ImageFormat format, const PictureShape& shape, uint32_t stripRows,
              uint32_t slackRows, std::string& error);
    // Where the next strip's rows go, in the shape's pixel layout (top row
    // first; the stride may be negative).
    ImageRect strip(uint32_t rows);
    // Writes the first rows of the strip last handed out.
    bool commit(uint32_t rows);
    // Completes the file; false with error set when anything failed to write.
    bool finish(std::string& error);

private:
    struct State;
    std::unique_ptr<State> s_;
};

// Writes a whole picture to path in format, or to standard output for "-".
// On failure returns false with a message in error.
bool writePictureAs(const std::string& path, ImageFormat format, const DecodedPicture& picture, std::string& error);

// The same, in the format path's extension names.
bool writePicture(const std::string& path, const DecodedPicture& picture, std::string& error);

// UTF-8 path to the library's UTF-16 file name.
std::basic_string<KelChar16> libraryPath(const std::string& path);
