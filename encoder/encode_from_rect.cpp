// jpegEncodeFromRect: strips of blue-green-red (or grey, or raw component)
// pixels cut into MCUs, converted, gathered into blocks and coded.
#include <cstring>

#include "context/jpeg_context.h"
#include "encoder/block_coder.h"
#include "encoder/gather.h"
#include "encoder/kernels.h"
#include "runtime/heap.h"

namespace encoder {

namespace {

constexpr uint32_t kMcuRowPixels = 16;

// Integer RGB to YCbCr with the level shift folded in: -522240 is
// -128 * 4096 + 2048, so Y is rounded and centred on 0 in one step.
inline int16_t lumaOf(int32_t r, int32_t g, int32_t b) {
    return static_cast<int16_t>((1225 * r + 2404 * g + 467 * b - 522240) >> 12);
}
inline int16_t blueDifferenceOf(int32_t r, int32_t g, int32_t b) {
    return static_cast<int16_t>((2048 * b - 1357 * g - 691 * r + 2048) >> 12);
}
inline int16_t redDifferenceOf(int32_t r, int32_t g, int32_t b) {
    return static_cast<int16_t>((2048 * r - 1715 * g - 333 * b + 2048) >> 12);
}

enum class PixelConversion { Bytes, Ycc, LevelShifted };

PixelConversion conversionFor(const JpegContext* context) {
    if (context->enc.componentCount != 3) return PixelConversion::Bytes;
    return (context->options & JPEG_OPT_RAW_COMPONENTS) ? PixelConversion::LevelShifted : PixelConversion::Ycc;
}

inline void convertPixel(const uint8_t* p, uint32_t n, PixelConversion conversion, int16_t* out) {
    switch (conversion) {
        case PixelConversion::Ycc:
            out[0] = lumaOf(p[2], p[1], p[0]);
            out[1] = blueDifferenceOf(p[2], p[1], p[0]);
            out[2] = redDifferenceOf(p[2], p[1], p[0]);
            break;
        case PixelConversion::LevelShifted:
            for (uint32_t c = 0; c < n; ++c) out[c] = static_cast<int16_t>(p[c] - 128);
            break;
        case PixelConversion::Bytes:
            for (uint32_t c = 0; c < n; ++c) out[c] = p[c];
            break;
    }
}

// Copies the existing part of one MCU into the work buffer (rows of 16
// pixels). Positions outside the image are left alone: they keep whatever
// the previous MCU of this call put there. One instance per conversion keeps
// the choice out of the pixel loop.
template <PixelConversion conversion>
void copyMcuAs(const uint8_t* origin, int32_t stride, uint32_t rows, uint32_t pixels, uint32_t n, int16_t* work) {
    for (uint32_t y = 0; y < rows; ++y) {
        const uint8_t* p = origin + static_cast<intptr_t>(stride) * y;
        int16_t* out = work + y * kMcuRowPixels * n;
        for (uint32_t x = 0; x < pixels; ++x, p += n, out += n) convertPixel(p, n, conversion, out);
    }
}

// The colour conversion eight pixels at a time through the chosen kernel.
void copyMcuYcc(const uint8_t* origin, int32_t stride, uint32_t rows, uint32_t pixels, int16_t* work) {
    auto yccRow8 = encoderKernels().yccRow8;
    for (uint32_t y = 0; y < rows; ++y) {
        const uint8_t* p = origin + static_cast<intptr_t>(stride) * y;
        int16_t* out = work + y * kMcuRowPixels * 3;
        uint32_t x = 0;
        for (; x + 8 <= pixels; x += 8, p += 24, out += 24) yccRow8(p, out);
        for (; x < pixels; ++x, p += 3, out += 3) convertPixel(p, 3, PixelConversion::Ycc, out);
    }
}

void copyMcu(const uint8_t* origin, int32_t stride, uint32_t rows, uint32_t pixels, uint32_t n,
             PixelConversion conversion, int16_t* work) {
    switch (conversion) {
        case PixelConversion::Ycc:
            if (!encoderKernels().plain) return copyMcuYcc(origin, stride, rows, pixels, work);
            return copyMcuAs<PixelConversion::Ycc>(origin, stride, rows, pixels, n, work);
        case PixelConversion::LevelShifted:
            return copyMcuAs<PixelConversion::LevelShifted>(origin, stride, rows, pixels, n, work);
        case PixelConversion::Bytes: return copyMcuAs<PixelConversion::Bytes>(origin, stride, rows, pixels, n, work);
    }
}

void gatherAndEncodeMcu(JpegContext* context, const GatherPlan plans[4], const int16_t* work) {
    uint32_t n = context->enc.componentCount;
    int16_t* out = context->enc.mcuBlocks;
    for (uint32_t c = 0; c < n; ++c) out = gatherBlocks(plans[c], work, n, c, out);
    jpegEncodeMcu(context);
}

struct Strip {
    const uint8_t* bits;
    int32_t stride;
    uint32_t width;  // pixels per row of the rectangle
    uint32_t lines;
};

// Codes the strip's MCU rows; false as soon as an output write has failed.
bool encodeStrip(JpegContext* context, const Strip& strip, const GatherPlan plans[4], int16_t* work) {
    const EncoderState& enc = context->enc;
    uint32_t n = enc.componentCount;
    PixelConversion conversion = conversionFor(context);
    uint32_t mcuRows = (strip.lines + enc.mcuHeight - 1) / enc.mcuHeight;
    for (uint32_t my = 0; my < mcuRows; ++my) {
        // A partial MCU row at the end of a call is coded as a full one.
        uint32_t rows = my + 1 < mcuRows ? enc.mcuHeight : strip.lines - my * enc.mcuHeight;
        const uint8_t* rowOrigin = strip.bits + static_cast<intptr_t>(strip.stride) * (my * enc.mcuHeight);
        for (uint32_t mx = 0; mx < enc.mcusPerRow; ++mx) {
            uint32_t left = mx * enc.mcuWidth;
            uint32_t pixels = strip.width > left ? strip.width - left : 0;
            if (pixels > enc.mcuWidth) pixels = enc.mcuWidth;
            copyMcu(rowOrigin + static_cast<size_t>(left) * n, strip.stride, rows, pixels, n, conversion, work);
            gatherAndEncodeMcu(context, plans, work);
        }
        if (context->bitstream->status != kBitstreamOk) return false;
    }
    return true;
}

}  // namespace

}  // namespace encoder

using namespace encoder;

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromRect(JpegHandle context, const ImageRect* rect,
                                                               uint32_t lines) {
    if (!context || !rect || !rect->bits || rect->width < 0) return 0;
    uint32_t n = context->enc.componentCount;
    if (n < 1 || n > 4) return 0;
    // Pixels are read n bytes apart: a rectangle of fewer bits per pixel would
    // be read past its rows.
    if (rect->bitsPerPixel < 8 * static_cast<int32_t>(n)) return 0;
    // One MCU of samples; zeroed once, so the padding of the first partial
    // MCU is 0 and later ones repeat their predecessor.
    size_t workBytes = 512 * static_cast<size_t>(n);
    auto* work = static_cast<int16_t*>(complibAllocMemory(workBytes));
    if (!work) return 0;
    std::memset(work, 0, workBytes);

    GatherPlan plans[4];
    Strip strip{rect->bits, rect->stride, static_cast<uint32_t>(rect->width), lines & 0xFFFF};
    bool encoded = selectGatherPlans(context, plans) && encodeStrip(context, strip, plans, work);
    (void)complibFreeMemory(work);
    if (!encoded) return 0;
    context->enc.linesEncoded += strip.lines;
    return strip.lines;
}
