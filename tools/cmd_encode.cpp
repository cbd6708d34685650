// keljpeg encode: BMP, PPM, PGM or planar YUV 4:2:0 to baseline JPEG through
// the library's encode calls; one file, standard streams, or many files in
// batch mode.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "batch.h"
#include "cli_io.h"
#include "commands.h"
#include "conversions.h"
#include "dib_file.h"
#include "image_read.h"
#include "picture_input.h"
#include "png_io.h"

const char kEncodeOptionsHelp[] =
    "  --quality N             1..100, default 75\n"
    "  --sampling S            444, 422, 440 or 420 (default) for colour input\n"
    "  --restart N             a restart marker every N MCUs\n"
    "  --fine-tables           the fixed fine quantisation tables instead of --quality\n"
    "  --jfif-density X,Y,U    JFIF densities and units (0 aspect, 1 dpi, 2 dpcm); default 1,1,0\n"
    "  --no-jfif               leave out the JFIF segment\n"
    "  --dnl                   write height 0 in the frame header and the real\n"
    "                          height in a DNL segment (many decoders reject this)\n"
    "  --interleaved-grey      apply --sampling to grey input too (the blocks are\n"
    "                          then coded in an order other decoders misread)\n";

namespace {

const char kUsageHead[] =
    "usage: keljpeg encode [OPTIONS] IN OUT.jpg\n"
    "       keljpeg encode [OPTIONS] --out-dir DIR IN...\n"
    "\n"
    "IN is a PNG (grey, grey+alpha, RGB, RGBA or palette, 1 to 16 bits), a BMP\n"
    "(1, 4, 8, 16, 24 or 32 bits, uncompressed or with colour masks), a binary\n"
    "PPM (P6) or PGM (P5) file of 8 or 16 bits per sample, or with --yuv420 a\n"
    "planar frame (width*height luma bytes, then the U and V planes at quarter\n"
    "size). Grey input makes a one-component JPEG; 16-bit samples are scaled to\n"
    "8. PNG and PPM/PGM are read strip by strip as the encoder takes them.\n"
    "IN \"-\" reads standard input and OUT.jpg \"-\" writes standard output.\n"
    "\n"
    "options:\n";

const char kUsageTail[] =
    "  --yuv420 WxH            IN is a planar 4:2:0 frame of that size\n"
    "  --background R,G,B      blend PNG transparency over this colour (0..255 each);\n"
    "                          without it the alpha channel is dropped with a warning\n"
    "  --out-dir DIR           batch mode: encode every IN to DIR/NAME.jpg\n"
    "  --jobs N                batch mode: N worker threads (default: one per core)\n"
    "  --quiet, -q             no progress line and no warnings\n";

void printUsage(FILE* out) {
    std::fputs(kUsageHead, out);
    std::fputs(kEncodeOptionsHelp, out);
    std::fputs(kUsageTail, out);
}

bool parseNumber(const std::string& text, uint32_t low, uint32_t high, uint32_t& value) {
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return false;
    value = static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
    return value >= low && value <= high;
}

bool parseSampling(const std::string& text, uint32_t& byte) {
    if (text == "444") byte = 0x11;
    else if (text == "422") byte = 0x21;
    else if (text == "440") byte = 0x12;
    else if (text == "420") byte = 0x22;
    else return false;
    return true;
}

bool parseDensity(const std::string& text, EncodeOptions& o) {
    size_t a = text.find(','), b = text.find(',', a == std::string::npos ? a : a + 1);
    if (a == std::string::npos || b == std::string::npos) return false;
    uint32_t x, y, u;
    if (!parseNumber(text.substr(0, a), 1, 65535, x) || !parseNumber(text.substr(a + 1, b - a - 1), 1, 65535, y) ||
        !parseNumber(text.substr(b + 1), 0, 2, u))
        return false;
    o.xDensity = static_cast<uint16_t>(x);
    o.yDensity = static_cast<uint16_t>(y);
    o.units = static_cast<uint8_t>(u);
    return true;
}

// "R,G,B", each 0..255.
bool parseBackground(const std::string& text, PngOptions& png) {
    size_t a = text.find(','), b = text.find(',', a == std::string::npos ? a : a + 1);
    uint32_t r, g, bl;
    if (a == std::string::npos || b == std::string::npos || !parseNumber(text.substr(0, a), 0, 255, r) ||
        !parseNumber(text.substr(a + 1, b - a - 1), 0, 255, g) || !parseNumber(text.substr(b + 1), 0, 255, bl))
        return false;
    png.background = true;
    png.red = static_cast<uint8_t>(r);
    png.green = static_cast<uint8_t>(g);
    png.blue = static_cast<uint8_t>(bl);
    return true;
}

bool parseSize(const std::string& text, uint32_t& w, uint32_t& h) {
    size_t x = text.find('x');
    return x != std::string::npos && parseNumber(text.substr(0, x), 2, 65535, w) &&
           parseNumber(text.substr(x + 1), 2, 65535, h);
}

struct Source {
    std::unique_ptr<PictureInput> input;  // rows read as the encoder takes them
    std::vector<uint8_t> planes;          // planar input
    uint32_t width = 0, height = 0, components = 0;
};

// Opens the input file (or standard input). Returns "" or an error text.
std::string loadSource(const std::string& name, const EncodeOptions& o, Source& source) {
    std::string error, warning;
    if (o.yuv) {
        if (!readAllBytes(name, source.planes, error)) return error;
        if (!takeYuv420Planes(o.yuvWidth, o.yuvHeight, source.planes, error)) return error;
        source.width = o.yuvWidth;
        source.height = o.yuvHeight;
        source.components = 3;
        return "";
    }
    source.input = openPictureInput(name, o.png, error, warning);
    if (!source.input) return error;
    if (!warning.empty() && !o.quiet) printFileNote(name, warning);
    source.width = source.input->width;
    source.height = source.input->height;
    source.components = source.input->components;
    return "";
}

JpegEncodeParams paramsFor(const EncodeOptions& o, const Source& image, JfifInfo* jfif) {
    JpegEncodeParams p{};
    p.componentCount = static_cast<uint16_t>(image.components);
    bool grey = image.components == 1;
    p.samplingFactors = grey ? (o.interleavedGrey ? o.samplingY : 0x11) : (o.yuv ? 0x221111 : (o.samplingY << 16) | 0x1111);
    p.width = static_cast<uint16_t>(image.width);
    p.height = o.dnl ? 0 : static_cast<uint16_t>(image.height);
    p.restartInterval = static_cast<uint16_t>(o.restart);
    p.quality = static_cast<uint16_t>(o.quality);
    p.options = static_cast<uint16_t>((o.jfif ? JPEG_OPT_JFIF : 0) | (o.fineTables ? JPEG_OPT_FINE_TABLES : 0));
    p.jfif = jfif;
    return p;
}

void warnAboutUnusualStreams(const EncodeOptions& o) {
    if (o.dnl)
        std::fprintf(stderr, "keljpeg encode: warning: --dnl writes height 0 and a DNL segment; "
                             "many decoders cannot read such a file\n");
    if (o.interleavedGrey && o.samplingY != 0x11)
        std::fprintf(stderr, "keljpeg encode: warning: grey input with sampling other than 1x1 is coded in "
                             "interleaved block order; other decoders will misread it\n");
    if (o.yuv && o.interleavedGrey)
        std::fprintf(stderr, "keljpeg encode: note: --interleaved-grey has no effect on planar input\n");
}

// Feeds the input in strips of whole MCU rows, each read from the file just
// before the encoder takes it, so that it is still in the caches: about
// 256 KiB (2048 colour pixels a row: 32 rows, two 4:2:0 MCU rows).
bool encodeStrips(JpegHandle handle, PictureInput& input, uint32_t mcuHeight, std::string& error) {
    const uint32_t rowBytes = input.width * input.components;
    const uint32_t stripLines = std::max(1u, 256 * 1024 / rowBytes / mcuHeight) * mcuHeight;
    std::vector<uint8_t> strip(size_t{rowBytes} * std::min(stripLines, input.height));
    for (uint32_t top = 0; top < input.height; top += stripLines) {
        uint32_t lines = std::min(stripLines, input.height - top);
        if (!input.read(strip.data(), lines, error)) return false;
        ImageRect rect{};
        rect.width = static_cast<int32_t>(input.width);
        rect.height = static_cast<int32_t>(lines);
        rect.stride = static_cast<int32_t>(rowBytes);
        rect.bitsPerPixel = static_cast<int32_t>(8 * input.components);
        rect.bits = strip.data();
        rect.size = rowBytes * lines;
        if (jpegEncodeFromRect(handle, &rect, lines) != lines) return false;
    }
    return true;
}

// Encodes the source to a file, or through a memory block to standard output.
std::string encodeSource(Source& source, const EncodeOptions& o, const std::string& output) {
    const bool toStdout = isStandardStream(output);
    JfifInfo jfif{o.xDensity, o.yDensity, o.units, 0, 0, {0}};
    JpegEncodeParams params = paramsFor(o, source, &jfif);
    if (toStdout) params.options |= JPEG_OPT_MEMORY;
    auto name = libraryPath(output);
    JpegHandle handle = jpegEncodeProlog(toStdout ? nullptr : name.c_str(), &params);
    if (!handle) return "cannot start encoding '" + output + "'";
    uint32_t samplingV = (params.samplingFactors >> (8 * (source.components - 1))) & 15;
    std::string error;
    const DibFile* dib = source.input ? source.input->dib() : nullptr;
    bool ok = o.yuv ? jpegEncodeFromYUV411(handle, source.planes.data(), source.width, source.height) == source.height
              : dib ? encodeDibStrips(handle, *dib, 8 * samplingV)
                    : encodeStrips(handle, *source.input, 8 * samplingV, error);
    bool closed = jpegEncodeEpilog(handle) == 0;
    if (toStdout && params.outputBuffer) {
        std::vector<uint8_t> bytes(params.outputBuffer, params.outputBuffer + params.outputSize);
        jpegFreeMemory(params.outputBuffer);
        if (ok && closed && !writeAllBytes(output, bytes, error)) return error;
    }
    if (ok && closed) return "";
    if (!toStdout) {
        // No half-written JPEG file stays behind (devices such as /dev/full stay).
        std::error_code ec;
        if (std::filesystem::is_regular_file(output, ec)) std::filesystem::remove(output, ec);
    }
    if (!error.empty()) return error;
    return toStdout ? "encoding failed" : "writing '" + output + "' failed";
}

std::string encodeFile(const EncodeOptions& o, const std::string& input, const std::string& output) {
    Source source;
    std::string error = loadSource(input, o, source);
    return error.empty() ? encodeSource(source, o, output) : error;
}

}  // namespace

int takeEncodeOption(const Args& args, size_t& i, EncodeOptions& o, bool withInput) {
    const std::string& a = args[i];
    auto value = [&](std::string& out) {
        if (i + 1 >= args.size()) return false;
        out = args[++i];
        return true;
    };
    std::string v;
    bool ok = true;
    if (a == "--quality") ok = value(v) && parseNumber(v, 1, 100, o.quality);
    else if (a == "--sampling") ok = value(v) && parseSampling(v, o.samplingY);
    else if (a == "--restart") ok = value(v) && parseNumber(v, 0, 65535, o.restart);
    else if (a == "--fine-tables") o.fineTables = true;
    else if (a == "--jfif-density") ok = value(v) && parseDensity(v, o);
    else if (a == "--no-jfif") o.jfif = false;
    else if (a == "--yuv420" && withInput) ok = (o.yuv = value(v) && parseSize(v, o.yuvWidth, o.yuvHeight));
    else if (a == "--background" && withInput) ok = value(v) && parseBackground(v, o.png);
    else if (a == "--dnl") o.dnl = true;
    else if (a == "--interleaved-grey") o.interleavedGrey = true;
    else return 0;
    return ok ? 1 : -1;
}

std::string encodePixels(const PixelImage& image, const EncodeOptions& o, const std::string& output) {
    Source source;
    source.input = pictureInputOf(image);
    source.width = image.width;
    source.height = image.height;
    source.components = image.components;
    return encodeSource(source, o, output);
}

PixelImage pixelsOf(const DecodedPicture& picture) {
    PixelImage image{picture.width, picture.height, picture.components < 3 ? 1u : 3u, {}};
    const size_t samples = size_t{image.width} * image.height * image.components;
    const uint32_t maxValue = picture.maxValue ? picture.maxValue : picture.bytesPerSample == 2 ? 65535 : 255;
    image.pixels.resize(samples);
    for (size_t i = 0; i < samples; ++i) {
        // Lossless colour comes in component order; the encoder takes blue first.
        size_t c = i % image.components, pixel = i / image.components;
        size_t from = pixel * picture.components + (image.components == 3 && picture.rgbOrder ? 2 - c : c);
        uint32_t v = picture.pixels[from * picture.bytesPerSample];
        if (picture.bytesPerSample == 2) {
            uint16_t wide;
            std::memcpy(&wide, &picture.pixels[from * 2], 2);
            v = wide;
        }
        image.pixels[i] = static_cast<uint8_t>(maxValue == 255 ? v : (v * 255 + maxValue / 2) / maxValue);
    }
    return image;
}

int runEncode(const Args& args) {
    EncodeOptions o;
    BatchOptions batch;
    std::vector<std::string> names;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help" || a == "-h") {
            printUsage(stdout);
            return 0;
        }
        int taken = takeEncodeOption(args, i, o, true);
        if (taken == 0) taken = takeBatchOption(args, i, batch);
        if (taken < 0 || (taken == 0 && a.size() > 1 && a[0] == '-')) {
            std::fprintf(stderr, "keljpeg encode: %s '%s'\n\n", taken < 0 ? "missing or bad value for" : "unknown option",
                         a.c_str());
            printUsage(stderr);
            return 2;
        }
        if (taken == 0) names.push_back(a);
    }
    const char* problem = names.empty() ? "no input file"
                          : batch.outDir.empty() && names.size() == 1 ? "no output file"
                          : batch.outDir.empty() && names.size() > 2  ? "several input files need --out-dir DIR"
                                                                      : nullptr;
    if (problem) {
        std::fprintf(stderr, "keljpeg encode: %s\n\n", problem);
        printUsage(stderr);
        return 2;
    }
    o.quiet = batch.quiet;
    if (!batch.quiet) warnAboutUnusualStreams(o);
    installReportPrinter("encode");
    ConvertFile convert = [&o](const std::string& in, const std::string& out) { return encodeFile(o, in, out); };
    if (!batch.outDir.empty()) return runBatch("encode", names, ".jpg", batch, convert);
    beginFile();
    return finishFile(names[0], convert(names[0], names[1]));
}
