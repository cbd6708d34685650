// Helpers of the decoder tests. Streams made in code: a writer of DC-only
// baseline streams (with quantisation entries of 1 a DC of 8v decodes to the
// flat sample v, stored as v + 128, so expected pixels are known exactly) and
// a lossless encoder for exact round trips. Streams made by the installed
// peer tools (cjpeg, jpegtran, djpeg) run as black boxes. Whole decodes
// through the exported interface from memory.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

namespace decoder_testing {

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

// The segments' markers in stream order (entropy data skipped), with their offsets.
struct Segment {
    uint8_t marker;
    size_t offset;  // of the 0xFF
};

inline std::vector<Segment> segmentsOf(const std::vector<uint8_t>& jpeg) {
    std::vector<Segment> out = {{0xD8, 0}};
    for (size_t i = 2; i + 3 < jpeg.size();) {
        if (jpeg[i] != 0xFF || jpeg[i + 1] == 0x00 || jpeg[i + 1] == 0xFF || (jpeg[i + 1] >= 0xD0 && jpeg[i + 1] <= 0xD7)) {
            ++i;
            continue;
        }
        out.push_back({jpeg[i + 1], i});
        if (jpeg[i + 1] == 0xD9) break;
        i += 2 + ((static_cast<size_t>(jpeg[i + 2]) << 8) | jpeg[i + 3]);
    }
    return out;
}

// Offset of the first segment with this marker (0 if none).
inline size_t segmentAt(const std::vector<uint8_t>& jpeg, uint8_t marker) {
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker == marker) return s.offset;
    return 0;
}

inline uint32_t mix(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352du;
    v ^= v >> 15;
    v *= 0x846ca68bu;
    return v ^ (v >> 16);
}

// ---- DC-only baseline streams ----

struct MiniComponent {
    uint8_t id;
    uint8_t sampling;  // H*16+V
};

struct MiniJpeg {
    uint16_t width = 8;
    uint16_t height = 8;
    std::vector<MiniComponent> components = std::vector<MiniComponent>(1, MiniComponent{1, 0x11});
    uint16_t restartInterval = 0;
    bool heightInDnl = false;       // SOF says 0 lines; a DNL after the scan says height
    std::vector<uint8_t> extraSegments;  // inserted after SOI (APPn, COM ...)
    // Sample value (-128..127) of block (component, mcu, block within the component's MCU blocks).
    std::function<int(int component, uint32_t mcu, int block)> sample = [](int, uint32_t, int) { return 0; };
};

// DC table 0: symbols 0..11, each a 4-bit code equal to the symbol.
// AC table 0: 00 = EOB, 01 = ZRL, 10 = run 0 size 1 (11 is left unused).
inline void appendTables(std::vector<uint8_t>& out) {
    std::vector<uint8_t> dqt(1, 0x00);
    dqt.resize(65, 1);
    putSegment(out, 0xDB, dqt);
    std::vector<uint8_t> dht(1, 0x00);
    for (int l = 1; l <= 16; ++l) dht.push_back(l == 4 ? 12 : 0);
    for (int s = 0; s < 12; ++s) dht.push_back(static_cast<uint8_t>(s));
    dht.push_back(0x10);
    for (int l = 1; l <= 16; ++l) dht.push_back(l == 2 ? 3 : 0);
    dht.insert(dht.end(), {0x00, 0xF0, 0x01});
    putSegment(out, 0xC4, dht);
}

inline int blocksOf(uint8_t sampling) { return (sampling >> 4) * (sampling & 15); }

inline void putDc(BitWriter& bits, int diff) {
    int magnitude = diff < 0 ? -diff : diff;
    int s = 0;
    while ((1 << s) <= magnitude) ++s;
    bits.put(static_cast<uint32_t>(s), 4);
    if (s) bits.put(static_cast<uint32_t>(diff < 0 ? diff + (1 << s) - 1 : diff), s);
}

inline std::vector<uint8_t> buildMiniJpeg(const MiniJpeg& spec) {
    std::vector<uint8_t> out = {0xFF, 0xD8};
    for (uint8_t byte : spec.extraSegments) out.push_back(byte);  // (a range insert upsets g++'s bounds warning)
    appendTables(out);
    if (spec.restartInterval) putSegment(out, 0xDD, {static_cast<uint8_t>(spec.restartInterval >> 8),
                                                     static_cast<uint8_t>(spec.restartInterval)});
    int maxH = 1, maxV = 1;
    std::vector<uint8_t> sof = {8}, sos = {static_cast<uint8_t>(spec.components.size())};
    put16(sof, spec.heightInDnl ? 0 : spec.height);
    put16(sof, spec.width);
    sof.push_back(static_cast<uint8_t>(spec.components.size()));
    for (auto c : spec.components) {
        maxH = std::max(maxH, c.sampling >> 4);
        maxV = std::max(maxV, c.sampling & 15);
        sof.insert(sof.end(), {c.id, c.sampling, 0});
        sos.insert(sos.end(), {c.id, 0x00});
    }
    sos.insert(sos.end(), {0, 63, 0});
    putSegment(out, 0xC0, sof);
    putSegment(out, 0xDA, sos);

    uint32_t mcus = ((spec.width + 8 * maxH - 1) / (8 * maxH)) * ((spec.height + 8 * maxV - 1) / (8 * maxV));
    BitWriter bits;
    std::vector<int> predictor(spec.components.size(), 0);
    for (uint32_t m = 0; m < mcus; ++m) {
        if (spec.restartInterval && m > 0 && m % spec.restartInterval == 0) {
            bits.align();
            bits.bytes().insert(bits.bytes().end(), {0xFF, static_cast<uint8_t>(0xD0 + (m / spec.restartInterval - 1) % 8)});
            std::fill(predictor.begin(), predictor.end(), 0);
        }
        for (size_t c = 0; c < spec.components.size(); ++c) {
            for (int b = 0; b < blocksOf(spec.components[c].sampling); ++b) {
                int dc = 8 * spec.sample(static_cast<int>(c), m, b);
                putDc(bits, dc - predictor[c]);
                predictor[c] = dc;
                bits.put(0, 2);  // EOB
            }
        }
    }
    bits.align();
    out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
    if (spec.heightInDnl) putSegment(out, 0xDC, {static_cast<uint8_t>(spec.height >> 8), static_cast<uint8_t>(spec.height)});
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

// ---- Lossless streams ----

struct LosslessSpec {
    int width = 19, height = 13, precision = 8, predictor = 1, pointTransform = 0, restartInterval = 0;
    std::vector<uint8_t> sampling;  // H*16+V per component
    // The legacy reading takes 16 bits after category 16 as the difference
    // itself; standard mode takes none, the category alone meaning 32768.
    bool bitsAfter32768 = false;
};

// Component planes (already point-transformed, padded to whole MCUs) in,
// file out. Categories 0..16 get codes of lengths 3..9 from one table.
// Predictors other than 1..7 are written as given, for failure tests.
inline std::vector<uint8_t> writeLossless(const LosslessSpec& spec, const std::vector<std::vector<int32_t>>& planes) {
    const int count = int(spec.sampling.size());
    int maxH = 1, maxV = 1;
    for (uint8_t s : spec.sampling) {
        maxH = std::max(maxH, s >> 4);
        maxV = std::max(maxV, s & 15);
    }
    const uint8_t counts[16] = {0, 0, 6, 0, 7, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};  // 17 codes, none all ones
    uint32_t codes[17];
    int lengths[17];
    for (uint32_t length = 1, symbol = 0, code = 0; length <= 16; ++length, code <<= 1)
        for (int i = 0; i < counts[length - 1]; ++i, ++symbol) {
            codes[symbol] = code++;
            lengths[symbol] = int(length);
        }
    std::vector<uint8_t> out = {0xFF, 0xD8};
    std::vector<uint8_t> sof = {uint8_t(spec.precision)};
    put16(sof, uint32_t(spec.height));
    put16(sof, uint32_t(spec.width));
    sof.push_back(uint8_t(count));
    for (int c = 0; c < count; ++c) sof.insert(sof.end(), {uint8_t(c + 1), spec.sampling[size_t(c)], 0});
    putSegment(out, 0xC3, sof);
    std::vector<uint8_t> dht(counts, counts + 16);
    dht.insert(dht.begin(), 0x00);
    for (int s = 0; s <= 16; ++s) dht.push_back(uint8_t(s));
    putSegment(out, 0xC4, dht);
    if (spec.restartInterval) putSegment(out, 0xDD, {uint8_t(spec.restartInterval >> 8), uint8_t(spec.restartInterval)});
    std::vector<uint8_t> sos = {uint8_t(count)};
    for (int c = 0; c < count; ++c) sos.insert(sos.end(), {uint8_t(c + 1), 0x00});
    sos.insert(sos.end(), {uint8_t(spec.predictor), 0, uint8_t(spec.pointTransform)});
    putSegment(out, 0xDA, sos);

    // A scan of one component codes one sample per MCU, in the component's raster order.
    const bool single = count == 1;
    const int planeAcross = (spec.width + maxH - 1) / maxH;
    const int mcusAcross = single ? spec.width : planeAcross, mcusDown = single ? spec.height : (spec.height + maxV - 1) / maxV;
    std::vector<int> firstRow(static_cast<size_t>(count), 0);
    const int32_t mid = 1 << (spec.precision - spec.pointTransform - 1);
    BitWriter bits;
    int restartNumber = 0;
    for (int m = 0; m < mcusAcross * mcusDown; ++m) {
        const int mx = m % mcusAcross, my = m / mcusAcross;
        if (spec.restartInterval && m && m % spec.restartInterval == 0) {
            bits.align();
            bits.bytes().insert(bits.bytes().end(), {0xFF, uint8_t(0xD0 + (restartNumber++ & 7))});
            for (int c = 0; c < count; ++c) firstRow[size_t(c)] = single ? my : my * (spec.sampling[size_t(c)] & 15);
        }
        for (int c = 0; c < count; ++c) {
            const int h = single ? 1 : spec.sampling[size_t(c)] >> 4, v = single ? 1 : spec.sampling[size_t(c)] & 15;
            const int w = planeAcross * (spec.sampling[size_t(c)] >> 4);
            const std::vector<int32_t>& p = planes[size_t(c)];
            auto at = [&](int xx, int yy) { return p[size_t(yy) * size_t(w) + size_t(xx)]; };
            for (int vy = 0; vy < v; ++vy)
                for (int hx = 0; hx < h; ++hx) {
                    const int x = mx * h + hx, y = my * v + vy;
                    int32_t px;
                    if (y == firstRow[size_t(c)]) px = x == 0 ? mid : at(x - 1, y);
                    else if (x == 0) px = at(0, y - 1);
                    else {
                        const int32_t ra = at(x - 1, y), rb = at(x, y - 1), rc = at(x - 1, y - 1);
                        switch (spec.predictor) {
                            case 1: px = ra; break;
                            case 2: px = rb; break;
                            case 3: px = rc; break;
                            case 4: px = ra + rb - rc; break;
                            case 5: px = ra + ((rb - rc) >> 1); break;
                            case 6: px = rb + ((ra - rc) >> 1); break;
                            default: px = (ra + rb) >> 1; break;
                        }
                    }
                    int32_t d = (at(x, y) - px) & 0xFFFF;
                    if (d >= 0x8000) d -= 0x10000;
                    if (d == -32768) {
                        bits.put(codes[16], lengths[16]);
                        if (spec.bitsAfter32768) bits.put(0x8000, 16);
                        continue;
                    }
                    const uint32_t magnitude = uint32_t(d < 0 ? -d : d);
                    int category = 0;
                    while ((magnitude >> category) != 0) ++category;
                    bits.put(codes[category], lengths[category]);
                    if (category) bits.put(uint32_t(d < 0 ? d - 1 : d) & ((1u << category) - 1), category);
                }
        }
    }
    bits.align();
    out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

// A picture of interleaved samples, every component sampled 1x1.
struct LosslessImage {
    int width = 0;
    int height = 0;
    int components = 1;
    int precision = 8;           // 2..16
    std::vector<uint16_t> samples;  // width * height * components, pixel-interleaved
};

struct LosslessOptions {
    int predictor = 1;
    int pointTransform = 0;
};

// The whole file as the legacy reading takes it.
inline std::vector<uint8_t> encodeLossless(const LosslessImage& img, const LosslessOptions& opt = {}) {
    LosslessSpec spec;
    spec.width = img.width;
    spec.height = img.height;
    spec.precision = img.precision;
    spec.predictor = opt.predictor;
    spec.pointTransform = opt.pointTransform;
    spec.sampling.assign(size_t(img.components), 0x11);
    spec.bitsAfter32768 = true;
    std::vector<std::vector<int32_t>> planes(size_t(img.components));
    for (size_t i = 0; i < img.samples.size(); ++i)
        planes[i % size_t(img.components)].push_back(img.samples[i] >> opt.pointTransform);
    return writeLossless(spec, planes);
}

// ---- Peer-made streams ----

// Pixels top row first, packed: 1 byte per pixel (grey) or red-green-blue (as PNM holds them).
struct Picture {
    int width = 0, height = 0, channels = 1;
    std::vector<uint8_t> pixels;
};

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

inline bool peerToolsAvailable() {
    return std::system("cjpeg -version >/dev/null 2>&1 && jpegtran -version >/dev/null 2>&1") == 0;
}

// Runs `tool switches -outfile OUT IN` with IN holding `input`; a non-empty
// script goes to a file for -scans. A file name private to the running test
// case lets test processes run side by side. Returns OUT's bytes, empty on failure.
inline std::vector<uint8_t> runPeer(const std::string& tool, const std::vector<uint8_t>& input, const std::string& inSuffix,
                                    const std::string& outSuffix, const std::string& switches, const std::string& script = "") {
    const std::string tag = std::string("dec_") + ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" + tool;
    const std::string in = testing_support::tempPath(tag + inSuffix), out = testing_support::tempPath(tag + outSuffix);
    testing_support::writeFileBytes(in, input);
    std::string command = tool + " " + switches;
    if (!script.empty()) {
        const std::string scans = testing_support::tempPath(tag + ".scans");
        testing_support::writeFileBytes(scans, std::vector<uint8_t>(script.begin(), script.end()));
        command += " -scans '" + scans + "'";
    }
    if (std::system((command + " -outfile '" + out + "' '" + in + "' 2>/dev/null").c_str()) != 0) return {};
    return testing_support::readFileBytes(out);
}

// cjpeg with extra switches (-sample, -quality, -restart, -grayscale ...).
inline std::vector<uint8_t> cjpegStream(const Picture& p, const std::string& switches) {
    std::string header = (p.channels == 1 ? "P5\n" : "P6\n") + std::to_string(p.width) + " " +
                         std::to_string(p.height) + "\n255\n";
    std::vector<uint8_t> pnm(header.begin(), header.end());
    pnm.insert(pnm.end(), p.pixels.begin(), p.pixels.end());
    return runPeer("cjpeg", pnm, p.channels == 1 ? ".pgm" : ".ppm", ".jpg", switches);
}

// jpegtran over a stream; a non-empty script is used with -scans.
inline std::vector<uint8_t> jpegtranStream(const std::vector<uint8_t>& jpeg, const std::string& switches,
                                           const std::string& script = "") {
    return runPeer("jpegtran", jpeg, "_in.jpg", "_out.jpg", switches, script);
}

// djpeg's PNM output, header stripped.
inline std::vector<uint8_t> djpegPixels(const std::vector<uint8_t>& jpeg, const std::string& switches) {
    std::vector<uint8_t> bytes = runPeer("djpeg", jpeg, ".jpg", ".pnm", switches);
    size_t pos = 0;
    for (int newlines = 0; pos < bytes.size() && newlines < 3; ++pos)
        if (bytes[pos] == '\n') ++newlines;
    return std::vector<uint8_t>(bytes.begin() + static_cast<std::ptrdiff_t>(pos), bytes.end());
}

// A base for test suites that need the peer tools.
class PeerToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!peerToolsAvailable()) GTEST_SKIP() << "cjpeg/jpegtran not available";
    }
};

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
    const int bpp = (options & JPEG_OPT_RAW_COMPONENTS) ? d.params.componentCount : d.params.componentCount >= 3 ? 3 : 1;
    // Room for whole MCU rows (at most 16 lines), as a legacy call may write them.
    Output out = outputFor(static_cast<int>(width), static_cast<int>(height), bpp, 0, 16);
    ImageRect rect = out.rect();
    int32_t got = scale == JPEG_SCALE_FULL ? jpegDecodeToRect(d.handle, &rect, height)
                                           : jpegDecodeScaleOutputToRect(d.handle, &rect, height, scale);
    if (got != static_cast<int32_t>(height)) return {};
    return out.packed(static_cast<int>(width), static_cast<int>(height));
}

}  // namespace decoder_testing
