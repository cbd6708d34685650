#include "picture_input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "cli_io.h"
#include "png_io.h"

namespace {

constexpr uint32_t kMaxDimension = 65535;  // a JPEG frame cannot be larger

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

// A picture held whole: decoded BMP files, pictures from memory.
class WholeInput : public PictureInput {
public:
    explicit WholeInput(PixelImage image) : image_(std::move(image)) {
        width = image_.width;
        height = image_.height;
        components = image_.components;
    }
    bool read(uint8_t* out, uint32_t rows, std::string&) override {
        const size_t bytes = size_t{rows} * width * components;
        std::memcpy(out, image_.pixels.data() + next_, bytes);
        next_ += bytes;
        return true;
    }

private:
    PixelImage image_;
    size_t next_ = 0;
};

class DibInput : public PictureInput {
public:
    explicit DibInput(DibFile dib) : dib_(std::move(dib)) {
        width = static_cast<uint32_t>(dib_.header()->biWidth);
        height = static_cast<uint32_t>(dib_.header()->biHeight);
        components = dib_.grey ? 1 : 3;
    }
    bool read(uint8_t*, uint32_t, std::string& error) override {
        error = "a bitmap is encoded through the library's bitmap entry";
        return false;
    }
    const DibFile* dib() const override { return &dib_; }

private:
    DibFile dib_;
};

// Red-green-blue pixels to blue-green-red in place, four at a time through
// 32-bit words where that is cheaper than byte moves.
void swapRedBlue(uint8_t* p, size_t pixels) {
    size_t i = 0;
    for (; i + 4 <= pixels; i += 4, p += 12) {
        uint8_t t[12];
        std::memcpy(t, p, 12);
        const uint8_t swapped[12] = {t[2], t[1], t[0], t[5], t[4], t[3], t[8], t[7], t[6], t[11], t[10], t[9]};
        std::memcpy(p, swapped, 12);
    }
    for (; i < pixels; ++i, p += 3) std::swap(p[0], p[2]);
}

// PPM and PGM rows straight from the file: 8-bit colour is only reordered
// (red-green-blue to blue-green-red) in the strip it was read into.
class NetpbmInput : public PictureInput {
public:
    NetpbmInput(FILE* file, uint32_t maxval) : file_(file), maxval_(maxval) {}
    bool read(uint8_t* out, uint32_t rows, std::string& error) override {
        const size_t sampleBytes = maxval_ > 255 ? 2 : 1;
        const size_t samples = size_t{rows} * width * components;
        uint8_t* raw = out;
        if (sampleBytes == 2) {
            wide_.resize(samples * 2);
            raw = wide_.data();
        }
        if (std::fread(raw, sampleBytes, samples, file_.get()) != samples) {
            error = "PPM/PGM pixel data truncated";
            return false;
        }
        if (sampleBytes == 1 && maxval_ == 255) {
            if (components == 3) swapRedBlue(out, samples / 3);
            return true;
        }
        for (size_t i = 0; i < samples; i += components) {
            const uint32_t n = components == 3 ? 3 : 1;
            for (uint32_t c = 0; c < n; ++c) {
                // Samples are red, green, blue; the library wants blue first.
                const size_t at = i + (components == 3 ? 2 - c : 0);
                uint32_t v = sampleBytes == 2 ? (uint32_t{raw[2 * at]} << 8) | raw[2 * at + 1] : raw[at];
                if (v > maxval_) v = maxval_;
                scratch_[c] = static_cast<uint8_t>(maxval_ == 255 ? v : (v * 255 + maxval_ / 2) / maxval_);
            }
            std::memcpy(out + i, scratch_, n);
        }
        return true;
    }

private:
    std::unique_ptr<FILE, FileCloser> file_;
    uint32_t maxval_;
    std::vector<uint8_t> wide_;
    uint8_t scratch_[3] = {};
};

// The next decimal header field, skipping white space and comments.
bool nextNumber(FILE* f, uint32_t& value) {
    int c = std::getc(f);
    for (;;) {
        while (c == ' ' || c == '\t' || c == '\r' || c == '\n') c = std::getc(f);
        if (c != '#') break;
        while (c != '\n' && c != EOF) c = std::getc(f);
    }
    if (c < '0' || c > '9') return false;
    uint64_t v = 0;
    for (; c >= '0' && c <= '9'; c = std::getc(f)) {
        v = v * 10 + static_cast<uint32_t>(c - '0');
        if (v > 0xFFFFFFFFu) return false;
    }
    value = static_cast<uint32_t>(v);
    // The one white-space byte after maxval ends the header; after the other
    // fields the byte read is white space the next field skips.
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::unique_ptr<PictureInput> openNetpbm(FILE* file, bool colour, std::string& error) {
    std::unique_ptr<FILE, FileCloser> owned(file);
    uint32_t width, height, maxval;
    if (!nextNumber(file, width) || !nextNumber(file, height) || !nextNumber(file, maxval)) {
        error = "bad PPM/PGM header";
        return nullptr;
    }
    if (width == 0 || height == 0 || width > kMaxDimension || height > kMaxDimension) {
        error = "bad PPM/PGM size";
        return nullptr;
    }
    if (maxval == 0 || maxval > 65535) {
        error = "bad PPM/PGM maximum value";
        return nullptr;
    }
    const uint32_t components = colour ? 3 : 1;
    // A short file is refused before anything is written, where its size is known.
#ifdef _WIN32
    const int64_t here = _ftelli64(file);
    (void)_fseeki64(file, 0, SEEK_END);
    const int64_t size = _ftelli64(file);
    (void)_fseeki64(file, here, SEEK_SET);
#else
    const int64_t here = ftello(file);
    const int64_t size = fseeko(file, 0, SEEK_END) == 0 ? static_cast<int64_t>(ftello(file)) : -1;
    (void)fseeko(file, here, SEEK_SET);
#endif
    const uint64_t need = uint64_t{width} * height * components * (maxval > 255 ? 2 : 1);
    if (here >= 0 && size >= here && static_cast<uint64_t>(size - here) < need) {
        error = "PPM/PGM pixel data truncated";
        return nullptr;
    }
    auto input = std::make_unique<NetpbmInput>(owned.release(), maxval);
    input->width = width;
    input->height = height;
    input->components = components;
    return input;
}

std::unique_ptr<PictureInput> fromBytes(std::vector<uint8_t>& bytes, const PngOptions& png, std::string& error,
                                        std::string& warning) {
    if (isPngSignature(bytes.data(), bytes.size())) return openPngBytes(std::move(bytes), png, error, warning);
    DibFile dib;
    if (readDibFile(bytes, dib, error)) return std::make_unique<DibInput>(std::move(dib));
    if (!error.empty()) return nullptr;
    PixelImage image;
    if (!readPixelImage(bytes, image, error)) return nullptr;
    return std::make_unique<WholeInput>(std::move(image));
}

}  // namespace

std::unique_ptr<PictureInput> openPictureInput(const std::string& name, const PngOptions& png, std::string& error,
                                               std::string& warning) {
    std::vector<uint8_t> bytes;
    if (isStandardStream(name)) {
        if (!readAllBytes(name, bytes, error)) return nullptr;
        return fromBytes(bytes, png, error, warning);
    }
    FILE* file = std::fopen(name.c_str(), "rb");
    if (!file) {
        error = std::strerror(errno);
        return nullptr;
    }
    uint8_t head[8] = {};
    const size_t got = std::fread(head, 1, sizeof head, file);
    if (got >= 2 && head[0] == 'P' && (head[1] == '5' || head[1] == '6')) {
        // Back to just after the magic number: the header is read field by field.
        if (std::fseek(file, 2, SEEK_SET) != 0) {
            std::fclose(file);
            error = "cannot read '" + name + "'";
            return nullptr;
        }
        return openNetpbm(file, head[1] == '6', error);
    }
    if (isPngSignature(head, got)) {
        std::rewind(file);
        return openPngFile(file, png, error, warning);
    }
    std::fclose(file);
    if (!readAllBytes(name, bytes, error)) return nullptr;
    return fromBytes(bytes, png, error, warning);
}

std::unique_ptr<PictureInput> pictureInputOf(const PixelImage& image) { return std::make_unique<WholeInput>(image); }
