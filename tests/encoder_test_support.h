// Helpers of the encoder tests: whole encodes of a picture into memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

namespace testing_support {

inline ImageRect rectOf(const Picture& image, int firstRow = 0) {
    ImageRect rect{};
    rect.width = static_cast<int32_t>(image.width);
    rect.height = static_cast<int32_t>(image.height - firstRow);
    rect.stride = static_cast<int32_t>(image.width * image.channels);
    rect.bitsPerPixel = static_cast<int32_t>(8 * image.channels);
    rect.bits = const_cast<uint8_t*>(image.row(firstRow));
    rect.size = static_cast<uint32_t>(rect.stride) * static_cast<uint32_t>(rect.height);
    return rect;
}

inline JpegEncodeParams paramsFor(const Picture& image, uint32_t sampling, uint16_t quality, uint16_t options = 0) {
    JpegEncodeParams p{};
    p.samplingFactors = sampling;
    p.width = static_cast<uint16_t>(image.width);
    p.height = static_cast<uint16_t>(image.height);
    p.componentCount = static_cast<uint16_t>(image.channels);
    p.quality = quality;
    p.options = options;
    return p;
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

// Encodes the image into memory in strips of stripLines (0: one call).
// Returns the stream, or an empty vector when any call failed.
inline std::vector<uint8_t> encodeImage(const Picture& image, JpegEncodeParams params, int stripLines = 0) {
    params.options |= JPEG_OPT_MEMORY;
    JpegHandle handle = jpegEncodeProlog(nullptr, &params);
    if (!handle) return {};
    bool ok = true;
    if (stripLines == 0) stripLines = image.height;
    for (int top = 0; ok && top < image.height; top += stripLines) {
        const int lines = std::min(stripLines, image.height - top);
        ImageRect rect = rectOf(image, top);
        ok = jpegEncodeFromRect(handle, &rect, uint32_t(lines)) == uint32_t(lines);
    }
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    std::vector<uint8_t> out = takeOutput(params);
    return ok ? out : std::vector<uint8_t>{};
}

using PlanarEntry = uint32_t(KELJPEG_CALL*)(JpegHandle, const uint8_t*, uint32_t, uint32_t);

// Encodes planar Y, then two quarter-size chroma planes, at 4:2:0 quality 85.
inline std::vector<uint8_t> encodePlanar(PlanarEntry entry, const std::vector<uint8_t>& planes, uint32_t w,
                                         uint32_t h) {
    JpegEncodeParams p{};
    p.samplingFactors = 0x221111;
    p.width = static_cast<uint16_t>(w);
    p.height = static_cast<uint16_t>(h);
    p.componentCount = 3;
    p.quality = 85;
    p.options = JPEG_OPT_MEMORY;
    JpegHandle handle = jpegEncodeProlog(nullptr, &p);
    if (!handle) return {};
    bool ok = entry(handle, planes.data(), w, h) == h;
    ok = jpegEncodeEpilog(handle) == 0 && ok;
    std::vector<uint8_t> out = takeOutput(p);
    return ok ? out : std::vector<uint8_t>{};
}

}  // namespace testing_support
