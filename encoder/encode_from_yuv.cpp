// jpegEncodeFromYUV411 / jpegEncodeFromYVU411: a whole image held as planar
// luma and quarter-size chroma, coded as 16x16 MCUs (four luma blocks, Cb,
// Cr) with no colour conversion.
#include <algorithm>
#include <cstring>

#include "context/jpeg_context.h"
#include "encoder/block_coder.h"
#include "encoder/gather.h"
#include "runtime/heap.h"

namespace encoder {

namespace {

constexpr uint32_t kMcuSize = 16;
// The raw samples of one MCU: 256 luma, then 64 Cb and 64 Cr.
constexpr size_t kScratchBytes = 384;

struct Plane {
    const uint8_t* samples;
    uint32_t width, height;  // valid extent; the row step is width
};

// Copies a size x size square at (left, top), repeating the last valid
// column and row where the square runs past the plane.
void copyReplicated(const Plane& plane, uint32_t left, uint32_t top, uint32_t size, uint8_t* out) {
    for (uint32_t y = 0; y < size; ++y) {
        const uint8_t* row = plane.samples + static_cast<size_t>(std::min(top + y, plane.height - 1)) * plane.width;
        for (uint32_t x = 0; x < size; ++x) *out++ = row[std::min(left + x, plane.width - 1)];
    }
}

// The four luma blocks (top-left, top-right, bottom-left, bottom-right),
// then Cb and Cr, each level-shifted.
void fillMcuBlocks(const uint8_t* scratch, int16_t* blocks) {
    for (uint32_t by = 0; by < 2; ++by)
        for (uint32_t bx = 0; bx < 2; ++bx)
            for (uint32_t y = 0; y < 8; ++y)
                for (uint32_t x = 0; x < 8; ++x)
                    *blocks++ = static_cast<int16_t>(scratch[(by * 8 + y) * kMcuSize + bx * 8 + x] - 128);
    for (size_t i = kMcuSize * kMcuSize; i < kScratchBytes; ++i) *blocks++ = static_cast<int16_t>(scratch[i] - 128);
}

uint32_t encodePlanes(JpegContext* context, const uint8_t* planes, uint32_t width, uint32_t height, bool vFirst) {
    if (!context || !planes) return 0;
    // Odd sizes are outside what the planar layout describes; a plane without
    // a single chroma sample cannot be read at all.
    if (width / 2 == 0 || height / 2 == 0) return 0;
    auto* scratch = static_cast<uint8_t*>(complibAllocMemory(kScratchBytes));
    if (!scratch) return 0;
    std::memset(scratch, 0, kScratchBytes);
    GatherPlan plans[4];
    // The selection only checks the sampling; opening with 2x2, 1x1, 1x1 is
    // the caller's part.
    bool ok = selectGatherPlans(context, plans);
    McuCoder coder;
    prepareMcuCoder(context, coder);

    size_t lumaSize = static_cast<size_t>(width) * height;
    const uint8_t* first = planes + lumaSize;
    const uint8_t* second = first + lumaSize / 4;
    Plane luma{planes, width, height};
    Plane cb{vFirst ? second : first, width / 2, height / 2};
    Plane cr{vFirst ? first : second, width / 2, height / 2};

    uint32_t mcuRows = (height + kMcuSize - 1) / kMcuSize;
    uint32_t mcusPerRow = (width + kMcuSize - 1) / kMcuSize;
    for (uint32_t my = 0; ok && my < mcuRows; ++my) {
        for (uint32_t mx = 0; mx < mcusPerRow; ++mx) {
            copyReplicated(luma, mx * kMcuSize, my * kMcuSize, kMcuSize, scratch);
            copyReplicated(cb, mx * 8, my * 8, 8, scratch + 256);
            copyReplicated(cr, mx * 8, my * 8, 8, scratch + 320);
            fillMcuBlocks(scratch, context->enc.mcuBlocks);
            encodeMcu(context, coder, context->enc.mcuBlocks);
        }
        ok = context->bitstream->status == kBitstreamOk;
    }
    (void)complibFreeMemory(scratch);
    if (!ok) return 0;
    context->enc.linesEncoded += height;
    return height;
}

}  // namespace

}  // namespace encoder

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromYUV411(JpegHandle context, const uint8_t* planes,
                                                                 uint32_t width, uint32_t height) {
    return encoder::encodePlanes(context, planes, width, height, false);
}

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromYVU411(JpegHandle context, const uint8_t* planes,
                                                                 uint32_t width, uint32_t height) {
    return encoder::encodePlanes(context, planes, width, height, true);
}
