// keljpeg info: what the decoder learns from a JPEG file's headers.
#include <cstdio>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "cli_io.h"
#include "commands.h"
#include "jpeg_input.h"
#include "image_write.h"

namespace {

const char* frameTypeName(uint16_t sof) {
    switch (sof) {
        case 0xFFC0: return "baseline sequential (SOF0)";
        case 0xFFC1: return "extended sequential (SOF1)";
        case 0xFFC2: return "progressive (SOF2)";
        case 0xFFC3: return "lossless (SOF3)";
        default: return "unknown";
    }
}

const char* densityUnitName(uint8_t units) {
    switch (units) {
        case 0: return "aspect ratio only";
        case 1: return "dots per inch";
        case 2: return "dots per cm";
        default: return "unknown units";
    }
}

void printFrame(const JpegDecodeParams& params, const FrameHeader& frame, uint32_t dnlHeight) {
    std::printf("frame:            %s, %u-bit samples\n", frameTypeName(frame.sofMarker), frame.precision);
    // The legacy reading leaves the height 0; standard mode takes it from DNL itself.
    if (dnlHeight != 0)
        std::printf("size:             %u x %u (height from the DNL segment)\n", params.width,
                    params.height ? params.height : dnlHeight);
    else
        std::printf("size:             %u x %u\n", params.width, params.height);
    std::printf("components:       %u\n", params.componentCount);
    std::printf("sampling:        ");
    for (uint32_t c = 0; c < params.componentCount && c < 4; ++c)
        std::printf(" %ux%u", frame.components[c].horizontalSampling, frame.components[c].verticalSampling);
    std::printf("  (signature 0x%X)\n", params.samplingSignature);
    std::printf("restart interval: %u MCUs%s\n", params.restartInterval, params.restartInterval ? "" : " (none)");
}

const char kInfoUsage[] =
    "usage: keljpeg info [--legacy] IN.jpg...\n"
    "\n"
    "Shows what the decoder learns from each file's headers: frame type and\n"
    "precision, size, components and sampling, restart interval, JFIF density\n"
    "and thumbnail. IN.jpg \"-\" reads standard input.\n"
    "\n"
    "options:\n"
    "  --legacy   read the headers as the legacy decoder does\n";

// Prints one file's headers; returns false when they cannot be read.
bool describeFile(const std::string& name, bool legacy) {
    std::string error;
    JpegInput input;
    beginFile();
    if (!openJpegInput(name, input, error)) return !finishFile(name, error);
    // Room for the densities and the largest thumbnail (255 x 255 pixels).
    std::vector<uint8_t> jfif(7 + 255 * 255 * 3, 0);
    JpegDecodeParams params{};
    params.options = legacy ? JPEG_OPT_JFIF : JPEG_OPT_JFIF | JPEG_OPT_STANDARD;
    params.jfifInfo = reinterpret_cast<JfifInfo*>(jfif.data());
    JpegHandle h = startJpegDecode(input, params);
    if (!h) return !finishFile(name, "cannot read the headers");
    FrameHeader frame{};
    (void)jpegGetFrameHeader(h, &frame);
    (void)jpegDecodeEpilog(h);
    std::printf("file:             %s\n", displayName(name).c_str());
    printFrame(params, frame, heightFromDnl(input));
    const JfifInfo* info = params.jfifInfo;
    if (info->xDensity == 0 && info->yDensity == 0)
        std::printf("JFIF density:     none\n");
    else
        std::printf("JFIF density:     %u x %u (%s), thumbnail %u x %u\n", info->xDensity, info->yDensity,
                    densityUnitName(info->units), info->thumbnailWidth, info->thumbnailHeight);
    return true;
}

}  // namespace

int runInfo(const Args& args) {
    bool legacy = false;
    std::vector<std::string> names;
    DecodeLimits limits;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help" || a == "-h") {
            std::fputs(kInfoUsage, stdout);
            std::fputs(kLimitsHelp, stdout);
            return 0;
        }
        int limit = takeLimitOption(args, i, limits);
        if (limit < 0) {
            std::fprintf(stderr, "keljpeg info: missing or bad value for %s\n", a.c_str());
            return 2;
        }
        if (limit > 0) continue;
        if (a == "--legacy") {
            legacy = true;
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "keljpeg info: unknown option %s\n\n%s", a.c_str(), kInfoUsage);
            return 2;
        } else {
            names.push_back(a);
        }
    }
    if (names.empty()) {
        std::fprintf(stderr, "keljpeg info: no input file\n\n%s", kInfoUsage);
        return 2;
    }
    installReportPrinter("info");
    applyLimits(limits);
    bool allRead = true;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) std::printf("\n");
        allRead = describeFile(names[i], legacy) && allRead;
    }
    return allRead ? 0 : 1;
}
