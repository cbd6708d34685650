#include "image_write.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>

#include "cli_io.h"

namespace {

void putLe16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
void putLe32(std::vector<uint8_t>& out, uint32_t v) {
    putLe16(out, v & 0xFFFF);
    putLe16(out, v >> 16);
}

// One sample of pixel p as 8 bits (16-bit samples keep their high byte).
uint8_t sample8(const DecodedPicture& pic, size_t p, uint32_t c) {
    size_t at = (p * pic.components + c) * pic.bytesPerSample;
    if (pic.bytesPerSample == 1) return pic.pixels[at];
    uint16_t v;
    std::copy(pic.pixels.begin() + static_cast<ptrdiff_t>(at), pic.pixels.begin() + static_cast<ptrdiff_t>(at + 2),
              reinterpret_cast<uint8_t*>(&v));
    return static_cast<uint8_t>(v >> 8);
}

// Red, green, blue of pixel p.
void rgbOf(const DecodedPicture& pic, size_t p, uint8_t rgb[3]) {
    if (pic.components < 3) {
        rgb[0] = rgb[1] = rgb[2] = sample8(pic, p, 0);
        return;
    }
    for (uint32_t c = 0; c < 3; ++c) rgb[pic.rgbOrder ? c : 2 - c] = sample8(pic, p, c);
}

uint8_t greyOf(const DecodedPicture& pic, size_t p) {
    if (pic.components < 3) return sample8(pic, p, 0);
    uint8_t rgb[3];
    rgbOf(pic, p, rgb);
    return static_cast<uint8_t>((299 * rgb[0] + 587 * rgb[1] + 114 * rgb[2] + 500) / 1000);
}

std::vector<uint8_t> encodeBmp(const DecodedPicture& pic) {
    const bool grey = pic.components < 3;
    const uint32_t rowBytes = ((grey ? pic.width : pic.width * 3) + 3) & ~3u;
    const uint32_t paletteBytes = grey ? 256 * 4 : 0;
    const uint32_t dataOffset = 14 + 40 + paletteBytes;
    std::vector<uint8_t> out = {'B', 'M'};
    putLe32(out, dataOffset + rowBytes * pic.height);
    putLe32(out, 0);
    putLe32(out, dataOffset);
    putLe32(out, 40);
    putLe32(out, pic.width);
    putLe32(out, pic.height);  // bottom-up rows
    putLe16(out, 1);
    putLe16(out, grey ? 8 : 24);
    putLe32(out, 0);
    putLe32(out, rowBytes * pic.height);
    putLe32(out, 2835);
    putLe32(out, 2835);
    putLe32(out, grey ? 256 : 0);
    putLe32(out, 0);
    for (uint32_t i = 0; grey && i < 256; ++i) out.insert(out.end(), {uint8_t(i), uint8_t(i), uint8_t(i), 0});
    for (uint32_t y = pic.height; y-- > 0;) {
        size_t rowStart = out.size();
        for (uint32_t x = 0; x < pic.width; ++x) {
            size_t p = size_t{y} * pic.width + x;
            if (grey) {
                out.push_back(sample8(pic, p, 0));
            } else {
                uint8_t rgb[3];
                rgbOf(pic, p, rgb);
                out.insert(out.end(), {rgb[2], rgb[1], rgb[0]});
            }
        }
        out.resize(rowStart + rowBytes, 0);
    }
    return out;
}

// Lossless samples of P bits say 2^P - 1; samples cut to 8 bits keep 255.
uint32_t pnmMaxValue(const DecodedPicture& pic, bool wide) {
    if (pic.maxValue != 0 && (wide || pic.bytesPerSample == 1)) return pic.maxValue;
    return wide ? 65535 : 255;
}

std::vector<uint8_t> encodePnm(const DecodedPicture& pic, bool colour) {
    const bool wide = pic.bytesPerSample == 2 && ((colour && pic.components >= 3) || (!colour && pic.components < 3));
    std::string header = std::string(colour ? "P6" : "P5") + "\n" + std::to_string(pic.width) + " " +
                         std::to_string(pic.height) + "\n" + std::to_string(pnmMaxValue(pic, wide)) + "\n";
    std::vector<uint8_t> out(header.begin(), header.end());
    const size_t pixels = size_t{pic.width} * pic.height;
    for (size_t p = 0; p < pixels; ++p) {
        if (wide) {
            // PNM stores 16-bit samples most significant byte first.
            for (uint32_t c = 0; c < (colour ? 3u : 1u); ++c) {
                uint32_t comp = colour && !pic.rgbOrder ? 2 - c : c;
                size_t at = (p * pic.components + comp) * 2;
                uint16_t v;
                std::copy(pic.pixels.begin() + static_cast<ptrdiff_t>(at),
                          pic.pixels.begin() + static_cast<ptrdiff_t>(at + 2), reinterpret_cast<uint8_t*>(&v));
                out.push_back(static_cast<uint8_t>(v >> 8));
                out.push_back(static_cast<uint8_t>(v));
            }
        } else if (colour) {
            uint8_t rgb[3];
            rgbOf(pic, p, rgb);
            out.insert(out.end(), rgb, rgb + 3);
        } else {
            out.push_back(greyOf(pic, p));
        }
    }
    return out;
}

}  // namespace

ImageFormat imageFormatFor(const std::string& path) {
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos) return ImageFormat::Unknown;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return imageFormatNamed(ext);
}

ImageFormat imageFormatNamed(const std::string& name) {
    if (name == "bmp") return ImageFormat::Bmp;
    if (name == "ppm") return ImageFormat::Ppm;
    if (name == "pgm") return ImageFormat::Pgm;
    if (name == "pnm") return ImageFormat::Pnm;
    return ImageFormat::Unknown;
}

std::string extensionFor(ImageFormat format, const DecodedPicture& picture) {
    switch (format) {
        case ImageFormat::Bmp: return ".bmp";
        case ImageFormat::Ppm: return ".ppm";
        case ImageFormat::Pgm: return ".pgm";
        case ImageFormat::Pnm: return picture.components >= 3 ? ".ppm" : ".pgm";
        case ImageFormat::Unknown: break;
    }
    return "";
}

bool writePicture(const std::string& path, const DecodedPicture& picture, std::string& error) {
    return writePictureAs(path, imageFormatFor(path), picture, error);
}

bool writePictureAs(const std::string& path, ImageFormat format, const DecodedPicture& picture, std::string& error) {
    std::vector<uint8_t> bytes;
    switch (format) {
        case ImageFormat::Bmp: bytes = encodeBmp(picture); break;
        case ImageFormat::Ppm: bytes = encodePnm(picture, true); break;
        case ImageFormat::Pgm: bytes = encodePnm(picture, false); break;
        case ImageFormat::Pnm: bytes = encodePnm(picture, picture.components >= 3); break;
        case ImageFormat::Unknown:
            error = "output name must end in .bmp, .ppm, .pgm or .pnm: " + path;
            return false;
    }
    return writeAllBytes(path, bytes, error);
}

std::basic_string<KelChar16> libraryPath(const std::string& s) {
    std::basic_string<KelChar16> out;
    for (size_t i = 0; i < s.size();) {
        uint32_t c = static_cast<uint8_t>(s[i]);
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (extra) c &= 0x3Fu >> extra;
        for (++i; extra > 0 && i < s.size(); --extra, ++i) c = (c << 6) | (static_cast<uint8_t>(s[i]) & 0x3F);
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<KelChar16>(0xD800 + (c >> 10));
            c = 0xDC00 + (c & 0x3FF);
        }
        out += static_cast<KelChar16>(c);
    }
    return out;
}
