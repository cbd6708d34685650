#include "png_io.h"

#include <cstdio>
#include <cstring>

#include "cli_io.h"
#include "image_write.h"
#include "picture_input.h"

bool isPngSignature(const uint8_t* bytes, size_t count) {
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return count >= 8 && std::memcmp(bytes, kSignature, 8) == 0;
}

#if defined(KELJPEG_HAVE_PNG)

#include <csetjmp>
#include <png.h>

namespace {

// libpng reports a failure by calling this, which must not return: the
// message is kept and control goes back to the setjmp of the call that began
// it. Functions that hold a setjmp create no object with a destructor after it.
struct PngErrorSink {
    char message[200] = {};
    bool warned = false;
};

[[noreturn]] void pngError(png_structp png, png_const_charp message) {
    auto* sink = static_cast<PngErrorSink*>(png_get_error_ptr(png));
    std::snprintf(sink->message, sizeof sink->message, "PNG: %s", message);
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}  // damage libpng repairs is not worth a line

struct MemoryBytes {
    std::vector<uint8_t> bytes;
    size_t next = 0;
};

void readMemory(png_structp png, png_bytep out, size_t count) {
    auto* m = static_cast<MemoryBytes*>(png_get_io_ptr(png));
    if (m->bytes.size() - m->next < count) png_error(png, "file truncated");
    std::memcpy(out, m->bytes.data() + m->next, count);
    m->next += count;
}

class PngInput : public PictureInput {
public:
    PngInput(FILE* file, std::vector<uint8_t> bytes) : file_(file) { memory_.bytes = std::move(bytes); }
    ~PngInput() override {
        png_destroy_read_struct(&png_, &info_, nullptr);
        if (file_) std::fclose(file_);
    }

    // Reads the header and sets the transforms that give 8-bit grey or
    // blue-green-red rows. Returns false with error set.
    bool start(const PngOptions& options, std::string& error, std::string& warning) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &sink_, pngError, pngWarning);
        if (png_) info_ = png_create_info_struct(png_);
        if (!png_ || !info_) {
            error = "out of memory";
            return false;
        }
        if (setjmp(png_jmpbuf(png_))) {
            error = sink_.message;
            return false;
        }
        // The file's own limits: JPEG frames end at 65535 pixels a side.
        png_set_user_limits(png_, 65535, 65535);
        if (file_) png_init_io(png_, file_);
        else png_set_read_fn(png_, &memory_, readMemory);
        png_read_info(png_, info_);
        const int type = png_get_color_type(png_, info_);
        const bool alpha = (type & PNG_COLOR_MASK_ALPHA) || png_get_valid(png_, info_, PNG_INFO_tRNS);
        bool colour = (type & PNG_COLOR_MASK_COLOR) != 0;
        png_set_expand(png_);  // palette to RGB, grey below 8 bits to 8, transparency to alpha
        // A palette of greys makes a grey picture, as a grey BMP palette does.
        png_colorp palette = nullptr;
        int entries = 0;
        const bool greyBackground = options.red == options.green && options.green == options.blue;
        if (type == PNG_COLOR_TYPE_PALETTE && !(alpha && options.background && !greyBackground) &&
            png_get_PLTE(png_, info_, &palette, &entries)) {
            bool grey = true;
            for (int i = 0; i < entries; ++i)
                grey = grey && palette[i].red == palette[i].green && palette[i].green == palette[i].blue;
            if (grey) {
                png_set_rgb_to_gray_fixed(png_, 1, -1, -1);  // exact: red, green and blue are equal
                colour = false;
            }
        }
        png_set_scale_16(png_);
        if (alpha && options.background) {
            png_color_16 colourOf{};
            colourOf.red = options.red;
            colourOf.green = options.green;
            colourOf.blue = options.blue;
            colourOf.gray = options.green;
            if (!colour && !greyBackground) {
                png_set_gray_to_rgb(png_);
                colour = true;
            }
            png_set_background_fixed(png_, &colourOf, PNG_BACKGROUND_GAMMA_SCREEN, 0, PNG_FP_1);
        } else if (alpha) {
            png_set_strip_alpha(png_);
            warning = "the alpha channel is dropped (--background R,G,B blends it instead)";
        }
        if (colour) png_set_bgr(png_);
        passes_ = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        width = png_get_image_width(png_, info_);
        height = png_get_image_height(png_, info_);
        components = png_get_channels(png_, info_);
        if (components != 1 && components != 3) {
            error = "PNG: unexpected channel count";
            return false;
        }
        if (passes_ > 1) {
            // An interlaced picture is complete only after its last pass.
            whole_.assign(size_t{width} * height * components, 0);
            rows_.resize(height);
            for (uint32_t y = 0; y < height; ++y) rows_[y] = whole_.data() + size_t{y} * width * components;
            png_read_image(png_, rows_.data());
        }
        return true;
    }

    bool read(uint8_t* out, uint32_t rows, std::string& error) override {
        const size_t rowBytes = size_t{width} * components;
        if (passes_ > 1) {
            std::memcpy(out, whole_.data() + size_t{next_} * rowBytes, rows * rowBytes);
            next_ += rows;
            return true;
        }
        if (setjmp(png_jmpbuf(png_))) {
            error = sink_.message;
            return false;
        }
        for (uint32_t i = 0; i < rows; ++i) png_read_row(png_, out + i * rowBytes, nullptr);
        return true;
    }

private:
    FILE* file_;
    MemoryBytes memory_;
    PngErrorSink sink_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    int passes_ = 1;
    uint32_t next_ = 0;
    std::vector<uint8_t> whole_;
    std::vector<png_bytep> rows_;
};

std::unique_ptr<PictureInput> startInput(std::unique_ptr<PngInput> input, const PngOptions& options,
                                         std::string& error, std::string& warning) {
    if (!input->start(options, error, warning)) return nullptr;
    return input;
}

void writeOut(png_structp png, png_bytep bytes, size_t count) {
    if (!static_cast<OutputFile*>(png_get_io_ptr(png))->write(bytes, count)) png_error(png, "write failed");
}

void flushNothing(png_structp) {}  // OutputFile::finish flushes

class PngWriter : public PngRowWriter {
public:
    ~PngWriter() override { png_destroy_write_struct(&png_, &info_); }

    bool begin(OutputFile& out, uint32_t width, uint32_t height, bool colour, std::string& error) {
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink_, pngError, pngWarning);
        if (png_) info_ = png_create_info_struct(png_);
        if (!png_ || !info_) {
            error = "out of memory";
            return false;
        }
        if (setjmp(png_jmpbuf(png_))) {
            error = sink_.message;
            return false;
        }
        png_set_write_fn(png_, &out, writeOut, flushNothing);
        png_set_IHDR(png_, info_, width, height, 8, colour ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        // zlib level 6 compresses a photograph within 1% of level 9 at less than half its time.
        png_set_compression_level(png_, 6);
        png_write_info(png_, info_);
        return true;
    }

    bool writeRow(const uint8_t* row) override {
        if (setjmp(png_jmpbuf(png_))) return false;
        png_write_row(png_, row);
        return true;
    }

    bool finish() override {
        if (setjmp(png_jmpbuf(png_))) return false;
        png_write_end(png_, nullptr);
        return true;
    }

private:
    PngErrorSink sink_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

}  // namespace

bool pngAvailable() { return true; }

std::unique_ptr<PictureInput> openPngFile(FILE* file, const PngOptions& options, std::string& error,
                                          std::string& warning) {
    return startInput(std::make_unique<PngInput>(file, std::vector<uint8_t>{}), options, error, warning);
}

std::unique_ptr<PictureInput> openPngBytes(std::vector<uint8_t> bytes, const PngOptions& options, std::string& error,
                                           std::string& warning) {
    return startInput(std::make_unique<PngInput>(nullptr, std::move(bytes)), options, error, warning);
}

std::unique_ptr<PngRowWriter> PngRowWriter::start(OutputFile& out, uint32_t width, uint32_t height, bool colour,
                                                  std::string& error) {
    auto writer = std::make_unique<PngWriter>();
    if (!writer->begin(out, width, height, colour, error)) return nullptr;
    return writer;
}

#else

namespace {
const char kNoPng[] = "this keljpeg was built without PNG support (libpng)";
}

bool pngAvailable() { return false; }

std::unique_ptr<PictureInput> openPngFile(FILE* file, const PngOptions&, std::string& error, std::string&) {
    std::fclose(file);
    error = kNoPng;
    return nullptr;
}

std::unique_ptr<PictureInput> openPngBytes(std::vector<uint8_t>, const PngOptions&, std::string& error, std::string&) {
    error = kNoPng;
    return nullptr;
}

std::unique_ptr<PngRowWriter> PngRowWriter::start(OutputFile&, uint32_t, uint32_t, bool, std::string& error) {
    error = kNoPng;
    return nullptr;
}

#endif
