// keljpeg decode --passes: a progressive image one scan per pass, the way an
// application shows a coarse picture early and refines it, one file per pass.
#include "decode_passes.h"

#include <cstdio>
#include <filesystem>
#include <vector>

#include "image_write.h"

namespace {

// Far more than any real stream carries; a bound for damaged ones.
constexpr int kMaxPasses = 1000;

std::string passFileName(const std::string& dir, int pass, bool colour) {
    char name[32];
    std::snprintf(name, sizeof name, "pass-%02d.%s", pass, colour ? "ppm" : "pgm");
    return (std::filesystem::path(dir) / name).string();
}

}  // namespace

bool parseScaleArgument(const std::string& text, int32_t& scale) {
    static const struct {
        const char* name;
        int32_t code;
    } kNames[] = {{"1/8", 0}, {"1/4", 1}, {"1/2", 2}, {"1", 3}, {"0", 0}, {"2", 2}, {"3", 3}};
    for (const auto& n : kNames) {
        if (text == n.name) {
            scale = n.code;
            return true;
        }
    }
    return false;
}

std::string decodeProgressivePasses(JpegHandle handle, const JpegDecodeParams& params, uint32_t height,
                                    const std::string& dir, DecodedPicture& picture, int& passes) {
    passes = 0;
    if (!(params.options & JPEG_OPT_PROGRESSIVE)) return "--passes needs a progressive image";
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) return "cannot create " + dir;
    picture.width = params.width;
    picture.height = height;
    picture.components = params.componentCount < 3 ? 1 : 3;
    // Room for a whole last MCU row: a band is written MCU-row high.
    const size_t rowBytes = size_t{picture.width} * picture.components;
    std::vector<uint8_t> pixels(rowBytes * (height + 16));
    ImageRect rect{};
    rect.width = static_cast<int32_t>(picture.width);
    rect.height = static_cast<int32_t>(height);
    rect.stride = static_cast<int32_t>(rowBytes);
    rect.bitsPerPixel = static_cast<int32_t>(8 * picture.components);
    rect.bits = pixels.data();
    rect.size = static_cast<uint32_t>(pixels.size());
    (void)jpegDecodeSetProgressiveMode(handle, 1);
    while (!jpegDecodeQueryProgressiveComplete(handle)) {
        if (passes == kMaxPasses) return "too many passes";
        if (jpegDecodeToRect(handle, &rect, height) != static_cast<int32_t>(height))
            return "decoding failed after " + std::to_string(passes) + " passes";
        picture.pixels.assign(pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(rowBytes * height));
        std::string error;
        if (!writePicture(passFileName(dir, ++passes, picture.components == 3), picture, error)) return error;
    }
    return "";
}
