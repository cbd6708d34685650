// Decoding into device-independent bitmaps: the header query, the direct view
// onto the caller's rows, and the converted path; plus the one do-nothing
// entry that four older bitmap names share.
#include <algorithm>
#include <cstdlib>

#include "KelJPEG.h"
#include "bitmap/dither_palette.h"
#include "bitmap/rect_to_dib.h"
#include "context/jpeg_context.h"
#include "decoder/decode_route.h"
#include "runtime/image_rect.h"
#include "runtime/limits.h"
#include "runtime/report.h"

namespace {

constexpr uint8_t kDotsPerInch = 1;
constexpr uint8_t kDotsPerCentimetre = 2;
constexpr uint32_t kColourTableOffset = 40;
// Tallest MCU row: a decode call may write the rows it is asked for rounded up
// to whole MCU rows (a frame whose height awaits DNL, a progressive pass).
constexpr int64_t kMaxMcuHeight = 16;

// JFIF density in pixels per metre: 72 dots per inch gives 2835, 28 dots per
// centimetre 2800; other units give 0.
int32_t pixelsPerMetre(uint8_t units, uint16_t density) {
    if (units == kDotsPerInch) return (10000 * int32_t{density} + 127) / 254;
    if (units == kDotsPerCentimetre) return 100 * int32_t{density};
    return 0;
}

void fillHeader(const JpegContext* context, BITMAPINFOHEADER* header, uint32_t width, uint32_t height) {
    const DecoderState& dec = context->dec;
    header->biSize = kColourTableOffset;
    header->biWidth = static_cast<int32_t>(width);
    header->biHeight = static_cast<int32_t>(height);
    header->biPlanes = 1;
    header->biCompression = 0;
    header->biSizeImage = 0;
    header->biXPelsPerMeter = pixelsPerMetre(dec.densityUnits, dec.xDensity);
    header->biYPelsPerMeter = pixelsPerMetre(dec.densityUnits, dec.yDensity);
    header->biClrUsed = 0;
    header->biClrImportant = 0;
    if (header->biBitCount != 8) return;
    // Every 8-bit bitmap gets the dithered colour palette, greyscale images too.
    complibFillDitherPalette(reinterpret_cast<RGBQUAD*>(reinterpret_cast<uint8_t*>(header) + kColourTableOffset));
    complibBuildDitherTables(header);
}

// The decoder can write straight into the caller's rows when their layout is
// its own and the view stays inside the bitmap the header describes: `lines`
// rows, and no overshoot to an MCU boundary below them. A sequential frame of
// known height writes at most the rows asked for; one awaiting DNL and a
// progressive pass write whole MCU rows, so 20 lines of a 4:2:0 frame would
// write 32.
bool directViewFits(const JpegContext* context, const BITMAPINFOHEADER* header, uint32_t width, uint32_t lines,
                    int64_t rowStep) {
    const uint32_t componentCount = context->dec.componentCount;
    bool sameLayout = (componentCount == 1 && header->biBitCount == 8) || (componentCount == 3 && header->biBitCount == 24);
    if (!sameLayout || int64_t{width} > header->biWidth) return false;
    int64_t bitmapRows = std::llabs(static_cast<int64_t>(header->biHeight));
    if (lines > bitmapRows || rowStep > INT32_MAX / bitmapRows) return false;
    const RowOvershoot overshoot = routeOf(context).overshoot;
    const bool exact = overshoot == RowOvershoot::Never ||
                       (overshoot == RowOvershoot::WhileHeightUnknown && context->dec.imageHeight != 0);
    return exact || (lines & 0xFFFF) % kMaxMcuHeight == 0;
}

int32_t decodeThroughRect(JpegContext* context, ImageRect* rect, uint32_t lines, void* bits,
                          BITMAPINFOHEADER* header, int32_t scale) {
    const uint32_t componentCount = context->dec.componentCount;
    const uint16_t savedOptions = context->options;
    rect->stride = rect->width * static_cast<int32_t>(componentCount);
    // A colour image for an 8-bit bitmap is delivered as raw Y, Cb, Cr samples
    // for the palette mapping.
    if (componentCount == 3 && header->biBitCount == 8)
        context->options = static_cast<uint16_t>(context->options | JPEG_OPT_RAW_COMPONENTS);
    // Room for whole MCU rows; only `lines` of them reach the bitmap.
    if (rect->height > 0)
        rect->height = static_cast<int32_t>(std::min<int64_t>(INT32_MAX, (rect->height + kMaxMcuHeight - 1) /
                                                                              kMaxMcuHeight * kMaxMcuHeight));
    // The pixel store counts against the host's memory limit while it is held.
    const uint64_t storeBytes = uint64_t{static_cast<uint32_t>(rect->height)} * static_cast<uint32_t>(rect->stride);
    bool allocated = contextMemoryAllows(context->dec.heldBytes, storeBytes) &&
                     complibAllocImageRect(rect) != nullptr;
    rect->height = static_cast<int32_t>(lines);
    int32_t result = 0;
    if (!allocated) {
        reportJpegError(report_text::kComplibAllocImageRectFailed);
    } else if (jpegDecodeScaleOutputToRect(context, rect, lines & 0xFFFF, scale) != 0 &&
               complibGetDIBitsFromRect(rect, bits, header) != 0) {
        result = static_cast<int32_t>(lines);
    }
    context->options = savedOptions;
    if (allocated) (void)complibFreeImageRect(rect);
    return result;
}

}  // namespace

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinDIBits(JpegHandle context, uint32_t lines,
                                                                             void* bits, BITMAPINFOHEADER* header,
                                                                             int32_t scale) {
    if (!context || !header) return 0;
    const uint32_t componentCount = context->dec.componentCount;
    if (componentCount != 1 && componentCount != 3) return 0;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(context, &width, &height, scale);
    if (!bits) {
        fillHeader(context, header, width, height);
        return 0;
    }
    if (lines == 0) return 0;
    ImageRect rect{};
    rect.width = static_cast<int32_t>(width);
    rect.height = static_cast<int32_t>(lines);
    rect.bitsPerPixel = 8 * static_cast<int32_t>(componentCount);
    int64_t rowStep = (int64_t{header->biWidth} * componentCount + 3) & ~int64_t{3};
    if (!directViewFits(context, header, width, lines, rowStep))
        return decodeThroughRect(context, &rect, lines, bits, header, scale);
    // Bottom-up rows seen top-down: start at the last stored row, step back.
    rect.bits = static_cast<uint8_t*>(bits) + (int64_t{lines} - 1) * rowStep;
    rect.stride = static_cast<int32_t>(-rowStep);
    return jpegDecodeScaleOutputToRect(context, &rect, lines & 0xFFFF, scale);
}

// Four names of an older interface, all one entry that does nothing.
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToWinDIB(void) { return -1; }

#if defined(__ELF__)
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToWinBitmap(void) __attribute__((alias("jpegDecodeToWinDIB")));
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinDIB(void)
    __attribute__((alias("jpegDecodeToWinDIB")));
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinBitmap(void)
    __attribute__((alias("jpegDecodeToWinDIB")));
#else
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToWinBitmap(void) { return jpegDecodeToWinDIB(); }
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinDIB(void) { return jpegDecodeToWinDIB(); }
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinBitmap(void) { return jpegDecodeToWinDIB(); }
#endif
