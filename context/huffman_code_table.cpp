#include "context/huffman_code_table.h"

#include "context/jpeg_context.h"
#include "runtime/heap.h"
#include "runtime/report.h"

void forgetHuffmanTables(JpegContext* context, const void* codeTable, const void* lookupTable) {
    for (ComponentRecord& record : context->components) {
        if ((codeTable && record.dcCodeTable == codeTable) || (lookupTable && record.dcLookupTable == lookupTable)) {
            record.dcCodeTable = nullptr;
            record.dcLookupTable = nullptr;
        }
        if ((codeTable && record.acCodeTable == codeTable) || (lookupTable && record.acLookupTable == lookupTable)) {
            record.acCodeTable = nullptr;
            record.acLookupTable = nullptr;
        }
    }
}

int32_t complibBuildHuffmanCodeTable(JpegContext* context, const HuffmanDefinition* definition,
                                     uint32_t symbolCount) {
    uint32_t tableNumber = definition->tableByte & 0x0F;
    if (tableNumber > 3 || symbolCount > 256) return -1;  // callers validate; never index past the slots
    HuffmanSlot& slot = context->huffman[(definition->tableByte >> 4) ? kAcSlot + tableNumber : kDcSlot + tableNumber];

    if (slot.codeTable) {
        forgetHuffmanTables(context, slot.codeTable, slot.lookupTable);
        (void)complibFreeMemory(slot.codeTable);
        if (slot.lookupTable) (void)complibFreeMemory(slot.lookupTable);
        slot.codeTable = nullptr;
        slot.lookupTable = nullptr;
    }

    auto* list = static_cast<HuffmanCode*>(complibAllocMemory((symbolCount + 1) * sizeof(HuffmanCode)));
    if (!list) {
        reportJpegError(report_text::kHuffmanEncodeTableAllocationFailed);
        return -1;
    }

    // Lengths: BITS[L] entries of each length L, in order.
    uint32_t entry = 0, maxCodeLength = 0;
    for (uint32_t length = 1; length <= 16; ++length) {
        for (uint32_t k = 0; k < definition->bits[length - 1] && entry < symbolCount; ++k) {
            list[entry].length = static_cast<uint16_t>(length);
            list[entry].symbol = definition->huffval[entry];
            ++entry;
            maxCodeLength = length;
        }
    }
    list[entry] = HuffmanCode{0, 0, 0};

    // Codes: consecutive within a length, doubled at each step to the next length.
    uint32_t code = 0;
    uint32_t length = list[0].length;
    for (uint32_t i = 0; list[i].length != 0;) {
        while (list[i].length == length) list[i++].code = code++;
        code <<= 1;
        ++length;
    }

    slot.codeTable = list;
    slot.symbolCount = symbolCount;
    slot.maxCodeLength = maxCodeLength;
    return 0;
}
