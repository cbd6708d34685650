#include "jpeg_input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli_io.h"
#include "image_write.h"

bool openJpegInput(const std::string& name, JpegInput& input, std::string& error) {
    input.name = name;
    input.inMemory = isStandardStream(name);
    if (!input.inMemory) {
        // A plain message for a missing file, before the library reports it.
        FILE* f = std::fopen(name.c_str(), "rb");
        if (!f) error = std::strerror(errno);
        else std::fclose(f);
        return f != nullptr;
    }
    if (!readAllBytes(name, input.bytes, error)) return false;
    if (input.bytes.size() > 0xFFFFFFFFu) {
        error = "standard input holds more than 4 GiB";
        return false;
    }
    return true;
}

JpegHandle startJpegDecode(const JpegInput& input, JpegDecodeParams& params) {
    if (!input.inMemory) {
        auto name = libraryPath(input.name);
        return jpegDecodeProlog(name.c_str(), &params);
    }
    params.options |= JPEG_OPT_MEMORY;
    params.data = input.bytes.data();
    params.dataLength = static_cast<uint32_t>(input.bytes.size());
    return jpegDecodeProlog(nullptr, &params);
}

uint32_t heightFromDnl(const JpegInput& input) {
    std::vector<uint8_t> file;
    std::string ignored;
    if (!input.inMemory && !readAllBytes(input.name, file, ignored)) return 0;
    const std::vector<uint8_t>& bytes = input.inMemory ? input.bytes : file;
    // The last DNL segment: FF DC 00 04 followed by the line count.
    if (bytes.size() < 6) return 0;
    for (size_t i = bytes.size() - 5; i-- > 0;) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xDC && bytes[i + 2] == 0 && bytes[i + 3] == 4)
            return (uint32_t{bytes[i + 4]} << 8) | bytes[i + 5];
    }
    return 0;
}

std::string displayName(const std::string& name) { return isStandardStream(name) ? "standard input" : name; }
