// keljpeg decode: a JPEG file to BMP, PPM or PGM, through the exported API
// only, as a host application would drive it.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "commands.h"
#include "decode_passes.h"
#include "dib_file.h"
#include "image_write.h"

namespace {

constexpr uint16_t kSofLossless = 0xFFC3;

const char* kDecodeUsage =
    "usage: keljpeg decode IN.jpg OUT.bmp|OUT.ppm|OUT.pgm [--scale N] [--bmp-depth D] [--legacy]\n"
    "       keljpeg decode IN.jpg [OUT] --passes DIR [--legacy]\n"
    "  --scale N       1/8, 1/4, 1/2 or 1 (default), or the codes 0..3\n"
    "  --legacy        read the file as the legacy decoder does (sequential frames in one\n"
    "                  interleaved scan, sampling 1 or 2, no Adobe colour; reduced scales\n"
    "                  for sequential frames only); by default every standard file is read\n"
    "  --passes DIR    progressive frames: one picture per scan, DIR/pass-NN.ppm (or .pgm)\n"
    "  --bmp-depth D   8, 16, 24 or 32: write the BMP the library's bitmap output makes\n"
    "                  (colour into 8 bits: dithered 202-colour palette, full size only)\n";

struct DecodeOptions {
    std::string input, output;
    int32_t scale = 3;
    int bmpDepth = 0;  // 0: the tool's own BMP writer
    std::string passesDir;
    bool legacy = false;
};

bool parseDecodeArgs(const Args& args, DecodeOptions& o) {
    std::vector<std::string> names;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--scale" && i + 1 < args.size()) {
            if (!parseScaleArgument(args[++i], o.scale)) return false;
        } else if (args[i] == "--legacy") {
            o.legacy = true;
        } else if (args[i] == "--passes" && i + 1 < args.size()) {
            o.passesDir = args[++i];
        } else if (args[i] == "--bmp-depth" && i + 1 < args.size()) {
            const std::string& v = args[++i];
            if (v != "8" && v != "16" && v != "24" && v != "32") return false;
            o.bmpDepth = std::stoi(v);
        } else if (!args[i].empty() && args[i][0] == '-') {
            return false;
        } else {
            names.push_back(args[i]);
        }
    }
    // With --passes the final picture's file is optional.
    if (names.size() != 2 && !(names.size() == 1 && !o.passesDir.empty())) return false;
    o.input = names[0];
    if (names.size() == 2) o.output = names[1];
    return true;
}

// Largest vertical sampling factor of the frame: the MCU height is 8 times it.
uint32_t maxVerticalSampling(uint32_t samplingSignature) {
    uint32_t maxV = 1;
    for (uint32_t s = samplingSignature; s != 0; s >>= 8) maxV = std::max(maxV, s & 15);
    return maxV;
}

// Rectangle for rows rows of width samples; rows are padded to whole MCU rows
// because a frame whose height comes from DNL is written in whole MCU rows.
struct Canvas {
    std::vector<uint8_t> storage;
    ImageRect rect{};
};

void prepareCanvas(Canvas& canvas, uint32_t width, uint32_t rows, uint32_t bytesPerPixel, uint32_t mcuHeight) {
    uint32_t paddedRows = (rows + mcuHeight - 1) / mcuHeight * mcuHeight + mcuHeight;
    canvas.storage.assign(size_t{width} * bytesPerPixel * paddedRows, 0);
    canvas.rect.width = static_cast<int32_t>(width);
    canvas.rect.height = static_cast<int32_t>(rows);
    canvas.rect.stride = static_cast<int32_t>(width * bytesPerPixel);
    canvas.rect.bitsPerPixel = static_cast<int32_t>(bytesPerPixel * 8);
    canvas.rect.bits = canvas.storage.data();
    canvas.rect.size = static_cast<uint32_t>(canvas.storage.size());
}

int fail(const std::string& message) {
    std::fprintf(stderr, "keljpeg decode: %s\n", message.c_str());
    return 1;
}

// Decodes the opened frame into picture; returns an error text or "".
std::string decodeFrame(JpegHandle h, const JpegDecodeParams& params, const FrameHeader& frame, uint32_t height,
                        int32_t scale, DecodedPicture& picture) {
    Canvas canvas;
    const uint32_t mcuHeight = 8 * maxVerticalSampling(params.samplingSignature);
    if (frame.sofMarker >= kSofLossless) {
        // Lossless samples come in component order, 16 bits above 8-bit precision.
        picture.components = params.componentCount;
        picture.bytesPerSample = frame.precision > 8 ? 2 : 1;
        if (frame.precision >= 2 && frame.precision <= 16) picture.maxValue = (1u << frame.precision) - 1;
        picture.rgbOrder = true;
        if (picture.components != 1 && picture.components != 3)
            return "lossless output of " + std::to_string(picture.components) + " components is not supported";
        picture.width = params.width;
        picture.height = height;
        prepareCanvas(canvas, picture.width, height, picture.components * picture.bytesPerSample, 1);
        int32_t rows = jpegDecodeToRect(h, &canvas.rect, height);
        if (rows < static_cast<int32_t>(height)) return "decoding failed";
    } else {
        picture.components = params.componentCount < 3 ? 1 : 3;
        uint32_t width = params.width, rowsWanted = height;
        // Standard mode reduces every frame; the legacy reading sequential ones only.
        bool scaled = scale < 3 && ((params.options & JPEG_OPT_STANDARD) || !(params.options & JPEG_OPT_PROGRESSIVE));
        if (scaled) (void)jpegDecodeGetImageSize(h, &width, &rowsWanted, scale);
        picture.width = width;
        picture.height = rowsWanted;
        prepareCanvas(canvas, width, rowsWanted, picture.components, mcuHeight);
        int32_t rows = scaled ? jpegDecodeScaleOutputToRect(h, &canvas.rect, rowsWanted, scale)
                              : jpegDecodeToRect(h, &canvas.rect, rowsWanted);
        if (rows < static_cast<int32_t>(rowsWanted)) return "decoding failed";
    }
    size_t bytes = size_t{picture.width} * picture.height * picture.components * picture.bytesPerSample;
    picture.pixels.assign(canvas.storage.begin(), canvas.storage.begin() + static_cast<ptrdiff_t>(bytes));
    return "";
}

}  // namespace

uint32_t heightFromDnl(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // The last DNL segment (FF DC 00 04 followed by the line count).
    if (bytes.size() < 6) return 0;
    for (size_t i = bytes.size() - 5; i-- > 0;) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xDC && bytes[i + 2] == 0 && bytes[i + 3] == 4)
            return (uint32_t{bytes[i + 4]} << 8) | bytes[i + 5];
    }
    return 0;
}

int runDecode(const Args& args) {
    DecodeOptions o;
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        std::printf("%s", kDecodeUsage);
        return 0;
    }
    if (!parseDecodeArgs(args, o)) {
        std::fprintf(stderr, "%s", kDecodeUsage);
        return 2;
    }
    if (!o.output.empty() && imageFormatFor(o.output) == ImageFormat::Unknown) return fail("output name must end in .bmp, .ppm or .pgm");
    if (o.bmpDepth && imageFormatFor(o.output) != ImageFormat::Bmp) return fail("--bmp-depth needs a .bmp output");

    JpegDecodeParams params{};
    if (!o.legacy) params.options = JPEG_OPT_STANDARD;
    auto name = libraryPath(o.input);
    JpegHandle h = jpegDecodeProlog(name.c_str(), &params);
    if (!h) return fail("cannot decode " + o.input);
    FrameHeader frame{};
    (void)jpegGetFrameHeader(h, &frame);
    uint32_t height = params.height != 0 ? params.height : heightFromDnl(o.input);
    std::string error;
    DecodedPicture picture;
    if (params.width == 0 || height == 0) {
        error = "the image has no width or height";
    } else if (!o.passesDir.empty()) {
        int passes = 0;
        error = decodeProgressivePasses(h, params, height, o.passesDir, picture, passes);
        if (error.empty()) std::printf("%d passes written to %s\n", passes, o.passesDir.c_str());
    } else if (o.bmpDepth) {
        error = decodeToDibFile(h, o.scale, o.bmpDepth, height, o.output);
        (void)jpegDecodeEpilog(h);
        return error.empty() ? 0 : fail(error + ": " + o.input);
    } else {
        error = decodeFrame(h, params, frame, height, o.scale, picture);
    }
    (void)jpegDecodeEpilog(h);
    if (!error.empty()) return fail(error + ": " + o.input);
    if (!o.output.empty() && !writePicture(o.output, picture, error)) return fail(error);
    return 0;
}
