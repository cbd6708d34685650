// Huffman decoding tables: one lookup table per slot, built from its code list.
#include "decoder/huffman_decode.h"

#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_fast.h"
#include "runtime/heap.h"
#include "runtime/report.h"

const int32_t extendTest[16] = {0,    1,    2,    4,    8,    16,   32,    64,
                                128,  256,  512,  1024, 2048, 4096, 8192,  16384};
const int32_t extendOffset[16] = {0,    -1,   -3,    -7,    -15,   -31,   -63,    -127,
                                  -255, -511, -1023, -2047, -4095, -8191, -16383, -32767};

const uint32_t zigzagToNatural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                      12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                      35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                      58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

const uint32_t naturalToZigzag[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
                                      3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
                                      10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
                                      21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};

HuffmanLookupTable* buildHuffmanLookupTable(const HuffmanCode* codes, uint32_t symbolCount, uint32_t maxCodeLength) {
    if (maxCodeLength > 16) return nullptr;
    uint32_t size = 1u << maxCodeLength;
    // The short-code table of the quick path follows the lookup table.
    auto* table = static_cast<uint8_t*>(complibAllocMemory(huffmanTableBytes(maxCodeLength)));
    if (!table) {
        reportJpegError(KJ_TEXT("Huffman-Decode Table Allocation failed."));
        return nullptr;
    }
    std::memset(table, kNoCode, size);
    for (uint32_t k = 0; k < symbolCount; ++k) {
        uint32_t length = codes[k].length;
        uint32_t code = codes[k].code;
        // Too many codes of one length give codes wider than their length: such
        // a table can decode nothing reliably, and would index past this one.
        if (length == 0 || length > maxCodeLength || (code >> length) != 0) {
            (void)complibFreeMemory(table);
            return nullptr;
        }
        // Positions of 255 and above cannot be told from "no code".
        uint8_t position = k < kNoCode ? static_cast<uint8_t>(k) : kNoCode;
        uint32_t spread = maxCodeLength - length;
        std::memset(table + (code << spread), position, size_t{1} << spread);
    }
    auto* lookup = reinterpret_cast<HuffmanLookupTable*>(table);
    buildFastHuffmanTable(lookup, codes, maxCodeLength);
    return lookup;
}

int32_t jpegDecodeInitializeDecVLCTable(JpegContext* context) {
    uint16_t sof = context->frame.sofMarker;
    if (sof < 0xFFC0 || sof > 0xFFC3) {
        reportJpegError(KJ_TEXT("illegal SOFx code in jpegDecodeInitializeDecVLCTable ()"));
        return -1;
    }
    DecoderState& dec = context->dec;
    for (uint32_t i = 0; i < 8 && dec.pendingTables[i] >= 0; ++i) {
        int32_t entry = dec.pendingTables[i];
        HuffmanSlot& slot = context->huffman[entry >= 16 ? kAcSlot + (entry - 16) : kDcSlot + entry];
        if (!slot.codeTable) return -1;
        HuffmanLookupTable* table = buildHuffmanLookupTable(slot.codeTable, slot.symbolCount, slot.maxCodeLength);
        if (!table) return -1;
        if (slot.lookupTable) (void)complibFreeMemory(slot.lookupTable);
        slot.lookupTable = table;
    }
    return 0;
}
