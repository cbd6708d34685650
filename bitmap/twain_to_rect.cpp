#include "bitmap/twain_to_rect.h"

#include <cstdlib>
#include <cstring>

#include "runtime/image_rect.h"
#include "runtime/report.h"

namespace {

// 3 x width must fit the rectangle's signed 32-bit stride.
constexpr uint32_t kMaxTransferWidth = INT32_MAX / 3;

void swapRedAndBlue(uint8_t* row, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x, row += 3) {
        uint8_t red = row[0];
        row[0] = row[2];
        row[2] = red;
    }
}

}  // namespace

ImageRect* complibConvertWinTWAINToRect(ImageRect* rect, const void* data, uint32_t width, uint32_t lines) {
    const KelChar16* tag = report_text::kComplibConvertWinTWAINToRect;
    if (width > kMaxTransferWidth || lines > INT32_MAX) {
        // No rectangle can hold this transfer: the allocation's own failure.
        complibReportError(report_text::kComplibAllocImageRect, JPEG_SEVERITY_ERROR,
                           report_text::kComplibAllocMemoryFailed);
        return nullptr;
    }
    size_t rowBytes = 3 * size_t{width};
    rect->width = static_cast<int32_t>(width);
    rect->height = static_cast<int32_t>(lines);
    rect->stride = static_cast<int32_t>(rowBytes);
    if (!complibAllocImageRect(rect)) return nullptr;

    // Transfer rows are padded to an even length; the row buffer takes the
    // padded length so that copying a whole transfer row stays inside it.
    size_t transferRowBytes = (rowBytes + 1) & ~size_t{1};
    // The size is tested before the block, so a zero width reports this text
    // whatever the allocator returned.
    if (rowBytes == 0) {
        complibReportError(tag, JPEG_SEVERITY_ERROR, report_text::kLocalAllocFailed);
        return nullptr;
    }
    auto* row = static_cast<uint8_t*>(std::malloc(transferRowBytes));
    if (!row) {
        complibReportError(tag, JPEG_SEVERITY_ERROR, report_text::kLocallockFailed);
        return nullptr;
    }
    const auto* source = static_cast<const uint8_t*>(data);
    uint8_t* destination = rect->bits;
    for (uint32_t y = 0; y < lines; ++y) {
        std::memcpy(row, source, transferRowBytes);
        swapRedAndBlue(row, width);
        std::memcpy(destination, row, rowBytes);
        source += transferRowBytes;
        destination += rowBytes;
    }
    std::free(row);
    return rect;
}
