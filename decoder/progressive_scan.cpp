// The four block decoders of progressive scans. Coefficients are kept
// quantised and pre-shifted by Al: a first pass stores value << Al, each
// refinement pass adds the bit of weight 1 << Al.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/kernels.h"
#include "decoder/local_bits.h"
#include "decoder/progressive_decode.h"
#include "decoder/refinement_mask.h"
#include "runtime/block_memory.h"
#include "runtime/report.h"

namespace {

// The reader's calls on the reader itself, or on the quick path's locals
// (the same bits and symbols, with fewer refills and short codes from the
// small table), handed back when the block is done: each scan decoder below
// exists in both forms.
struct PlainReader {
    static constexpr bool kWalksByMask = false;
    BitstreamFile* bf;
    explicit PlainReader(BitstreamFile* reader) : bf(reader) {}
    int32_t symbol(const HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxLength) {
        return decodeHuffmanSymbol(bf, lookup, codes, maxLength);
    }
    uint32_t take(uint32_t n) { return getBits(bf, n); }
    void handBack() {}
};

struct QuickReader {
    static constexpr bool kWalksByMask = true;
    BitstreamFile* bf;
    LocalBits bits;
    explicit QuickReader(BitstreamFile* reader) : bf(reader), bits(load(reader)) {}
    int32_t symbol(const HuffmanLookupTable* lookup, const HuffmanCode* codes, uint32_t maxLength) {
        const uint32_t entry = peekCode(bits, bf, shortCodes(lookup, codes, maxLength));
        if (entry == 0) return plainSymbolOn(bits, bf, lookup, codes, maxLength);
        bits.consume(fastCodeLength(entry));
        return static_cast<int32_t>(fastSymbol(entry));
    }
    uint32_t take(uint32_t n) { return takeBits(bits, bf, n); }
    void handBack() { save(bits, bf); }
};

// A received value of s bits. Size 16 has no EXTEND threshold: its raw bits
// are the value. Larger sizes cannot be received and mark a corrupt stream.
template <class Reader>
[[nodiscard]] bool receiveSigned(Reader& in, int32_t s, int32_t* value) {
    if (s > 16) return false;
    const uint32_t bits = s == 0 ? 0 : in.take(static_cast<uint32_t>(s));
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
template <class Reader>
void correctCoefficient(Reader& in, int16_t* coefficient, int32_t p) {
    if (in.take(1) == 0) return;
    if ((*coefficient & p) != 0) return;
    *coefficient = static_cast<int16_t>(*coefficient >= 0 ? *coefficient + p : *coefficient - p);
}

// Reads the run length of an end-of-band code with r extra bits: 2^r + bits.
template <class Reader>
int32_t endOfBandRun(Reader& in, uint32_t r) {
    int32_t run = 1 << r;
    if (r > 0) run += static_cast<int32_t>(in.take(r));
    return run;
}

// Se, kept inside the block even if a scan header met halfway through a scan
// (at a restart point) changed it; the walks refuse such scans up front.
uint32_t lastCoefficient(const ScanHeader& scan) { return scan.se < 63 ? scan.se : 63; }

template <class Reader>
int32_t dcFirstWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* component) {
    clearBlock(block);
    int32_t s = in.symbol(component->dcLookupTable, component->dcCodeTable, component->dcMaxCodeLength);
    int32_t difference = 0;
    if (s < 0 || !receiveSigned(in, s, &difference)) {
        reportJpegError(report_text::kDcBase);
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

template <class Reader>
int32_t dcRefineWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* /*component*/) {
    if (in.take(1) != 0) block[0] = static_cast<int16_t>(static_cast<uint16_t>(block[0]) | (1u << context->dec.scan.al));
    return 0;
}

// Blocks inside an end-of-band run read nothing.
template <class Reader>
int32_t acFirstWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* component) {
    DecoderState& dec = context->dec;
    if (dec.eobRun > 0) {
        --dec.eobRun;
        return 0;
    }
    const uint32_t se = lastCoefficient(dec.scan);
    uint32_t k = dec.scan.ss;
    if (k > se) return 0;
    for (;;) {
        int32_t symbol = in.symbol(component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
        if (symbol < 0) {
            reportJpegError(report_text::kAcBase);
            return -1;
        }
        const uint32_t r = static_cast<uint32_t>(symbol) >> 4;
        const uint32_t s = static_cast<uint32_t>(symbol) & 15;
        if (s != 0) {
            k += r;
            if (k > 63) return -1;  // a run past the block's end: corrupt data
            block[zigzagToNatural[k]] = shiftedCoefficient(extendValue(in.take(s), s), dec.scan.al);
        } else if (r == 15) {
            k += 15;
        } else {
            dec.eobRun = endOfBandRun(in, r) - 1;  // this block ends the band too
            return 0;
        }
        if (++k > se) return 0;
    }
}

// Step through the refinement walk: from k, correct the non-zero coefficients
// passed and stop at the zero that has run zeros before it (k then names that
// position), or past Se. Returns the new k.
template <class Reader>
uint32_t walkRefinement(Reader& in, int16_t* block, uint32_t k, uint32_t se, int32_t run, int32_t p) {
    for (; k <= se; ++k) {
        int16_t* coefficient = &block[zigzagToNatural[k]];
        if (*coefficient != 0) {
            correctCoefficient(in, coefficient, p);
        } else if (--run < 0) {
            break;
        }
    }
    return k;
}

// walkRefinement by the mask of non-zero coefficients (bit k for zigzag
// position k).
template <class Reader>
uint32_t walkRefinementByMask(Reader& in, int16_t* block, uint64_t nonzero, uint32_t k, uint32_t se, int32_t run,
                              int32_t p) {
    return walkToZeroByMask(block, nonzero, k, se, run, [&in, p](int16_t* coefficient) { correctCoefficient(in, coefficient, p); });
}

template <class Reader>
int32_t acRefineWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* component) {
    DecoderState& dec = context->dec;
    const uint32_t se = lastCoefficient(dec.scan);
    const int32_t p = 1 << dec.scan.al;
    uint32_t k = dec.scan.ss;
    // The quick reader walks by a mask of the non-zero coefficients, whose
    // zero tests mispredict in the plain walk.
    const uint64_t nonzero = Reader::kWalksByMask ? nonzeroInZigzagOrder(block) : 0;
    if (dec.eobRun == 0) {
        if (k > se) return 0;
        for (;;) {
            int32_t symbol = in.symbol(component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
            if (symbol < 0) {
                reportJpegError(report_text::kAcDiff);
                return -1;
            }
            const uint32_t r = static_cast<uint32_t>(symbol) >> 4;
            const uint32_t s = static_cast<uint32_t>(symbol) & 15;
            int32_t newValue = 0;
            if (s != 0) {
                if (s != 1) return -1;  // a refinement can only add +-1 << Al
                newValue = in.take(1) != 0 ? p : -p;
            } else if (r != 15) {
                dec.eobRun = endOfBandRun(in, r);
                break;  // the band ends here: correct the rest below
            }
            k = Reader::kWalksByMask ? walkRefinementByMask(in, block, nonzero, k, se, static_cast<int32_t>(r), p)
                                     : walkRefinement(in, block, k, se, static_cast<int32_t>(r), p);
            // The position after the walk may lie past Se; past the block it is dropped.
            if (newValue != 0 && k <= 63) block[zigzagToNatural[k]] = static_cast<int16_t>(newValue);
            if (++k > se) return 0;
        }
    }
    if (Reader::kWalksByMask) {
        correctEachByMask(block, nonzero, k, se, [&in, p](int16_t* coefficient) { correctCoefficient(in, coefficient, p); });
    } else {
        for (; k <= se; ++k) {
            int16_t* coefficient = &block[zigzagToNatural[k]];
            if (*coefficient != 0) correctCoefficient(in, coefficient, p);
        }
    }
    --dec.eobRun;
    return 0;
}

// The coefficients of a whole picture lie MCU by MCU, far beyond the caches
// (9 MiB for a 2048 x 1536 4:2:0 picture), and a single-component scan
// visits one or two blocks of each MCU: its next blocks are fetched while
// the current one is decoded, both cache lines of each.
constexpr uint32_t kPrefetchAhead = 4;

// A scan decoder on a reader of the kind given, handed back after the run.
template <class Reader, int32_t (*decodeWith)(Reader&, JpegContext*, int16_t*, ComponentRecord*)>
int32_t onReader(JpegContext* context, const ScanBlock* run, uint32_t count) {
    Reader in(context->bitstream);
    int32_t result = 0;
    for (uint32_t i = 0; i < count && result == 0; ++i) {
        if (i + kPrefetchAhead < count) prefetchBlock(run[i + kPrefetchAhead].block);
        result = decodeWith(in, context, run[i].block, run[i].component);
    }
    in.handBack();
    return result;
}

}  // namespace

template <class Reader>
constexpr ProgressiveDecoders decodersOn() {
    return {onReader<Reader, dcFirstWith<Reader>>, onReader<Reader, dcRefineWith<Reader>>,
            onReader<Reader, acFirstWith<Reader>>, onReader<Reader, acRefineWith<Reader>>};
}

const ProgressiveDecoders kPlainProgressive = decodersOn<PlainReader>();
const ProgressiveDecoders kQuickProgressive = decodersOn<QuickReader>();

ScanDecoder selectScanDecoder(const JpegContext* context) {
    const ProgressiveDecoders& decoders = *context->dec.kernels->progressive;
    switch (context->dec.scanPass) {
        case ScanPass::DcFirst: return decoders.dcFirst;
        case ScanPass::DcRefine: return decoders.dcRefine;
        case ScanPass::AcFirst: return decoders.acFirst;
        case ScanPass::AcRefine: return decoders.acRefine;
    }
    return nullptr;
}
