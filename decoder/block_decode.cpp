// Sequential Huffman decoding of one 8x8 block, in full or in part.
// Dequantisation happens as each coefficient is placed: the inverse DCT
// receives dequantised coefficients in natural order.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/mcu_decode.h"
#include "decoder/mcu_walk.h"
#include "runtime/block_memory.h"
#include "runtime/report.h"

namespace {

// Zero runs may carry the index past 63 as long as an end-of-block follows;
// an endless run of them (a hostile table meeting the fill bits past the end
// of the data) is stopped here.
constexpr int32_t kRunawayIndex = 1024;

// Products are truncated to 16 bits, as a 16-bit store of a 32-bit product.
inline int16_t dequantise(int32_t value, int32_t quant) {
    return static_cast<int16_t>(static_cast<uint32_t>(value) * static_cast<uint32_t>(quant));
}

// DC difference and prediction; stores the dequantised DC term. -1 on a corrupt code.
[[nodiscard]] inline int32_t decodeDcTerm(BitstreamFile* bf, int16_t* block, ComponentRecord* component) {
    int32_t s = decodeHuffmanSymbol(bf, component->dcLookupTable, component->dcCodeTable,
                                    component->dcMaxCodeLength);
    if (s < 0 || s > 15) return -1;
    if (s != 0) {
        int32_t diff = receiveExtend(bf, static_cast<uint32_t>(s));
        component->dcPredictor =
            static_cast<int32_t>(static_cast<uint32_t>(component->dcPredictor) + static_cast<uint32_t>(diff));
    }
    block[0] = dequantise(component->dcPredictor, component->quant[0]);
    return 0;
}

inline int32_t decodeAcSymbol(BitstreamFile* bf, const ComponentRecord* component) {
    return decodeHuffmanSymbol(bf, component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
}

}  // namespace

int32_t decodeBlock(JpegContext* context, int16_t* block, ComponentRecord* component) {
    BitstreamFile* bf = context->bitstream;
    clearBlock(block);
    if (decodeDcTerm(bf, block, component) != 0) {
        reportJpegError(report_text::kDc);
        return -1;
    }
    uint32_t k = 0;
    for (;;) {
        int32_t symbol = decodeAcSymbol(bf, component);
        if (symbol < 0) {
            reportJpegError(report_text::kAc);
            return -1;
        }
        uint32_t r = (static_cast<uint32_t>(symbol) >> 4) & 15, s = static_cast<uint32_t>(symbol) & 15;
        if (s != 0) {
            k += r + 1;
            if (k > 63) {
                reportJpegError(report_text::kAc);
                return -1;
            }
            block[zigzagToNatural[k]] = dequantise(receiveExtend(bf, s), component->quant[k]);
            if (k == 63) return 0;  // no end-of-block code after the last coefficient
        } else if (r == 0) {
            return 0;  // end of block
        } else {
            k += 16;  // an overshoot is caught at the next coefficient
            if (k > static_cast<uint32_t>(kRunawayIndex)) {
                reportJpegError(report_text::kAc);
                return -1;
            }
        }
    }
}

int32_t decodeBlockPartial(JpegContext* context, int16_t* block, ComponentRecord* component, int32_t keepLimit) {
    BitstreamFile* bf = context->bitstream;
    if (decodeDcTerm(bf, block, component) != 0) {
        reportJpegError(report_text::kDc);
        return -1;
    }
    // Keep phase: the limit is tested before each symbol, so the last
    // coefficient stored may lie beyond it.
    int32_t k = 0;
    while (k < keepLimit) {
        int32_t symbol = decodeAcSymbol(bf, component);
        if (symbol < 0) {
            reportJpegError(report_text::kDc);
            return -1;
        }
        int32_t r = (symbol >> 4) & 15, s = symbol & 15;
        if (s != 0) {
            k += r + 1;
            int32_t value = receiveExtend(bf, static_cast<uint32_t>(s));
            if (k > 63) return -1;  // nowhere to store it
            block[zigzagToNatural[k]] = dequantise(value, component->quant[k]);
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
        }
    }
    // Skip phase: value bits are dropped unread.
    for (;;) {
        int32_t symbol = decodeAcSymbol(bf, component);
        if (symbol < 0) {
            reportJpegError(report_text::kDc);
            return -1;
        }
        int32_t r = (symbol >> 4) & 15, s = symbol & 15;
        if (s != 0) {
            (void)skipBits(bf, static_cast<uint32_t>(s));
            k += r + 1;
            if (k >= 63) return k == 63 ? 0 : -1;
        } else if (r == 0) {
            return 0;
        } else {
            k += 16;
            if (k > kRunawayIndex) return -1;
        }
    }
}

int32_t decodeMcuBlocks(JpegContext* context, const McuBlockStep& step) {
    return forEachMcuBlock(context, step, [context, &step](int16_t* block, ComponentRecord* component) {
        return step.keepLimit == kKeepAll ? decodeBlock(context, block, component)
                                          : decodeBlockPartial(context, block, component, step.keepLimit);
    });
}
