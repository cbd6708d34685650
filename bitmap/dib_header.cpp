#include "bitmap/dib_header.h"

#include <cstring>

#include "runtime/heap.h"
#include "runtime/report.h"

namespace {

constexpr uint32_t kCoreHeaderSize = 12;
constexpr uint32_t kInfoHeaderSize = 40;
constexpr uint64_t kMax32 = UINT32_MAX;

uint64_t roundUp4(uint64_t n) { return (n + 3) & ~uint64_t{3}; }

// 2^bits entries of `entryBytes` each, saturated where it cannot fit.
uint64_t fullTableBytes(unsigned bits, uint64_t entryBytes) {
    if (bits > 48) return UINT64_MAX;
    return entryBytes << bits;
}

uint16_t coreBitCount(const BITMAPINFOHEADER* header) {
    uint16_t count;
    std::memcpy(&count, reinterpret_cast<const uint8_t*>(header) + 10, sizeof count);
    return count;
}

}  // namespace

uint64_t complibDIBColorTableSize(const BITMAPINFOHEADER* header) {
    if (header->biSize >= 36 && header->biClrUsed != 0) return 4 * uint64_t{header->biClrUsed};
    switch (header->biBitCount) {
    case 16:
    case 32: return header->biCompression != 0 ? 12 : 0;
    case 24: return 0;
    default: return fullTableBytes(header->biBitCount, 4);
    }
}

const uint8_t* complibDIBBitsAddress(const BITMAPINFOHEADER* header) {
    uint64_t offset;
    if (header->biSize == kCoreHeaderSize) {
        uint16_t depth = coreBitCount(header);
        offset = kCoreHeaderSize + (depth == 24 ? 0 : fullTableBytes(depth, 3));
    } else {
        uint64_t table = complibDIBColorTableSize(header);
        offset = table > kMax32 ? UINT64_MAX : header->biSize + table;
    }
    if (offset > kMax32) return nullptr;
    return reinterpret_cast<const uint8_t*>(header) + offset;
}

uint32_t complibCopyPackedDIB(void* bitsOut, BITMAPINFOHEADER* headerOut, const void* bits,
                              const BITMAPINFOHEADER* header) {
    uint64_t tableBytes = complibDIBColorTableSize(header);
    int64_t rowBits = int64_t{header->biBitCount} * header->biWidth;
    if (tableBytes > kMax32 - kInfoHeaderSize || rowBits < 0 || header->biHeight < 0) return kComplibFailure;
    uint64_t headerBytes = kInfoHeaderSize + tableBytes;
    uint64_t rowBytes = roundUp4(static_cast<uint64_t>(rowBits) >> 3);
    uint64_t rows = static_cast<uint64_t>(header->biHeight);
    if (rows != 0 && rowBytes > kMax32 / rows) return kComplibFailure;
    uint64_t pixelBytes = rowBytes * rows;
    std::memcpy(headerOut, header, static_cast<size_t>(headerBytes));
    if (pixelBytes != 0) std::memcpy(bitsOut, bits, static_cast<size_t>(pixelBytes));
    return 0;
}

int32_t complibCreateWinDIBits(void** bitsOut, BITMAPINFOHEADER** headerOut, int32_t width, int32_t height,
                               int32_t bitCount) {
    int64_t entries;
    switch (bitCount) {
    case 1:
    case 4:
    case 8: entries = int64_t{1} << bitCount; break;
    case 16:
    case 32: entries = 3; break;
    case 24: entries = 0; break;
    default: return 0;
    }
    // A negative or oversized geometry cannot be allocated: treated as the
    // allocation failure it would be.
    int64_t rowBytes = (((int64_t{width} * bitCount + 7) >> 3) + 3) & ~int64_t{3};
    bool representable =
        width >= 0 && height >= 0 && (height == 0 || rowBytes <= static_cast<int64_t>(kMax32) / height);
    int64_t pixelBytes = representable ? rowBytes * height : 0;
    void* headerBlock = complibAllocMemory(static_cast<size_t>(kInfoHeaderSize + 4 * entries));
    void* pixels = representable ? complibAllocMemory(static_cast<size_t>(pixelBytes)) : nullptr;
    if (!headerBlock || !pixels) {
        complibReportError(report_text::kComplibCreateWinDIBits, JPEG_SEVERITY_ERROR,
                           report_text::kComplibAllocMemoryCallFailed);
        if (headerBlock) (void)complibFreeMemory(headerBlock);
        if (pixels) (void)complibFreeMemory(pixels);
        return 0;
    }
    BITMAPINFOHEADER header{};
    header.biSize = kInfoHeaderSize;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<uint16_t>(bitCount);
    std::memcpy(headerBlock, &header, sizeof header);
    *headerOut = static_cast<BITMAPINFOHEADER*>(headerBlock);
    *bitsOut = pixels;
    return 1;
}
