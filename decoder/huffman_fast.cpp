// The short-code and skip tables of both readers, and the legacy reader's way
// to its short codes: derived entry by entry from the full lookup table, so
// that both always give the same symbol and length.
#include "decoder/huffman_fast.h"

#include <cstring>

namespace {

bool endsBlock(uint32_t symbol, ZeroSizeRuns rule) {
    const uint32_t r = symbol >> 4, s = symbol & 15;
    return s == 0 && (r == 0 || (rule == ZeroSizeRuns::EndBlock && r != 15));
}

// The step-table entry for index i (see stepHuffmanTable).
uint64_t coefficientStep(const uint32_t* fast, ZeroSizeRuns rule, uint32_t i) {
    const uint32_t first = fast[i];
    if (first == 0) return 0;
    const uint32_t taken = fastBitsTaken(first), symbol = fastSymbol(first);
    if (endsBlock(symbol, rule)) return taken | kStepOnlyEnd;
    if ((symbol & 15) == 0 || !fastValueIncluded(first)) return 0;
    const uint64_t advance = (symbol >> 4) + 1, value = static_cast<uint16_t>(fastValue(first));
    uint64_t step = taken | advance << 8 | advance << 24 | value << 32 | value << 48;  // one coefficient
    const uint32_t second = fast[(i << taken) & ((1u << kFastHuffmanBits) - 1)];
    const uint32_t both = taken + fastBitsTaken(second);
    if (second == 0 || both > kFastHuffmanBits) return step;
    const uint32_t next = fastSymbol(second);
    if (endsBlock(next, rule)) return both | kStepEndsBlock | advance << 8 | (advance + 1) << 24 | value << 32 | value << 48;
    if ((next & 15) == 0 || !fastValueIncluded(second)) return step;
    const uint64_t nextAdvance = (next >> 4) + 1, nextValue = static_cast<uint16_t>(fastValue(second));
    return both | advance << 8 | nextAdvance << 16 | (advance + nextAdvance) << 24 | value << 32 | nextValue << 48;
}

// Whether the n bytes at p all equal k, eight at a time where n allows: a
// 16-bit table spans 64 entries under each 10-bit prefix.
bool holdsOnly(const uint8_t* p, uint32_t n, uint8_t k) {
    const uint64_t repeated = k * 0x0101010101010101u;
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t word;
        std::memcpy(&word, p + i, 8);
        if (word != repeated) return false;
    }
    for (; i < n; ++i)
        if (p[i] != k) return false;
    return true;
}

}  // namespace

void buildShortCodeTables(const uint16_t* shortCodes, ZeroSizeRuns rule, bool acTable, uint32_t* fast, uint32_t* skip,
                          uint64_t* steps) {
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        const uint32_t code = shortCodes[i], length = code & 0xFF, symbol = code >> 8, s = symbol & 15;
        uint32_t entry = 0;
        if (length != 0) {
            entry = length | symbol << 8;
            if (s != 0 && length + s <= kFastHuffmanBits) {
                // The value bits follow the code within these leading bits.
                const uint32_t bits = (i >> (kFastHuffmanBits - length - s)) & ((1u << s) - 1);
                entry = (length + s) | kFastValueIncluded | symbol << 8 |
                        static_cast<uint32_t>(static_cast<uint16_t>(extendValue(bits, s))) << 16;
            }
        }
        fast[i] = entry;
    }
    if (!acTable) return;
    // Within i's bits, the code and value bits at position `taken` are all
    // real bits when they end by kFastHuffmanBits: 1011100000 for the code
    // 101 of symbol 0x02 with its two value bits leaves 00000 after 5 bits,
    // and when 00000 starts a 2-bit end of block, the entry takes 7 bits,
    // passes one position and ends the block.
    // A last symbol whose code lies within them is taken even when its value
    // bits run past them: they are skipped, never read, so the entry only
    // needs that many bits buffered (at most kSkipBitsMost).
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        uint32_t taken = 0, advance = 0, entry = 0;
        while (advance < 64) {
            const uint32_t next = fast[(i << taken) & ((1u << kFastHuffmanBits) - 1)];
            if (next == 0) break;
            const uint32_t symbol = fastSymbol(next), s = symbol & 15, r = symbol >> 4;
            if (taken + fastCodeLength(next) > kFastHuffmanBits) break;
            if (taken + fastCodeLength(next) + s > kFastHuffmanBits) {
                if (s != 0) entry = (taken + fastCodeLength(next) + s) | (advance + r + 1) << 8;
                break;
            }
            taken += fastCodeLength(next) + s;
            if (endsBlock(symbol, rule)) {
                entry = taken | advance << 8 | kSkipEndsBlock;
                break;
            }
            advance += s != 0 ? r + 1 : 16;
            entry = taken | advance << 8;
        }
        skip[i] = entry;
    }
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) steps[i] = coefficientStep(fast, rule, i);
}

void buildFastHuffmanTable(HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxCodeLength, bool acTable) {
    const uint8_t* full = reinterpret_cast<const uint8_t*>(lookup);
    const uint32_t span = maxCodeLength >= kFastHuffmanBits ? 1u << (maxCodeLength - kFastHuffmanBits) : 1u;
    uint16_t shortCodes[1u << kFastHuffmanBits];
    for (uint32_t i = 0; i < (1u << kFastHuffmanBits); ++i) {
        // The full table's indexes that start with these bits (or, for a
        // narrower table, the one index these bits start with).
        uint32_t first = maxCodeLength >= kFastHuffmanBits ? i * span : i >> (kFastHuffmanBits - maxCodeLength);
        uint8_t k = full[first];
        const bool sameForAll = holdsOnly(full + first, span, k);
        shortCodes[i] = 0;
        if (sameForAll && k != kNoCode && codes[k].length > 0 && codes[k].length <= kFastHuffmanBits &&
            codes[k].length <= maxCodeLength && codes[k].symbol <= 0xFF)
            shortCodes[i] = static_cast<uint16_t>(codes[k].length | codes[k].symbol << 8);
    }
    buildShortCodeTables(shortCodes, ZeroSizeRuns::PassSixteen, acTable,
                         const_cast<uint32_t*>(fastHuffmanTable(lookup, maxCodeLength)),
                         const_cast<uint32_t*>(skipHuffmanTable(lookup, maxCodeLength)),
                         const_cast<uint64_t*>(stepHuffmanTable(lookup, maxCodeLength)));
}
