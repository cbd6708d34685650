// keljpeg encode: BMP, PPM, PGM or planar YUV 4:2:0 to baseline JPEG through
// the library's encode calls.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "commands.h"
#include "dib_file.h"
#include "image_read.h"

namespace {

const char kUsage[] =
    "usage: keljpeg encode [OPTIONS] IN OUT.jpg\n"
    "\n"
    "IN is a BMP, binary PPM (P6) or PGM (P5) file, or with --yuv420 a planar\n"
    "frame (width*height luma bytes, then the U and V planes at quarter size).\n"
    "\n"
    "options:\n"
    "  --quality N             1..100, default 75\n"
    "  --sampling S            444, 422, 440 or 420 (default) for colour input\n"
    "  --restart N             a restart marker every N MCUs\n"
    "  --fine-tables           the fixed fine quantisation tables instead of --quality\n"
    "  --jfif-density X,Y,U    JFIF densities and units (0 aspect, 1 dpi, 2 dpcm); default 1,1,0\n"
    "  --no-jfif               leave out the JFIF segment\n"
    "  --yuv420 WxH            IN is a planar 4:2:0 frame of that size\n"
    "  --dnl                   write height 0 in the frame header and the real\n"
    "                          height in a DNL segment (many decoders reject this)\n"
    "  --interleaved-grey      apply --sampling to grey input too (the blocks are\n"
    "                          then coded in an order other decoders misread)\n";

struct EncodeOptions {
    std::string input, output;
    uint32_t quality = 75;
    uint32_t samplingY = 0x22;  // of the first component; chroma is always 1x1
    uint32_t restart = 0;
    bool fineTables = false;
    bool jfif = true;
    uint16_t xDensity = 1, yDensity = 1;
    uint8_t units = 0;
    bool yuv = false;
    uint32_t yuvWidth = 0, yuvHeight = 0;
    bool dnl = false;
    bool interleavedGrey = false;
};

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

bool parseSize(const std::string& text, uint32_t& w, uint32_t& h) {
    size_t x = text.find('x');
    return x != std::string::npos && parseNumber(text.substr(0, x), 2, 65535, w) &&
           parseNumber(text.substr(x + 1), 2, 65535, h);
}

// Returns 0 to go on, 1 after --help, 2 on a usage error.
int parseOptions(const Args& args, EncodeOptions& o) {
    std::vector<std::string> positional;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) return false;
            out = args[++i];
            return true;
        };
        std::string v;
        bool ok = true;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 1;
        } else if (a == "--quality") ok = value(v) && parseNumber(v, 1, 100, o.quality);
        else if (a == "--sampling") ok = value(v) && parseSampling(v, o.samplingY);
        else if (a == "--restart") ok = value(v) && parseNumber(v, 0, 65535, o.restart);
        else if (a == "--fine-tables") o.fineTables = true;
        else if (a == "--jfif-density") ok = value(v) && parseDensity(v, o);
        else if (a == "--no-jfif") o.jfif = false;
        else if (a == "--yuv420") ok = (o.yuv = value(v) && parseSize(v, o.yuvWidth, o.yuvHeight));
        else if (a == "--dnl") o.dnl = true;
        else if (a == "--interleaved-grey") o.interleavedGrey = true;
        else if (a.size() > 1 && a[0] == '-') ok = false;
        else positional.push_back(a);
        if (!ok) {
            std::fprintf(stderr, "keljpeg encode: bad option or value near '%s'\n\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (positional.size() != 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    o.input = positional[0];
    o.output = positional[1];
    return 0;
}

// UTF-8 to the library's UTF-16 file names.
std::basic_string<KelChar16> wideName(const std::string& s) {
    std::basic_string<KelChar16> out;
    for (size_t i = 0; i < s.size();) {
        uint32_t c = static_cast<uint8_t>(s[i]);
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (extra) c &= 0x3F >> extra;
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

void KELJPEG_CALL printReport(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16* line, uint32_t) {
    std::fputs("keljpeg encode: library: ", stderr);
    for (int i = 0; line[i]; ++i) std::fputc(line[i] < 0x80 ? static_cast<char>(line[i]) : '?', stderr);
    std::fputc('\n', stderr);
}

struct Source {
    PixelImage image;              // rectangle input
    std::vector<uint8_t> planes;   // planar input
    DibFile dib;                   // bottom-up BMP input, handed to the library as it is
    bool isDib = false;
};

bool loadSource(const EncodeOptions& o, Source& source) {
    std::string error;
    if (!o.yuv && (source.isDib = readDibFile(o.input, source.dib, error))) {
        const BITMAPINFOHEADER& h = *source.dib.header();
        uint32_t components = source.dib.grey ? 1 : 3;
        source.image = PixelImage{static_cast<uint32_t>(h.biWidth), static_cast<uint32_t>(h.biHeight), components, {}};
        return true;
    }
    if (!error.empty()) {
        std::fprintf(stderr, "keljpeg encode: %s\n", error.c_str());
        return false;
    }
    bool ok = o.yuv ? readYuv420File(o.input, o.yuvWidth, o.yuvHeight, source.planes, error)
                    : readPixelImage(o.input, source.image, error);
    if (!ok) std::fprintf(stderr, "keljpeg encode: %s\n", error.c_str());
    if (ok && o.yuv) source.image = PixelImage{o.yuvWidth, o.yuvHeight, 3, {}};
    return ok;
}

JpegEncodeParams paramsFor(const EncodeOptions& o, const PixelImage& image, JfifInfo* jfif) {
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

void warnAboutUnusualStreams(const EncodeOptions& o, const PixelImage& image) {
    if (o.dnl)
        std::fprintf(stderr, "keljpeg encode: warning: --dnl writes height 0 and a DNL segment; "
                             "many decoders cannot read such a file\n");
    if (o.interleavedGrey && image.components == 1 && o.samplingY != 0x11)
        std::fprintf(stderr, "keljpeg encode: warning: grey with sampling other than 1x1 is coded in "
                             "interleaved block order; other decoders will misread it\n");
    if (o.yuv && o.interleavedGrey)
        std::fprintf(stderr, "keljpeg encode: note: --interleaved-grey has no effect on planar input\n");
}

// Feeds the rectangle in strips of a few MCU rows, as a scanner or camera would.
bool encodeRect(JpegHandle handle, const PixelImage& image, uint32_t mcuHeight) {
    uint32_t rowBytes = image.width * image.components;
    uint32_t stripLines = 4 * mcuHeight;
    for (uint32_t top = 0; top < image.height; top += stripLines) {
        uint32_t lines = image.height - top < stripLines ? image.height - top : stripLines;
        ImageRect rect{};
        rect.width = static_cast<int32_t>(image.width);
        rect.height = static_cast<int32_t>(lines);
        rect.stride = static_cast<int32_t>(rowBytes);
        rect.bitsPerPixel = static_cast<int32_t>(8 * image.components);
        rect.bits = const_cast<uint8_t*>(image.pixels.data()) + static_cast<size_t>(top) * rowBytes;
        rect.size = rowBytes * lines;
        if (jpegEncodeFromRect(handle, &rect, lines) != lines) return false;
    }
    return true;
}

}  // namespace

int runEncode(const Args& args) {
    EncodeOptions o;
    if (int r = parseOptions(args, o)) return r == 1 ? 0 : 2;
    Source source;
    if (!loadSource(o, source)) return 1;
    const PixelImage& image = source.image;
    warnAboutUnusualStreams(o, image);

    JfifInfo jfif{o.xDensity, o.yDensity, o.units, 0, 0, {0}};
    JpegEncodeParams params = paramsFor(o, image, &jfif);
    jpegSetReportHandler(printReport, nullptr);
    JpegHandle handle = jpegEncodeProlog(wideName(o.output).c_str(), &params);
    if (!handle) {
        std::fprintf(stderr, "keljpeg encode: cannot start encoding '%s'\n", o.output.c_str());
        return 1;
    }
    uint32_t samplingV = (params.samplingFactors >> (8 * (image.components - 1))) & 15;
    bool ok = o.yuv      ? jpegEncodeFromYUV411(handle, source.planes.data(), image.width, image.height) == image.height
              : source.isDib ? encodeDibStrips(handle, source.dib, 8 * samplingV)
                             : encodeRect(handle, image, 8 * samplingV);
    bool closed = jpegEncodeEpilog(handle) == 0;
    if (!ok || !closed) {
        std::fprintf(stderr, "keljpeg encode: writing '%s' failed\n", o.output.c_str());
        return 1;
    }
    return 0;
}
