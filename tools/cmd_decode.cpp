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
    "Decodes JPEG to an uncompressed picture. OUT ends in .bmp, .png, .ppm, .pgm\n"
    "or .pnm (PPM for colour, PGM for grey); IN.jpg \"-\" reads standard input and\n"
    "OUT \"-\" writes standard output (as PNM unless --format says otherwise). The\n"
    "picture is written strip by strip as it is decoded. PNG is 8-bit grey or RGB;\n"
    "BMP is bottom-up, 8-bit grey or 24-bit colour. Lossless frames above 8 bits\n"
    "give 16-bit PPM/PGM samples.\n"
    "\n"
    "options:\n"
    "  --scale N       1/8, 1/4, 1/2 or 1 (default), or the codes 0..3\n"
    "  --format F      bmp, png, ppm, pgm or pnm: the output format for \"-\" and --out-dir\n"
    "                  (default pnm), or instead of OUT's extension\n"
    "  --bmp-depth D   8, 16, 24 or 32: write the BMP the library's bitmap output makes\n"
    "                  (colour into 8 bits: dithered 202-colour palette, full size only)\n"
    "  --legacy        read the file as the legacy decoder does (sequential frames in one\n"
    "                  interleaved scan, sampling 1 or 2, no Adobe colour; reduced scales\n"
    "                  for sequential frames only); by default every standard file is read\n"
    "  --passes DIR    progressive frames: one picture per scan, DIR/pass-NN.ppm (or .pgm)\n"
    "  --out-dir DIR   batch mode: decode every IN.jpg to DIR/NAME.ppm (.pgm, .bmp, .png)\n"
    "  --jobs N        batch mode: N worker threads (default: one per processor core)\n"
    "  --quiet, -q     no progress line and no notes\n"
    "\n"
    "limits (a file beyond one fails at once; 0 lifts a limit):\n";

struct DecodeOptions {
    std::vector<std::string> inputs;
    std::string output;
    DecodeSettings settings;
    int bmpDepth = 0;  // 0: the tool's own BMP writer
    ImageFormat format = ImageFormat::Unknown;  // Unknown: from OUT's extension
    std::string passesDir;
    BatchOptions batch;
    DecodeLimits limits;
};

// Returns "" or the reason the arguments make no sense.
std::string parseDecodeArgs(const Args& args, DecodeOptions& o) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        bool hasValue = i + 1 < args.size();
        int batchOption = takeBatchOption(args, i, o.batch);
        if (batchOption < 0) return "missing or bad value for " + a;
        if (batchOption > 0) continue;
        int limitOption = takeLimitOption(args, i, o.limits);
        if (limitOption < 0) return "missing or bad value for " + a;
        if (limitOption > 0) continue;
        if (a == "--scale") {
            if (!hasValue || !parseScaleArgument(args[++i], o.settings.scale)) return "--scale takes 1/8, 1/4, 1/2 or 1";
        } else if (a == "--legacy") {
            o.settings.legacy = true;
        } else if (a == "--passes") {
            if (!hasValue) return "--passes needs a directory";
            o.passesDir = args[++i];
        } else if (a == "--format") {
            if (!hasValue || (o.format = imageFormatNamed(args[++i])) == ImageFormat::Unknown)
                return "--format takes bmp, png, ppm, pgm or pnm";
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
        if (imageFormatFor(o.output) == ImageFormat::Unknown)
            return "output name must end in .bmp, .png, .ppm, .pgm or .pnm";
    }
    return "";
}

// Largest vertical sampling factor of the frame: the MCU height is 8 times it.
uint32_t maxVerticalSampling(uint32_t samplingSignature) {
    uint32_t maxV = 1;
    for (uint32_t s = samplingSignature; s != 0; s >>= 8) maxV = std::max(maxV, s & 15);
    return maxV;
}

struct OpenDecode {
    JpegDecodeParams params{};
    FrameHeader frame{};
    JpegHandle handle = 0;
    uint32_t height = 0;  // from the frame header or the DNL segment
};

// How the opened frame comes out: the picture's shape, and the strips it is
// asked for in.
struct FramePlan {
    PictureShape shape;
    int32_t scale = 3;
    bool scaled = false;     // through the scaled-output call
    bool perCall = false;    // rows counted per call (standard mode, lossless frames)
    uint32_t bandRows = 1;   // rows of one band at the scale
    uint32_t stripRows = 1;  // whole bands, about kStripBytes
    uint32_t slackRows = 0;  // rows a call may write below the rows asked for
};

// A strip of about this many bytes stays in the processor's caches between
// the decoder writing it and the file taking it: 2048 colour pixels a row
// make 42 rows, rounded down to 32 (two 4:2:0 bands).
constexpr uint32_t kStripBytes = 256 * 1024;

std::string planFrame(const OpenDecode& d, int32_t scale, FramePlan& plan) {
    const JpegDecodeParams& params = d.params;
    const bool standard = (params.options & JPEG_OPT_STANDARD) != 0;
    PictureShape& shape = plan.shape;
    if (d.frame.sofMarker >= kSofLossless) {
        // Lossless samples come in component order, 16 bits above 8-bit precision.
        shape.components = params.componentCount;
        shape.bytesPerSample = d.frame.precision > 8 ? 2 : 1;
        if (d.frame.precision >= 2 && d.frame.precision <= 16) shape.maxValue = (1u << d.frame.precision) - 1;
        shape.rgbOrder = true;
        if (shape.components != 1 && shape.components != 3)
            return "lossless output of " + std::to_string(shape.components) + " components is not supported";
        shape.width = params.width;
        shape.height = d.height;
        plan.perCall = true;
        plan.slackRows = standard ? 0 : 1;
    } else {
        shape.components = params.componentCount < 3 ? 1 : 3;
        shape.width = params.width;
        shape.height = d.height;
        // Standard mode reduces every frame; the legacy reading sequential ones only.
        plan.scaled = scale < 3 && (standard || !(params.options & JPEG_OPT_PROGRESSIVE));
        plan.scale = plan.scaled ? scale : 3;
        if (plan.scaled) {
            (void)jpegDecodeGetImageSize(d.handle, &shape.width, &shape.height, scale);
            // The legacy reading has no height yet for a frame that leaves it to DNL.
            const uint32_t factor = 1u << (3 - scale);
            if (shape.height == 0) shape.height = (d.height + factor - 1) / factor;
        }
        const uint32_t mcuHeight = 8 * maxVerticalSampling(params.samplingSignature);
        plan.bandRows = std::max(1u, mcuHeight >> (3 - plan.scale));
        plan.perCall = standard;
        // The legacy decoder writes whole bands, also below the last row.
        plan.slackRows = standard ? 0 : plan.bandRows;
    }
    if (shape.width == 0 || shape.height == 0) return "the image has no width or height";
    const uint64_t rowBytes = uint64_t{shape.width} * shape.components * shape.bytesPerSample;
    const uint64_t bands = std::max<uint64_t>(1, kStripBytes / rowBytes / plan.bandRows);
    plan.stripRows = static_cast<uint32_t>(std::min<uint64_t>(bands * plan.bandRows, 0xFFFF / plan.bandRows * plan.bandRows));
    // The legacy reading of a progressive frame renders it in one call.
    if (!standard && (params.options & JPEG_OPT_PROGRESSIVE)) plan.stripRows = shape.height;
    return "";
}

// Decodes the planned frame strip by strip into sink, which hands out the
// rectangle of each strip (strip) and takes its rows (commit). Returns "" or
// an error text.
template <class Sink>
std::string decodeStrips(const OpenDecode& d, const FramePlan& plan, Sink& sink) {
    const uint32_t height = plan.shape.height;
    for (uint32_t done = 0; done < height;) {
        const uint32_t rows = std::min(plan.stripRows, height - done);
        ImageRect rect = sink.strip(rows);
        // The legacy reading of DCT frames takes the row to decode up to.
        const uint32_t ask = plan.perCall ? rows : done + rows;
        int32_t got = plan.scaled ? jpegDecodeScaleOutputToRect(d.handle, &rect, ask, plan.scale)
                                  : jpegDecodeToRect(d.handle, &rect, ask);
        if (got <= 0) return "decoding failed";
        const uint32_t delivered = std::min(static_cast<uint32_t>(got), rows);
        if (!sink.commit(delivered)) return "";  // the writer's finish says what failed
        done += delivered;
    }
    return "";
}

// A whole picture in memory, for transcode.
struct PictureSink {
    DecodedPicture& picture;
    size_t rowBytes;
    uint32_t done = 0;
    ImageRect strip(uint32_t rows) {
        ImageRect rect{};
        rect.width = static_cast<int32_t>(picture.width);
        rect.height = static_cast<int32_t>(rows);
        rect.stride = static_cast<int32_t>(rowBytes);
        rect.bitsPerPixel = static_cast<int32_t>(8 * picture.components * picture.bytesPerSample);
        rect.bits = picture.pixels.data() + done * rowBytes;
        rect.size = static_cast<uint32_t>(std::min<size_t>(picture.pixels.size() - done * rowBytes, 0xFFFFFFFFu));
        return rect;
    }
    bool commit(uint32_t rows) {
        done += rows;
        return true;
    }
};

std::string decodeToMemory(const OpenDecode& d, int32_t scale, DecodedPicture& picture) {
    FramePlan plan;
    std::string error = planFrame(d, scale, plan);
    if (!error.empty()) return error;
    static_cast<PictureShape&>(picture) = plan.shape;
    const size_t rowBytes = size_t{picture.width} * picture.components * picture.bytesPerSample;
    picture.pixels.assign(rowBytes * (size_t{picture.height} + plan.slackRows), 0);
    PictureSink sink{picture, rowBytes};
    error = decodeStrips(d, plan, sink);
    picture.pixels.resize(rowBytes * picture.height);
    return error;
}

// The output format: --format, else OUT's extension; PNM for standard output.
ImageFormat outputFormat(const DecodeOptions& o, const std::string& output) {
    if (o.format != ImageFormat::Unknown) return o.format;
    if (isStandardStream(output) || !o.batch.outDir.empty()) return ImageFormat::Pnm;
    return imageFormatFor(output);
}

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
    if (!error.empty()) {
        // nothing to decode; the handle, if any, is still closed below
    } else if (!o.passesDir.empty()) {
        int passes = 0;
        DecodedPicture picture;
        error = decodeProgressivePasses(d.handle, d.params, d.height, o.passesDir, picture, passes);
        if (error.empty() && !o.batch.quiet)
            std::fprintf(stderr, "keljpeg decode: %d passes written to %s\n", passes, o.passesDir.c_str());
        if (error.empty() && !output.empty()) (void)writePictureAs(output, format, picture, error);
    } else if (o.bmpDepth) {
        error = decodeToDibFile(d.handle, o.settings.scale, o.bmpDepth, d.height, target);
    } else {
        // The picture goes to the file strip by strip as it is decoded.
        FramePlan plan;
        error = planFrame(d, o.settings.scale, plan);
        PictureWriter writer;
        const std::string path = o.batch.outDir.empty() ? output : output + extensionFor(format, plan.shape);
        if (error.empty() && writer.open(path, format, plan.shape, plan.stripRows, plan.slackRows, error)) {
            error = decodeStrips(d, plan, writer);
            std::string written;
            if (!writer.finish(written) && error.empty()) error = written;
        }
    }
    noteDamage(d.handle);
    if (d.handle) (void)jpegDecodeEpilog(d.handle);
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
    if (error.empty()) error = decodeToMemory(d, settings.scale, picture);
    noteDamage(d.handle);
    if (d.handle) (void)jpegDecodeEpilog(d.handle);
    return error;
}

int runDecode(const Args& args) {
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        std::printf("%s%s", kDecodeUsage, kLimitsHelp);
        return 0;
    }
    DecodeOptions o;
    std::string problem = parseDecodeArgs(args, o);
    if (!problem.empty()) {
        std::fprintf(stderr, "keljpeg decode: %s\n\n%s%s", problem.c_str(), kDecodeUsage, kLimitsHelp);
        return 2;
    }
    installReportPrinter("decode");
    applyLimits(o.limits);
    ConvertFile convert = [&o](const std::string& in, const std::string& out) { return decodeFile(o, in, out); };
    if (!o.batch.outDir.empty()) {
        // The dither tables of 8-bit colour bitmaps are shared by the process.
        unsigned maxWorkers = o.bmpDepth == 8 ? 1 : 0;
        return runBatch("decode", o.inputs, "", o.batch, convert, maxWorkers);
    }
    beginFile();
    return finishFile(o.inputs[0], convert(o.inputs[0], o.output));
}
