// The quick way through the entropy-coded data: the same bits, symbols and
// reports as the plain bit reader and decodeHuffmanSymbol, with fewer refills
// and a small table for short codes.
//
// Why the results cannot differ: the quick refill only ever takes bytes that
// the plain reader would take next anyway, straight from the read buffer, and
// never a 0xFF. A 0xFF (stuffed zero or marker) and the end of the buffer
// (where a read, and perhaps a report, happens) are always left to the plain
// refill, which then meets them with the very bit count it would have had.
// Bits are only consumed once the plain reader would have had them too: a
// symbol is taken quickly only when at least maxCodeLength bits are buffered,
// so the plain peek would not have refilled either.
#pragma once

#include <cstdint>
#include <cstring>

#include "decoder/huffman_decode.h"

// Short codes, indexed by the next kFastHuffmanBits bits, for both readers:
// entry = bits taken | kFastValueIncluded when the value came with the code |
// symbol << 8 | value << 16, or 0 for a longer code (or none). value is the
// signed value of the s = symbol & 15 bits after the code when they lie
// within the indexed bits too (code length + s <= kFastHuffmanBits); bits
// taken is then code length + s, else (value 0) the code length. Bits 4 and
// 5 stay clear, so that entry & 63 is the bits taken: a 64-bit shift by the
// low byte of the entry consumes them with no masking step. For a 3-bit code
// 101 of symbol 0x02, index 1011100000 holds 5 bits taken, the flag, and
// value 3.
// The legacy reader keeps the table in the same block as the slot's lookup
// table, after its 2^maxCodeLength bytes.
constexpr uint32_t kFastHuffmanBits = 10;

inline uint32_t fastHuffmanOffset(uint32_t maxCodeLength) { return ((1u << maxCodeLength) + 7u) & ~7u; }

inline const uint32_t* fastHuffmanTable(const HuffmanLookupTable* lookup, uint32_t maxCodeLength) {
    return reinterpret_cast<const uint32_t*>(reinterpret_cast<const uint8_t*>(lookup) +
                                             fastHuffmanOffset(maxCodeLength));
}

// After the short-code table, the skip table of the reduced-size decoders:
// for the same kFastHuffmanBits leading bits, the symbols (with their value
// bits) that lie wholly within them, taken one after the other up to and
// including an end of block, or up to a symbol whose code lies within them
// and whose value bits do not: entry = bits they take | coefficient index
// advance << 8 | kSkipEndsBlock when the last one is the end of block; 0
// when not even one symbol's code fits. An entry takes at most
// kSkipBitsMost bits: 10 of codes and values, then up to 15 value bits.
inline const uint32_t* skipHuffmanTable(const HuffmanLookupTable* lookup, uint32_t maxCodeLength) {
    return fastHuffmanTable(lookup, maxCodeLength) + (1u << kFastHuffmanBits);
}
constexpr uint32_t kSkipEndsBlock = 1u << 16;
constexpr uint32_t kSkipBitsMost = kFastHuffmanBits + 15;
inline uint32_t skipBitsTaken(uint32_t entry) { return entry & 0xFF; }
inline uint32_t skipAdvance(uint32_t entry) { return (entry >> 8) & 0xFF; }
inline bool skipEndsBlock(uint32_t entry) { return (entry & kSkipEndsBlock) != 0; }

constexpr uint32_t kFastValueIncluded = 1u << 6;
inline uint32_t fastBitsTaken(uint32_t entry) { return entry & 63; }
// The value bits of a symbol of size 1..15 came with its code.
inline bool fastValueIncluded(uint32_t entry) { return (entry & kFastValueIncluded) != 0; }
inline uint32_t fastSymbol(uint32_t entry) { return (entry >> 8) & 0xFF; }
// After the skip table, the step table of the full-size decoders: for the
// same leading bits, what the AC walk does next when the symbols there are
// short, in one entry and without a branch on how many there are: one
// coefficient, two (the first with its run and value, then the second), or
// one followed by the end of the block; or the end of the block alone.
// entry = bits taken (bits 4 and 5 clear, as in the short-code table) |
// kStepEndsBlock | kStepOnlyEnd | first advance << 8 | second advance << 16 |
// reach << 24 | first value << 32 | second value << 48, or 0 for anything
// else (a long code, a value beyond the indexed bits, sixteen zeros). One
// coefficient repeats itself as the second (advance 0, the same value), so
// that the walk always stores twice. Reach is how far the index may go:
// the step is taken only while index + reach <= 63 (a pair whose first
// coefficient is number 63 would give the next block's symbol to this one).
// 1011100000 for the code 101 of symbol 0x02 with value 3, then a 2-bit end
// of block 00, holds 7 bits taken, kStepEndsBlock, first advance 1, reach 2,
// value 3 twice.
inline const uint64_t* stepHuffmanTable(const HuffmanLookupTable* lookup, uint32_t maxCodeLength) {
    return reinterpret_cast<const uint64_t*>(skipHuffmanTable(lookup, maxCodeLength) + (1u << kFastHuffmanBits));
}
constexpr uint64_t kStepEndsBlock = 1u << 6;
constexpr uint64_t kStepOnlyEnd = 1u << 7;
inline uint32_t stepFirstAdvance(uint64_t step) { return static_cast<uint32_t>(step >> 8) & 0xFF; }
inline uint32_t stepSecondAdvance(uint64_t step) { return static_cast<uint32_t>(step >> 16) & 0xFF; }
inline uint32_t stepReach(uint64_t step) { return static_cast<uint32_t>(step >> 24) & 0xFF; }
inline int32_t stepFirstValue(uint64_t step) { return static_cast<int16_t>(step >> 32); }
inline int32_t stepSecondValue(uint64_t step) { return static_cast<int16_t>(step >> 48); }

inline uint32_t fastCodeLength(uint32_t entry) {
    return fastBitsTaken(entry) - (fastValueIncluded(entry) ? fastSymbol(entry) & 15 : 0);
}
inline int32_t fastValue(uint32_t entry) { return static_cast<int16_t>(entry >> 16); }

// Tops the bit buffer up with whole bytes from the read buffer while they fit
// and none of them is 0xFF.
inline void refillQuick(BitstreamFile* bf) {
    uint32_t count = bf->bitCount;
    if (count > 24) return;
    uint32_t index = bf->readIndex;
    const uint32_t end = bf->bufferedCount;
    uint32_t buffer = bf->bitBuffer;
    if (index + 4 <= end) {
        uint32_t word;
        std::memcpy(&word, bf->readBuffer + index, 4);
        // No 0xFF among the four bytes: none of the complemented bytes is zero.
        uint32_t inverted = ~word;
        if (((inverted - 0x01010101u) & ~inverted & 0x80808080u) == 0) {
            uint32_t bytes = (32 - count) >> 3;  // 1..4
            const uint8_t* p = bf->readBuffer + index;
            uint32_t big = uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
            buffer |= (big >> (32 - 8 * bytes)) << (32 - count - 8 * bytes);
            bf->bitBuffer = buffer;
            bf->bitCount = count + 8 * bytes;
            bf->readIndex = index + bytes;
            return;
        }
    }
    while (count <= 24 && index < end) {
        uint32_t b = bf->readBuffer[index];
        if (b == 0xFF) break;
        ++index;
        count += 8;
        buffer |= b << (32 - count);
    }
    bf->bitBuffer = buffer;
    bf->bitCount = count;
    bf->readIndex = index;
}

inline void consumeBits(BitstreamFile* bf, uint32_t n) {
    bf->bitBuffer <<= n;
    bf->bitCount -= n;
}

// decodeHuffmanSymbol's result, reached quickly when the buffer allows.
inline int32_t decodeHuffmanSymbolFast(BitstreamFile* bf, const HuffmanLookupTable* lookup, const HuffmanCode* codes,
                                       uint32_t maxCodeLength) {
    if (!lookup || !codes) return -1;
    if (bf->bitCount < maxCodeLength) {
        refillQuick(bf);
        if (bf->bitCount < maxCodeLength) return decodeHuffmanSymbol(bf, lookup, codes, maxCodeLength);
    }
    uint32_t entry = fastHuffmanTable(lookup, maxCodeLength)[bf->bitBuffer >> (32 - kFastHuffmanBits)];
    if (entry != 0) {
        consumeBits(bf, fastCodeLength(entry));
        return static_cast<int32_t>(fastSymbol(entry));
    }
    uint8_t k = reinterpret_cast<const uint8_t*>(lookup)[topBits(bf->bitBuffer, maxCodeLength)];
    if (k == kNoCode) return -1;
    consumeBits(bf, codes[k].length);
    return codes[k].symbol;
}

// getBits(s) for s = 1..16, quickly when the bits are buffered.
inline uint32_t getBitsFast(BitstreamFile* bf, uint32_t s) {
    if (bf->bitCount < s) {
        refillQuick(bf);
        if (bf->bitCount < s) return getBits(bf, s);
    }
    uint32_t v = bf->bitBuffer >> (32 - s);
    consumeBits(bf, s);
    return v;
}

inline int32_t receiveExtendFast(BitstreamFile* bf, uint32_t s) { return extendValue(getBitsFast(bf, s), s); }

// skipBits(s) for s = 1..16, without the value.
inline void skipBitsFast(BitstreamFile* bf, uint32_t s) {
    if (bf->bitCount < s) {
        refillQuick(bf);
        if (bf->bitCount < s) {
            (void)skipBits(bf, s);
            return;
        }
    }
    consumeBits(bf, s);
}

// Bytes to allocate for a slot's lookup table and the short-code, skip and
// step tables after it (the offset keeps them 8-byte aligned once the block is).
inline uint32_t huffmanTableBytes(uint32_t maxCodeLength) {
    return fastHuffmanOffset(maxCodeLength) + (4u + 4u + 8u) * (1u << kFastHuffmanBits);
}

// How a symbol of size 0 with a run of 1..14 reads: as sixteen zeros like
// ZRL (the legacy reading), or as the end of the block (the standard one).
enum class ZeroSizeRuns { PassSixteen, EndBlock };

// The three tables from the code (length | symbol << 8, or 0) that each
// index of kFastHuffmanBits bits starts with; each reader finds those codes
// its own way. The skip and step tables only serve AC walks: for a DC table
// (acTable false) they are left as they are, which halves the building.
void buildShortCodeTables(const uint16_t* shortCodes, ZeroSizeRuns rule, bool acTable, uint32_t* fast, uint32_t* skip,
                          uint64_t* steps);

// Fills the legacy short-code tables (skip and step tables for an AC table)
// from a built lookup table and its code list.
void buildFastHuffmanTable(HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxCodeLength, bool acTable);
