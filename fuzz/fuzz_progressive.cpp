// Decodes a progressive image one scan per pass until it reports completion.
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
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = in.data();
    params.dataLength = static_cast<uint32_t>(in.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    if (!handle) return 0;
    uint32_t width = 0, height = 0;
    jpegDecodeGetImageSize(handle, &width, &height, JPEG_SCALE_FULL);
    if (width && height && static_cast<uint64_t>(width) * height <= kFuzzMaxPixels) {
        ImageRect rect{};
        rect.width = static_cast<int32_t>(width);
        rect.height = static_cast<int32_t>(height);
        rect.bitsPerPixel = params.componentCount >= 3 ? 24 : 8;
        rect.stride = rect.width * (rect.bitsPerPixel / 8);
        std::vector<uint8_t> pixels(static_cast<size_t>(rect.stride) * (height + 16) + 16);
        rect.bits = pixels.data();
        jpegDecodeSetProgressiveMode(handle, mode & 1);
        for (int pass = 0; pass < 64 && !jpegDecodeQueryProgressiveComplete(handle); ++pass) {
            if (jpegDecodeToRect(handle, &rect, height) <= 0) break;
        }
    }
    jpegDecodeEpilog(handle);
    return 0;
}
