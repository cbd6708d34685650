// The four block decoders of progressive scans. Coefficients are kept
// quantised and pre-shifted by Al: a first pass stores value << Al, each
// refinement pass adds the bit of weight 1 << Al.
#include <array>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define KELJPEG_SSE2_BASELINE 1
#endif

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/local_bits.h"
#include "decoder/kernels.h"
#include "decoder/progressive_decode.h"
#include "runtime/bit_scan.h"
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
    std::memset(block, 0, kBlockBytes);
    int32_t s = in.symbol(component->dcLookupTable, component->dcCodeTable, component->dcMaxCodeLength);
    int32_t difference = 0;
    if (s < 0 || !receiveSigned(in, s, &difference)) {
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

template <class Reader>
int32_t dcRefineWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* /*component*/) {
    if (in.take(1) != 0) block[0] = static_cast<int16_t>(static_cast<uint16_t>(block[0]) | (1u << context->dec.scan.al));
    return 0;
}

template <class Reader>
int32_t acFirstWith(Reader& in, JpegContext* context, int16_t* block, ComponentRecord* component) {
    DecoderState& dec = context->dec;
    const uint32_t se = lastCoefficient(dec.scan);
    uint32_t k = dec.scan.ss;
    if (k > se) return 0;
    for (;;) {
        int32_t symbol = in.symbol(component->acLookupTable, component->acCodeTable, component->acMaxCodeLength);
        if (symbol < 0) {
            reportJpegError(KJ_TEXT("AC-Base"));
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

// For the quick refinement walk: which coefficients of a block are non-zero,
// as a mask in zigzag order (bit k for zigzag position k). A row of eight
// natural-order flags becomes zigzag bits through one table per row: row 0's
// flags 0b11 (coefficients 0 and 1) give zigzag bits 0 and 1, row 1's flag
// 0b1 (coefficient 8) gives bit 2.
using ZigzagRowBits = std::array<std::array<uint64_t, 256>, 8>;
constexpr ZigzagRowBits makeZigzagRowBits() {
    ZigzagRowBits table{};
    for (int row = 0; row < 8; ++row)
        for (int flags = 0; flags < 256; ++flags)
            for (int column = 0; column < 8; ++column)
                if (flags & (1 << column)) table[row][flags] |= uint64_t{1} << naturalToZigzag[row * 8 + column];
    return table;
}
constexpr ZigzagRowBits kZigzagRowBits = makeZigzagRowBits();

inline uint64_t nonzeroInZigzagOrder(const int16_t* block) {
    uint64_t mask = 0;
#if KELJPEG_SSE2_BASELINE
    const __m128i zero = _mm_setzero_si128();
    for (int row = 0; row < 8; row += 2) {
        const __m128i a = _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 8 * row)), zero);
        const __m128i b = _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 8 * row + 8)), zero);
        const uint32_t nonzero = ~static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(a, b)));
        mask |= kZigzagRowBits[row][nonzero & 0xFF] | kZigzagRowBits[row + 1][(nonzero >> 8) & 0xFF];
    }
#else
    for (int row = 0; row < 8; ++row) {
        uint32_t flags = 0;
        for (int column = 0; column < 8; ++column) flags |= (block[row * 8 + column] != 0 ? 1u : 0u) << column;
        mask |= kZigzagRowBits[row][flags];
    }
#endif
    return mask;
}

// Bits first..last (first <= last <= 63).
inline uint64_t bitRange(uint32_t first, uint32_t last) { return (~uint64_t{0} >> (63 - last)) & (~uint64_t{0} << first); }

// Corrects the non-zero coefficients among the positions of `positions`, in
// zigzag order.
template <class Reader>
void correctAt(Reader& in, int16_t* block, uint64_t positions, int32_t p) {
    for (; positions != 0; positions &= positions - 1)
        correctCoefficient(in, &block[zigzagToNatural[lowestSetBit(positions)]], p);
}

// walkRefinement by the mask of non-zero coefficients: the zero it stops at
// is found by bit scans, and only the non-zero coefficients before it are
// visited. The mask holds for the whole block: a coefficient set by the walk
// lies behind it, and corrections never make a coefficient zero.
template <class Reader>
uint32_t walkRefinementByMask(Reader& in, int16_t* block, uint64_t nonzero, uint32_t k, uint32_t se, int32_t run,
                              int32_t p) {
    if (k > se) return k;
    uint64_t zeros = ~nonzero & bitRange(k, se);
    for (; run > 0 && zeros != 0; --run) zeros &= zeros - 1;
    const uint32_t stop = zeros == 0 ? se + 1 : lowestSetBit(zeros);
    if (stop > k) correctAt(in, block, nonzero & bitRange(k, stop - 1), p);
    return stop;
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
                reportJpegError(KJ_TEXT("AC-Diff"));
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
        if (k <= se) correctAt(in, block, nonzero & bitRange(k, se), p);
    } else {
        for (; k <= se; ++k) {
            int16_t* coefficient = &block[zigzagToNatural[k]];
            if (*coefficient != 0) correctCoefficient(in, coefficient, p);
        }
    }
    --dec.eobRun;
    return 0;
}

// A scan decoder on a reader of the kind given, handed back after the block.
template <class Reader, int32_t (*decodeWith)(Reader&, JpegContext*, int16_t*, ComponentRecord*)>
int32_t onReader(JpegContext* context, int16_t* block, ComponentRecord* component) {
    Reader in(context->bitstream);
    const int32_t result = decodeWith(in, context, block, component);
    in.handBack();
    return result;
}

// Blocks inside an end-of-band run read nothing.
template <class Reader>
int32_t acFirst(JpegContext* context, int16_t* block, ComponentRecord* component) {
    if (context->dec.eobRun > 0) {
        --context->dec.eobRun;
        return 0;
    }
    return onReader<Reader, acFirstWith<Reader>>(context, block, component);
}

}  // namespace

template <class Reader>
constexpr ProgressiveDecoders decodersOn() {
    return {onReader<Reader, dcFirstWith<Reader>>, onReader<Reader, dcRefineWith<Reader>>, acFirst<Reader>,
            onReader<Reader, acRefineWith<Reader>>};
}

const ProgressiveDecoders kPlainProgressive = decodersOn<PlainReader>();
const ProgressiveDecoders kQuickProgressive = decodersOn<QuickReader>();

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
