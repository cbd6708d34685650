// Generic bit access of a BitstreamFile. The codec's decoder and encoder have
// their own faster bit reader and writer; these serve other users of the
// runtime. Bits are written into a staging area (by default the read buffer)
// one big-endian 32-bit word at a time.
#include <cstring>

#include "runtime/bitstream_file.h"
#include "runtime/file.h"
#include "runtime/heap.h"

namespace {

void ensureStaging(BitstreamFile* bf) {
    if (!bf->stagingStart) {
        bf->stagingStart = bf->readBuffer;
        bf->stagingCursor = bf->readBuffer;
        bf->stagingEnd = bf->readBuffer + kBitstreamBufferSize;
    }
}

void storeWord(uint8_t* p, uint32_t word) {
    p[0] = static_cast<uint8_t>(word >> 24);
    p[1] = static_cast<uint8_t>(word >> 16);
    p[2] = static_cast<uint8_t>(word >> 8);
    p[3] = static_cast<uint8_t>(word);
}

uint32_t lowBits(uint32_t value, uint32_t count) { return count >= 32 ? value : value & ((1u << count) - 1u); }

// Refills the accumulator with the next big-endian word of the read buffer;
// past the end of the data the missing bytes read as zero.
void loadWord(BitstreamFile* bf) {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
        if (bf->readIndex >= bf->bufferedCount) (void)readBitstreamData(bf);
        uint8_t byte = bf->readIndex < bf->bufferedCount ? bf->readBuffer[bf->readIndex++] : 0;
        word = (word << 8) | byte;
    }
    bf->bitBuffer = word;
    bf->bitCount = 32;
}

}  // namespace

int32_t complibPutBits(BitstreamFile* bf, uint32_t value, uint32_t count) {
    ensureStaging(bf);
    if (count < bf->bitCount) {
        bf->bitBuffer = (bf->bitBuffer << count) | value;
        bf->bitCount -= count;
        return static_cast<int32_t>(count);
    }
    uint32_t spill = count - bf->bitCount;  // bits that do not fit the accumulator
    uint32_t word = bf->bitCount >= 32 ? 0 : bf->bitBuffer << bf->bitCount;
    word |= spill >= 32 ? 0 : value >> spill;
    if (bf->stagingCursor + 4 > bf->stagingEnd) {
        uint32_t n = static_cast<uint32_t>(bf->stagingCursor - bf->stagingStart);
        if (complibWriteBitstreamFile(bf, bf->stagingStart, n) != static_cast<int32_t>(n)) return -1;
        bf->stagingCursor = bf->stagingStart;
    }
    storeWord(bf->stagingCursor, word);
    bf->stagingCursor += 4;
    bf->bitCount = bf->bitCount - count + 32;
    bf->bitBuffer = lowBits(value, spill);
    return static_cast<int32_t>(count);
}

uint32_t complibFlushBits(BitstreamFile* bf) {
    ensureStaging(bf);
    uint32_t word = bf->bitCount >= 32 ? 0 : bf->bitBuffer << bf->bitCount;
    uint32_t usedBytes = bf->bitCount >= 32 ? 0 : bf->bitCount >= 24 ? 1 : bf->bitCount >= 16 ? 2 : bf->bitCount >= 8 ? 3 : 4;
    if (bf->stagingCursor + 4 > bf->stagingEnd) {
        uint32_t n = static_cast<uint32_t>(bf->stagingCursor - bf->stagingStart);
        if (complibWriteBitstreamFile(bf, bf->stagingStart, n) != static_cast<int32_t>(n)) return kComplibFailure;
        bf->stagingCursor = bf->stagingStart;
    }
    storeWord(bf->stagingCursor, word);
    uint32_t n = static_cast<uint32_t>(bf->stagingCursor - bf->stagingStart) + usedBytes;
    if (n && complibWriteBitstreamFile(bf, bf->stagingStart, n) != static_cast<int32_t>(n)) return kComplibFailure;
    bf->stagingCursor = bf->stagingStart;
    bf->bitBuffer = 0;
    bf->bitCount = 32;
    return 0;
}

void complibAlignPutBits(BitstreamFile* bf) { complibPutBits(bf, 0, bf->bitCount % 8); }

uint32_t complibPeekBits(BitstreamFile* bf, uint32_t count) {
    if (count == 0) return 0;
    if (count > 32) count = 32;
    if (bf->bitCount >= count) return lowBits(bf->bitBuffer >> (bf->bitCount - count), count);
    // Combine what is held with the head of the next word, without consuming it.
    if (bf->readIndex >= bf->bufferedCount) (void)readBitstreamData(bf);
    uint32_t held = bf->bitCount;
    uint32_t high = lowBits(bf->bitBuffer, held);
    uint32_t savedIndex = bf->readIndex;
    uint32_t next = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        uint32_t idx = savedIndex + i;
        next = (next << 8) | (idx < bf->bufferedCount ? bf->readBuffer[idx] : 0);
    }
    uint32_t need = count - held;
    return (held ? high << need : 0) | (next >> (32 - need));
}

uint32_t complibGetBits(BitstreamFile* bf, uint32_t count) {
    if (count == 0) return 0;
    if (count > 32) count = 32;
    if (bf->bitCount >= count) {
        uint32_t v = lowBits(bf->bitBuffer >> (bf->bitCount - count), count);
        bf->bitCount -= count;
        return v;
    }
    uint32_t held = bf->bitCount;
    uint32_t high = lowBits(bf->bitBuffer, held);
    loadWord(bf);
    uint32_t need = count - held;
    uint32_t low = bf->bitBuffer >> (32 - need);
    bf->bitCount = 32 - need;
    return (held ? high << need : 0) | low;
}

void complibSkipBits(BitstreamFile* bf, uint32_t count) { (void)complibGetBits(bf, count); }

void complibAlignGetBits(BitstreamFile* bf) { complibSkipBits(bf, bf->bitCount % 8); }

uint32_t complibGetBitPosition(const BitstreamFile* bf) {
    uint32_t staged = static_cast<uint32_t>(bf->stagingCursor - bf->stagingStart);
    if (bf->flags & kBitstreamBytePosition) return (bf->bytePosition + staged - 4096) * 8 - bf->bitCount;
    return (bf->bytePosition + (staged - 1024) * 4) * 8 - bf->bitCount;
}
