// Feeds the entropy-coded data in pieces through partial bitstreams: the
// headers come first as one block, the rest in pieces whose sizes come from
// the input.
#include <algorithm>
#include <vector>

#include "KelJPEG.h"
#include "fuzz_input.h"

namespace {
void KELJPEG_CALL quiet(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16*, uint32_t) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    jpegSetReportHandler(quiet, nullptr);
    FuzzInput in(bytes, size);
    uint16_t headerLength = in.takeU16();
    uint8_t piece = in.takeByte();
    size_t total = in.size();
    size_t head = std::min<size_t>(headerLength, total);

    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM;
    params.data = in.data();
    params.dataLength = static_cast<uint32_t>(head);
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
        size_t step = piece ? piece : 64;
        uint32_t delivered = 0;
        for (size_t at = head; at < total && delivered < height; at += step) {
            size_t n = std::min(step, total - at);
            if (jpegDecodeSetPartialBitstream(handle, in.data() + at, static_cast<uint32_t>(n)) != 0) break;
            int32_t got = jpegDecodeToRect(handle, &rect, std::min<uint32_t>(delivered + 16, height));
            if (got <= 0) break;
            delivered += static_cast<uint32_t>(got);
        }
    }
    jpegDecodeEpilog(handle);
    return 0;
}
