// Standard mode: the bit reader over the loaded stream and Huffman decoding.
// The reader never passes a marker: at 0xFF followed by anything but a
// stuffed 0x00 it stops and supplies zero bits, so that the data of a damaged
// segment cannot swallow the next restart marker or header.
#pragma once

#include <cstdint>

#include "context/jpeg_constants.h"
#include "decoder/standard/standard_decode.h"

struct EntropyReader {
    const uint8_t* data;
    uint32_t length;
    uint32_t position;   // next byte to load
    uint64_t bits;       // unread bits, most significant first
    int32_t bitCount;
    bool atMarker;       // a marker (or the end of the data) stopped the loading
};

inline void startEntropyReader(EntropyReader& r, const StandardDecode* sd) {
    r.data = sd->data;
    r.length = sd->length;
    r.position = sd->position;
    r.bits = 0;
    r.bitCount = 0;
    r.atMarker = false;
}

// True when one of the eight bytes of v is 0xFF.
inline bool holdsFF(uint64_t v) {
    const uint64_t inverted = ~v;
    return ((inverted - 0x0101010101010101ull) & ~inverted & 0x8080808080808080ull) != 0;
}

inline uint64_t loadBigEndian64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | p[i];
    return v;
}

inline void fillEntropyBits(EntropyReader& r) {
    // Whole bytes at once while eight of them hold no 0xFF: with 20 bits
    // buffered, the top 5 bytes of the word go in and 60 bits are held.
    if (!r.atMarker && r.bitCount <= 56 && r.length - r.position >= 8) {
        const uint64_t word = loadBigEndian64(r.data + r.position);
        if (!holdsFF(word)) {
            const uint32_t bytes = static_cast<uint32_t>(64 - r.bitCount) >> 3;
            const uint64_t taken = bytes == 8 ? word : word & ~(~uint64_t{0} >> (8 * bytes));
            r.bits |= taken >> r.bitCount;
            r.bitCount += static_cast<int32_t>(8 * bytes);
            r.position += bytes;
            return;
        }
    }
    while (r.bitCount <= 56) {
        uint32_t byte = 0;
        if (!r.atMarker) {
            if (r.position >= r.length) {
                r.atMarker = true;
            } else if (r.data[r.position] != 0xFF) {
                byte = r.data[r.position++];
            } else if (r.position + 1 < r.length && r.data[r.position + 1] == 0) {
                byte = 0xFF;
                r.position += 2;
            } else {
                r.atMarker = true;
            }
        }
        r.bits |= uint64_t{byte} << (56 - r.bitCount);
        r.bitCount += 8;
    }
}

inline uint32_t getEntropyBits(EntropyReader& r, uint32_t n) {
    if (n == 0) return 0;
    if (r.bitCount < static_cast<int32_t>(n)) fillEntropyBits(r);
    uint32_t value = static_cast<uint32_t>(r.bits >> (64 - n));
    r.bits <<= n;
    r.bitCount -= static_cast<int32_t>(n);
    return value;
}

// EXTEND for 1..16 bits: values below 2^(s-1) are negative.
inline int32_t extendBits(uint32_t v, uint32_t s) {
    return v < (1u << (s - 1)) ? static_cast<int32_t>(v) - static_cast<int32_t>((1u << s) - 1)
                               : static_cast<int32_t>(v);
}

// One Huffman symbol, or -1 for a code the table does not hold.
inline int32_t decodeEntropySymbol(EntropyReader& r, const StandardHuffman& table) {
    if (r.bitCount < 16) fillEntropyBits(r);
    uint32_t peek = static_cast<uint32_t>(r.bits >> 56);
    uint32_t length = table.fastLength[peek];
    if (length) {
        r.bits <<= length;
        r.bitCount -= static_cast<int32_t>(length);
        return table.fastSymbol[peek];
    }
    uint32_t window = static_cast<uint32_t>(r.bits >> 48);
    for (length = 9; length <= 16; ++length) {
        int32_t code = static_cast<int32_t>(window >> (16 - length));
        if (code <= table.maxCode[length]) {
            int32_t index = code + table.valueOffset[length];
            if (index < 0 || index > 255) return -1;
            r.bits <<= length;
            r.bitCount -= static_cast<int32_t>(length);
            return table.values[index];
        }
    }
    return -1;
}

// At a restart point: drop the partial byte, skip to the next marker and
// consume it when it is RSTn. When the next marker is another one, the
// restart marker is missing and the data stays where it is.
inline void takeRestartMarker(EntropyReader& r) {
    uint32_t at = r.position;
    while (at < r.length && !(r.data[at] == 0xFF && at + 1 < r.length && r.data[at + 1] != 0 &&
                              r.data[at + 1] != 0xFF))
        ++at;
    if (at + 1 < r.length && r.data[at + 1] >= kRst0 && r.data[at + 1] <= kRst7) r.position = at + 2;
    r.bits = 0;
    r.bitCount = 0;
    r.atMarker = false;
}

// Where the header walk resumes after a scan: the reader has not passed the
// marker that ends the scan's data.
inline uint32_t entropyResumePosition(const EntropyReader& r) { return r.position; }
