#include "runtime/heap.h"

#include <cstring>

#include "runtime/platform.h"
#include "runtime/report.h"

// Every block the library keeps for itself carries a small header with an
// ownership tag, so that releasing a block the heap does not own (or
// releasing one twice) is detected and reported instead of corrupting the heap.
namespace {

constexpr uint64_t kOwnedTag = 0x4B454C4A50454731ull;  // "KELJPEG1"
constexpr uint64_t kFreedTag = 0x4B454C4A46524545ull;  // "KELJFREE"
constexpr size_t kHeaderSize = 16;                      // keeps 16-byte alignment of the payload

uint8_t* payloadOf(void* raw) { return static_cast<uint8_t*>(raw) + kHeaderSize; }
void* rawOf(void* block) { return static_cast<uint8_t*>(block) - kHeaderSize; }

void setTag(void* raw, uint64_t tag) { std::memcpy(raw, &tag, sizeof tag); }
uint64_t tagOf(void* raw) {
    uint64_t tag;
    std::memcpy(&tag, raw, sizeof tag);
    return tag;
}

}  // namespace

void* complibAllocMemory(size_t size) {
    if (size > SIZE_MAX - kHeaderSize) return nullptr;
    void* raw = platform::heapAlloc(size + kHeaderSize);
    if (!raw) return nullptr;
    setTag(raw, kOwnedTag);
    return payloadOf(raw);
}

uint32_t complibFreeMemory(void* block) {
    if (!block || tagOf(rawOf(block)) != kOwnedTag) {
        complibReportError(report_text::kCompl, JPEG_SEVERITY_ERROR, report_text::kHeapFreeFailed);
        return kComplibFailure;
    }
    void* raw = rawOf(block);
    setTag(raw, kFreedTag);
    if (!platform::heapFree(raw)) {
        complibReportError(report_text::kCompl, JPEG_SEVERITY_ERROR, report_text::kHeapFreeFailed);
        return kComplibFailure;
    }
    return 0;
}

void* complibReallocMemory(void* block, size_t size) {
    if (!block) return complibAllocMemory(size);
    if (tagOf(rawOf(block)) != kOwnedTag || size > SIZE_MAX - kHeaderSize) return nullptr;
    void* raw = platform::heapRealloc(rawOf(block), size + kHeaderSize);
    return raw ? payloadOf(raw) : nullptr;
}

// The encoded stream a caller receives is a plain process-heap block (see
// the memory-mode output of the bitstream files), not one of the tagged blocks
// above: hosts may release it with the platform's own call instead.
extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegFreeMemory(void* block) {
    if (!block) return 0;
    if (platform::heapFree(block)) return 0;
    complibReportError(report_text::kCompl, JPEG_SEVERITY_ERROR, report_text::kHeapFreeFailed);
    return -1;
}
