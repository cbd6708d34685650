// The block decoders of block_decode.cpp on the quick Huffman path: the same
// coefficients, predictor updates, reports and results, with fewer refills
// and short codes decoded from the small table.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_fast.h"
#include "decoder/kernels.h"
#include "runtime/report.h"

namespace {

constexpr int32_t kRunawayIndex = 1024;  // as in the plain decoder

inline int16_t dequantise(int32_t value, int32_t quant) {
    return static_cast<int16_t>(static_cast<uint32_t>(value) * static_cast<uint32_t>(quant));
}

// The bit reader's buffer, count and read position held in locals for the
// run of quick steps through one block, in 64 bits so that one refill serves
// several symbols, and handed back before anything else (the plain reader, a
// report, a return) looks at the reader.
//
// Only bytes that are not 0xFF are ever taken, straight from the read buffer,
// and bits are consumed exactly as the plain reader consumes them; which of
// the coming bytes are already buffered is then free, as in refillQuick. So
// the hand-back returns the bytes that do not fit the 32-bit buffer to the
// read buffer: with 44 bits held, two bytes go back and 28 bits stay.
struct LocalBits {
    BitstreamFile* bf;
    uint64_t buffer;  // top `count` bits are the next bits; below them, bits of the bytes at index
    uint32_t count, index;

    explicit LocalBits(BitstreamFile* reader) : bf(reader) { load(); }
    void save() const {
        uint32_t kept = count, back = 0;
        if (kept > 32) {
            back = (kept - 25) / 8;  // whole bytes, leaving 25..32 bits
            kept -= 8 * back;
        }
        const uint64_t top = kept == 0 ? 0 : buffer & (~uint64_t{0} << (64 - kept));
        bf->bitBuffer = static_cast<uint32_t>(top >> 32);
        bf->bitCount = kept;
        bf->readIndex = index - back;
    }
    void load() {
        buffer = uint64_t{bf->bitBuffer} << 32;
        count = bf->bitCount;
        index = bf->readIndex;
    }
    // Tops the buffer up with whole bytes while they fit and none is 0xFF.
    void refill() {
        const uint32_t end = bf->bufferedCount;
        if (index + 8 <= end) {
            uint64_t word;
            std::memcpy(&word, bf->readBuffer + index, 8);
            // No 0xFF among the eight bytes: none of the complemented bytes is zero.
            const uint64_t inverted = ~word;
            if (((inverted - 0x0101010101010101u) & ~inverted & 0x8080808080808080u) == 0) {
                const uint32_t bytes = (64 - count) >> 3;
                buffer |= bigEndian64(bf->readBuffer + index) >> count;
                count += 8 * bytes;
                index += bytes;
                return;
            }
        }
        while (count <= 56 && index < end) {
            const uint64_t b = bf->readBuffer[index];
            if (b == 0xFF) break;
            ++index;
            const uint64_t held = count == 0 ? 0 : buffer & (~uint64_t{0} << (64 - count));
            count += 8;
            buffer = held | b << (64 - count);
        }
    }
    static uint64_t bigEndian64(const uint8_t* p) {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = v << 8 | p[i];
        return v;
    }
    // The entry of a short code, with or without its value bits, when 16
    // bits are buffered (so that the plain peek would not have refilled).
    uint32_t peekCode(const uint32_t* fast) {
        if (count < 16) refill();
        if (!fast || count < 16) return 0;
        return fast[buffer >> (64 - kFastHuffmanBits)];
    }
    // peekCodeWithValue on the locals.
    uint32_t peek(const uint32_t* fast) {
        const uint32_t entry = peekCode(fast);
        if (entry == 0 || fastCodeLength(entry) + (fastSymbol(entry) & 15) > kFastHuffmanBits) return 0;
        return entry;
    }
    uint32_t top(uint32_t n) const { return static_cast<uint32_t>(buffer >> (64 - n)); }
    void consume(uint32_t n) {
        buffer <<= n;
        count -= n;
    }
    // receiveExtendFast on the locals: s value bits after a code, refilled
    // as getBitsFast would, the plain reader's way when that is not enough.
    int32_t receiveExtend(uint32_t s) {
        if (count < s) refill();
        if (count < s) {
            save();
            const int32_t value = extendValue(getBits(bf, s), s);
            load();
            return value;
        }
        const uint32_t v = top(s);
        consume(s);
        return extendValue(v, s);
    }
};

[[nodiscard]] inline int32_t decodeDcTermFast(BitstreamFile* bf, int16_t* block, ComponentRecord* component) {
    int32_t s = decodeHuffmanSymbolFast(bf, component->dcLookupTable, component->dcCodeTable,
                                        component->dcMaxCodeLength);
    if (s < 0 || s > 15) return -1;
    if (s != 0) {
        int32_t diff = receiveExtendFast(bf, static_cast<uint32_t>(s));
        component->dcPredictor =
            static_cast<int32_t>(static_cast<uint32_t>(component->dcPredictor) + static_cast<uint32_t>(diff));
    }
    block[0] = dequantise(component->dcPredictor, component->quant[0]);
    return 0;
}

}  // namespace

int32_t decodeBlockFast(JpegContext* context, int16_t* block, ComponentRecord* component) {
    BitstreamFile* bf = context->bitstream;
    std::memset(block, 0, kBlockBytes);
    if (decodeDcTermFast(bf, block, component) != 0) {
        reportJpegError(KJ_TEXT("DC"));
        return -1;
    }
    const HuffmanLookupTable* lookup = component->acLookupTable;
    const HuffmanCode* codes = component->acCodeTable;
    const uint32_t maxLength = component->acMaxCodeLength;
    const uint32_t* fast = lookup && codes ? fastHuffmanTable(lookup, maxLength) : nullptr;
    const int32_t* quant = component->quant;
    uint32_t k = 0;
    LocalBits bits(bf);
    for (;;) {
        uint32_t entry = bits.peekCode(fast);
        if (entry != 0) {
            const uint32_t symbol = fastSymbol(entry), r = symbol >> 4, s = symbol & 15, length = fastCodeLength(entry);
            if (s != 0) {
                k += r + 1;
                if (k > 63) {
                    bits.consume(length);  // the value bits stay unread
                    bits.save();
                    reportJpegError(KJ_TEXT("AC"));
                    return -1;
                }
                int32_t value;
                if (length + s <= kFastHuffmanBits) {  // the value came with the code
                    bits.consume(length + s);
                    value = fastValue(entry);
                } else {
                    bits.consume(length);
                    value = bits.receiveExtend(s);
                }
                block[zigzagToNatural[k]] = dequantise(value, quant[k]);
                if (k == 63) {
                    bits.save();
                    return 0;
                }
                continue;
            }
            bits.consume(length);
            if (r == 0) {
                bits.save();
                return 0;
            }
            k += 16;
            if (k > static_cast<uint32_t>(kRunawayIndex)) {
                bits.save();
                reportJpegError(KJ_TEXT("AC"));
                return -1;
            }
            continue;
        }
        // The plain reader's way, on the reader itself.
        bits.save();
        int32_t symbol = decodeHuffmanSymbolFast(bf, lookup, codes, maxLength);
        if (symbol < 0) {
            reportJpegError(KJ_TEXT("AC"));
            return -1;
        }
        uint32_t r = (static_cast<uint32_t>(symbol) >> 4) & 15, s = static_cast<uint32_t>(symbol) & 15;
        if (s != 0) {
            k += r + 1;
            if (k > 63) {
                reportJpegError(KJ_TEXT("AC"));
                return -1;
            }
            block[zigzagToNatural[k]] = dequantise(receiveExtendFast(bf, s), quant[k]);
            if (k == 63) return 0;
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
            if (k > static_cast<uint32_t>(kRunawayIndex)) {
                reportJpegError(KJ_TEXT("AC"));
                return -1;
            }
        }
        bits.load();
    }
}

int32_t decodeBlockPartialFast(JpegContext* context, int16_t* block, ComponentRecord* component, int32_t keepLimit) {
    BitstreamFile* bf = context->bitstream;
    if (decodeDcTermFast(bf, block, component) != 0) {
        reportJpegError(KJ_TEXT("DC"));
        return -1;
    }
    const HuffmanLookupTable* lookup = component->acLookupTable;
    const HuffmanCode* codes = component->acCodeTable;
    const uint32_t maxLength = component->acMaxCodeLength;
    const uint32_t* fast = lookup && codes ? fastHuffmanTable(lookup, maxLength) : nullptr;
    int32_t k = 0;
    LocalBits bits(bf);
    while (k < keepLimit) {
        // Value bits are read before the index is checked here, so a quick
        // entry may take code and value together.
        const uint32_t entry = bits.peekCode(fast);
        if (entry != 0) {
            const uint32_t symbol = fastSymbol(entry), r = symbol >> 4, s = symbol & 15, length = fastCodeLength(entry);
            if (s != 0) {
                int32_t value;
                if (length + s <= kFastHuffmanBits) {
                    bits.consume(length + s);
                    value = fastValue(entry);
                } else {
                    bits.consume(length);
                    value = bits.receiveExtend(s);
                }
                k += static_cast<int32_t>(r) + 1;
                if (k > 63) {
                    bits.save();
                    return -1;
                }
                block[zigzagToNatural[k]] = dequantise(value, component->quant[k]);
                continue;
            }
            bits.consume(length);
            if (r == 0) {
                bits.save();
                return 0;
            }
            k += 16;
            continue;
        }
        bits.save();
        int32_t symbol = decodeHuffmanSymbolFast(bf, lookup, codes, maxLength);
        if (symbol < 0) {
            reportJpegError(KJ_TEXT("DC"));
            return -1;
        }
        int32_t r = (symbol >> 4) & 15, s = symbol & 15;
        if (s != 0) {
            k += r + 1;
            int32_t value = receiveExtendFast(bf, static_cast<uint32_t>(s));
            if (k > 63) return -1;
            block[zigzagToNatural[k]] = dequantise(value, component->quant[k]);
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
        }
        bits.load();
    }
    // Skip phase: every symbol and its value bits dropped in one step where
    // the short-code table allows.
    // Several symbols at once from the skip table when none of them can
    // reach index 63 (the index only grows, so the sum of the advances says so).
    const uint32_t* skip = fast ? skipHuffmanTable(lookup, maxLength) : nullptr;
    for (;;) {
        if (bits.count < 16) bits.refill();
        if (skip && bits.count >= 16) {
            uint32_t run = skip[bits.top(kFastHuffmanBits)];
            if (skipBitsTaken(run) != 0 && k + static_cast<int32_t>(skipAdvance(run)) < 63) {
                bits.consume(skipBitsTaken(run));
                k += static_cast<int32_t>(skipAdvance(run));
                if (!skipEndsBlock(run)) continue;
                bits.save();
                return 0;
            }
        }
        uint32_t entry = bits.peek(fast);
        if (entry != 0) {
            int32_t symbol = static_cast<int32_t>(fastSymbol(entry)), r = symbol >> 4, s = symbol & 15;
            bits.consume(fastCodeLength(entry) + static_cast<uint32_t>(s));
            if (s != 0) {
                k += r + 1;
                if (k < 63) continue;
                bits.save();
                return k == 63 ? 0 : -1;
            }
            if (r == 0) {
                bits.save();
                return 0;
            }
            k += 16;
            if (k > kRunawayIndex) {
                bits.save();
                return -1;
            }
            continue;
        }
        bits.save();
        int32_t symbol = decodeHuffmanSymbolFast(bf, lookup, codes, maxLength);
        if (symbol < 0) {
            reportJpegError(KJ_TEXT("DC"));
            return -1;
        }
        int32_t r = (symbol >> 4) & 15, s = symbol & 15;
        if (s != 0) {
            skipBitsFast(bf, static_cast<uint32_t>(s));
            k += r + 1;
            if (k >= 63) return k == 63 ? 0 : -1;
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
            if (k > kRunawayIndex) return -1;
        }
        bits.load();
    }
}
