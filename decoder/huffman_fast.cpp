// The short-code table of the quick Huffman path, derived entry by entry from
// the full lookup table so that both always give the same symbol and length.
#include "decoder/huffman_fast.h"

void buildFastHuffmanTable(HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxCodeLength) {
    const uint8_t* full = reinterpret_cast<const uint8_t*>(lookup);
    auto* fast = const_cast<uint16_t*>(fastHuffmanTable(lookup, maxCodeLength));
    const uint32_t span = maxCodeLength >= kFastHuffmanBits ? 1u << (maxCodeLength - kFastHuffmanBits) : 1u;
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        // The full table's indexes that start with these bits (or, for a
        // narrower table, the one index these bits start with).
        uint32_t first = maxCodeLength >= kFastHuffmanBits ? i * span : i >> (kFastHuffmanBits - maxCodeLength);
        uint8_t k = full[first];
        bool sameForAll = true;
        for (uint32_t p = first + 1; p < first + span && sameForAll; ++p) sameForAll = full[p] == k;
        uint16_t entry = 0;
        if (sameForAll && k != kNoCode && codes[k].length > 0 && codes[k].length <= kFastHuffmanBits &&
            codes[k].length <= maxCodeLength && codes[k].symbol <= 0xFF)
            entry = static_cast<uint16_t>(codes[k].length | codes[k].symbol << 8);
        fast[i] = entry;
    }
}
