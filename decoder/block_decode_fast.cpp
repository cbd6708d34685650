// The block decoders of block_decode.cpp on the quick Huffman path: the same
// coefficients, predictor updates, reports and results, with the reader's
// state held in registers through a whole MCU and short codes decoded from
// the small table.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_fast.h"
#include "decoder/kernels.h"
#include "decoder/mcu_walk.h"
#include "runtime/inlining.h"
#include "runtime/report.h"

namespace {

constexpr int32_t kRunawayIndex = 1024;  // as in the plain decoder

// How a block decode on the locals ended when it failed: which report the
// plain decoder makes, if any.
constexpr int32_t kFailedDc = -1, kFailedAc = -2, kFailedSilently = -3;

inline int16_t dequantise(int32_t value, int32_t quant) {
    return static_cast<int16_t>(static_cast<uint32_t>(value) * static_cast<uint32_t>(quant));
}

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

LocalBits load(const BitstreamFile* bf) { return {uint64_t{bf->bitBuffer} << 32, bf->bitCount, bf->readIndex}; }

void save(const LocalBits bits, BitstreamFile* bf) {
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

uint64_t bigEndian64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = v << 8 | p[i];
    return v;
}

// The refill byte by byte, near a 0xFF or the end of the buffer.
KELJPEG_NOINLINE LocalBits refillBytes(LocalBits bits, const BitstreamFile* bf) {
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
        uint64_t word;
        std::memcpy(&word, at, 8);
        // No 0xFF among the eight bytes: none of the complemented bytes is zero.
        const uint64_t inverted = ~word;
        if (((inverted - 0x0101010101010101u) & ~inverted & 0x8080808080808080u) == 0) {
            const uint32_t bytes = (64 - bits.count) >> 3;
            bits.buffer |= bigEndian64(at) >> bits.count;
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

// peekCodeWithValue on the locals.
inline uint32_t peekCodeAndValue(LocalBits& bits, const BitstreamFile* bf, const uint32_t* fast) {
    const uint32_t entry = peekCode(bits, bf, fast);
    if (entry == 0 || fastCodeLength(entry) + (fastSymbol(entry) & 15) > kFastHuffmanBits) return 0;
    return entry;
}

// What the plain reader does itself: a long code, value bits near a marker.
KELJPEG_NOINLINE LocalBits plainSymbol(LocalBits bits, BitstreamFile* bf, const HuffmanLookupTable* lookup,
                                       const HuffmanCode* codes, uint32_t maxLength, int32_t* symbol) {
    save(bits, bf);
    *symbol = decodeHuffmanSymbolFast(bf, lookup, codes, maxLength);
    return load(bf);
}
KELJPEG_NOINLINE LocalBits plainValue(LocalBits bits, BitstreamFile* bf, uint32_t s, int32_t* value) {
    save(bits, bf);
    *value = extendValue(getBits(bf, s), s);
    return load(bf);
}
KELJPEG_NOINLINE LocalBits plainSkip(LocalBits bits, BitstreamFile* bf, uint32_t s) {
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

inline int32_t plainSymbolOn(LocalBits& bits, BitstreamFile* bf, const HuffmanLookupTable* lookup,
                             const HuffmanCode* codes, uint32_t maxLength) {
    int32_t symbol;
    bits = plainSymbol(bits, bf, lookup, codes, maxLength, &symbol);
    return symbol;
}

inline const uint32_t* shortCodes(const HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxLength) {
    return lookup && codes ? fastHuffmanTable(lookup, maxLength) : nullptr;
}

// The DC difference and prediction on the locals; -1 on a corrupt code.
[[nodiscard]] inline int32_t decodeDcTerm(LocalBits& bits, BitstreamFile* bf, int16_t* block, ComponentRecord* component) {
    const HuffmanLookupTable* lookup = component->dcLookupTable;
    const HuffmanCode* codes = component->dcCodeTable;
    const uint32_t maxLength = component->dcMaxCodeLength;
    const uint32_t entry = peekCode(bits, bf, shortCodes(lookup, codes, maxLength));
    int32_t diff = 0;
    if (entry != 0) {
        const uint32_t s = fastSymbol(entry);
        if (s > 15) {
            bits.consume(fastCodeLength(entry));
            return -1;
        }
        bits.consume(fastBitsTaken(entry));
        if (s != 0) diff = fastValueIncluded(entry) ? fastValue(entry) : receiveExtend(bits, bf, s);
    } else {
        const int32_t s = plainSymbolOn(bits, bf, lookup, codes, maxLength);
        if (s < 0 || s > 15) return -1;
        if (s != 0) diff = receiveExtend(bits, bf, static_cast<uint32_t>(s));
    }
    component->dcPredictor =
        static_cast<int32_t>(static_cast<uint32_t>(component->dcPredictor) + static_cast<uint32_t>(diff));
    block[0] = dequantise(component->dcPredictor, component->quant[0]);
    return 0;
}

// decodeBlock on the locals. Reports are left to the caller, after the
// hand-back.
[[nodiscard]] int32_t decodeBlockOn(LocalBits& bits, BitstreamFile* bf, int16_t* block, ComponentRecord* component) {
    std::memset(block, 0, kBlockBytes);
    if (decodeDcTerm(bits, bf, block, component) != 0) return kFailedDc;
    const HuffmanLookupTable* lookup = component->acLookupTable;
    const HuffmanCode* codes = component->acCodeTable;
    const uint32_t maxLength = component->acMaxCodeLength;
    const uint32_t* fast = shortCodes(lookup, codes, maxLength);
    const int32_t* quant = component->quant;
    uint32_t k = 0;
    for (;;) {
        const uint32_t entry = peekCode(bits, bf, fast);
        uint32_t r, s;
        int32_t value = 0;
        if (entry != 0) {
            const uint32_t symbol = fastSymbol(entry);
            r = symbol >> 4;
            s = symbol & 15;
            if (s != 0 && k + r + 1 > 63) {
                bits.consume(fastCodeLength(entry));  // the value bits stay unread
                return kFailedAc;
            }
            bits.consume(fastBitsTaken(entry));
            if (s != 0) value = fastValueIncluded(entry) ? fastValue(entry) : receiveExtend(bits, bf, s);
        } else {
            const int32_t symbol = plainSymbolOn(bits, bf, lookup, codes, maxLength);
            if (symbol < 0) return kFailedAc;
            r = (static_cast<uint32_t>(symbol) >> 4) & 15;
            s = static_cast<uint32_t>(symbol) & 15;
            if (s != 0) {
                if (k + r + 1 > 63) return kFailedAc;
                value = receiveExtend(bits, bf, s);
            }
        }
        if (s != 0) {
            k += r + 1;
            block[zigzagToNatural[k]] = dequantise(value, quant[k]);
            if (k == 63) return 0;  // no end-of-block code after the last coefficient
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;  // an overshoot is caught at the next coefficient
            if (k > static_cast<uint32_t>(kRunawayIndex)) return kFailedAc;
        }
    }
}

// decodeBlockPartial on the locals; every corrupt code is reported as "DC",
// an index overshoot silently.
[[nodiscard]] int32_t decodeBlockPartialOn(LocalBits& bits, BitstreamFile* bf, int16_t* block, ComponentRecord* component,
                                           int32_t keepLimit) {
    if (decodeDcTerm(bits, bf, block, component) != 0) return kFailedDc;
    const HuffmanLookupTable* lookup = component->acLookupTable;
    const HuffmanCode* codes = component->acCodeTable;
    const uint32_t maxLength = component->acMaxCodeLength;
    const uint32_t* fast = shortCodes(lookup, codes, maxLength);
    int32_t k = 0;
    // Keep phase: the limit is tested before each symbol, and value bits are
    // read before the index is checked, so a short entry may take code and
    // value together.
    while (k < keepLimit) {
        const uint32_t entry = peekCode(bits, bf, fast);
        int32_t r, s, value = 0;
        if (entry != 0) {
            const int32_t symbol = static_cast<int32_t>(fastSymbol(entry));
            r = symbol >> 4;
            s = symbol & 15;
            bits.consume(fastBitsTaken(entry));
            if (s != 0) value = fastValueIncluded(entry) ? fastValue(entry) : receiveExtend(bits, bf, static_cast<uint32_t>(s));
        } else {
            const int32_t symbol = plainSymbolOn(bits, bf, lookup, codes, maxLength);
            if (symbol < 0) return kFailedDc;
            r = (symbol >> 4) & 15;
            s = symbol & 15;
            if (s != 0) value = receiveExtend(bits, bf, static_cast<uint32_t>(s));
        }
        if (s != 0) {
            k += r + 1;
            if (k > 63) return kFailedSilently;  // nowhere to store it
            block[zigzagToNatural[k]] = dequantise(value, component->quant[k]);
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
        }
    }
    // Skip phase: several symbols at once from the skip table when none of
    // them can reach index 63 (the index only grows, so the sum of the
    // advances says so), else one symbol and its value bits in one step.
    const uint32_t* skip = fast ? skipHuffmanTable(lookup, maxLength) : nullptr;
    for (;;) {
        if (bits.count < 16) refill(bits, bf);
        if (skip && bits.count >= 16) {
            const uint32_t run = skip[bits.top(kFastHuffmanBits)];
            if (skipBitsTaken(run) != 0 && k + static_cast<int32_t>(skipAdvance(run)) < 63) {
                bits.consume(skipBitsTaken(run));
                k += static_cast<int32_t>(skipAdvance(run));
                if (skipEndsBlock(run)) return 0;
                continue;
            }
        }
        const uint32_t entry = peekCodeAndValue(bits, bf, fast);
        int32_t r, s;
        if (entry != 0) {
            const int32_t symbol = static_cast<int32_t>(fastSymbol(entry));
            r = symbol >> 4;
            s = symbol & 15;
            bits.consume(fastCodeLength(entry) + static_cast<uint32_t>(s));
        } else {
            const int32_t symbol = plainSymbolOn(bits, bf, lookup, codes, maxLength);
            if (symbol < 0) return kFailedDc;
            r = (symbol >> 4) & 15;
            s = symbol & 15;
            if (s != 0) {
                bits = plainSkip(bits, bf, static_cast<uint32_t>(s));
            }
        }
        if (s != 0) {
            k += r + 1;
            if (k >= 63) return k == 63 ? 0 : kFailedSilently;
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
            if (k > kRunawayIndex) return kFailedSilently;
        }
    }
}

}  // namespace

int32_t decodeMcuBlocksFast(JpegContext* context, const McuBlockStep& step) {
    BitstreamFile* bf = context->bitstream;
    LocalBits bits = load(bf);
    const int32_t result =
        forEachMcuBlock(context, step, [&bits, bf, &step](int16_t* block, ComponentRecord* component) {
            const int32_t outcome = step.keepLimit == kKeepAll
                                        ? decodeBlockOn(bits, bf, block, component)
                                        : decodeBlockPartialOn(bits, bf, block, component, step.keepLimit);
            if (outcome == 0) return 0;
            save(bits, bf);
            if (outcome != kFailedSilently) reportJpegError(outcome == kFailedDc ? KJ_TEXT("DC") : KJ_TEXT("AC"));
            return -1;
        });
    save(bits, bf);
    return result;
}
