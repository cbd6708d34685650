// The decoder's bit reader over the context's BitstreamFile: header fields and
// entropy-coded data alike. bitBuffer holds the next unread bits left-aligned
// (the next bit is bit 31); bitCount says how many are valid.
//
// Refills with 0xFF handling drop a stuffed zero after 0xFF, but keep a marker
// (0xFF followed by anything else) in the buffer as data, so that the entropy
// decoders can look for it with peekMarker at restart points and at the end
// of a scan. Past the end of the data every byte reads as 0xFF (after a
// report), which the decoders see as fill bits.
#pragma once

#include <cstdint>

#include "runtime/bitstream_file.h"

// Reads the next block of the source; returns its first byte, or 0xFF at the
// end of the data (reporting "read failed." the first time and "found
// unexpected end of JPEG file" after that).
uint8_t fetchByteSlow(BitstreamFile* bf);

inline uint8_t fetchByte(BitstreamFile* bf) {
    if (bf->readIndex != bf->bufferedCount) return bf->readBuffer[bf->readIndex++];
    return fetchByteSlow(bf);
}

// True once the reader has invented fill bytes past the end of the data.
inline bool bitReaderPastEnd(const BitstreamFile* bf) { return bf->status != 0; }

inline void refillPlain(BitstreamFile* bf, uint32_t n) {
    while (bf->bitCount < n) {
        uint32_t b = fetchByte(bf);
        bf->bitCount += 8;
        bf->bitBuffer |= b << (32 - bf->bitCount);
    }
}

inline void refillEntropy(BitstreamFile* bf, uint32_t n) {
    while (bf->bitCount < n) {
        uint32_t b = fetchByte(bf);
        bf->bitCount += 8;
        bf->bitBuffer |= b << (32 - bf->bitCount);
        if (b != 0xFF) continue;
        uint32_t c = fetchByte(bf);
        if (c == 0) continue;  // stuffed zero
        // A marker: its code stays behind the 0xFF when it fits in the buffer.
        if (bf->bitCount <= 24) {
            bf->bitBuffer |= c << (24 - bf->bitCount);
            bf->bitCount += 8;
        }
    }
}

// Consumes n bits already in the buffer (n may be 0..32).
inline void dropBits(BitstreamFile* bf, uint32_t n) {
    bf->bitBuffer = n >= 32 ? 0 : bf->bitBuffer << n;
    bf->bitCount = n >= bf->bitCount ? 0 : bf->bitCount - n;
}

inline uint32_t topBits(uint32_t buffer, uint32_t n) { return n == 0 ? 0 : (buffer >> (32 - n)) & 0xFFFF; }

// Header fields: plain refill, no 0xFF handling. n <= 16.
inline uint32_t getHeaderBits(BitstreamFile* bf, uint32_t n) {
    refillPlain(bf, n);
    uint32_t v = topBits(bf->bitBuffer, n);
    dropBits(bf, n);
    return v;
}

// Entropy data. n <= 16 (markers: up to 23), values right-aligned in 16 bits.
inline uint32_t getBits(BitstreamFile* bf, uint32_t n) {
    refillEntropy(bf, n);
    uint32_t v = topBits(bf->bitBuffer, n);
    dropBits(bf, n);
    return v;
}

inline uint32_t peekBits(BitstreamFile* bf, uint32_t n) {
    refillEntropy(bf, n);
    return topBits(bf->bitBuffer, n);
}

inline uint32_t skipBits(BitstreamFile* bf, uint32_t n) {
    refillEntropy(bf, n);
    dropBits(bf, n);
    return bf->bitCount;
}

// Markers sit at a byte boundary: first drop what is left of a partial byte.
inline uint16_t readMarker(BitstreamFile* bf) {
    return static_cast<uint16_t>(getBits(bf, 16 + bf->bitCount % 8));
}
inline uint16_t peekMarker(BitstreamFile* bf) {
    return static_cast<uint16_t>(peekBits(bf, 16 + bf->bitCount % 8));
}
// Used right after peekMarker: the marker's bits are already buffered.
inline void skipMarker(BitstreamFile* bf) { dropBits(bf, 16 + bf->bitCount % 8); }

// Skips count header bytes. A count that runs past the end of the data is
// skipped in full, each missing byte reported; counts come from 16-bit
// segment lengths or a thumbnail's size, so the work stays bounded.
void skipHeaderBytes(BitstreamFile* bf, uint32_t count);
