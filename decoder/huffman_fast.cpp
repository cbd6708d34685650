// The short-code table of the quick Huffman path, derived entry by entry from
// the full lookup table so that both always give the same symbol and length.
#include "decoder/huffman_fast.h"

void buildFastHuffmanTable(HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxCodeLength) {
    const uint8_t* full = reinterpret_cast<const uint8_t*>(lookup);
    auto* fast = const_cast<uint32_t*>(fastHuffmanTable(lookup, maxCodeLength));
    const uint32_t span = maxCodeLength >= kFastHuffmanBits ? 1u << (maxCodeLength - kFastHuffmanBits) : 1u;
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        // The full table's indexes that start with these bits (or, for a
        // narrower table, the one index these bits start with).
        uint32_t first = maxCodeLength >= kFastHuffmanBits ? i * span : i >> (kFastHuffmanBits - maxCodeLength);
        uint8_t k = full[first];
        bool sameForAll = true;
        for (uint32_t p = first + 1; p < first + span && sameForAll; ++p) sameForAll = full[p] == k;
        uint32_t entry = 0;
        if (sameForAll && k != kNoCode && codes[k].length > 0 && codes[k].length <= kFastHuffmanBits &&
            codes[k].length <= maxCodeLength && codes[k].symbol <= 0xFF) {
            uint32_t length = codes[k].length, symbol = codes[k].symbol, s = symbol & 15;
            entry = length | symbol << 8;
            if (s != 0 && length + s <= kFastHuffmanBits) {
                // The value bits follow the code within these leading bits.
                uint32_t bits = (i >> (kFastHuffmanBits - length - s)) & ((1u << s) - 1);
                entry |= static_cast<uint32_t>(static_cast<uint16_t>(extendValue(bits, s))) << 16;
            }
        }
        fast[i] = entry;
    }
    // The skip table, from the short-code table: within the i's bits, the
    // code and value bits at position `taken` are all real bits when they end
    // by kFastHuffmanBits.
    auto* skip = const_cast<uint32_t*>(skipHuffmanTable(lookup, maxCodeLength));
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        uint32_t taken = 0, advance = 0, endsBlock = 0;
        while (taken < kFastHuffmanBits && advance < 128) {
            uint32_t entry = fast[(i << taken) & ((1u << kFastHuffmanBits) - 1)];
            if (entry == 0) break;
            uint32_t length = fastCodeLength(entry), symbol = fastSymbol(entry), s = symbol & 15, r = symbol >> 4;
            if (taken + length + s > kFastHuffmanBits) break;
            taken += length + s;
            if (s != 0) {
                advance += r + 1;
            } else if (r == 0) {
                endsBlock = 1;
                break;
            } else {
                advance += 16;
            }
        }
        skip[i] = taken | advance << 8 | endsBlock << 16;
    }
}
