#include "image_write.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "png_io.h"

namespace {

void putLe16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void putLe32(uint8_t* p, uint32_t v) {
    putLe16(p, v & 0xFFFF);
    putLe16(p + 2, v >> 16);
}

constexpr uint32_t kBmpHeaderBytes = 14 + 40;

// How one decoded row becomes one stored row.
enum class RowForm { Bgr8, Rgb8, Grey8, Rgb16, Grey16 };

uint8_t luma(uint32_t r, uint32_t g, uint32_t b) { return static_cast<uint8_t>((299 * r + 587 * g + 114 * b + 500) / 1000); }

}  // namespace

struct PictureWriter::State {
    OutputFile out;
    std::unique_ptr<PngRowWriter> png;
    ImageFormat format = ImageFormat::Unknown;  // Bmp, Ppm, Pgm or Png
    PictureShape shape;
    RowForm form = RowForm::Grey8;
    uint32_t maxValue = 255;       // of the decoded samples
    uint32_t storedRowBytes = 0;   // one row as the file holds it (BMP rows padded)
    uint32_t decodedRowBytes = 0;
    // Direct: the decoder writes the stored rows themselves (BMP of the
    // library's pixels, PGM of 8-bit grey, PPM of 8-bit colour after a swap).
    bool direct = false;
    bool bmpWhole = false;  // BMP to standard output: every row kept until the end
    uint32_t stripRows = 0, slackRows = 0;
    uint32_t rowsDone = 0;
    uint32_t stripAsked = 0;     // rows of the strip last handed out
    std::vector<uint8_t> buffer;  // the strip (or the whole BMP), slack included
    std::vector<uint8_t> stored;  // converted rows waiting to be written
    std::string header;

    // BMP: stored row y's place in the whole-picture buffer.
    uint8_t* bmpRow(uint32_t y) {
        return buffer.data() + (size_t{slackRows} + shape.height - 1 - y) * storedRowBytes;
    }
    void convertRow(const uint8_t* from, uint8_t* to) const;
    bool writeRows(const uint8_t* rows, uint32_t count);
};

void PictureWriter::State::convertRow(const uint8_t* from, uint8_t* to) const {
    const uint32_t n = shape.components, bps = shape.bytesPerSample;
    // Colour samples are blue first unless rgbOrder.
    const uint32_t red = n < 3 ? 0 : shape.rgbOrder ? 0 : 2, blue = n < 3 ? 0 : 2 - red;
    auto value = [&](uint32_t x, uint32_t c) -> uint32_t {
        const uint8_t* p = from + (size_t{x} * n + c) * bps;
        if (bps == 1) return p[0];
        uint16_t v;
        std::memcpy(&v, p, 2);
        return v;
    };
    auto narrow = [&](uint32_t v) -> uint32_t { return maxValue == 255 ? v : (v * 255 + maxValue / 2) / maxValue; };
    for (uint32_t x = 0; x < shape.width; ++x) {
        switch (form) {
            case RowForm::Bgr8:
            case RowForm::Rgb8: {
                uint32_t r = narrow(value(x, red)), g = narrow(value(x, n < 3 ? 0 : 1)), b = narrow(value(x, blue));
                to[0] = static_cast<uint8_t>(form == RowForm::Bgr8 ? b : r);
                to[1] = static_cast<uint8_t>(g);
                to[2] = static_cast<uint8_t>(form == RowForm::Bgr8 ? r : b);
                to += 3;
                break;
            }
            case RowForm::Grey8:
                *to++ = n < 3 ? static_cast<uint8_t>(narrow(value(x, 0)))
                              : luma(narrow(value(x, red)), narrow(value(x, 1)), narrow(value(x, blue)));
                break;
            case RowForm::Rgb16:
            case RowForm::Grey16:
                // PPM and PGM store wide samples most significant byte first.
                for (uint32_t c = 0; c < (form == RowForm::Rgb16 ? 3u : 1u); ++c) {
                    uint32_t v = value(x, c == 0 ? red : c == 1 ? 1 : blue);
                    *to++ = static_cast<uint8_t>(v >> 8);
                    *to++ = static_cast<uint8_t>(v);
                }
                break;
        }
    }
}

bool PictureWriter::State::writeRows(const uint8_t* rows, uint32_t count) {
    if (png) {
        for (uint32_t i = 0; i < count; ++i)
            if (!png->writeRow(rows + size_t{i} * storedRowBytes)) return false;
        return true;
    }
    return out.write(rows, size_t{count} * storedRowBytes);
}

PictureWriter::PictureWriter() : s_(new State) {}
PictureWriter::~PictureWriter() = default;

bool PictureWriter::open(const std::string& path, ImageFormat format, const PictureShape& shape, uint32_t stripRows,
                         uint32_t slackRows, std::string& error) {
    State& s = *s_;
    const bool colour = shape.components >= 3;
    if (format == ImageFormat::Pnm) format = colour ? ImageFormat::Ppm : ImageFormat::Pgm;
    if (format == ImageFormat::Unknown) {
        error = "output name must end in .bmp, .png, .ppm, .pgm or .pnm: " + path;
        return false;
    }
    if (format == ImageFormat::Png && !pngAvailable()) {
        error = "this keljpeg was built without PNG support";
        return false;
    }
    s.format = format;
    s.shape = shape;
    s.stripRows = stripRows;
    s.slackRows = slackRows;
    s.maxValue = shape.maxValue ? shape.maxValue : shape.bytesPerSample == 2 ? 65535 : 255;
    const bool wide = shape.bytesPerSample == 2 && (format == ImageFormat::Ppm) == colour &&
                      (format == ImageFormat::Ppm || format == ImageFormat::Pgm);
    const bool outColour = format == ImageFormat::Ppm || ((format == ImageFormat::Bmp || format == ImageFormat::Png) && colour);
    s.form = wide ? (outColour ? RowForm::Rgb16 : RowForm::Grey16)
             : outColour ? (format == ImageFormat::Bmp ? RowForm::Bgr8 : RowForm::Rgb8)
                         : RowForm::Grey8;
    const uint32_t samples = shape.width * (outColour ? 3 : 1);
    s.storedRowBytes = samples * (wide ? 2 : 1);
    if (format == ImageFormat::Bmp) s.storedRowBytes = (s.storedRowBytes + 3) & ~3u;
    s.decodedRowBytes = shape.width * shape.components * shape.bytesPerSample;
    // Samples of 8 bits in the library's order need no conversion; PNM keeps
    // a smaller maximum as its header's maxval.
    const bool plain8 = shape.bytesPerSample == 1 && (shape.components == 1 || !shape.rgbOrder) &&
                        (s.maxValue == 255 || format == ImageFormat::Ppm || format == ImageFormat::Pgm);
    s.direct = plain8 && (colour == outColour) && format != ImageFormat::Png;

    if (!s.out.open(path, error)) return false;
    std::string& h = s.header;
    if (format == ImageFormat::Png) {
        s.png = PngRowWriter::start(s.out, shape.width, shape.height, outColour, error);
        if (!s.png) return false;
    } else if (format == ImageFormat::Bmp) {
        const uint32_t paletteBytes = outColour ? 0 : 256 * 4;
        const uint32_t offset = kBmpHeaderBytes + paletteBytes;
        const uint64_t imageBytes = uint64_t{s.storedRowBytes} * shape.height;
        if (imageBytes + offset > 0xFFFFFFFFu) {
            error = "the picture is too large for a BMP file";
            return false;
        }
        h.assign(offset, '\0');
        uint8_t* p = reinterpret_cast<uint8_t*>(&h[0]);
        p[0] = 'B';
        p[1] = 'M';
        putLe32(p + 2, static_cast<uint32_t>(offset + imageBytes));
        putLe32(p + 10, offset);
        putLe32(p + 14, 40);
        putLe32(p + 18, shape.width);
        putLe32(p + 22, shape.height);  // positive: bottom-up rows
        putLe16(p + 26, 1);
        putLe16(p + 28, outColour ? 24 : 8);
        putLe32(p + 34, static_cast<uint32_t>(imageBytes));
        putLe32(p + 38, 2835);  // 72 dots per inch
        putLe32(p + 42, 2835);
        putLe32(p + 46, outColour ? 0 : 256);
        for (uint32_t i = 0; !outColour && i < 256; ++i) std::memset(p + kBmpHeaderBytes + 4 * i, static_cast<int>(i), 3);
        s.bmpWhole = !s.out.seekable();
        if (!s.bmpWhole && !s.out.write(h.data(), h.size())) {
            error = "cannot write '" + path + "'";
            return false;
        }
    } else {
        uint32_t maxval = wide || s.direct ? s.maxValue : 255;
        h = std::string(format == ImageFormat::Ppm ? "P6" : "P5") + "\n" + std::to_string(shape.width) + " " +
            std::to_string(shape.height) + "\n" + std::to_string(maxval) + "\n";
        if (!s.out.write(h.data(), h.size())) {
            error = "cannot write '" + path + "'";
            return false;
        }
    }
    const size_t bufferRowBytes = s.direct ? s.storedRowBytes : s.decodedRowBytes;
    const size_t bufferRows = size_t{slackRows} + (s.direct && s.bmpWhole ? shape.height : stripRows);
    s.buffer.assign(bufferRows * bufferRowBytes, 0);
    if (!s.direct) s.stored.assign(size_t{s.storedRowBytes} * (s.bmpWhole ? shape.height : stripRows), 0);
    return true;
}

ImageRect PictureWriter::strip(uint32_t rows) {
    State& s = *s_;
    s.stripAsked = rows;
    ImageRect rect{};
    rect.width = static_cast<int32_t>(s.shape.width);
    rect.height = static_cast<int32_t>(rows);
    rect.bitsPerPixel = static_cast<int32_t>(8 * s.shape.components * s.shape.bytesPerSample);
    rect.size = static_cast<uint32_t>(std::min<size_t>(s.buffer.size(), 0xFFFFFFFFu));
    if (s.direct && s.format == ImageFormat::Bmp) {
        // Bottom-up rows: the strip's top row lies last, rows below it (the
        // slack too) at lower addresses.
        rect.stride = -static_cast<int32_t>(s.storedRowBytes);
        rect.bits = s.bmpWhole ? s.bmpRow(s.rowsDone)
                               : s.buffer.data() + (size_t{s.slackRows} + rows - 1) * s.storedRowBytes;
    } else {
        rect.stride = static_cast<int32_t>(s.direct ? s.storedRowBytes : s.decodedRowBytes);
        rect.bits = s.buffer.data();
    }
    return rect;
}

bool PictureWriter::commit(uint32_t rows) {
    State& s = *s_;
    rows = std::min(rows, s.shape.height - s.rowsDone);
    const uint32_t first = s.rowsDone;
    s.rowsDone += rows;
    if (s.format == ImageFormat::Bmp) {
        const size_t pixelBytes = size_t{s.shape.width} * (s.form == RowForm::Bgr8 ? 3 : 1);
        const uint64_t fileOffset = s.header.size() + uint64_t{s.shape.height - first - rows} * s.storedRowBytes;
        if (s.direct) {
            uint8_t* top = s.bmpWhole ? s.bmpRow(first)
                                      : s.buffer.data() + (size_t{s.slackRows} + s.stripAsked - 1) * s.storedRowBytes;
            // Row padding is part of the file: zeros, whatever a decoder left there.
            for (uint32_t i = 0; i < rows && pixelBytes < s.storedRowBytes; ++i)
                std::memset(top - ptrdiff_t(i) * s.storedRowBytes + pixelBytes, 0, s.storedRowBytes - pixelBytes);
            if (s.bmpWhole) return true;
            return s.out.writeAt(fileOffset, top - ptrdiff_t(rows - 1) * s.storedRowBytes, size_t{rows} * s.storedRowBytes);
        }
        for (uint32_t i = 0; i < rows; ++i) {
            uint8_t* to = s.bmpWhole ? s.stored.data() + (size_t{s.shape.height} - 1 - (first + i)) * s.storedRowBytes
                                     : s.stored.data() + size_t{rows - 1 - i} * s.storedRowBytes;
            s.convertRow(s.buffer.data() + size_t{i} * s.decodedRowBytes, to);
        }
        return s.bmpWhole || s.out.writeAt(fileOffset, s.stored.data(), size_t{rows} * s.storedRowBytes);
    }
    if (s.direct) {
        if (s.form == RowForm::Rgb8) {
            // The library's blue-green-red becomes the file's red-green-blue in place.
            uint8_t* p = s.buffer.data();
            for (size_t i = 0, n = size_t{rows} * s.shape.width; i < n; ++i, p += 3) std::swap(p[0], p[2]);
        }
        return s.writeRows(s.buffer.data(), rows);
    }
    for (uint32_t i = 0; i < rows; ++i)
        s.convertRow(s.buffer.data() + size_t{i} * s.decodedRowBytes, s.stored.data() + size_t{i} * s.storedRowBytes);
    return s.writeRows(s.stored.data(), rows);
}

bool PictureWriter::finish(std::string& error) {
    State& s = *s_;
    bool ok = s.rowsDone == s.shape.height;
    if (ok && s.png) ok = s.png->finish();
    if (ok && s.bmpWhole) {
        const uint8_t* rows = s.direct ? s.bmpRow(s.shape.height - 1) : s.stored.data();
        ok = s.out.write(s.header.data(), s.header.size()) && s.out.write(rows, size_t{s.shape.height} * s.storedRowBytes);
    }
    if (!ok) {
        error = "writing the picture failed";
        return false;
    }
    return s.out.finish(error);
}

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
    if (name == "png") return ImageFormat::Png;
    return ImageFormat::Unknown;
}

std::string extensionFor(ImageFormat format, const PictureShape& picture) {
    switch (format) {
        case ImageFormat::Bmp: return ".bmp";
        case ImageFormat::Ppm: return ".ppm";
        case ImageFormat::Pgm: return ".pgm";
        case ImageFormat::Png: return ".png";
        case ImageFormat::Pnm: return picture.components >= 3 ? ".ppm" : ".pgm";
        case ImageFormat::Unknown: break;
    }
    return "";
}

bool writePicture(const std::string& path, const DecodedPicture& picture, std::string& error) {
    return writePictureAs(path, imageFormatFor(path), picture, error);
}

bool writePictureAs(const std::string& path, ImageFormat format, const DecodedPicture& picture, std::string& error) {
    constexpr uint32_t kStripRows = 64;
    PictureWriter writer;
    if (!writer.open(path, format, picture, kStripRows, 0, error)) return false;
    const size_t rowBytes = size_t{picture.width} * picture.components * picture.bytesPerSample;
    for (uint32_t y = 0; y < picture.height; y += kStripRows) {
        const uint32_t rows = std::min(kStripRows, picture.height - y);
        ImageRect rect = writer.strip(rows);
        for (uint32_t i = 0; i < rows; ++i)
            std::memcpy(rect.bits + ptrdiff_t(rect.stride) * i, picture.pixels.data() + (size_t{y} + i) * rowBytes, rowBytes);
        if (!writer.commit(rows)) break;
    }
    return writer.finish(error);
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
