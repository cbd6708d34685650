// keljpeg info: what the decoder learns from a JPEG file's headers.
#include <cstdio>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "commands.h"
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
    if (params.height == 0)
        std::printf("size:             %u x %u (height from the DNL segment)\n", params.width, dnlHeight);
    else
        std::printf("size:             %u x %u\n", params.width, params.height);
    std::printf("components:       %u\n", params.componentCount);
    std::printf("sampling:        ");
    for (uint32_t c = 0; c < params.componentCount && c < 4; ++c)
        std::printf(" %ux%u", frame.components[c].horizontalSampling, frame.components[c].verticalSampling);
    std::printf("  (signature 0x%X)\n", params.samplingSignature);
    std::printf("restart interval: %u MCUs%s\n", params.restartInterval, params.restartInterval ? "" : " (none)");
}

}  // namespace

int runInfo(const Args& args) {
    const bool legacy = args.size() == 2 && args[1] == "--legacy";
    if ((args.size() != 1 && !legacy) || args[0] == "--help" || args[0] == "-h") {
        std::fprintf(args.size() == 1 ? stdout : stderr, "usage: keljpeg info FILE.jpg [--legacy]\n");
        return args.size() == 1 ? 0 : 2;
    }
    // Room for the densities and the largest thumbnail (255 x 255 pixels).
    std::vector<uint8_t> jfif(7 + 255 * 255 * 3, 0);
    JpegDecodeParams params{};
    params.options = legacy ? JPEG_OPT_JFIF : JPEG_OPT_JFIF | JPEG_OPT_STANDARD;
    params.jfifInfo = reinterpret_cast<JfifInfo*>(jfif.data());
    auto name = libraryPath(args[0]);
    JpegHandle h = jpegDecodeProlog(name.c_str(), &params);
    if (!h) {
        std::fprintf(stderr, "keljpeg info: cannot read the headers of %s\n", args[0].c_str());
        return 1;
    }
    FrameHeader frame{};
    (void)jpegGetFrameHeader(h, &frame);
    (void)jpegDecodeEpilog(h);
    std::printf("file:             %s\n", args[0].c_str());
    printFrame(params, frame, params.height == 0 ? heightFromDnl(args[0]) : 0);
    const JfifInfo* info = params.jfifInfo;
    if (info->xDensity == 0 && info->yDensity == 0)
        std::printf("JFIF density:     none\n");
    else
        std::printf("JFIF density:     %u x %u (%s), thumbnail %u x %u\n", info->xDensity, info->yDensity,
                    densityUnitName(info->units), info->thumbnailWidth, info->thumbnailHeight);
    return 0;
}
