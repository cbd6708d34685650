// Huffman decoding: the direct lookup tables built from the code lists, one
// symbol per peek, and the EXTEND rule that gives received values their sign.
#pragma once

#include <cstdint>

#include "context/huffman_code_table.h"
#include "context/jpeg_constants.h"
#include "decoder/bit_reader.h"

struct JpegContext;
struct HuffmanLookupTable;  // 2^maxCodeLength bytes: code-list position per peeked index

constexpr uint8_t kNoCode = 0xFF;

// Builds the lookup tables of every Huffman table defined since the last
// build (the context's pending list). Returns 0, or -1 after reporting.
[[nodiscard]] int32_t jpegDecodeInitializeDecVLCTable(JpegContext* context);

// Builds one slot's lookup table from its code list: entry p holds the list
// position of the code that is a prefix of the maxCodeLength-bit value p, or
// kNoCode. Returns null after reporting (allocation) or for a code list whose
// codes do not fit their lengths. acTable: the slot is an AC one.
HuffmanLookupTable* buildHuffmanLookupTable(const HuffmanCode* codes, uint32_t symbolCount, uint32_t maxCodeLength,
                                            bool acTable);

// EXTEND: a value v read in s bits (1..15) is negative when below 2^(s-1).
extern const int32_t extendTest[16];    // 2^(s-1), entry 0 = 0
extern const int32_t extendOffset[16];  // 1 - 2^s

inline int32_t extendValue(uint32_t v, uint32_t s) {
    int32_t value = static_cast<int32_t>(v);
    return value < extendTest[s] ? value + extendOffset[s] : value;
}

// Decodes one Huffman symbol: one peek of maxCodeLength bits, one lookup, and
// the code's own length dropped. Returns the symbol, or -1 for a corrupt code
// (or a missing table). The caller reports.
inline int32_t decodeHuffmanSymbol(BitstreamFile* bf, const HuffmanLookupTable* lookup, const HuffmanCode* codes,
                                   uint32_t maxCodeLength) {
    if (!lookup || !codes) return -1;
    uint32_t p = peekBits(bf, maxCodeLength);
    uint8_t k = reinterpret_cast<const uint8_t*>(lookup)[p];
    if (k == kNoCode) return -1;
    dropBits(bf, codes[k].length);
    return codes[k].symbol;
}

// Receives an s-bit signed value (s = 1..15).
inline int32_t receiveExtend(BitstreamFile* bf, uint32_t s) { return extendValue(getBits(bf, s), s); }
