#include "png_io.h"

#include <cstring>

#include "cli_io.h"
#include "image_write.h"
#include "picture_input.h"

bool isPngSignature(const uint8_t* bytes, size_t count) {
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return count >= 8 && std::memcmp(bytes, kSignature, 8) == 0;
}

#if !defined(KELJPEG_HAVE_PNG)

namespace {
const char kNoPng[] = "this keljpeg was built without PNG support (libpng)";
}

bool pngAvailable() { return false; }

std::unique_ptr<PictureInput> openPngFile(FILE* file, const PngOptions&, std::string& error, std::string&) {
    std::fclose(file);
    error = kNoPng;
    return nullptr;
}

std::unique_ptr<PictureInput> openPngBytes(std::vector<uint8_t>, const PngOptions&, std::string& error, std::string&) {
    error = kNoPng;
    return nullptr;
}

std::unique_ptr<PngRowWriter> PngRowWriter::start(OutputFile&, uint32_t, uint32_t, bool, std::string& error) {
    error = kNoPng;
    return nullptr;
}

#endif
