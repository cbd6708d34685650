#include "png_io.h"

#include "cli_io.h"
#include "image_write.h"

#if !defined(KELJPEG_HAVE_SPNG)

bool pngAvailable() { return false; }

std::unique_ptr<PngRowWriter> PngRowWriter::start(OutputFile&, uint32_t, uint32_t, bool, std::string& error) {
    error = "this keljpeg was built without PNG support";
    return nullptr;
}

#endif
