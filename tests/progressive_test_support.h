// Helpers of the progressive, lossless and scaled-output tests: synthetic
// pictures written as PNM, the installed peer tools (cjpeg, jpegtran, djpeg)
// run as black boxes to make test streams, and whole decodes through the
// exported interface from memory.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

namespace decode_testing {

// Pixels top row first, packed: 1 byte per pixel (grey) or red-green-blue (as PNM holds them).
struct Picture {
    int width = 0, height = 0, channels = 1;
    std::vector<uint8_t> pixels;
};

inline uint32_t mix(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352du;
    v ^= v >> 15;
    v *= 0x846ca68bu;
    return v ^ (v >> 16);
}

// Gradients, hard edges and noise: every coefficient band is busy somewhere,
// and flat areas give long end-of-band runs.
inline Picture busyPicture(int width, int height, int channels, uint32_t seed = 7) {
    Picture p{width, height, channels, std::vector<uint8_t>(static_cast<size_t>(width) * height * channels)};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                int v = (x * (3 + c) + y * (5 - c)) % 256;
                if (x > width / 2 && y < height / 2) v = 40 + 60 * c;  // a flat patch
                if ((x / 5 + y / 7) % 4 == 0) v = 255 - v;             // edges
                if (y > height * 2 / 3) v = (v + static_cast<int>(mix(seed + x * 131 + y * 977 + c) % 64)) % 256;
                p.pixels[(static_cast<size_t>(y) * width + x) * channels + c] = static_cast<uint8_t>(v);
            }
    return p;
}

// Constant over cells of cell x cell pixels, with values that differ from cell to cell.
inline Picture cellPicture(int width, int height, int channels, int cell) {
    Picture p{width, height, channels, std::vector<uint8_t>(static_cast<size_t>(width) * height * channels)};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c)
                p.pixels[(static_cast<size_t>(y) * width + x) * channels + c] =
                    static_cast<uint8_t>(mix((x / cell) * 7919 + (y / cell) * 104729 + c * 31) % 200 + 28);
    return p;
}

inline std::vector<uint8_t> pnmBytes(const Picture& p) {
    std::string header = (p.channels == 1 ? "P5\n" : "P6\n") + std::to_string(p.width) + " " +
                         std::to_string(p.height) + "\n255\n";
    std::vector<uint8_t> out(header.begin(), header.end());
    out.insert(out.end(), p.pixels.begin(), p.pixels.end());
    return out;
}

inline bool peerToolsAvailable() {
#if defined(_WIN32)
    return false;
#else
    return std::system("cjpeg -version >/dev/null 2>&1 && jpegtran -version >/dev/null 2>&1") == 0;
#endif
}

inline bool runCommand(const std::string& command) { return std::system((command + " 2>/dev/null").c_str()) == 0; }

// A file name private to one test case, so that test processes can run side by side.
inline std::string scratchFile(const std::string& tag, const std::string& suffix) {
    return testing_support::tempPath("dec_" + tag + suffix);
}

// cjpeg with extra switches (-sample, -quality, -restart, -grayscale ...).
inline std::vector<uint8_t> cjpegStream(const Picture& p, const std::string& tag, const std::string& switches) {
    const std::string in = scratchFile(tag, p.channels == 1 ? ".pgm" : ".ppm"), out = scratchFile(tag, ".jpg");
    testing_support::writeFileBytes(in, pnmBytes(p));
    if (!runCommand("cjpeg " + switches + " -outfile '" + out + "' '" + in + "'")) return {};
    return testing_support::readFileBytes(out);
}

// jpegtran over a stream; a non-empty script is written to a file for -scans.
inline std::vector<uint8_t> jpegtranStream(const std::vector<uint8_t>& jpeg, const std::string& tag,
                                           const std::string& switches, const std::string& script = "") {
    const std::string in = scratchFile(tag, "_in.jpg"), out = scratchFile(tag, "_out.jpg");
    testing_support::writeFileBytes(in, jpeg);
    std::string command = "jpegtran " + switches;
    if (!script.empty()) {
        const std::string scans = scratchFile(tag, ".scans");
        testing_support::writeFileBytes(scans, std::vector<uint8_t>(script.begin(), script.end()));
        command += " -scans '" + scans + "'";
    }
    if (!runCommand(command + " -outfile '" + out + "' '" + in + "'")) return {};
    return testing_support::readFileBytes(out);
}

// djpeg's PNM output, header stripped.
inline std::vector<uint8_t> djpegPixels(const std::vector<uint8_t>& jpeg, const std::string& tag,
                                        const std::string& switches) {
    const std::string in = scratchFile(tag, "_peer.jpg"), out = scratchFile(tag, "_peer.pnm");
    testing_support::writeFileBytes(in, jpeg);
    if (!runCommand("djpeg " + switches + " -outfile '" + out + "' '" + in + "'")) return {};
    std::vector<uint8_t> bytes = testing_support::readFileBytes(out);
    size_t pos = 0;
    for (int newlines = 0; pos < bytes.size() && newlines < 3; ++pos)
        if (bytes[pos] == '\n') ++newlines;
    return std::vector<uint8_t>(bytes.begin() + static_cast<std::ptrdiff_t>(pos), bytes.end());
}

// The segments' markers in stream order (entropy data skipped), with their offsets.
struct Segment {
    uint8_t marker;
    size_t offset;  // of the 0xFF
};

inline std::vector<Segment> segmentsOf(const std::vector<uint8_t>& jpeg) {
    std::vector<Segment> out;
    size_t i = 2;
    out.push_back({0xD8, 0});
    while (i + 3 < jpeg.size()) {
        if (jpeg[i] != 0xFF || jpeg[i + 1] == 0x00 || jpeg[i + 1] == 0xFF || (jpeg[i + 1] >= 0xD0 && jpeg[i + 1] <= 0xD7)) {
            ++i;
            continue;
        }
        out.push_back({jpeg[i + 1], i});
        if (jpeg[i + 1] == 0xD9) break;
        size_t length = (static_cast<size_t>(jpeg[i + 2]) << 8) | jpeg[i + 3];
        i += 2 + length;
    }
    return out;
}

// A decoder context over a stream in memory; the epilog runs on destruction.
class MemoryDecode {
public:
    explicit MemoryDecode(const std::vector<uint8_t>& jpeg, uint16_t options = 0) : data_(jpeg) {
        params.options = static_cast<uint16_t>(options | JPEG_OPT_MEMORY);
        params.data = data_.data();
        params.dataLength = static_cast<uint32_t>(data_.size());
        handle = jpegDecodeProlog(nullptr, &params);
    }
    ~MemoryDecode() {
        if (handle) jpegDecodeEpilog(handle);
    }
    MemoryDecode(const MemoryDecode&) = delete;
    MemoryDecode& operator=(const MemoryDecode&) = delete;

    JpegDecodeParams params{};
    JpegHandle handle = nullptr;

private:
    std::vector<uint8_t> data_;
};

// Output pixels with a rectangle over them; spare rows and columns beyond the
// picture hold a guard value so that stray writes show.
struct Output {
    int width = 0, height = 0, bytesPerPixel = 1, stride = 0;
    std::vector<uint8_t> pixels;
    ImageRect rect(int firstRow = 0) {
        ImageRect r{};
        r.width = width;
        r.height = height - firstRow;
        r.stride = stride;
        r.bitsPerPixel = 8 * bytesPerPixel;
        r.bits = pixels.data() + static_cast<size_t>(firstRow) * stride;
        r.size = static_cast<uint32_t>(pixels.size());
        return r;
    }
    // The picture's own bytes, row by row, without stride padding.
    std::vector<uint8_t> packed(int columns, int rows) const {
        std::vector<uint8_t> out;
        for (int y = 0; y < rows; ++y) {
            const uint8_t* row = pixels.data() + static_cast<size_t>(y) * stride;
            out.insert(out.end(), row, row + static_cast<size_t>(columns) * bytesPerPixel);
        }
        return out;
    }
};

constexpr uint8_t kGuard = 0xA5;

inline Output outputFor(int width, int height, int bytesPerPixel, int spareColumns = 0, int spareRows = 0) {
    Output o;
    o.width = width;
    o.height = height;
    o.bytesPerPixel = bytesPerPixel;
    o.stride = (width + spareColumns) * bytesPerPixel;
    o.pixels.assign(static_cast<size_t>(o.stride) * (height + spareRows), kGuard);
    return o;
}

// The whole picture in one call, at a scale (JPEG_SCALE_FULL: jpegDecodeToRect).
// Returns the packed pixels, or an empty vector when the call did not deliver them all.
inline std::vector<uint8_t> decodeWhole(const std::vector<uint8_t>& jpeg, int scale = JPEG_SCALE_FULL,
                                        uint16_t options = 0) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return {};
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(d.handle, &width, &height, scale);
    const int bpp = d.params.componentCount >= 3 ? 3 : 1;
    Output out = outputFor(static_cast<int>(width), static_cast<int>(height), bpp);
    ImageRect rect = out.rect();
    int32_t got = scale == JPEG_SCALE_FULL ? jpegDecodeToRect(d.handle, &rect, height)
                                           : jpegDecodeScaleOutputToRect(d.handle, &rect, height, scale);
    if (got != static_cast<int32_t>(height)) return {};
    return out.packed(static_cast<int>(width), static_cast<int>(height));
}

}  // namespace decode_testing
