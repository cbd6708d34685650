// keljpeg decode: a JPEG file to BMP, PPM or PGM, through the exported API
// only, as a host application would drive it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "batch.h"
#include "cli_io.h"
#include "commands.h"
#include "conversions.h"
#include "decode_passes.h"
#include "dib_file.h"
#include "image_write.h"

namespace {

constexpr uint16_t kSofLossless = 0xFFC3;

const char* kDecodeUsage =
    "usage: keljpeg decode [OPTIONS] IN.jpg OUT\n"
    "       keljpeg decode [OPTIONS] --out-dir DIR IN.jpg...\n"
    "       keljpeg decode [OPTIONS] IN.jpg [OUT] --passes DIR\n"
    "\n"
    "Decodes JPEG to an uncompressed picture. OUT ends in .bmp, .ppm, .pgm or .pnm\n"
    "(PPM for colour, PGM for grey); IN.jpg \"-\" reads standard input and OUT \"-\"\n"
    "writes standard output (as PNM unless --format says otherwise). Lossless\n"
    "frames above 8 bits give 16-bit PPM/PGM samples.\n"
    "\n"
    "options:\n"
    "  --scale N       1/8, 1/4, 1/2 or 1 (default), or the codes 0..3\n"
    "  --format F      bmp, ppm, pgm or pnm: the output format for \"-\" and --out-dir\n"
    "                  (default pnm), or instead of OUT's extension\n"
    "  --bmp-depth D   8, 16, 24 or 32: write the BMP the library's bitmap output makes\n"
    "                  (colour into 8 bits: dithered 202-colour palette, full size only)\n"
    "  --legacy        read the file as the legacy decoder does (sequential frames in one\n"
    "                  interleaved scan, sampling 1 or 2, no Adobe colour; reduced scales\n"
    "                  for sequential frames only); by default every standard file is read\n"
    "  --passes DIR    progressive frames: one picture per scan, DIR/pass-NN.ppm (or .pgm)\n"
    "  --out-dir DIR   batch mode: decode every IN.jpg to DIR/NAME.ppm (.pgm, .bmp)\n"
    "  --jobs N        batch mode: N worker threads (default: one per processor core)\n"
    "  --quiet, -q     no progress line and no notes\n";

struct DecodeOptions {
    std::vector<std::string> inputs;
    std::string output;
    DecodeSettings settings;
    int bmpDepth = 0;  // 0: the tool's own BMP writer
    ImageFormat format = ImageFormat::Unknown;  // Unknown: from OUT's extension
    std::string passesDir;
    BatchOptions batch;
};

// Returns "" or the reason the arguments make no sense.
std::string parseDecodeArgs(const Args& args, DecodeOptions& o) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        bool hasValue = i + 1 < args.size();
        int batchOption = takeBatchOption(args, i, o.batch);
        if (batchOption < 0) return "missing or bad value for " + a;
        if (batchOption > 0) continue;
        if (a == "--scale") {
            if (!hasValue || !parseScaleArgument(args[++i], o.settings.scale)) return "--scale takes 1/8, 1/4, 1/2 or 1";
        } else if (a == "--legacy") {
            o.settings.legacy = true;
        } else if (a == "--passes") {
            if (!hasValue) return "--passes needs a directory";
            o.passesDir = args[++i];
        } else if (a == "--format") {
            if (!hasValue || (o.format = imageFormatNamed(args[++i])) == ImageFormat::Unknown)
                return "--format takes bmp, ppm, pgm or pnm";
        } else if (a == "--bmp-depth") {
            const std::string v = hasValue ? args[++i] : "";
            if (v != "8" && v != "16" && v != "24" && v != "32") return "--bmp-depth takes 8, 16, 24 or 32";
            o.bmpDepth = std::stoi(v);
        } else if (a.size() > 1 && a[0] == '-') {
            return "unknown option " + a;
        } else {
            o.inputs.push_back(a);
        }
    }
    if (o.inputs.empty()) return "no input file";
    if (!o.batch.outDir.empty()) {
        if (!o.passesDir.empty()) return "--passes decodes one file; it does not go with --out-dir";
    } else if (o.inputs.size() == 2) {
        o.output = o.inputs[1];
        o.inputs.pop_back();
    } else if (o.inputs.size() != 1 || o.passesDir.empty()) {
        return o.inputs.size() == 1 ? "no output file" : "several input files need --out-dir DIR";
    }
    if (o.bmpDepth) {
        if (o.format == ImageFormat::Unknown && !o.output.empty() && o.output != "-") o.format = imageFormatFor(o.output);
        if (o.format != ImageFormat::Unknown && o.format != ImageFormat::Bmp) return "--bmp-depth needs BMP output";
        o.format = ImageFormat::Bmp;
    }
    if (o.format == ImageFormat::Unknown && !o.output.empty() && o.output != "-") {
        if (imageFormatFor(o.output) == ImageFormat::Unknown) return "output name must end in .bmp, .ppm, .pgm or .pnm";
    }
    return "";
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

// False when the rectangle would pass the 4 GiB its size field can state.
[[nodiscard]] bool prepareCanvas(Canvas& canvas, uint32_t width, uint32_t rows, uint32_t bytesPerPixel,
                                 uint32_t mcuHeight) {
    uint64_t paddedRows = (uint64_t{rows} + mcuHeight - 1) / mcuHeight * mcuHeight + mcuHeight;
    uint64_t bytes = uint64_t{width} * bytesPerPixel * paddedRows;
    if (bytes > 0xFFFFFFFFu || bytes > SIZE_MAX) return false;
    canvas.storage.assign(static_cast<size_t>(bytes), 0);
    canvas.rect.width = static_cast<int32_t>(width);
    canvas.rect.height = static_cast<int32_t>(rows);
    canvas.rect.stride = static_cast<int32_t>(width * bytesPerPixel);
    canvas.rect.bitsPerPixel = static_cast<int32_t>(bytesPerPixel * 8);
    canvas.rect.bits = canvas.storage.data();
    canvas.rect.size = static_cast<uint32_t>(canvas.storage.size());
    return true;
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
        if (!prepareCanvas(canvas, picture.width, height, picture.components * picture.bytesPerSample, 1))
            return "the image is too large";
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
        if (!prepareCanvas(canvas, width, rowsWanted, picture.components, mcuHeight)) return "the image is too large";
        int32_t rows = scaled ? jpegDecodeScaleOutputToRect(h, &canvas.rect, rowsWanted, scale)
                              : jpegDecodeToRect(h, &canvas.rect, rowsWanted);
        if (rows < static_cast<int32_t>(rowsWanted)) return "decoding failed";
    }
    size_t bytes = size_t{picture.width} * picture.height * picture.components * picture.bytesPerSample;
    picture.pixels.assign(canvas.storage.begin(), canvas.storage.begin() + static_cast<ptrdiff_t>(bytes));
    return "";
}

// The output format: --format, else OUT's extension; PNM for standard output.
ImageFormat outputFormat(const DecodeOptions& o, const std::string& output) {
    if (o.format != ImageFormat::Unknown) return o.format;
    if (isStandardStream(output) || !o.batch.outDir.empty()) return ImageFormat::Pnm;
    return imageFormatFor(output);
}

struct OpenDecode {
    JpegDecodeParams params{};
    FrameHeader frame{};
    JpegHandle handle = 0;
    uint32_t height = 0;  // from the frame header or the DNL segment
};

std::string openDecode(const JpegInput& input, const DecodeSettings& settings, OpenDecode& d) {
    if (!settings.legacy) d.params.options |= JPEG_OPT_STANDARD;
    d.handle = startJpegDecode(input, d.params);
    if (!d.handle) return "not a JPEG stream the library can decode";
    (void)jpegGetFrameHeader(d.handle, &d.frame);
    d.height = d.params.height != 0 ? d.params.height : heightFromDnl(input);
    if (d.params.width == 0 || d.height == 0) return "the image has no width or height";
    return "";
}

// Decodes one file; in batch mode output lacks the extension, which follows
// from the picture. Returns "" or an error text.
std::string decodeFile(const DecodeOptions& o, const std::string& inputName, const std::string& output) {
    std::string error;
    JpegInput input;
    if (!openJpegInput(inputName, input, error)) return error;
    OpenDecode d;
    error = openDecode(input, o.settings, d);
    const ImageFormat format = outputFormat(o, output);
    const std::string target = o.batch.outDir.empty() ? output : output + (o.bmpDepth ? ".bmp" : "");
    DecodedPicture picture;
    if (!error.empty()) {
        // nothing to decode; the handle, if any, is still closed below
    } else if (!o.passesDir.empty()) {
        int passes = 0;
        error = decodeProgressivePasses(d.handle, d.params, d.height, o.passesDir, picture, passes);
        if (error.empty() && !o.batch.quiet)
            std::fprintf(stderr, "keljpeg decode: %d passes written to %s\n", passes, o.passesDir.c_str());
    } else if (o.bmpDepth) {
        error = decodeToDibFile(d.handle, o.settings.scale, o.bmpDepth, d.height, target);
    } else {
        error = decodeFrame(d.handle, d.params, d.frame, d.height, o.settings.scale, picture);
    }
    if (d.handle) (void)jpegDecodeEpilog(d.handle);
    if (!error.empty() || o.bmpDepth || output.empty()) return error;
    std::string path = o.batch.outDir.empty() ? output : output + extensionFor(format, picture);
    (void)writePictureAs(path, format, picture, error);
    return error;
}

}  // namespace

std::string decodeToPicture(const JpegInput& input, const DecodeSettings& settings, DecodedPicture& picture,
                            JfifDensity* density) {
    OpenDecode d;
    // Room for the densities and the largest thumbnail (255 x 255 pixels).
    std::vector<uint8_t> jfif(density ? 7 + 255 * 255 * 3 : 0, 0);
    if (density) {
        d.params.options = JPEG_OPT_JFIF;
        d.params.jfifInfo = reinterpret_cast<JfifInfo*>(jfif.data());
    }
    std::string error = openDecode(input, settings, d);
    if (error.empty() && density) {
        const JfifInfo* info = d.params.jfifInfo;
        density->x = info->xDensity;
        density->y = info->yDensity;
        density->units = info->units;
    }
    if (error.empty()) error = decodeFrame(d.handle, d.params, d.frame, d.height, settings.scale, picture);
    if (d.handle) (void)jpegDecodeEpilog(d.handle);
    return error;
}

int runDecode(const Args& args) {
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        std::printf("%s", kDecodeUsage);
        return 0;
    }
    DecodeOptions o;
    std::string problem = parseDecodeArgs(args, o);
    if (!problem.empty()) {
        std::fprintf(stderr, "keljpeg decode: %s\n\n%s", problem.c_str(), kDecodeUsage);
        return 2;
    }
    installReportPrinter("decode");
    ConvertFile convert = [&o](const std::string& in, const std::string& out) { return decodeFile(o, in, out); };
    if (!o.batch.outDir.empty()) {
        // The dither tables of 8-bit colour bitmaps are shared by the process.
        unsigned maxWorkers = o.bmpDepth == 8 ? 1 : 0;
        return runBatch("decode", o.inputs, "", o.batch, convert, maxWorkers);
    }
    beginFile();
    return finishFile(o.inputs[0], convert(o.inputs[0], o.output));
}
