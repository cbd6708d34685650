// The block decoders of block_decode.cpp on the quick Huffman path: the same
// coefficients, predictor updates, reports and results, with the reader's
// state held in registers through a whole MCU and short codes decoded from
// the small table.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/kernels.h"
#include "decoder/local_bits.h"
#include "decoder/mcu_walk.h"
#include "runtime/block_memory.h"
#include "runtime/report.h"

namespace {

constexpr int32_t kRunawayIndex = 1024;  // as in the plain decoder
constexpr uint32_t kStepBits = 16 + kFastHuffmanBits - 1;

// How a block decode on the locals ended when it failed: which report the
// plain decoder makes, if any.
constexpr int32_t kFailedDc = -1, kFailedAc = -2, kFailedSilently = -3;

// Stand-ins for a slot without short-code tables: every entry says "not
// here", so that the loops send every symbol the plain way without testing
// for the tables on each step.
constexpr uint64_t kNoSteps[1u << kFastHuffmanBits] = {};
constexpr uint32_t kNoSkips[1u << kFastHuffmanBits] = {};

inline int16_t dequantise(int32_t value, int32_t quant) {
    return static_cast<int16_t>(static_cast<uint32_t>(value) * static_cast<uint32_t>(quant));
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
    clearBlock(block);
    if (decodeDcTerm(bits, bf, block, component) != 0) return kFailedDc;
    const HuffmanLookupTable* lookup = component->acLookupTable;
    const HuffmanCode* codes = component->acCodeTable;
    const uint32_t maxLength = component->acMaxCodeLength;
    const uint32_t* fast = shortCodes(lookup, codes, maxLength);
    const uint64_t* steps = fast ? stepHuffmanTable(lookup, maxLength) : kNoSteps;
    const int32_t* quant = component->quant;
    uint32_t k = 0;
    for (;;) {
        // One or two coefficients per step, stored twice either way, so that
        // how many there were costs no branch. 16 bits stay buffered after
        // the first symbol (at most 9 of the 10 indexed bits), so that the
        // plain peek for the second would not have refilled either.
        if (bits.count < kStepBits) refill(bits, bf);
        if (bits.count >= kStepBits) {
            const uint64_t step = steps[bits.buffer >> (64 - kFastHuffmanBits)];
            if (step != 0 && k + stepReach(step) <= 63) {
                bits.consume(fastBitsTaken(static_cast<uint32_t>(step)));
                if (step & kStepOnlyEnd) return 0;
                const uint32_t first = k + stepFirstAdvance(step);
                k = first + stepSecondAdvance(step);
                block[zigzagToNatural[first]] = dequantise(stepFirstValue(step), quant[first]);
                block[zigzagToNatural[k]] = dequantise(stepSecondValue(step), quant[k]);
                if ((step & kStepEndsBlock) || k == 63) return 0;
                continue;
            }
        }
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
    // advances says so), else one symbol, its value bits skipped.
    const uint32_t* skip = fast ? skipHuffmanTable(lookup, maxLength) : kNoSkips;
    for (;;) {
        if (bits.count < kSkipBitsMost) refill(bits, bf);
        if (bits.count >= kSkipBitsMost) {
            const uint32_t run = skip[bits.top(kFastHuffmanBits)];
            if (skipBitsTaken(run) != 0 && k + static_cast<int32_t>(skipAdvance(run)) < 63) {
                bits.consume(skipBitsTaken(run));
                k += static_cast<int32_t>(skipAdvance(run));
                if (skipEndsBlock(run)) return 0;
                continue;
            }
        }
        const uint32_t entry = peekCode(bits, bf, fast);
        int32_t r, s;
        if (entry != 0) {
            const int32_t symbol = static_cast<int32_t>(fastSymbol(entry));
            r = symbol >> 4;
            s = symbol & 15;
            bits.consume(fastBitsTaken(entry));
            if (s != 0 && !fastValueIncluded(entry)) skipValue(bits, bf, static_cast<uint32_t>(s));
        } else {
            const int32_t symbol = plainSymbolOn(bits, bf, lookup, codes, maxLength);
            if (symbol < 0) return kFailedDc;
            r = (symbol >> 4) & 15;
            s = symbol & 15;
            if (s != 0) skipValue(bits, bf, static_cast<uint32_t>(s));
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
            if (outcome != kFailedSilently) reportJpegError(outcome == kFailedDc ? report_text::kDc : report_text::kAc);
            return -1;
        });
    save(bits, bf);
    return result;
}
