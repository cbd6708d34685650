// Encoding from device-independent bitmaps and TWAIN transfers: each input
// becomes an image rectangle (a view onto the caller's rows where the layout
// already matches) that the rectangle encoder consumes.
#include "KelJPEG.h"
#include "bitmap/dib_to_rect.h"
#include "bitmap/twain_to_rect.h"
#include "context/jpeg_context.h"
#include "runtime/image_rect.h"
#include "runtime/report.h"

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromWinDIBits(JpegHandle context, uint32_t lines,
                                                                    const void* bits, const BITMAPINFOHEADER* header) {
    if (!context || !bits || !header) return 0;
    ImageRect rect{};
    rect.width = context->frame.samplesPerLine;
    rect.height = static_cast<int32_t>(lines);
    rect.bitsPerPixel = 8 * static_cast<int32_t>(context->enc.componentCount);
    rect.stride = rect.width * rect.bitsPerPixel / 8;

    if (rect.bitsPerPixel == 24 && header->biBitCount == 24) {
        // Bottom-up rows seen top-down: start at the last stored row, step back.
        int64_t rowStep = (3 * int64_t{rect.width} + 3) & ~int64_t{3};
        const auto* first = static_cast<const uint8_t*>(bits);
        rect.bits = const_cast<uint8_t*>(lines ? first + (int64_t{lines} - 1) * rowStep : first);
        rect.stride = static_cast<int32_t>(-rowStep);
        return jpegEncodeFromRect(context, &rect, lines & 0xFFFF);
    }
    if (!complibAllocImageRect(&rect)) {
        reportJpegError(report_text::kMemoryAllocationFailed);
        return 0;
    }
    uint32_t result = 0;
    if (complibSetDIBitsToRect(&rect, bits, header) != 0)
        reportJpegError(report_text::kComplibSetDIBitsToRectFailed);
    else
        result = jpegEncodeFromRect(context, &rect, lines & 0xFFFF);
    (void)complibFreeImageRect(&rect);
    return result;
}

// Kept for callers of an older interface: encodes nothing.
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegEncodeFromWinDIB(void) { return 0; }

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromWinTWAIN(JpegHandle context, const void* data,
                                                                   uint32_t width, uint32_t lines) {
    if (!data) return 0;
    ImageRect rect{};
    rect.bitsPerPixel = 24;
    uint32_t result = 0;
    if (complibConvertWinTWAINToRect(&rect, data, width, lines))
        result = jpegEncodeFromRect(context, &rect, lines & 0xFFFF);
    // The conversion may have allocated the pixel store before failing.
    (void)complibFreeImageRect(&rect);
    return result;
}
