// The four block decoders of progressive scans. Coefficients are kept
// quantised and pre-shifted by Al: a first pass stores value << Al, each
// refinement pass adds the bit of weight 1 << Al.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/huffman_fast.h"
#include "decoder/kernels.h"
#include "decoder/progressive_decode.h"
#include "runtime/report.h"

namespace {

// The reader's calls, plain or on the quick path (the same bits and symbols,
// with fewer refills): each scan decoder below exists in both forms.
template <bool quick>
inline int32_t nextSymbol(BitstreamFile* bf, const HuffmanLookupTable* lookup, const HuffmanCode* codes,
                          uint32_t maxCodeLength) {
    return quick ? decodeHuffmanSymbolFast(bf, lookup, codes, maxCodeLength)
                 : decodeHuffmanSymbol(bf, lookup, codes, maxCodeLength);
}

template <bool quick>
inline uint32_t nextBits(BitstreamFile* bf, uint32_t n) {
    return quick ? getBitsFast(bf, n) : getBits(bf, n);
}

// A received value of s bits. Size 16 has no EXTEND threshold: its raw bits
// are the value. Larger sizes cannot be received and mark a corrupt stream.
template <bool quick>
[[nodiscard]] bool receiveSigned(BitstreamFile* bf, int32_t s, int32_t* value) {
    if (s > 16) return false;
    const uint32_t bits = s == 0 ? 0 : nextBits<quick>(bf, static_cast<uint32_t>(s));
    *value = s == 16 ? static_cast<int32_t>(bits) : extendValue(bits, static_cast<uint32_t>(s));
    return true;
}

// Shifts in unsigned arithmetic, so that negative values and Al = 15 stay
// defined; the result is truncated to the 16-bit coefficient.
int16_t shiftedCoefficient(int32_t value, uint32_t al) {
    return static_cast<int16_t>(static_cast<uint32_t>(value) << al);
}

// A correction bit for a coefficient already known to be non-zero: the bit of
// weight p is added away from zero unless the coefficient already has it.
template <bool quick>
void correctCoefficient(BitstreamFile* bf, int16_t* coefficient, int32_t p) {
    if (nextBits<quick>(bf, 1) == 0) return;
    if ((*coefficient & p) != 0) return;
    *coefficient = static_cast<int16_t>(*coefficient >= 0 ? *coefficient + p : *coefficient - p);
}

// Reads the run length of an end-of-band code with r extra bits: 2^r + bits.
template <bool quick>
int32_t endOfBandRun(BitstreamFile* bf, uint32_t r) {
    int32_t run = 1 << r;
    if (r > 0) run += static_cast<int32_t>(nextBits<quick>(bf, r));
    return run;
}

// Se, kept inside the block even if a scan header met halfway through a scan
// (at a restart point) changed it; the walks refuse such scans up front.
uint32_t lastCoefficient(const ScanHeader& scan) { return scan.se < 63 ? scan.se : 63; }

template <bool quick>
int32_t dcFirst(JpegContext* context, int16_t* block, ComponentRecord* component) {
    std::memset(block, 0, kBlockBytes);
    BitstreamFile* bf = context->bitstream;
    int32_t s = nextSymbol<quick>(bf, component->dcLookupTable, component->dcCodeTable, component->dcMaxCodeLength);
    int32_t difference = 0;
    if (s < 0 || !receiveSigned<quick>(bf, s, &difference)) {
        reportJpegError(KJ_TEXT("DC-Base"));
        return -1;
    }
    if (s != 0) {
        // Wraps instead of overflowing on hostile streams of large differences.
        component->dcPredictor =
            static_cast<int32_t>(static_cast<uint32_t>(component->dcPredictor) + static_cast<uint32_t>(difference));
    }
    block[0] = shiftedCoefficient(component->dcPredictor, context->dec.scan.al);
    return 0;
}

template <bool quick>
int32_t dcRefine(JpegContext* context, int16_t* block, ComponentRecord* /*component*/) {
    if (nextBits<quick>(context->bitstream, 1) != 0) {
        block[0] = static_cast<int16_t>(static_cast<uint16_t>(block[0]) | (1u << context->dec.scan.al));
    }
    return 0;
}

template <bool quick>
int32_t acFirst(JpegContext* context, int16_t* block, ComponentRecord* component) {
    DecoderState& dec = context->dec;
    if (dec.eobRun > 0) {
        --dec.eobRun;
        return 0;
    }
    const uint32_t se = lastCoefficient(dec.scan);
    uint32_t k = dec.scan.ss;
    if (k > se) return 0;
    BitstreamFile* bf = context->bitstream;
    for (;;) {
        int32_t symbol =
            nextSymbol<quick>(bf, component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
        if (symbol < 0) {
            reportJpegError(KJ_TEXT("AC-Base"));
            return -1;
        }
        const uint32_t r = static_cast<uint32_t>(symbol) >> 4;
        const uint32_t s = static_cast<uint32_t>(symbol) & 15;
        if (s != 0) {
            k += r;
            if (k > 63) return -1;  // a run past the block's end: corrupt data
            block[zigzagToNatural[k]] = shiftedCoefficient(extendValue(nextBits<quick>(bf, s), s), dec.scan.al);
        } else if (r == 15) {
            k += 15;
        } else {
            dec.eobRun = endOfBandRun<quick>(bf, r) - 1;  // this block ends the band too
            return 0;
        }
        if (++k > se) return 0;
    }
}

// Step through the refinement walk: from k, correct the non-zero coefficients
// passed and stop at the zero that has run zeros before it (k then names that
// position), or past Se. Returns the new k.
template <bool quick>
uint32_t walkRefinement(BitstreamFile* bf, int16_t* block, uint32_t k, uint32_t se, int32_t run, int32_t p) {
    for (; k <= se; ++k) {
        int16_t* coefficient = &block[zigzagToNatural[k]];
        if (*coefficient != 0) {
            correctCoefficient<quick>(bf, coefficient, p);
        } else if (--run < 0) {
            break;
        }
    }
    return k;
}

template <bool quick>
int32_t acRefine(JpegContext* context, int16_t* block, ComponentRecord* component) {
    DecoderState& dec = context->dec;
    BitstreamFile* bf = context->bitstream;
    const uint32_t se = lastCoefficient(dec.scan);
    const int32_t p = 1 << dec.scan.al;
    uint32_t k = dec.scan.ss;
    if (dec.eobRun == 0) {
        if (k > se) return 0;
        for (;;) {
            int32_t symbol =
                nextSymbol<quick>(bf, component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
            if (symbol < 0) {
                reportJpegError(KJ_TEXT("AC-Diff"));
                return -1;
            }
            const uint32_t r = static_cast<uint32_t>(symbol) >> 4;
            const uint32_t s = static_cast<uint32_t>(symbol) & 15;
            int32_t newValue = 0;
            if (s != 0) {
                if (s != 1) return -1;  // a refinement can only add +-1 << Al
                newValue = nextBits<quick>(bf, 1) != 0 ? p : -p;
            } else if (r != 15) {
                dec.eobRun = endOfBandRun<quick>(bf, r);
                break;  // the band ends here: correct the rest below
            }
            k = walkRefinement<quick>(bf, block, k, se, static_cast<int32_t>(r), p);
            // The position after the walk may lie past Se; past the block it is dropped.
            if (newValue != 0 && k <= 63) block[zigzagToNatural[k]] = static_cast<int16_t>(newValue);
            if (++k > se) return 0;
        }
    }
    for (; k <= se; ++k) {
        int16_t* coefficient = &block[zigzagToNatural[k]];
        if (*coefficient != 0) correctCoefficient<quick>(bf, coefficient, p);
    }
    --dec.eobRun;
    return 0;
}

}  // namespace

const ProgressiveDecoders kPlainProgressive = {dcFirst<false>, dcRefine<false>, acFirst<false>, acRefine<false>};
const ProgressiveDecoders kQuickProgressive = {dcFirst<true>, dcRefine<true>, acFirst<true>, acRefine<true>};

ScanDecoder selectScanDecoder(const JpegContext* context) {
    const ProgressiveDecoders& decoders = *decoderKernels().progressive;
    switch (context->dec.scanPass) {
        case ScanPass::DcFirst: return decoders.dcFirst;
        case ScanPass::DcRefine: return decoders.dcRefine;
        case ScanPass::AcFirst: return decoders.acFirst;
        case ScanPass::AcRefine: return decoders.acRefine;
    }
    return nullptr;
}
