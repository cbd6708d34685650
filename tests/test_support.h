// Shared helpers of the tests: report capture, files, bytes and segments,
// pictures, and whole decodes through the exported interface from memory.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "runtime/report_texts.h"

namespace testing_support {

// ---- Reports ----

struct CapturedReport {
    std::string source;
    int32_t severity;
    std::string text;
    std::string line;
    uint32_t icon;
};

inline std::string narrow(const KelChar16* s) {
    std::string out;
    for (size_t i = 0; s && s[i]; ++i) out += s[i] < 0x80 ? static_cast<char>(s[i]) : '?';
    return out;
}

// A report text of the library's catalogue (report_text::kName), as captured.
inline std::string text(const KelChar16* entry) { return narrow(entry); }

// Installs itself as the report handler for its lifetime and records every report.
class ReportCapture {
public:
    ReportCapture() { jpegSetReportHandler(&ReportCapture::onReport, this); }
    ~ReportCapture() { jpegSetReportHandler(nullptr, nullptr); }
    ReportCapture(const ReportCapture&) = delete;
    ReportCapture& operator=(const ReportCapture&) = delete;

    const std::vector<CapturedReport>& reports() const { return reports_; }
    std::vector<std::string> texts() const {
        std::vector<std::string> out;
        for (const auto& r : reports_) out.push_back(r.text);
        return out;
    }
    bool saw(const KelChar16* entry) const {
        for (const auto& r : reports_) if (r.text == narrow(entry)) return true;
        return false;
    }
    void clear() { reports_.clear(); }

private:
    static void KELJPEG_CALL onReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                      const KelChar16* line, uint32_t icon) {
        static_cast<ReportCapture*>(user)->reports_.push_back(
            {narrow(source), severity, narrow(text), narrow(line), icon});
    }
    std::vector<CapturedReport> reports_;
};

// ---- Names and files ----

// The library's UTF-16 character type as a string.
using WideName = std::basic_string<KelChar16>;
inline WideName wideName(const std::string& s) { return WideName(s.begin(), s.end()); }

inline std::string tempPath(const std::string& name) {
    std::filesystem::path dir = KELJPEG_TEST_TMPDIR;
    std::filesystem::create_directories(dir);
    return (dir / name).string();
}

inline void writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<uint8_t> readFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline uint32_t mix(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352du;
    v ^= v >> 15;
    v *= 0x846ca68bu;
    return v ^ (v >> 16);
}

// ---- Bits and segments ----

class BitWriter {
public:
    void put(uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            acc_ = static_cast<uint8_t>((acc_ << 1) | ((value >> i) & 1));
            if (++bits_ == 8) flushByte();
        }
    }
    // Pads the last byte with 1 bits, as encoders do before a marker.
    void align() {
        while (bits_ != 0) put(1, 1);
    }
    std::vector<uint8_t>& bytes() { return out_; }

private:
    void flushByte() {
        out_.push_back(acc_);
        if (acc_ == 0xFF) out_.push_back(0x00);
        acc_ = 0;
        bits_ = 0;
    }
    std::vector<uint8_t> out_;
    uint8_t acc_ = 0;
    int bits_ = 0;
};

inline void put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

inline void putSegment(std::vector<uint8_t>& out, uint8_t marker, const std::vector<uint8_t>& body) {
    out.insert(out.end(), {0xFF, marker});
    put16(out, static_cast<uint32_t>(body.size() + 2));
    out.insert(out.end(), body.begin(), body.end());
}

// The markers of a stream in order, restart markers included, entropy-coded
// data and fill bytes skipped; up to EOI, or up to the first SOS for the headers.
struct Segment {
    uint8_t marker;
    size_t offset;  // of the 0xFF
    size_t length;  // the length field (0 for markers without one)
};

inline std::vector<Segment> segmentsOf(const std::vector<uint8_t>& jpeg, bool headersOnly = false) {
    std::vector<Segment> out = {{0xD8, 0, 0}};
    for (size_t i = 2; i + 1 < jpeg.size();) {
        const uint8_t m = jpeg[i + 1];
        if (jpeg[i] != 0xFF || m == 0x00 || m == 0xFF) {
            ++i;
            continue;
        }
        const bool bare = m == 0xD9 || (m >= 0xD0 && m <= 0xD7);
        const size_t length = bare || i + 3 >= jpeg.size() ? 0 : (size_t(jpeg[i + 2]) << 8) | jpeg[i + 3];
        out.push_back({m, i, length});
        if (m == 0xD9 || (headersOnly && m == 0xDA)) break;
        i += 2 + length;
    }
    return out;
}

// Offset of the first segment with this marker (0 if none).
inline size_t segmentAt(const std::vector<uint8_t>& jpeg, uint8_t marker) {
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker == marker) return s.offset;
    return 0;
}

// The entropy-coded data of each scan: from its first byte to the marker that ends it.
inline std::vector<std::pair<size_t, size_t>> scanDataRanges(const std::vector<uint8_t>& jpeg) {
    std::vector<std::pair<size_t, size_t>> out;
    const std::vector<Segment> segments = segmentsOf(jpeg);
    for (size_t i = 0; i < segments.size(); ++i) {
        if (segments[i].marker != 0xDA) continue;
        size_t end = i + 1;
        while (end < segments.size() && segments[end].marker >= 0xD0 && segments[end].marker <= 0xD7) ++end;
        out.push_back({segments[i].offset + 2 + segments[i].length, end < segments.size() ? segments[end].offset : jpeg.size()});
    }
    return out;
}

// The bytes after the first SOS segment: entropy-coded data and the trailer.
inline std::vector<uint8_t> scanData(const std::vector<uint8_t>& jpeg) {
    const auto ranges = scanDataRanges(jpeg);
    if (ranges.empty()) return {};
    return std::vector<uint8_t>(jpeg.begin() + static_cast<std::ptrdiff_t>(ranges[0].first), jpeg.end());
}

// ---- Pictures ----

// Pixels top row first, packed rows of channels bytes each: grey, or
// blue-green-red (this library's order, and the peer's as the tests ask for it).
struct Picture {
    int width = 0, height = 0, channels = 1;
    std::vector<uint8_t> pixels;
    uint8_t* row(int y) { return pixels.data() + static_cast<size_t>(y) * width * channels; }
    const uint8_t* row(int y) const { return pixels.data() + static_cast<size_t>(y) * width * channels; }
};

template <typename Sample>
Picture pictureOf(int width, int height, int channels, Sample sample) {
    Picture p{width, height, channels, std::vector<uint8_t>(static_cast<size_t>(width) * height * channels)};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) p.row(y)[x * channels + c] = static_cast<uint8_t>(std::clamp(sample(x, y, c), 0, 255));
    return p;
}

// Gradients, hard edges and noise: every coefficient band is busy somewhere,
// and flat areas give long end-of-band runs.
inline Picture busyPicture(int width, int height, int channels, uint32_t seed = 7) {
    return pictureOf(width, height, channels, [&](int x, int y, int c) {
        int v = (x * (3 + c) + y * (5 - c)) % 256;
        if (x > width / 2 && y < height / 2) v = 40 + 60 * c;  // a flat patch
        if ((x / 5 + y / 7) % 4 == 0) v = 255 - v;             // edges
        if (y > height * 2 / 3) v = (v + static_cast<int>(mix(seed + x * 131 + y * 977 + c) % 64)) % 256;
        return v;
    });
}

// Constant over cells of cell x cell pixels, with values that differ from cell to cell.
inline Picture cellPicture(int width, int height, int channels, int cell) {
    return pictureOf(width, height, channels, [&](int x, int y, int c) {
        return static_cast<int>(mix((x / cell) * 7919 + (y / cell) * 104729 + c * 31) % 200 + 28);
    });
}

// Textured gradients with noise everywhere, so that every band carries data.
inline Picture noisyPicture(int width, int height, int channels, int seed) {
    uint32_t noise = 12345u + static_cast<uint32_t>(seed) * 7919u;
    return pictureOf(width, height, channels, [&](int x, int y, int c) {
        noise = noise * 1103515245u + 12345u;
        int v = (x * (3 + c) + y * (5 - c) + seed * 17) % 256;
        if (((x / 9) + (y / 7) + c) % 3 == 0) v = 255 - v;
        return v + static_cast<int>((noise >> 16) % 24) - 12;
    });
}

// Photograph-like content: smooth colour gradients, a soft shape, fine
// texture and a little noise, deterministic for a given seed.
inline Picture photoLikeImage(int width, int height, int channels = 3, uint32_t seed = 1) {
    uint32_t state = seed * 2654435761u + 12345u;
    auto noise = [&state]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<double>((state >> 24) & 0xFF) / 255.0 - 0.5;
    };
    double r = 0, g = 0, b = 0;
    return pictureOf(width, height, channels, [&](int x, int y, int c) {
        if (c == 0) {
            double u = width > 1 ? double(x) / (width - 1) : 0.5, v = height > 1 ? double(y) / (height - 1) : 0.5;
            double disc = std::exp(-((u - 0.6) * (u - 0.6) + (v - 0.4) * (v - 0.4)) * 18.0);
            double texture = 10.0 * std::sin(x * 0.9 + std::sin(y * 0.13) * 3.0) * std::cos(y * 0.7);
            r = 60 + 140 * u + 50 * disc + texture + 6 * noise();
            g = 80 + 90 * v + 70 * disc * (1 - u) + 0.7 * texture + 6 * noise();
            b = 170 - 110 * v + 30 * std::sin(u * 6.0) + 0.5 * texture + 6 * noise();
        }
        const double value = channels == 1 ? 0.299 * r + 0.587 * g + 0.114 * b : c == 0 ? b : c == 1 ? g : c == 2 ? r : (r + g) / 2;
        return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
    });
}

// Peak signal-to-noise ratio of two equal-sized sample arrays (99: identical).
inline double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty()) return 0;
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += double(a[i] - b[i]) * double(a[i] - b[i]);
    if (sum == 0) return 99;
    return 10 * std::log10(255.0 * 255.0 / (sum / a.size()));
}

// Largest difference between two pictures over rows first..last-1 (all by default).
inline int largestDifference(const Picture& a, const Picture& b, int first = 0, int last = -1) {
    if (a.width != b.width || a.height != b.height || a.channels != b.channels) return 1000;
    if (last < 0) last = a.height;
    int largest = 0;
    for (size_t i = size_t(first) * a.width * a.channels; i < size_t(last) * a.width * a.channels; ++i)
        largest = std::max(largest, std::abs(int(a.pixels[i]) - int(b.pixels[i])));
    return largest;
}

// ---- Decoding through the exported interface ----

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
        return {width, height - firstRow, stride, 8 * bytesPerPixel, 0, 0, pixels.data() + static_cast<size_t>(firstRow) * stride,
                static_cast<uint32_t>(pixels.size())};
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

// Our decode from memory at a scale, in one call or in strips of rowsPerCall
// rows: grey, blue-green-red, or one byte per component when raw. Returns
// false when the prolog fails or the rows fall short; damage, when given,
// receives jpegDecodeQueryDamage. Room for whole MCU rows (at most 16 lines)
// follows the picture, as a legacy call may write them.
inline bool ourDecode(const std::vector<uint8_t>& jpeg, uint16_t options, Picture& out, int scale = JPEG_SCALE_FULL,
                      int rowsPerCall = 0, int32_t* damage = nullptr) {
    MemoryDecode d(jpeg, options);
    if (!d.handle) return false;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(d.handle, &width, &height, scale);
    const int channels = (options & JPEG_OPT_RAW_COMPONENTS) ? d.params.componentCount : d.params.componentCount >= 3 ? 3 : 1;
    Output o = outputFor(static_cast<int>(width), static_cast<int>(height), channels, 0, 16);
    const uint32_t step = rowsPerCall > 0 ? uint32_t(rowsPerCall) : height;
    uint32_t done = 0;
    while (done < height) {
        ImageRect rect = o.rect(static_cast<int>(done));
        int32_t rows = scale == JPEG_SCALE_FULL ? jpegDecodeToRect(d.handle, &rect, step)
                                                : jpegDecodeScaleOutputToRect(d.handle, &rect, step, scale);
        if (rows <= 0) break;
        done += uint32_t(rows);
    }
    if (damage) *damage = jpegDecodeQueryDamage(d.handle);
    out = Picture{static_cast<int>(width), static_cast<int>(height), channels, o.packed(static_cast<int>(width), static_cast<int>(height))};
    return done >= height;
}

// The whole picture in one call at a scale, packed; empty when the call did not deliver it all.
inline std::vector<uint8_t> decodeWhole(const std::vector<uint8_t>& jpeg, int scale = JPEG_SCALE_FULL, uint16_t options = 0) {
    Picture p;
    return ourDecode(jpeg, options, p, scale) ? p.pixels : std::vector<uint8_t>{};
}

}  // namespace testing_support
