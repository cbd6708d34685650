// Huffman code lists: the (code, symbol, length) entries of one table, in code
// order, built from the BITS and HUFFVAL bytes of a table definition.
#pragma once

#include <cstdint>

struct JpegContext;

struct HuffmanCode {
    uint32_t code;    // right-aligned
    uint16_t symbol;
    uint16_t length;  // 0 ends the list
};

// A table definition as the DHT segment and the encoder's tables lay it out.
struct HuffmanDefinition {
    uint8_t bits[16];      // number of codes of length 1..16
    uint8_t huffval[256];  // symbols in code order
    uint8_t tableByte;     // class (0 DC, 1 AC) in the high nibble, table number in the low nibble
};

// Builds the code list into the DC or AC slot the table byte names,
// releasing what the slot held. symbolCount is the sum of the BITS counts.
// Returns 0, or -1 after reporting when memory runs out.
// Before a slot's tables are released: the component records that still
// point at them (records a later scan header did not fill again) lose them,
// and so read a corrupt code instead of released memory.
void forgetHuffmanTables(JpegContext* context, const void* codeTable, const void* lookupTable);

[[nodiscard]] int32_t complibBuildHuffmanCodeTable(JpegContext* context, const HuffmanDefinition* definition,
                                                   uint32_t symbolCount);
