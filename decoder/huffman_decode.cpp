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

HuffmanLookupTable* buildHuffmanLookupTable(const HuffmanCode* codes, uint32_t symbolCount, uint32_t maxCodeLength,
                                            bool acTable) {
    if (maxCodeLength > 16) return nullptr;
    uint32_t size = 1u << maxCodeLength;
    // The short-code table of the quick path follows the lookup table.
    auto* table = static_cast<uint8_t*>(complibAllocMemory(huffmanTableBytes(maxCodeLength)));
    if (!table) {
        reportJpegError(report_text::kHuffmanDecodeTableAllocationFailed);
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
    buildFastHuffmanTable(lookup, codes, maxCodeLength, acTable);
    return lookup;
}

int32_t jpegDecodeInitializeDecVLCTable(JpegContext* context) {
    uint16_t sof = context->frame.sofMarker;
    if (sof < 0xFFC0 || sof > 0xFFC3) {
        reportJpegError(report_text::kIllegalSOFxCodeInJpegDecodeInitializeDecVLCTable);
        return -1;
    }
    DecoderState& dec = context->dec;
    for (uint32_t i = 0; i < 8 && dec.pendingTables[i] >= 0; ++i) {
        int32_t entry = dec.pendingTables[i];
        HuffmanSlot& slot = context->huffman[entry >= 16 ? kAcSlot + (entry - 16) : kDcSlot + entry];
        if (!slot.codeTable) return -1;
        HuffmanLookupTable* table =
            buildHuffmanLookupTable(slot.codeTable, slot.symbolCount, slot.maxCodeLength, entry >= 16);
        if (!table) return -1;
        if (slot.lookupTable) {
            forgetHuffmanTables(context, nullptr, slot.lookupTable);
            (void)complibFreeMemory(slot.lookupTable);
        }
        slot.lookupTable = table;
    }
    return 0;
}
