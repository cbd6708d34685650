// The quick Huffman path's bit reader: the plain reader's buffer, count and
// read position held in locals, with the plain reader's calls for whatever
// lies near a marker or the end of the read buffer.
#pragma once

#include <cstdint>
#include <cstring>

#include "decoder/huffman_fast.h"
#include "runtime/byte_order.h"
#include "runtime/inlining.h"

// The bit reader's buffer, count and read position held in locals through
// one MCU, in 64 bits so that one refill serves several symbols, and handed
// back before anything else (the plain reader, a return) looks at the reader.
//
// Bits are consumed exactly as the plain reader consumes them. The refill
// takes whole bytes straight from the read buffer, a stuffed 0xFF 0x00 pair
// as the one byte 0xFF just as the plain refill does, and stops before a
// marker and at the end of the buffer: those are left to the plain refill,
// which meets them with every byte before them fetched, as it would itself
// have fetched them by then. Which bytes are already buffered is otherwise
// free. So the hand-back returns the bytes that do not fit the 32-bit
// buffer to the read buffer: with 44 bits held, two bytes go back and 28
// bits stay. A stuffed pair is only taken into the first 32 bits, so that
// it always stays: bytes go back from the end, and the kept bits end at the
// last byte boundary within 32 bits.
//
// The state is 16 bytes, passed by value to the paths taken rarely and
// never by address, so that the compiler keeps it in registers.
struct LocalBits {
    uint64_t buffer;  // top `count` bits are the next bits; below them zeros
    uint32_t count, index;

    uint32_t top(uint32_t n) const { return static_cast<uint32_t>(buffer >> (64 - n)); }
    void consume(uint32_t n) {
        buffer <<= n;
        count -= n;
    }
};

inline LocalBits load(const BitstreamFile* bf) { return {uint64_t{bf->bitBuffer} << 32, bf->bitCount, bf->readIndex}; }

inline void save(const LocalBits bits, BitstreamFile* bf) {
    uint32_t kept = bits.count, back = 0;
    if (kept > 32) {
        back = (kept - 25) / 8;  // whole bytes, leaving 25..32 bits
        kept -= 8 * back;
    }
    const uint64_t top = kept == 0 ? 0 : bits.buffer & (~uint64_t{0} << (64 - kept));
    bf->bitBuffer = static_cast<uint32_t>(top >> 32);
    bf->bitCount = kept;
    bf->readIndex = bits.index - back;
}

// The refill byte by byte, near a 0xFF or the end of the buffer.
inline KELJPEG_NOINLINE LocalBits refillBytes(LocalBits bits, const BitstreamFile* bf) {
    const uint32_t end = bf->bufferedCount;
    const uint8_t* raw = bf->readBuffer;
    while (bits.count <= 56 && bits.index < end) {
        const uint64_t b = raw[bits.index];
        uint32_t step = 1;
        if (b == 0xFF) {
            // A marker, a 0xFF whose next byte is still to be read, or a
            // stuffed pair that would lie past the first 32 bits.
            if (bits.index + 1 >= end || raw[bits.index + 1] != 0 || bits.count > 24) break;
            step = 2;
        }
        bits.index += step;
        bits.count += 8;
        bits.buffer |= b << (64 - bits.count);
    }
    return bits;
}

// Tops the buffer up with whole bytes while they fit, up to a marker.
inline void refill(LocalBits& bits, const BitstreamFile* bf) {
    const uint8_t* at = bf->readBuffer + bits.index;
    if (bits.index + 8 <= bf->bufferedCount) {
        const uint64_t word = loadBigEndian64(at);
        if (!holdsByteFF(word)) {
            const uint32_t bytes = (64 - bits.count) >> 3;
            bits.buffer |= word >> bits.count;
            bits.count += 8 * bytes;
            bits.index += bytes;
            return;
        }
    }
    bits = refillBytes(bits, bf);
}

// The entry of a short code, with or without its value bits, when 16 bits
// are buffered (so that the plain peek would not have refilled); else 0.
inline uint32_t peekCode(LocalBits& bits, const BitstreamFile* bf, const uint32_t* fast) {
    if (bits.count < 16) refill(bits, bf);
    if (!fast || bits.count < 16) return 0;
    return fast[bits.buffer >> (64 - kFastHuffmanBits)];
}

// What the plain reader does itself: a long code, value bits near a marker.
inline KELJPEG_NOINLINE LocalBits plainSymbol(LocalBits bits, BitstreamFile* bf, const HuffmanLookupTable* lookup,
                                       const HuffmanCode* codes, uint32_t maxLength, int32_t* symbol) {
    save(bits, bf);
    *symbol = decodeHuffmanSymbolFast(bf, lookup, codes, maxLength);
    return load(bf);
}
inline KELJPEG_NOINLINE LocalBits plainValue(LocalBits bits, BitstreamFile* bf, uint32_t s, int32_t* value) {
    save(bits, bf);
    *value = extendValue(getBits(bf, s), s);
    return load(bf);
}
inline KELJPEG_NOINLINE LocalBits plainBits(LocalBits bits, BitstreamFile* bf, uint32_t n, uint32_t* value) {
    save(bits, bf);
    *value = getBits(bf, n);
    return load(bf);
}
inline KELJPEG_NOINLINE LocalBits plainSkip(LocalBits bits, BitstreamFile* bf, uint32_t s) {
    save(bits, bf);
    skipBitsFast(bf, s);
    return load(bf);
}

// receiveExtendFast on the locals: s value bits after a code, refilled as
// getBitsFast would, the plain reader's way when that is not enough.
inline int32_t receiveExtend(LocalBits& bits, BitstreamFile* bf, uint32_t s) {
    if (bits.count < s) refill(bits, bf);
    if (bits.count < s) {
        int32_t value;
        bits = plainValue(bits, bf, s, &value);
        return value;
    }
    const uint32_t v = bits.top(s);
    bits.consume(s);
    return extendValue(v, s);
}

// skipBitsFast on the locals: s value bits passed over.
inline void skipValue(LocalBits& bits, BitstreamFile* bf, uint32_t s) {
    if (bits.count < s) refill(bits, bf);
    if (bits.count < s) {
        bits = plainSkip(bits, bf, s);
        return;
    }
    bits.consume(s);
}

// getBitsFast on the locals, n = 1..16.
inline uint32_t takeBits(LocalBits& bits, BitstreamFile* bf, uint32_t n) {
    if (bits.count < n) refill(bits, bf);
    if (bits.count < n) {
        uint32_t value;
        bits = plainBits(bits, bf, n, &value);
        return value;
    }
    const uint32_t v = bits.top(n);
    bits.consume(n);
    return v;
}

// A code the short-code table does not hold, as the plain decode finds it:
// from the full lookup table on the locals when maxLength bits are
// buffered (the plain peek would not have refilled either), else by the
// plain reader itself. A 13-bit code in a 16-bit table reads index
// top(16), and only its 13 bits are consumed.
inline int32_t plainSymbolOn(LocalBits& bits, BitstreamFile* bf, const HuffmanLookupTable* lookup,
                             const HuffmanCode* codes, uint32_t maxLength) {
    if (lookup && codes && maxLength != 0 && bits.count >= maxLength) {
        const uint8_t k = reinterpret_cast<const uint8_t*>(lookup)[bits.top(maxLength)];
        if (k == kNoCode) return -1;
        bits.consume(codes[k].length);
        return codes[k].symbol;
    }
    int32_t symbol;
    bits = plainSymbol(bits, bf, lookup, codes, maxLength, &symbol);
    return symbol;
}

inline const uint32_t* shortCodes(const HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxLength) {
    return lookup && codes ? fastHuffmanTable(lookup, maxLength) : nullptr;
}
