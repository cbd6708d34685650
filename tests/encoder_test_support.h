// Helpers of the encoder tests: synthetic images, whole encodes into memory,
// and a walk over the segments of a stream.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "KelJPEG.h"

namespace encoder_testing {

// Pixels top row first, packed rows: blue-green-red for 3 components.
struct TestImage {
    uint32_t width = 0, height = 0, components = 3;
    std::vector<uint8_t> pixels;
    uint8_t* row(uint32_t y) { return pixels.data() + static_cast<size_t>(y) * width * components; }
    const uint8_t* row(uint32_t y) const { return pixels.data() + static_cast<size_t>(y) * width * components; }
};

inline uint8_t clampByte(double v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : std::lround(v)); }

// Photograph-like content: smooth colour gradients, a few soft shapes, fine
// texture and a little noise, deterministic for a given seed.
inline TestImage photoLikeImage(uint32_t width, uint32_t height, uint32_t components = 3, uint32_t seed = 1) {
    TestImage image{width, height, components, std::vector<uint8_t>(static_cast<size_t>(width) * height * components)};
    uint32_t state = seed * 2654435761u + 12345u;
    auto noise = [&state]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<double>((state >> 24) & 0xFF) / 255.0 - 0.5;
    };
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            double u = width > 1 ? double(x) / (width - 1) : 0.5, v = height > 1 ? double(y) / (height - 1) : 0.5;
            double disc = std::exp(-((u - 0.6) * (u - 0.6) + (v - 0.4) * (v - 0.4)) * 18.0);
            double texture = 10.0 * std::sin(x * 0.9 + std::sin(y * 0.13) * 3.0) * std::cos(y * 0.7);
            double r = 60 + 140 * u + 50 * disc + texture + 6 * noise();
            double g = 80 + 90 * v + 70 * disc * (1 - u) + 0.7 * texture + 6 * noise();
            double b = 170 - 110 * v + 30 * std::sin(u * 6.0) + 0.5 * texture + 6 * noise();
            uint8_t* p = image.row(y) + x * components;
            if (components == 1) {
                p[0] = clampByte(0.299 * r + 0.587 * g + 0.114 * b);
            } else {
                p[0] = clampByte(b);
                p[1] = clampByte(g);
                p[2] = clampByte(r);
                for (uint32_t c = 3; c < components; ++c) p[c] = clampByte((r + g) / 2);
            }
        }
    }
    return image;
}

inline ImageRect rectOf(const TestImage& image, uint32_t firstRow = 0) {
    ImageRect rect{};
    rect.width = static_cast<int32_t>(image.width);
    rect.height = static_cast<int32_t>(image.height - firstRow);
    rect.stride = static_cast<int32_t>(image.width * image.components);
    rect.bitsPerPixel = static_cast<int32_t>(8 * image.components);
    rect.bits = const_cast<uint8_t*>(image.row(firstRow));
    rect.size = static_cast<uint32_t>(rect.stride) * static_cast<uint32_t>(rect.height);
    return rect;
}

inline JpegEncodeParams paramsFor(const TestImage& image, uint32_t sampling, uint16_t quality, uint16_t options = 0) {
    JpegEncodeParams p{};
    p.samplingFactors = sampling;
    p.width = static_cast<uint16_t>(image.width);
    p.height = static_cast<uint16_t>(image.height);
    p.componentCount = static_cast<uint16_t>(image.components);
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
inline std::vector<uint8_t> encodeImage(const TestImage& image, JpegEncodeParams params, uint32_t stripLines = 0) {
    params.options |= JPEG_OPT_MEMORY;
    JpegHandle handle = jpegEncodeProlog(nullptr, &params);
    if (!handle) return {};
    bool ok = true;
    if (stripLines == 0) stripLines = image.height;
    for (uint32_t top = 0; ok && top < image.height; top += stripLines) {
        uint32_t lines = std::min(stripLines, image.height - top);
        ImageRect rect = rectOf(image, top);
        ok = jpegEncodeFromRect(handle, &rect, lines) == lines;
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

struct Segment {
    uint8_t marker;       // second byte of the marker
    size_t offset;        // of the 0xFF
    size_t length;        // the length field (0 for markers without one)
};

// Walks the header segments up to and including SOS.
inline std::vector<Segment> headerSegments(const std::vector<uint8_t>& s) {
    std::vector<Segment> out;
    size_t pos = 0;
    while (pos + 1 < s.size() && s[pos] == 0xFF) {
        uint8_t m = s[pos + 1];
        if (m == 0xD8) {
            out.push_back({m, pos, 0});
            pos += 2;
            continue;
        }
        if (pos + 3 >= s.size()) break;
        size_t length = (s[pos + 2] << 8) | s[pos + 3];
        out.push_back({m, pos, length});
        if (m == 0xDA) break;
        pos += 2 + length;
    }
    return out;
}

// The bytes after the SOS segment: entropy-coded data and the trailer.
inline std::vector<uint8_t> scanData(const std::vector<uint8_t>& s) {
    std::vector<Segment> segments = headerSegments(s);
    if (segments.empty() || segments.back().marker != 0xDA) return {};
    size_t start = segments.back().offset + 2 + segments.back().length;
    return std::vector<uint8_t>(s.begin() + static_cast<std::ptrdiff_t>(start), s.end());
}

// Peak signal-to-noise ratio of two equal-sized sample arrays (99: identical).
inline double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty()) return 0;
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += double(a[i] - b[i]) * double(a[i] - b[i]);
    if (sum == 0) return 99;
    return 10 * std::log10(255.0 * 255.0 / (sum / a.size()));
}

}  // namespace encoder_testing
