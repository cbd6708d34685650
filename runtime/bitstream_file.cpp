#include "runtime/bitstream_file.h"

#include <algorithm>
#include <cstring>

#include "runtime/file.h"
#include "runtime/heap.h"
#include "runtime/report.h"

namespace {

bool inMemoryMode(const BitstreamFile* bf) { return (bf->flags & kBitstreamMemory) != 0; }

void report(const KelChar16* source, const KelChar16* text) {
    complibReportError(source, JPEG_SEVERITY_ERROR, text);
}

// Bytes left in the caller's memory; a position past the end (after a seek)
// simply has none left.
uint32_t memoryRemaining(const BitstreamFile* bf) {
    return bf->memPosition < bf->memLength ? bf->memLength - bf->memPosition : 0;
}

// Takes up to count bytes from the caller's memory.
uint32_t takeFromMemory(BitstreamFile* bf, void* data, uint32_t count) {
    count = std::min(count, memoryRemaining(bf));
    if (count) {
        std::memcpy(data, bf->memBase + bf->memPosition, count);
        bf->memPosition += count;
        bf->memCursor = const_cast<uint8_t*>(bf->memBase) + bf->memPosition;
    }
    return count;
}

constexpr uint32_t kMaxMemoryOutput = 0x7FFFF000u;  // keeps the capacity a positive 32-bit multiple of 4096

uint32_t roundUpToBuffer(uint32_t n) { return (n + (kBitstreamBufferSize - 1)) & ~(kBitstreamBufferSize - 1); }

// Makes room for the bytes [memPosition, newEnd) of a memory-mode output.
// The block is handed to the caller as the encoded stream, so it is a plain
// process-heap block with nothing in front of it (hosts release it with the
// platform's own call); it never goes through the tagged heap wrappers.
bool growMemoryOutput(BitstreamFile* bf, uint32_t newEnd) {
    if (bf->memPosition != 0) {
        if (newEnd <= bf->memCapacity) return true;
        uint8_t* grown = newEnd > kMaxMemoryOutput
                             ? nullptr
                             : static_cast<uint8_t*>(platform::heapRealloc(bf->memCursor, roundUpToBuffer(newEnd)));
        if (!grown) {
            report(report_text::kComplibWriteBitstreamFile, report_text::kGlobalReallocFailed);
            return false;
        }
        bf->memCursor = grown;
        bf->memCapacity = roundUpToBuffer(newEnd);
        return true;
    }
    // Writing from position 0 reuses a block that is large enough. A smaller
    // earlier block is not released: after a frame restart it belongs to the caller.
    if (newEnd <= bf->memCapacity && bf->memCursor) return true;
    uint32_t capacity = std::max(roundUpToBuffer(newEnd), kBitstreamBufferSize);
    uint8_t* fresh = newEnd > kMaxMemoryOutput ? nullptr : static_cast<uint8_t*>(platform::heapAlloc(capacity));
    if (!fresh) {
        report(report_text::kComplibWriteBitstreamFile, report_text::kGlobalAllocFailed);
        return false;
    }
    bf->memCursor = fresh;
    bf->memCapacity = capacity;
    return true;
}

}  // namespace

uint32_t complibResetBitstreamFile(BitstreamFile* bf) {
    bf->bytePosition = bf->startOffset;
    bf->bitBuffer = 0;
    bf->readIndex = 0;
    bf->status = kBitstreamOk;
    bf->memPosition = 0;
    if (inMemoryMode(bf) && (bf->flags & kBitstreamReading)) bf->memCursor = const_cast<uint8_t*>(bf->memBase);
    if (bf->flags & kBitstreamReading) {
        bf->bitCount = 0;
        bf->bufferedCount = 0;
    } else if (bf->flags & kBitstreamWriting) {
        bf->bitCount = 32;
    }
    return 0;
}

uint32_t complibOpenBitstreamFile(BitstreamFile* bf) {
    bf->flags |= kBitstreamReading;
    if (inMemoryMode(bf)) {
        bf->fileSize = 0;
        bf->handle = nullptr;
    } else {
        bf->fileSize = complibGetFileSize(bf->fileName);
        bf->handle = complibOpenFile(bf->fileName, 0);
        if (bf->handle == platform::kInvalidFile) {
            bf->status = kBitstreamOpenFailed;
            return kComplibFailure;
        }
    }
    if (bf->startOffset != 0) {
        if (complibSeekBitstreamFile(bf, static_cast<int32_t>(bf->startOffset), 0) == kFileFailure) {
            report(report_text::kComplibOpenBitstreamFile, report_text::kSeekFailedCapitalised);
            complibCloseBitstreamFile(bf);
            return kComplibFailure;
        }
    }
    complibResetBitstreamFile(bf);
    if (inMemoryMode(bf)) {
        // The data of memory mode starts at startOffset, as it does in a file.
        bf->memPosition = std::min(bf->startOffset, bf->memLength);
        bf->memCursor = const_cast<uint8_t*>(bf->memBase) + bf->memPosition;
    }
    return 0;
}

uint32_t complibCreateBitstreamFile(BitstreamFile* bf) {
    bf->flags |= kBitstreamWriting;
    if (inMemoryMode(bf)) {
        bf->handle = nullptr;
    } else {
        bf->handle = complibCreateFile(bf->fileName);
        if (bf->handle == platform::kInvalidFile) {
            bf->status = kBitstreamOpenFailed;
            report(report_text::kComplibCreateBitstreamFile, report_text::kFileCreateError);
            return kComplibFailure;
        }
    }
    complibResetBitstreamFile(bf);
    bf->memCapacity = 0;
    return 0;
}

uint32_t complibAppendBitstreamFile(BitstreamFile* bf) {
    // Deliberately opened at the start of the file, and with the reading
    // flag winning the reset (bitCount 0).
    bf->flags = kBitstreamReading | kBitstreamWriting;
    bf->handle = complibOpenFile(bf->fileName, 2);
    if (bf->handle == platform::kInvalidFile) {
        bf->status = kBitstreamOpenFailed;
        report(report_text::kComplibAppendBitstreamFile, report_text::kFileOpenError);
        return kComplibFailure;
    }
    complibResetBitstreamFile(bf);
    return 0;
}

uint32_t complibCloseBitstreamFile(BitstreamFile* bf) {
    if (inMemoryMode(bf)) return 0;
    if (bf->handle && bf->handle != platform::kInvalidFile && bf->status != kBitstreamOpenFailed) {
        uint32_t result = complibCloseFile(bf->handle);
        bf->handle = nullptr;
        return result;
    }
    return 0;
}

int32_t complibWriteBitstreamFile(BitstreamFile* bf, const void* data, uint32_t count) {
    if (!inMemoryMode(bf)) {
        return complibWriteFile(bf->handle, data, count) == count ? static_cast<int32_t>(count) : -1;
    }
    if (count > kMaxMemoryOutput - std::min(bf->memPosition, kMaxMemoryOutput)) {
        report(report_text::kComplibWriteBitstreamFile,
               bf->memPosition ? report_text::kGlobalReallocFailed : report_text::kGlobalAllocFailed);
        return -1;
    }
    uint32_t newEnd = bf->memPosition + count;
    if (!growMemoryOutput(bf, newEnd)) return -1;
    if (count) std::memcpy(bf->memCursor + bf->memPosition, data, count);
    bf->memPosition = newEnd;
    bf->memLength = newEnd;
    return static_cast<int32_t>(count);
}

int32_t complibReadBitstreamFile(BitstreamFile* bf, void* data, uint32_t count) {
    if (inMemoryMode(bf)) return static_cast<int32_t>(takeFromMemory(bf, data, count));
    uint32_t n = complibReadFile(bf->handle, data, count);
    return n == kFileFailure || n == 0 ? -1 : static_cast<int32_t>(n);
}

uint32_t complibSeekBitstreamFile(BitstreamFile* bf, int32_t offset, uint32_t origin) {
    if (!inMemoryMode(bf)) return complibSeekFile(bf->handle, offset, origin);
    uint32_t position;
    switch (origin) {
        case 0: position = static_cast<uint32_t>(offset); break;
        case 1: position = bf->memPosition + static_cast<uint32_t>(offset); break;
        case 2: position = bf->memLength + static_cast<uint32_t>(offset); break;
        default: return kFileFailure;
    }
    // Positions outside the data are allowed; reads there find nothing.
    bf->memPosition = position;
    bf->memCursor = const_cast<uint8_t*>(bf->memBase) + std::min(position, bf->memLength);
    return position;
}

uint32_t complibDupBitstreamFile(BitstreamFile* dst, BitstreamFile* src, int32_t offset, int32_t count) {
    const KelChar16* source = report_text::kComplibDupBitstreamFile;
    if (complibSeekBitstreamFile(src, offset, 0) == kFileFailure) {
        report(source, report_text::kSeekFailed);
        return kComplibFailure;
    }
    while (count >= 1) {
        uint32_t want = std::min<uint32_t>(static_cast<uint32_t>(count), kBitstreamBufferSize);
        uint32_t got = complibReadFile(src->handle, src->readBuffer, want);
        if (got == kFileFailure || got < 1) {
            report(source, report_text::kReadFailed);
            return kComplibFailure;
        }
        if (complibWriteFile(dst->handle, src->readBuffer, got) != got) {
            report(source, report_text::kWriteFailed);
            return kComplibFailure;
        }
        count -= static_cast<int32_t>(got);
    }
    return 0;
}

int32_t readBitstreamData(BitstreamFile* bf) {
    uint32_t count;
    if (inMemoryMode(bf)) {
        count = takeFromMemory(bf, bf->readBuffer, kBitstreamBufferSize);
        if (count == 0) {
            bf->bufferedCount = 0;
            bf->readIndex = 0;
            return 0;
        }
    } else {
        count = complibReadFile(bf->handle, bf->readBuffer, kBitstreamBufferSize);
        if (count == 0) {
            report(report_text::kReadBitstreamData, report_text::kFoundUnexpectedEof);
            return -1;
        }
        if (count == kFileFailure) {
            report(report_text::kReadBitstreamData, report_text::kReadFailedReadEqualsEof);
            return -1;
        }
    }
    bf->bufferedCount = count;
    bf->bytePosition += count;
    bf->readIndex = 0;
    return 0;
}

uint32_t complibGetBitstreamPosition(const BitstreamFile* bf) {
    return bf->readIndex - bf->bufferedCount + bf->bytePosition;
}
