// A small lossless JPEG (SOF3) encoder for the tests: Huffman-coded
// prediction differences for precisions 2..16, predictors 1..7 and a point
// transform, written the way a conforming encoder writes them. It exists so
// that lossless decoding can be checked by exact round trips, with no stored
// files and no peer (the installed libjpeg-turbo has no lossless mode).
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace lossless_test {

struct LosslessImage {
    int width = 0;
    int height = 0;
    int components = 1;
    int precision = 8;           // 2..16
    std::vector<uint16_t> samples;  // width * height * components, pixel-interleaved
};

struct LosslessOptions {
    int predictor = 1;    // 1..7 (0 and others are written as given, for failure tests)
    int pointTransform = 0;
    // Sampling byte H*16+V per component; 0x11 for all unless set. With other
    // factors the differences are written MCU by MCU as a sampled encoder
    // would (each component plane subsampled by taking its top-left sample).
    std::vector<uint8_t> sampling;
};

// Difference categories 0..16: the DC luminance code lengths of the usual
// tables, extended by one longer code per category up to 16. The all-ones
// code of length 14 stays unused.
inline const std::vector<uint8_t>& categoryCodeCounts() {
    static const std::vector<uint8_t> counts = {0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
    return counts;
}

class BitWriter {
public:
    void put(uint32_t value, int bits) {
        for (int i = bits - 1; i >= 0; --i) {
            current_ = static_cast<uint8_t>((current_ << 1) | ((value >> i) & 1));
            if (++filled_ == 8) flushByte();
        }
    }
    void padWithOnes() {
        while (filled_ != 0) put(1, 1);
    }
    std::vector<uint8_t> bytes;

private:
    void flushByte() {
        bytes.push_back(current_);
        if (current_ == 0xFF) bytes.push_back(0x00);
        current_ = 0;
        filled_ = 0;
    }
    uint8_t current_ = 0;
    int filled_ = 0;
};

struct CategoryCode {
    uint16_t code = 0;
    uint8_t length = 0;
};

inline std::vector<CategoryCode> buildCategoryCodes() {
    std::vector<CategoryCode> codes(17);
    uint32_t code = 0;
    int symbol = 0;
    const auto& counts = categoryCodeCounts();
    for (int length = 1; length <= 16; ++length) {
        for (int i = 0; i < counts[length - 1]; ++i) {
            codes[symbol].code = static_cast<uint16_t>(code++);
            codes[symbol].length = static_cast<uint8_t>(length);
            ++symbol;
        }
        code <<= 1;
    }
    return codes;
}

inline int32_t predict(int predictor, int32_t ra, int32_t rb, int32_t rc) {
    switch (predictor) {
        case 1: return ra;
        case 2: return rb;
        case 3: return rc;
        case 4: return ra + rb - rc;
        case 5: return ra + ((rb - rc) >> 1);
        case 6: return rb + ((ra - rc) >> 1);
        case 7: return (ra + rb) >> 1;
        default: return 0;
    }
}

// One component plane after the point transform.
struct Plane {
    int width = 0;
    int height = 0;
    std::vector<int32_t> values;
    int32_t at(int x, int y) const { return values[static_cast<size_t>(y) * width + x]; }
};

// Differences of one plane, modulo 2^16 and read back as signed, in raster order.
inline std::vector<int32_t> planeDifferences(const Plane& p, int predictor, int precision, int pointTransform) {
    std::vector<int32_t> diffs;
    diffs.reserve(p.values.size());
    const int32_t initial = 1 << (precision - pointTransform - 1);
    for (int y = 0; y < p.height; ++y) {
        for (int x = 0; x < p.width; ++x) {
            int32_t px;
            if (y == 0) px = x == 0 ? initial : p.at(x - 1, 0);
            else if (x == 0) px = p.at(0, y - 1);
            else px = predict(predictor, p.at(x - 1, y), p.at(x, y - 1), p.at(x - 1, y - 1));
            int32_t d = (p.at(x, y) - px) & 0xFFFF;
            diffs.push_back(d >= 0x8000 ? d - 0x10000 : d);
        }
    }
    return diffs;
}

inline void putDifference(BitWriter& out, const std::vector<CategoryCode>& codes, int32_t d) {
    uint32_t magnitude = static_cast<uint32_t>(d < 0 ? -d : d);
    int category = 0;
    while (category < 16 && (magnitude >> category) != 0) ++category;
    out.put(codes[category].code, codes[category].length);
    if (category == 0) return;
    // The decoder reads 16 value bits after category 16 and takes them as the
    // difference itself, so 32768 travels as the bits 0x8000.
    if (category == 16) {
        out.put(0x8000, 16);
        return;
    }
    uint32_t bits = d < 0 ? static_cast<uint32_t>(d - 1) : static_cast<uint32_t>(d);
    out.put(bits & ((1u << category) - 1), category);
}

inline void putSegment(std::vector<uint8_t>& out, uint8_t marker, const std::vector<uint8_t>& body) {
    out.push_back(0xFF);
    out.push_back(marker);
    size_t length = body.size() + 2;
    out.push_back(static_cast<uint8_t>(length >> 8));
    out.push_back(static_cast<uint8_t>(length));
    out.insert(out.end(), body.begin(), body.end());
}

inline std::vector<uint8_t> headerSegments(const LosslessImage& img, const LosslessOptions& opt,
                                           const std::vector<uint8_t>& sampling) {
    std::vector<uint8_t> out = {0xFF, 0xD8};
    std::vector<uint8_t> sof = {static_cast<uint8_t>(img.precision), static_cast<uint8_t>(img.height >> 8),
                                static_cast<uint8_t>(img.height), static_cast<uint8_t>(img.width >> 8),
                                static_cast<uint8_t>(img.width), static_cast<uint8_t>(img.components)};
    for (int c = 0; c < img.components; ++c) {
        sof.push_back(static_cast<uint8_t>(c + 1));
        sof.push_back(sampling[c]);
        sof.push_back(0);
    }
    putSegment(out, 0xC3, sof);
    std::vector<uint8_t> dht = {0x00};
    dht.insert(dht.end(), categoryCodeCounts().begin(), categoryCodeCounts().end());
    for (int s = 0; s <= 16; ++s) dht.push_back(static_cast<uint8_t>(s));
    putSegment(out, 0xC4, dht);
    std::vector<uint8_t> sos = {static_cast<uint8_t>(img.components)};
    for (int c = 0; c < img.components; ++c) {
        sos.push_back(static_cast<uint8_t>(c + 1));
        sos.push_back(0x00);
    }
    sos.push_back(static_cast<uint8_t>(opt.predictor));
    sos.push_back(0);
    sos.push_back(static_cast<uint8_t>(opt.pointTransform));
    putSegment(out, 0xDA, sos);
    return out;
}

inline Plane componentPlane(const LosslessImage& img, int c, int h, int v, int maxH, int maxV, int pointTransform) {
    Plane p;
    p.width = (img.width * h + maxH - 1) / maxH;
    p.height = (img.height * v + maxV - 1) / maxV;
    p.values.resize(static_cast<size_t>(p.width) * p.height);
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x) {
            int sx = x * maxH / h, sy = y * maxV / v;
            size_t i = (static_cast<size_t>(sy) * img.width + sx) * img.components + c;
            p.values[static_cast<size_t>(y) * p.width + x] = img.samples[i] >> pointTransform;
        }
    return p;
}

// The whole file, SOI to EOI.
inline std::vector<uint8_t> encodeLossless(const LosslessImage& img, const LosslessOptions& opt = {}) {
    std::vector<uint8_t> sampling = opt.sampling;
    sampling.resize(img.components, 0x11);
    int maxH = 1, maxV = 1;
    for (uint8_t s : sampling) {
        maxH = std::max(maxH, s >> 4);
        maxV = std::max(maxV, s & 15);
    }
    std::vector<uint8_t> out = headerSegments(img, opt, sampling);
    const auto codes = buildCategoryCodes();
    std::vector<Plane> planes;
    std::vector<std::vector<int32_t>> diffs;
    for (int c = 0; c < img.components; ++c) {
        planes.push_back(componentPlane(img, c, sampling[c] >> 4, sampling[c] & 15, maxH, maxV, opt.pointTransform));
        diffs.push_back(planeDifferences(planes.back(), opt.predictor, img.precision, opt.pointTransform));
    }
    BitWriter bits;
    const int mcusAcross = (img.width + maxH - 1) / maxH, mcusDown = (img.height + maxV - 1) / maxV;
    for (int my = 0; my < mcusDown; ++my)
        for (int mx = 0; mx < mcusAcross; ++mx)
            for (int c = 0; c < img.components; ++c) {
                const int h = sampling[c] >> 4, v = sampling[c] & 15;
                for (int dy = 0; dy < v; ++dy)
                    for (int dx = 0; dx < h; ++dx) {
                        int x = mx * h + dx, y = my * v + dy;
                        if (x >= planes[c].width || y >= planes[c].height) continue;
                        putDifference(bits, codes, diffs[c][static_cast<size_t>(y) * planes[c].width + x]);
                    }
            }
    bits.padWithOnes();
    out.insert(out.end(), bits.bytes.begin(), bits.bytes.end());
    out.push_back(0xFF);
    out.push_back(0xD9);
    return out;
}

}  // namespace lossless_test
