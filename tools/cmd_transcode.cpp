// keljpeg transcode: re-encodes JPEG at another quality, sampling or restart
// interval. The library decodes the picture and the library encodes it again;
// nothing in between but the pixels.
#include <cstdio>
#include <string>
#include <vector>

#include "batch.h"
#include "cli_io.h"
#include "commands.h"
#include "conversions.h"
#include "decode_passes.h"

namespace {

const char kUsageHead[] =
    "usage: keljpeg transcode [OPTIONS] IN.jpg OUT.jpg\n"
    "       keljpeg transcode [OPTIONS] --out-dir DIR IN.jpg...\n"
    "\n"
    "Decodes each JPEG file and encodes the pixels again as baseline JPEG with\n"
    "the options below (the defaults of keljpeg encode; the JFIF densities are\n"
    "the input's unless --jfif-density is given). IN.jpg \"-\" reads standard\n"
    "input and OUT.jpg \"-\" writes standard output. Lossless frames above 8 bits\n"
    "are scaled to 8-bit samples.\n"
    "\n"
    "options:\n";

const char kUsageTail[] =
    "  --scale N               1/8, 1/4, 1/2 or 1 (default): encode the reduced picture\n"
    "  --legacy                read the input as the legacy decoder does\n"
    "  --out-dir DIR           batch mode: write every IN.jpg to DIR/NAME.jpg\n"
    "  --jobs N                batch mode: N worker threads (default: one per core)\n"
    "  --quiet, -q             no progress line and no warnings\n";

void printUsage(FILE* out) {
    std::fputs(kUsageHead, out);
    std::fputs(kEncodeOptionsHelp, out);
    std::fputs(kUsageTail, out);
    std::fputs("\nlimits of the decode:\n", out);
    std::fputs(kLimitsHelp, out);
}

struct TranscodeOptions {
    DecodeSettings decode;
    EncodeOptions encode;
    BatchOptions batch;
    std::vector<std::string> names;
    bool densityGiven = false;  // else the input's JFIF densities are kept
    DecodeLimits limits;
};

int takeDecodeOption(const Args& args, size_t& i, DecodeSettings& d) {
    if (args[i] == "--legacy") {
        d.legacy = true;
        return 1;
    }
    if (args[i] != "--scale") return 0;
    return i + 1 < args.size() && parseScaleArgument(args[++i], d.scale) ? 1 : -1;
}

std::string transcodeFile(const TranscodeOptions& o, const std::string& inputName, const std::string& output) {
    std::string error;
    JpegInput input;
    if (!openJpegInput(inputName, input, error)) return error;
    DecodedPicture picture;
    JfifDensity density;
    error = decodeToPicture(input, o.decode, picture, &density);
    if (!error.empty()) return error;
    EncodeOptions encode = o.encode;
    if (!o.densityGiven && density.x != 0 && density.y != 0) {
        encode.xDensity = density.x;
        encode.yDensity = density.y;
        encode.units = density.units;
    }
    return encodePixels(pixelsOf(picture), encode, output);
}

}  // namespace

int runTranscode(const Args& args) {
    TranscodeOptions o;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help" || a == "-h") {
            printUsage(stdout);
            return 0;
        }
        if (a == "--jfif-density") o.densityGiven = true;
        int taken = takeEncodeOption(args, i, o.encode, false);
        if (taken == 0) taken = takeBatchOption(args, i, o.batch);
        if (taken == 0) taken = takeDecodeOption(args, i, o.decode);
        if (taken == 0) taken = takeLimitOption(args, i, o.limits);
        if (taken < 0 || (taken == 0 && a.size() > 1 && a[0] == '-')) {
            std::fprintf(stderr, "keljpeg transcode: %s '%s'\n\n",
                         taken < 0 ? "missing or bad value for" : "unknown option", a.c_str());
            printUsage(stderr);
            return 2;
        }
        if (taken == 0) o.names.push_back(a);
    }
    const bool batchMode = !o.batch.outDir.empty();
    const char* problem = o.names.empty()                        ? "no input file"
                          : !batchMode && o.names.size() == 1 ? "no output file"
                          : !batchMode && o.names.size() > 2  ? "several input files need --out-dir DIR"
                                                              : nullptr;
    if (problem) {
        std::fprintf(stderr, "keljpeg transcode: %s\n\n", problem);
        printUsage(stderr);
        return 2;
    }
    if (!o.batch.quiet && o.encode.dnl)
        std::fprintf(stderr, "keljpeg transcode: warning: --dnl writes height 0 and a DNL segment; "
                             "many decoders cannot read such a file\n");
    installReportPrinter("transcode");
    applyLimits(o.limits);
    ConvertFile convert = [&o](const std::string& in, const std::string& out) { return transcodeFile(o, in, out); };
    if (batchMode) return runBatch("transcode", o.names, ".jpg", o.batch, convert);
    beginFile();
    return finishFile(o.names[0], convert(o.names[0], o.names[1]));
}
