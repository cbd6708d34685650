// Encodes a rectangle with random geometry, stride, sampling bytes, options,
// quality and strips into memory.
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
    JpegEncodeParams params{};
    params.width = static_cast<uint16_t>(in.takeByte() + 1);
    params.height = in.takeByte();  // 0 asks for a DNL segment
    params.componentCount = static_cast<uint16_t>(in.takeByte() % 5);
    params.samplingFactors = in.takeU32();
    params.quality = static_cast<uint16_t>(in.takeByte());
    params.restartInterval = in.takeByte() % 8;
    params.options = static_cast<uint16_t>((in.takeU16() & ~JPEG_OPT_DECODE) | JPEG_OPT_MEMORY);
    uint8_t strip = in.takeByte();
    uint8_t slack = in.takeByte() % 9;

    struct {
        JfifInfo info;
        uint8_t thumbnail[3 * 4 * 4];
    } jfif{};
    jfif.info.xDensity = 72;
    jfif.info.yDensity = 72;
    jfif.info.units = 1;
    jfif.info.thumbnailWidth = static_cast<uint8_t>(in.takeByte() % 5);
    jfif.info.thumbnailHeight = static_cast<uint8_t>(in.takeByte() % 5);
    params.jfif = &jfif.info;

    JpegHandle handle = jpegEncodeProlog(nullptr, &params);
    if (!handle) return 0;
    int32_t components = std::max<int32_t>(1, params.componentCount);
    int32_t rows = params.height ? params.height : 32;
    ImageRect rect{};
    rect.width = params.width;
    rect.height = rows;
    rect.bitsPerPixel = components >= 3 ? 24 : 8 * components;
    rect.stride = rect.width * (rect.bitsPerPixel / 8) + slack;
    // Whole MCU rows of up to 16 lines beyond the image: the encoder reads strips of whole MCUs.
    std::vector<uint8_t> pixels(static_cast<size_t>(rect.stride) * (rows + 16) + 64);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = in.size() ? in.data()[i % in.size()] : static_cast<uint8_t>(i);
    rect.bits = pixels.data();
    uint32_t step = strip ? (strip % 4 + 1) * 16u : static_cast<uint32_t>(rows);
    for (int32_t done = 0; done < rows; done += static_cast<int32_t>(step)) {
        rect.bits = pixels.data() + static_cast<size_t>(done) * rect.stride;
        uint32_t lines = std::min<uint32_t>(step, static_cast<uint32_t>(rows - done));
        if (jpegEncodeFromRect(handle, &rect, lines) == 0) break;
    }
    jpegEncodeEpilog(handle);
    if (params.outputBuffer) jpegFreeMemory(params.outputBuffer);
    return 0;
}
