// Decodes memory input at a chosen scale, optionally as raw components, in
// strips whose sizes come from the input.
#include <cstring>
#include <vector>

#include "KelJPEG.h"
#include "fuzz_input.h"

namespace {
void KELJPEG_CALL quiet(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16*, uint32_t) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    jpegSetReportHandler(quiet, nullptr);
    FuzzInput in(bytes, size);
    uint8_t mode = in.takeByte();
    uint8_t strip = in.takeByte();
    int32_t scale = mode & 3;
    bool raw = (mode & 4) != 0;
    bool partialCheck = (mode & 8) != 0;

    JpegDecodeParams params{};
    params.options = static_cast<uint16_t>(JPEG_OPT_MEMORY | (raw ? JPEG_OPT_RAW_COMPONENTS : 0) |
                                           (partialCheck ? JPEG_OPT_PARTIAL_BITSTREAM : 0));
    params.data = in.data();
    params.dataLength = static_cast<uint32_t>(in.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    if (!handle) return 0;

    FrameHeader header;
    jpegGetFrameHeader(handle, &header);
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(handle, &width, &height, raw ? JPEG_SCALE_FULL : scale);
    if (height == 0) height = 64;  // height still to come from a DNL segment
    if (static_cast<uint64_t>(width) * height <= kFuzzMaxPixels && width > 0) {
        int32_t bytesPerPixel = raw ? params.componentCount : (params.componentCount >= 3 ? 3 : 1);
        if (bytesPerPixel < 1) bytesPerPixel = 1;
        ImageRect rect{};
        rect.width = static_cast<int32_t>(width);
        rect.height = static_cast<int32_t>(height);
        rect.bitsPerPixel = bytesPerPixel * 8;
        rect.stride = static_cast<int32_t>(width) * bytesPerPixel;
        // Room for one extra MCU row: bands without a known height run to the MCU boundary.
        std::vector<uint8_t> pixels(static_cast<size_t>(rect.stride) * (height + 16) + 16);
        rect.bits = pixels.data();
        uint32_t step = strip ? strip : height;
        for (uint32_t target = step; target < height + step; target += step) {
            uint32_t upTo = target < height ? target : height;
            int32_t got = raw || scale == JPEG_SCALE_FULL ? jpegDecodeToRect(handle, &rect, upTo)
                                                          : jpegDecodeScaleOutputToRect(handle, &rect, upTo, scale);
            if (got <= 0) break;
        }
    }
    jpegDecodeEpilog(handle);
    return 0;
}
