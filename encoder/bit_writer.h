// Bit writer: packs entropy-coded bits with 0xFF stuffing, interleaves markers
// and raw header bytes, and collects everything in the bitstream's 4096-byte
// buffer, which goes to the output whenever it fills.
//
// It works on the BitstreamFile of the context: bitBuffer is the accumulator
// (bits enter at the low end), bitCount the number of free bits in it (32 =
// empty), readBuffer the output buffer, readIndex the number of bytes in it
// and status the sticky error code (2 after a short write).
#pragma once

#include <cstdint>

#include "runtime/bitstream_file.h"

namespace encoder {

constexpr uint32_t kOutputBufferSize = kBitstreamBufferSize;
// Below this position a whole word with stuffing (at most 8 bytes) fits
// without testing for a full buffer.
constexpr uint32_t kWordFitsBelow = kOutputBufferSize - 8;
constexpr uint32_t kWriteFailed = kBitstreamReadFailed;  // the bitstream's status after a short write

// Emits the four bytes of a full accumulator, most significant first, each
// 0xFF followed by a stuffed 0x00.
void writeWord(BitstreamFile* bf);

// Puts the low `length` bits of value (1..32, nothing above them set).
inline void putBits(BitstreamFile* bf, uint32_t value, uint32_t length) {
    if (length < bf->bitCount) {
        bf->bitBuffer = (bf->bitBuffer << length) | value;
        bf->bitCount -= length;
        return;
    }
    uint32_t rest = length - bf->bitCount;
    bf->bitBuffer = static_cast<uint32_t>((static_cast<uint64_t>(bf->bitBuffer) << bf->bitCount) | (value >> rest));
    writeWord(bf);
    bf->bitBuffer = rest ? value & ((1u << rest) - 1) : 0;
    bf->bitCount = 32 - rest;
}

// Raw header bytes, no stuffing. Returns 8 * count.
uint32_t writeBytes(BitstreamFile* bf, const uint8_t* data, uint32_t count);

// Closes the entropy-coded data (the partial byte padded with 1-bits) and
// appends the two marker bytes. Returns 16.
uint32_t writeMarker(BitstreamFile* bf, uint16_t marker);

// Hands the buffered bytes to the output. Returns 0, or -1 after a short
// write (status 2). The position is kept: a flush ends the stream.
int32_t flushOutput(BitstreamFile* bf);

}  // namespace encoder
