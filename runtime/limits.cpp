#include "runtime/limits.h"

#include <atomic>

namespace {

// Process-wide like the report handler; read by every operation, so each
// field is atomic (a host changing limits while decodes run sees each field
// either old or new).
std::atomic<uint32_t> maxScans{kDefaultMaxScans};
std::atomic<uint64_t> maxPixels{kDefaultMaxPixels};
std::atomic<uint64_t> maxMemoryBytes{kDefaultMaxMemoryBytes};

}  // namespace

JpegLimits currentLimits() {
    JpegLimits limits{};
    limits.maxScans = maxScans.load(std::memory_order_relaxed);
    limits.maxPixels = maxPixels.load(std::memory_order_relaxed);
    limits.maxMemoryBytes = maxMemoryBytes.load(std::memory_order_relaxed);
    return limits;
}

bool framePixelsAllowed(uint32_t width, uint32_t height) {
    return uint64_t{width} * height <= maxPixels.load(std::memory_order_relaxed);
}

bool scanCountAllowed(uint32_t scanCount) { return scanCount <= maxScans.load(std::memory_order_relaxed); }

bool contextMemoryAllows(uint64_t held, uint64_t size) {
    const uint64_t limit = maxMemoryBytes.load(std::memory_order_relaxed);
    if (size > limit || held > limit - size) return false;
    // A total the address space cannot hold would wrap a size_t on 32-bit targets.
    return held + size <= SIZE_MAX / 2;
}

bool reserveContextMemory(uint64_t* held, uint64_t size) {
    if (!contextMemoryAllows(*held, size)) return false;
    *held += size;
    return true;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegSetLimits(const JpegLimits* limits) {
    JpegLimits wanted{};
    if (limits) wanted = *limits;
    maxScans.store(wanted.maxScans ? wanted.maxScans : kDefaultMaxScans, std::memory_order_relaxed);
    maxPixels.store(wanted.maxPixels ? wanted.maxPixels : kDefaultMaxPixels, std::memory_order_relaxed);
    maxMemoryBytes.store(wanted.maxMemoryBytes ? wanted.maxMemoryBytes : kDefaultMaxMemoryBytes,
                         std::memory_order_relaxed);
    return 0;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegGetLimits(JpegLimits* limits) {
    if (!limits) return -1;
    *limits = currentLimits();
    return 0;
}
