#include "image_read.h"

#include <cstring>

namespace {

constexpr uint32_t kMaxDimension = 65535;  // a JPEG frame cannot be larger

uint32_t le16(const uint8_t* p) { return p[0] | (p[1] << 8); }
uint32_t le32(const uint8_t* p) { return le16(p) | (le16(p + 2) << 16); }

bool fail(std::string& error, const std::string& text) {
    error = text;
    return false;
}

// ---- BMP ----------------------------------------------------------------

struct BmpLayout {
    uint32_t dataOffset, headerSize, bitCount, compression, colours;
    int32_t width, height;
    uint32_t masks[3];  // red, green, blue of 16- and 32-bit pixels
};

constexpr uint32_t kBitFields = 3;  // uncompressed, with colour masks

// Takes the colour masks: those after the first 40 header bytes, or the
// defaults (5-5-5 for 16 bits, blue-green-red bytes for 32). Only masks of
// whole contiguous bits up to 8 wide are accepted.
bool takeMasks(const std::vector<uint8_t>& b, BmpLayout& l, std::string& error) {
    const bool wide = l.bitCount == 32;
    l.masks[0] = wide ? 0xFF0000 : 0x7C00;
    l.masks[1] = wide ? 0xFF00 : 0x3E0;
    l.masks[2] = wide ? 0xFF : 0x1F;
    if (l.compression != kBitFields) return true;
    if (l.bitCount != 16 && l.bitCount != 32) return fail(error, "compressed BMP files are not supported");
    if (b.size() < 54 + 12) return fail(error, "BMP colour masks truncated");
    for (int c = 0; c < 3; ++c) {
        uint32_t m = le32(&b[54 + 4 * c]);
        uint32_t low = m & (~m + 1);  // lowest set bit
        uint32_t run = m / (low ? low : 1);
        if (m == 0 || (run & (run + 1)) != 0 || run > 0xFF) return fail(error, "unsupported BMP colour masks");
        l.masks[c] = m;
    }
    return true;
}

// A masked field as 8 bits, its bits at the top: 5 bits v become v << 3, as
// the library's bitmap entry widens them.
uint8_t maskedSample(uint32_t pixel, uint32_t mask) {
    uint32_t low = mask & (~mask + 1), value = (pixel & mask) / low, width = 0;
    for (uint32_t run = mask / low; run; run >>= 1) ++width;
    return static_cast<uint8_t>(value << (8 - width));
}

bool parseBmpHeader(const std::vector<uint8_t>& b, BmpLayout& l, std::string& error) {
    if (b.size() < 54) return fail(error, "BMP file too short");
    l.dataOffset = le32(&b[10]);
    l.headerSize = le32(&b[14]);
    if (l.headerSize < 40 || 14 + l.headerSize > b.size()) return fail(error, "unsupported BMP header");
    l.width = static_cast<int32_t>(le32(&b[18]));
    l.height = static_cast<int32_t>(le32(&b[22]));
    l.bitCount = le16(&b[28]);
    l.compression = le32(&b[30]);
    l.colours = le32(&b[46]);
    if (l.compression != 0 && l.compression != kBitFields) return fail(error, "compressed BMP files are not supported");
    if (l.bitCount != 1 && l.bitCount != 4 && l.bitCount != 8 && l.bitCount != 16 && l.bitCount != 24 &&
        l.bitCount != 32)
        return fail(error, "unsupported BMP bit count " + std::to_string(l.bitCount));
    if (!takeMasks(b, l, error)) return false;
    if (l.width <= 0 || l.height == 0 || l.height == INT32_MIN) return fail(error, "bad BMP size");
    uint32_t h = static_cast<uint32_t>(l.height < 0 ? -l.height : l.height);
    if (static_cast<uint32_t>(l.width) > kMaxDimension || h > kMaxDimension) return fail(error, "BMP too large");
    if (l.bitCount <= 8 && (l.colours == 0 || l.colours > (1u << l.bitCount))) l.colours = 1u << l.bitCount;
    return true;
}

// A palette of equal red, green and blue makes a grey image.
bool paletteIsGrey(const uint8_t* palette, uint32_t colours) {
    for (uint32_t i = 0; i < colours; ++i)
        if (palette[4 * i] != palette[4 * i + 1] || palette[4 * i] != palette[4 * i + 2]) return false;
    return true;
}

bool readBmp(const std::vector<uint8_t>& b, PixelImage& image, std::string& error) {
    BmpLayout l;
    if (!parseBmpHeader(b, l, error)) return false;
    uint32_t width = static_cast<uint32_t>(l.width);
    uint32_t height = static_cast<uint32_t>(l.height < 0 ? -l.height : l.height);
    uint64_t rowBytes = ((static_cast<uint64_t>(width) * l.bitCount + 31) / 32) * 4;
    if (l.dataOffset > b.size() || rowBytes * height > b.size() - l.dataOffset)
        return fail(error, "BMP pixel data truncated");
    const uint8_t* palette = &b[14 + l.headerSize];
    if (l.bitCount <= 8 && 14 + l.headerSize + 4ull * l.colours > b.size()) return fail(error, "BMP palette truncated");
    bool grey = l.bitCount <= 8 && paletteIsGrey(palette, l.colours);
    image.width = width;
    image.height = height;
    image.components = grey ? 1 : 3;
    image.pixels.assign(static_cast<size_t>(width) * height * image.components, 0);
    for (uint32_t y = 0; y < height; ++y) {
        uint32_t sourceRow = l.height > 0 ? height - 1 - y : y;  // positive height: bottom-up
        const uint8_t* row = &b[l.dataOffset + sourceRow * rowBytes];
        uint8_t* out = &image.pixels[static_cast<size_t>(y) * width * image.components];
        for (uint32_t x = 0; x < width; ++x) {
            if (l.bitCount == 24) {
                std::memcpy(out, row + x * 3, 3);
                out += 3;
                continue;
            }
            if (l.bitCount >= 16) {
                const uint8_t* p = row + x * (l.bitCount / 8);
                uint32_t pixel = l.bitCount == 16 ? le16(p) : le32(p);
                for (int c = 2; c >= 0; --c) *out++ = maskedSample(pixel, l.masks[c]);  // blue first
                continue;
            }
            uint32_t perByte = 8 / l.bitCount;
            uint32_t index = (row[x / perByte] >> ((perByte - 1 - x % perByte) * l.bitCount)) & ((1u << l.bitCount) - 1);
            if (index >= l.colours) index = 0;
            const uint8_t* entry = palette + 4 * index;
            if (grey) {
                *out++ = entry[0];
            } else {
                std::memcpy(out, entry, 3);  // palette entries are blue, green, red
                out += 3;
            }
        }
    }
    return true;
}

// ---- PPM / PGM ----------------------------------------------------------

// Reads the next decimal header field, skipping white space and comments.
bool nextNumber(const std::vector<uint8_t>& b, size_t& pos, uint32_t& value) {
    for (;;) {
        while (pos < b.size() && std::strchr(" \t\r\n", b[pos])) ++pos;
        if (pos < b.size() && b[pos] == '#') {
            while (pos < b.size() && b[pos] != '\n') ++pos;
            continue;
        }
        break;
    }
    if (pos >= b.size() || b[pos] < '0' || b[pos] > '9') return false;
    uint64_t v = 0;
    while (pos < b.size() && b[pos] >= '0' && b[pos] <= '9') {
        v = v * 10 + (b[pos++] - '0');
        if (v > 0xFFFFFFFFu) return false;
    }
    value = static_cast<uint32_t>(v);
    return true;
}

bool readNetpbm(const std::vector<uint8_t>& b, PixelImage& image, std::string& error) {
    uint32_t components = b[1] == '6' ? 3 : 1;
    size_t pos = 2;
    uint32_t width, height, maxval;
    if (!nextNumber(b, pos, width) || !nextNumber(b, pos, height) || !nextNumber(b, pos, maxval))
        return fail(error, "bad PPM/PGM header");
    if (width == 0 || height == 0 || width > kMaxDimension || height > kMaxDimension)
        return fail(error, "bad PPM/PGM size");
    if (maxval == 0 || maxval > 65535) return fail(error, "bad PPM/PGM maximum value");
    ++pos;  // the single white-space byte before the samples
    // In 64 bits: the product can pass 4 GiB where size_t is 32 bits wide.
    uint64_t samples = uint64_t{width} * height * components;
    size_t sampleBytes = maxval > 255 ? 2 : 1;  // wide samples: most significant byte first
    if (pos > b.size() || (b.size() - pos) / sampleBytes < samples) return fail(error, "PPM/PGM pixel data truncated");
    size_t count = static_cast<size_t>(samples);
    image.width = width;
    image.height = height;
    image.components = components;
    image.pixels.resize(count);
    for (size_t i = 0; i < count; i += components) {
        for (uint32_t c = 0; c < components; ++c) {
            // Samples are red, green, blue; the library wants blue first.
            size_t at = pos + (i + (components == 3 ? 2 - c : 0)) * sampleBytes;
            uint32_t v = sampleBytes == 2 ? (uint32_t{b[at]} << 8) | b[at + 1] : b[at];
            if (v > maxval) v = maxval;
            image.pixels[i + c] = static_cast<uint8_t>(maxval == 255 ? v : (v * 255 + maxval / 2) / maxval);
        }
    }
    return true;
}

}  // namespace

bool readPixelImage(const std::vector<uint8_t>& bytes, PixelImage& image, std::string& error) {
    if (bytes.size() >= 2 && bytes[0] == 'B' && bytes[1] == 'M') return readBmp(bytes, image, error);
    if (bytes.size() >= 2 && bytes[0] == 'P' && (bytes[1] == '5' || bytes[1] == '6')) return readNetpbm(bytes, image, error);
    return fail(error, "not a BMP, binary PPM or PGM file");
}

bool takeYuv420Planes(uint32_t width, uint32_t height, std::vector<uint8_t>& planes, std::string& error) {
    size_t luma = static_cast<size_t>(width) * height;
    size_t need = luma + 2 * (luma / 4);
    if (planes.size() < need)
        return fail(error, "holds " + std::to_string(planes.size()) + " bytes, a " + std::to_string(width) + "x" +
                               std::to_string(height) + " frame needs " + std::to_string(need));
    planes.resize(need);
    return true;
}
