#include "runtime/image_rect.h"

#include "runtime/heap.h"
#include "runtime/report.h"

ImageRect* complibAllocImageRect(ImageRect* rect) {
    // Whole bytes per pixel on purpose: sub-byte formats must bring their own stride.
    if (rect->stride == 0) rect->stride = (rect->bitsPerPixel >> 3) * rect->width;
    // Four spare bytes beyond the last row, always.
    int64_t size = static_cast<int64_t>(rect->stride) * rect->height + 4;
    rect->size = static_cast<uint32_t>(size);
    bool representable = size >= 4 && size <= INT32_MAX;
    rect->bits = representable ? static_cast<uint8_t*>(complibAllocMemory(static_cast<size_t>(size))) : nullptr;
    if (!rect->bits) {
        complibReportError(report_text::kComplibAllocImageRect, JPEG_SEVERITY_ERROR,
                           report_text::kComplibAllocMemoryFailed);
        return nullptr;
    }
    return rect;
}

uint32_t complibFreeImageRect(ImageRect* rect) {
    if (!rect || !rect->bits) return kBadArgument;
    return complibFreeMemory(rect->bits);
}
