// Helpers of the encoder tests: whole encodes of a picture into memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

namespace testing_support {

inline ImageRect rectOf(const Picture& image, int firstRow = 0) {
    const int stride = image.width * image.channels, height = image.height - firstRow;
    return {image.width, height, stride, 8 * image.channels, 0, 0, const_cast<uint8_t*>(image.row(firstRow)), uint32_t(stride * height)};
}

inline JpegEncodeParams paramsFor(const Picture& image, uint32_t sampling, uint16_t quality, uint16_t options = 0) {
    return {sampling, uint16_t(image.width), uint16_t(image.height), 0, uint16_t(image.channels), quality, options, 0, nullptr, nullptr, 0};
}

// The sampling word for three components with the given luma byte.
inline uint32_t colourSampling(uint32_t luma) { return (luma << 16) | 0x1111; }

// The memory-mode output of a finished encode, its block released.
inline std::vector<uint8_t> takeOutput(JpegEncodeParams& params) {
    std::vector<uint8_t> out;
    if (params.outputBuffer) out.assign(params.outputBuffer, params.outputBuffer + params.outputSize);
    if (params.outputBuffer) jpegFreeMemory(params.outputBuffer);
    params.outputBuffer = nullptr;
    return out;
}

// Encodes into memory: the prolog, feed (false when a call of it failed), the
// epilog. Returns the stream, or an empty vector when any call failed.
template <typename Feed>
std::vector<uint8_t> encodeWith(JpegEncodeParams params, Feed feed) {
    params.options |= JPEG_OPT_MEMORY;
    JpegHandle handle = jpegEncodeProlog(nullptr, &params);
    if (!handle) return {};
    bool ok = feed(handle);
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    std::vector<uint8_t> out = takeOutput(params);
    return ok ? out : std::vector<uint8_t>{};
}

// Encodes the image in strips of stripLines (0: one call).
inline std::vector<uint8_t> encodeImage(const Picture& image, const JpegEncodeParams& params, int stripLines = 0) {
    if (stripLines == 0) stripLines = image.height;
    return encodeWith(params, [&](JpegHandle handle) {
        for (int top = 0; top < image.height; top += stripLines) {
            const uint32_t lines = uint32_t(std::min(stripLines, image.height - top));
            ImageRect rect = rectOf(image, top);
            if (jpegEncodeFromRect(handle, &rect, lines) != lines) return false;
        }
        return true;
    });
}

using PlanarEntry = uint32_t(KELJPEG_CALL*)(JpegHandle, const uint8_t*, uint32_t, uint32_t);

// Encodes planar Y, then two quarter-size chroma planes, at 4:2:0 quality 85.
inline std::vector<uint8_t> encodePlanar(PlanarEntry entry, const std::vector<uint8_t>& planes, uint32_t w, uint32_t h) {
    return encodeWith(paramsFor(Picture{int(w), int(h), 3, {}}, 0x221111, 85),
                      [&](JpegHandle handle) { return entry(handle, planes.data(), w, h) == h; });
}

}  // namespace testing_support
