// Standard mode in bands of one MCU row, for 8-bit DCT frames with sampling
// factors of 1 or 2: a frame coded as one interleaved sequential scan (nearly
// every camera and web file) is decoded straight from its data as the rows
// reach each band, so memory does not grow with the picture's height; a
// progressive or multi-scan frame has its scans decoded into coefficient
// planes by each pass, and its bands rendered from them. Either way the
// blocks go through the decoder's own inverse DCTs, full and reduced, its
// expanders and its writers. A 2048 x 1536 4:2:0 picture holds one band of
// 2048 x 16 pixels and one MCU of blocks. A band asked for whole is written
// straight into the caller's rows; a band asked for in part goes through the
// band buffer.
#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/decode_to_rect.h"
#include "decoder/huffman_decode.h"
#include "decoder/inverse_dct.h"
#include "decoder/kernels.h"
#include "decoder/pixel_writers.h"
#include "decoder/scaled_output.h"
#include "decoder/standard/standard_entropy.h"
#include "decoder/upsample.h"
#include "runtime/block_memory.h"
#include "runtime/heap.h"
#include "runtime/inlining.h"
#include "runtime/limits.h"
#include "runtime/report.h"

// Where a band's blocks come from.
enum class BandSource { EntropyData, CoefficientPlanes };

struct StandardStream {
    BandSource source;
    EntropyReader reader;
    uint32_t scanStart;            // first entropy-coded byte of the scan
    uint32_t componentOffset[4];   // blocks before each frame component within the MCU
    uint32_t nextMcuRow;           // MCU row the reader stands at
    int32_t bandScale;             // scale the band was decoded at, -1 before any
    int32_t bandMcuRow;            // MCU row the band holds, -1 before any
    uint8_t* band;                 // one MCU row of output pixels at full size or smaller
    ScanDamage damage;             // restart markers due and data lost on the way
    bool failed;                   // strict reading met damage: nothing more is delivered
};

namespace {


// ---- Which frames stream ----

// What follows the scan ends the frame: EOI, a DNL segment then EOI, or the
// end of the data. Anything else (tables, another scan, a damaged segment)
// keeps the frame on the whole-frame route, which reads it as it comes.
bool scanEndsTheFrame(const StandardDecode* sd) {
    // Markers that damaged data can fake are passed over, as the decode will pass them.
    uint32_t at = nextPlausibleMarker(sd, sd->position);
    const uint8_t* d = sd->data;
    if (at >= sd->length) return true;
    while (at < sd->length && d[at] == 0xFF) ++at;
    if (at >= sd->length) return true;
    if (d[at] == kEoi) return true;
    if (d[at] != 0xDC || at + 5 >= sd->length || d[at + 1] != 0 || d[at + 2] != 4) return false;
    at += 5;
    while (at < sd->length && d[at] == 0xFF) ++at;
    return at >= sd->length || (d[at] == kEoi && d[at - 1] == 0xFF);
}

// DCT frames go in bands: the expanders know every sampling and the band
// writers every colour model. Lossless frames are read whole.
bool frameBands(const StandardDecode* sd) { return sd->sofMarker != markerWord(kSof3); }

// A sequential frame whose one scan holds every component in MCUs (a
// one-component scan walks its blocks in raster order, which is MCU order
// only at 1 x 1) and ends the frame is decoded straight from its data.
bool scanFeedsBands(const StandardDecode* sd) {
    // 12-bit coefficients, dequantised, outgrow the 16-bit blocks of the data path.
    if ((sd->sofMarker != kMarkerSof0 && sd->sofMarker != kMarkerSof1) || sd->precision != 8) return false;
    if (sd->scan.count != sd->componentCount) return false;
    if (sd->componentCount == 1 && (sd->components[0].h != 1 || sd->components[0].v != 1)) return false;
    return scanEndsTheFrame(sd);
}

// ---- Buffers ----

void* reserveAndAllocate(StandardDecode* sd, uint64_t bytes) {
    if (bytes == 0) bytes = 1;
    if (!reserveContextMemory(&sd->heldBytes, bytes)) return nullptr;
    return complibAllocMemory(static_cast<size_t>(bytes));
}

// The MCU geometry and block buffers the expanders work on, as the legacy
// prolog leaves them: one MCU of blocks, the expansion scratch, the block
// pointer table and the position index table.
bool allocateMcuBuffers(JpegContext* context, StandardDecode* sd) {
    DecoderState& dec = context->dec;
    dec.positionCount = dec.maxH * dec.maxV;
    dec.scratchBlocks = dec.positionCount * 4;
    dec.blocksPerMcu = 0;
    for (uint32_t c = 0; c < sd->componentCount; ++c)
        dec.blocksPerMcu += uint32_t{sd->components[c].h} * sd->components[c].v;
    dec.totalMcus = dec.mcusPerRow * dec.mcuRows;
    const uint64_t blocks = uint64_t{dec.blocksPerMcu} + dec.scratchBlocks;
    dec.mcuBlocks = static_cast<int16_t*>(reserveAndAllocate(sd, blocks * kBlockBytes));
    dec.mcuXYEntries = dec.scratchBlocks;
    dec.mcuXYBlocks = static_cast<int16_t**>(reserveAndAllocate(sd, uint64_t{dec.mcuXYEntries} * sizeof(int16_t*)));
    dec.mcuXYBlocksIndex = static_cast<uint32_t*>(reserveAndAllocate(sd, uint64_t{dec.mcuXYEntries} * sizeof(uint32_t)));
    if (!dec.mcuBlocks || !dec.mcuXYBlocks || !dec.mcuXYBlocksIndex) return false;
    std::memset(dec.mcuBlocks, 0, static_cast<size_t>(blocks * kBlockBytes));
    dec.expansionScratch = dec.mcuBlocks + dec.blocksPerMcu * kBlockValues;
    for (uint32_t i = 0; i < dec.mcuXYEntries; ++i) dec.mcuXYBlocks[i] = dec.mcuBlocks;
    for (uint32_t t = 0; t < dec.positionCount; ++t)
        for (uint32_t c = 0; c < 4; ++c) dec.mcuXYBlocksIndex[4 * t + c] = t + c * dec.positionCount;
    return true;
}

// Bytes of one band row at full size: every MCU column, 1 to 4 bytes a pixel.
uint64_t bandStride(const DecoderState& dec, uint32_t channels, int32_t scale) {
    const uint32_t side = scale >= 3 ? 8 : (1u << scale);
    return uint64_t{dec.mcusPerRow} * dec.maxH * side * channels;
}

// ---- Decoding ----

void startScan(StandardDecode* sd, StandardStream& st) {
    sd->position = st.scanStart;
    startEntropyReader(st.reader, sd);
    for (StandardComponent& component : sd->components) component.dcPredictor = 0;
    sd->eobRun = 0;
    st.nextMcuRow = 0;
    st.bandMcuRow = -1;
    startScanDamage(st.damage, uint64_t{sd->mcusPerRow} * sd->mcuRows);
}

// The next symbol: a short code (and often its value bits) with one look-up
// in the fast entries, a longer one the canonical way. Returns the entry as
// the fast entries hold it, or 0 for a code the table does not hold.
inline uint32_t nextSymbol(EntropyReader& reader, const StandardHuffman& table) {
    if (reader.bitCount < 16) fillEntropyBits(reader);
    const uint32_t entry = table.fast[reader.bits >> (64 - kFastHuffmanBits)];
    if (entry != 0) {
        reader.bits <<= fastBitsTaken(entry);
        reader.bitCount -= static_cast<int32_t>(fastBitsTaken(entry));
        return entry;
    }
    const int32_t symbol = decodeEntropySymbol(reader, table);
    // As an entry whose code is taken and whose value bits are not.
    return symbol < 0 ? 0 : (static_cast<uint32_t>(symbol) << 8 | 1u);
}

// The signed value of a symbol's size bits: in the entry, or read now.
inline int32_t symbolValue(EntropyReader& reader, uint32_t entry, uint32_t size) {
    if (fastValueIncluded(entry)) return fastValue(entry);
    return extendBits(getEntropyBits(reader, size), size);
}

// What a scale's transform reads of a block: the coefficients up to a zigzag
// index (the 4 x 4 corner ends at index 24, the 2 x 2 one at 4), and the
// values to clear first (whole rows, row pitch 8).
struct BlockUse {
    uint32_t lastZigzag;
    uint32_t clearedValues;
};
constexpr BlockUse kBlockUse[4] = {{0, 1}, {4, 16}, {24, 32}, {63, 64}};

// A value times its quantiser, held to 16 bits.
inline int16_t dequantised(int32_t value, uint16_t quant) {
    const int32_t v = static_cast<int16_t>(value) * int32_t{quant};
    return static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v));
}

// One AC symbol in the walk of a block after index k: false for a code the
// table does not hold or a coefficient past 63; else `k` is the coefficient's
// index (size > 0), or the walk moved past sixteen zeros (run 15, size 0) or
// the block ended (size 0, run below 15).
struct AcSymbol {
    uint32_t entry, run, size;
};
inline bool nextAcSymbol(EntropyReader& reader, const StandardHuffman& ac, uint32_t& k, AcSymbol& symbol) {
    symbol.entry = nextSymbol(reader, ac);
    if (symbol.entry == 0) return false;
    symbol.run = (symbol.entry >> 12) & 15;
    symbol.size = (symbol.entry >> 8) & 15;
    if (symbol.size == 0) {
        if (symbol.run == 15) k += 15;
        return true;
    }
    k += symbol.run;
    return k <= 63;
}

// The DC difference and the predictor; block[0] dequantised.
[[nodiscard]] inline bool decodeDcTerm(EntropyReader& reader, const StandardHuffman& dc, uint16_t quant,
                                       int32_t& predictor, int16_t* block) {
    const uint32_t entry = nextSymbol(reader, dc);
    const uint32_t category = (entry >> 8) & 0xFF;
    if (entry == 0 || category > 15) return false;
    if (category) {
        const int32_t difference = symbolValue(reader, entry, category);
        predictor = static_cast<int32_t>(static_cast<uint32_t>(predictor) + static_cast<uint32_t>(difference));
    }
    block[0] = dequantised(predictor, quant);
    return true;
}

// One or two coefficients in one look-up of the step table (k: the index of
// the next coefficient, left at the last one taken), when the table holds
// them and the walk would have kept them all: the last index they reach is
// at most `last`. The steps are used only where no step value times a
// quantiser can leave 16 bits, so they need no clamp.
enum class StepTaken { No, Yes, EndedBlock };
template <uint32_t last>
inline StepTaken takeStep(EntropyReader& reader, const uint64_t* steps, const uint16_t* quant, uint32_t& k,
                          int16_t* block) {
    if (reader.bitCount < 16) fillEntropyBits(reader);
    const uint64_t step = steps[reader.bits >> (64 - kFastHuffmanBits)];
    if (step == 0 || k - 1 + stepReach(step) > last) return StepTaken::No;
    const uint32_t taken = fastBitsTaken(static_cast<uint32_t>(step));
    reader.bits <<= taken;
    reader.bitCount -= static_cast<int32_t>(taken);
    if (step & kStepOnlyEnd) return StepTaken::EndedBlock;
    const uint32_t first = k - 1 + stepFirstAdvance(step), second = first + stepSecondAdvance(step);
    block[zigzagToNatural[first]] = static_cast<int16_t>(stepFirstValue(step) * quant[first]);
    block[zigzagToNatural[second]] = static_cast<int16_t>(stepSecondValue(step) * quant[second]);
    if ((step & kStepEndsBlock) || second == 63) return StepTaken::EndedBlock;
    k = second;
    return StepTaken::Yes;
}

// A full-size block's AC coefficients, with `stepped` one or two at a time.
// The quantisers come in zigzag order, so that each one's load does not wait
// for the position's.
template <bool stepped>
[[nodiscard]] bool decodeFullAc(EntropyReader& reader, const StandardHuffman& ac, const uint16_t* quant, int16_t* block) {
    for (uint32_t k = 1; k < 64; ++k) {
        if (stepped) {
            const StepTaken step = takeStep<63>(reader, ac.steps, quant, k, block);
            if (step == StepTaken::EndedBlock) break;
            if (step == StepTaken::Yes) continue;
        }
        AcSymbol symbol;
        if (!nextAcSymbol(reader, ac, k, symbol)) return false;
        if (symbol.size == 0) {
            if (symbol.run != 15) break;
            continue;
        }
        block[zigzagToNatural[k]] = dequantised(symbolValue(reader, symbol.entry, symbol.size), quant[k]);
    }
    return true;
}

// A reduced-size block's AC coefficients: those the scale's transform reads
// are kept, the rest decoded and dropped.
template <int32_t scale, bool stepped>
[[nodiscard]] KELJPEG_ALWAYS_INLINE bool decodeReducedAc(EntropyReader& reader, const StandardHuffman& ac,
                                                         const uint16_t* quant, int16_t* block) {
    constexpr uint32_t last = kBlockUse[scale].lastZigzag;
    uint32_t k = 1;
    for (; k <= last; ++k) {
        if (stepped) {
            const StepTaken step = takeStep<last>(reader, ac.steps, quant, k, block);
            if (step == StepTaken::EndedBlock) return true;
            if (step == StepTaken::Yes) continue;
        }
        AcSymbol symbol;
        if (!nextAcSymbol(reader, ac, k, symbol)) return false;
        if (symbol.size == 0) {
            if (symbol.run != 15) return true;
            continue;
        }
        const int32_t value = symbolValue(reader, symbol.entry, symbol.size);
        if (k <= last) block[zigzagToNatural[k]] = dequantised(value, quant[k]);
    }
    const uint32_t* const skipTable = ac.skip;
    while (k < 64) {
        // Several symbols at a time, as long as the one-symbol walk would
        // have read them all: it goes on while k < 64, so symbols passing
        // k + passed <= 64 positions are all its own, but an end of block
        // after them is read only when k + passed < 64 (a block whose
        // coefficient 63 is coded ends there, and the end-of-block code that
        // follows belongs to the next block).
        if (reader.bitCount < static_cast<int32_t>(kSkipBitsMost)) fillEntropyBits(reader);
        const uint32_t skip = skipTable[reader.bits >> (64 - kFastHuffmanBits)];
        const uint32_t passed = (skip >> 8) & 0xFF;
        const uint32_t reach = passed + ((skip & kSkipEndsBlock) ? 1 : 0);
        if (skip != 0 && k + reach <= 64) {
            reader.bits <<= skip & 0xFF;
            reader.bitCount -= static_cast<int32_t>(skip & 0xFF);
            if (skip & kSkipEndsBlock) return true;
            k += passed;
            continue;
        }
        AcSymbol symbol;
        if (!nextAcSymbol(reader, ac, k, symbol)) return false;
        if (symbol.size == 0 && symbol.run != 15) return true;
        if (symbol.size != 0 && !fastValueIncluded(symbol.entry)) getEntropyBits(reader, symbol.size);
        ++k;
    }
    return true;
}

// One block of a sequential scan, dequantised (products held to 16 bits) in
// natural order, as far as the scale's transform reads it.
template <int32_t scale, bool stepped>
[[nodiscard]] bool decodeBlock(EntropyReader& reader, const StandardHuffman& dc, const StandardHuffman& ac,
                               const uint16_t* quant, int32_t& predictor, int16_t* block) {
    if constexpr (kBlockUse[scale].clearedValues == kBlockValues)
        clearBlock(block);
    else
        std::memset(block, 0, kBlockUse[scale].clearedValues * sizeof(int16_t));
    if (!decodeDcTerm(reader, dc, quant[0], predictor, block)) return false;
    if constexpr (scale == 3)
        return decodeFullAc<stepped>(reader, ac, quant, block);
    else
        return decodeReducedAc<scale, stepped>(reader, ac, quant, block);
}

// The block's samples at the scale, clamped to -128..127 and not level
// shifted: 8 x 8, or n x n in the top-left corner (row pitch 8).
inline void transformBlock(int16_t* block, int32_t scale, const DecoderKernels& kernels) {
    switch (scale) {
        case 0: block[0] = meanSample(block[0]); return;
        case 1: inverseDct2x2Clamp(block); return;
        case 2: kernels.inverseDct4x4Clamp(block); return;
        default: kernels.inverseDctClamp(block); return;
    }
}

// A 12-bit block at full size, as 8-bit samples less 128 like every other
// block: sample 4095 shows as 255, 2048 as 128.
void renderTwelveBitBlock(const int16_t* coefficients, const uint16_t* quant, int16_t* block) {
    int32_t dequantised[64], samples[64];
    for (int i = 0; i < 64; ++i) dequantised[i] = int32_t{coefficients[i]} * quant[i];
    inverseDctPrecise(dequantised, samples);
    for (int i = 0; i < 64; ++i) block[i] = static_cast<int16_t>((standardClamp(samples[i] + 2048, 4095) >> 4) - 128);
}

// One MCU's blocks from the coefficient planes, dequantised as the scans
// left them, then transformed at the scale (12-bit blocks: at full size).
void renderMcu(JpegContext* context, StandardDecode* sd, const StandardStream& st, uint32_t mcuY, uint32_t mcuX,
               int32_t scale) {
    const DecoderKernels& kernels = *context->dec.kernels;

    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        const StandardComponent& component = sd->components[c];
        int16_t* block = context->dec.mcuBlocks + st.componentOffset[c] * kBlockValues;
        for (uint32_t v = 0; v < component.v; ++v) {
            for (uint32_t h = 0; h < component.h; ++h, block += kBlockValues) {
                const size_t blockX = size_t{mcuX} * component.h + h, blockY = size_t{mcuY} * component.v + v;
                const int16_t* coefficients = component.coefficients + (blockY * component.blocksWide + blockX) * 64;
                int16_t estimated[64];
                if (sd->incomplete && estimateMissingCoefficients(sd, c, static_cast<uint32_t>(blockX),
                                                                  static_cast<uint32_t>(blockY), estimated))
                    coefficients = estimated;
                if (sd->precision != 8) {
                    renderTwelveBitBlock(coefficients, component.quant, block);
                    continue;
                }
                for (int i = 0; i < 64; ++i) {
                    const int32_t value = int32_t{coefficients[i]} * component.quant[i];
                    block[i] = static_cast<int16_t>(value < -32768 ? -32768 : (value > 32767 ? 32767 : value));
                }
                transformBlock(block, scale, kernels);
            }
        }
    }
}

template <int32_t scale>
[[nodiscard]] bool decodeMcu(JpegContext* context, StandardDecode* sd, StandardStream& st) {
    const DecoderKernels& kernels = *context->dec.kernels;
    const StandardScan& scan = sd->scan;
    // The reader in a local through the MCU, so that it stays in registers.
    EntropyReader reader = st.reader;
    bool ok = true;
    for (uint32_t i = 0; ok && i < scan.count; ++i) {
        const uint32_t c = scan.component[i];
        StandardComponent& component = sd->components[c];
        const StandardHuffman& dc = sd->dcTables[scan.dcTable[i]];
        const StandardHuffman& ac = sd->acTables[scan.acTable[i]];
        // 40 x 99 fits 16 bits, 300 x 255 does not. At 1/8 no AC value is
        // kept, and one block decoder (inlined here) serves every table.
        const bool stepped = scale != 0 && ac.largestStepValue * component.largestQuant <= 32767;
        int16_t* block = context->dec.mcuBlocks + st.componentOffset[c] * kBlockValues;
        for (uint32_t b = 0; ok && b < uint32_t{component.h} * component.v; ++b, block += kBlockValues) {
            ok = stepped ? decodeBlock<scale, true>(reader, dc, ac, component.zigzagQuant, component.dcPredictor, block)
                         : decodeBlock<scale, false>(reader, dc, ac, component.zigzagQuant, component.dcPredictor, block);
            if (!ok) break;
            transformBlock(block, scale, kernels);
        }
    }
    st.reader = reader;
    return ok;
}

// ---- Band writers: the block positions of one MCU as pixels ----

// The stages that write the band's colours, from the one writer set.
McuOutput bandOutputFor(const JpegContext* context, StandardColour model, uint32_t componentCount, int32_t n) {
    auto expanded = [context](PixelWriter write) { return McuOutput{selectExpander(context), write}; };
    switch (model) {
        case StandardColour::Gray: return expanded(jpegDecodeWriteGray);
        case StandardColour::Rgb: return expanded(jpegDecodeWriteRGB);
        case StandardColour::Raw:
            switch (componentCount) {
                case 2: return expanded(jpegDecodeWriteRaw2);
                case 3: return expanded(jpegDecodeWriteRaw3);
                case 4: return expanded(jpegDecodeWriteRaw4);
                default: return expanded(jpegDecodeWriteGray);
            }
        case StandardColour::Cmyk: return expanded(jpegDecodeWriteCmyk);
        case StandardColour::InvertedCmyk: return expanded(jpegDecodeWriteInvertedCmyk);
        case StandardColour::Ycck: return expanded(jpegDecodeWriteYcck);
        default: return colourOutput(context, ColourRule::Rounded, n);
    }
}

// Each MCU of a band: rendered from the coefficient planes, or decoded from
// the data, restart markers taken between restart intervals; one producer
// per scale, so that the MCU decode is inlined. false after a report.
struct BandMcus {
    StandardDecode* sd;
    StandardStream* st;
    int32_t scale;
};

bool renderBandMcu(JpegContext* context, uint32_t mcuRow, uint32_t mcuX, void* state) {
    const BandMcus& mcus = *static_cast<const BandMcus*>(state);
    renderMcu(context, mcus.sd, *mcus.st, mcuRow, mcuX, mcus.scale);
    return true;
}

template <int32_t scale>
bool decodeBandMcu(JpegContext* context, uint32_t mcuRow, uint32_t mcuX, void* state) {
    const BandMcus& mcus = *static_cast<const BandMcus*>(state);
    StandardDecode* sd = mcus.sd;
    StandardStream& st = *mcus.st;
    const uint64_t unit = uint64_t{mcuRow} * context->dec.mcusPerRow + mcuX;
    if (sd->restartInterval != 0 && unit != 0 && unit % sd->restartInterval == 0) {
        if (!takeRestartMarker(sd, st.reader, st.damage, unit)) return false;
        for (StandardComponent& component : sd->components) component.dcPredictor = 0;
    }
    if (!st.damage.lost) {
        const bool valid = decodeMcu<scale>(context, sd, st);
        const UnitOutcome outcome = checkStandardUnit(sd, st.reader, valid, st.damage, unit);
        // The scan's last MCU: what remains before the marker behind it is stray.
        if (outcome == UnitOutcome::Whole && unit + 1 == uint64_t{context->dec.mcusPerRow} * context->dec.mcuRows &&
            st.damage.firstLost > unit)
            return noteScanLeftovers(sd, st.reader);
        if (outcome == UnitOutcome::Whole) return true;
        if (outcome == UnitOutcome::Stop) return false;
    }
    // A lost MCU shows mid-grey: its samples are 0 before the level shift,
    // at every scale.
    std::memset(context->dec.mcuBlocks, 0, size_t{context->dec.blocksPerMcu} * kBlockBytes);
    return true;
}

// Where a band goes: the band buffer (every pixel of the MCU row) or straight
// into the caller's rows (only those inside the rectangle and the picture).
struct BandTarget {
    uint8_t* top;
    ptrdiff_t stride;
    int32_t rows;
    int32_t columns;
};

// Decodes the next MCU row into the target. false after a report.
[[nodiscard]] bool decodeBandRow(JpegContext* context, StandardDecode* sd, StandardStream& st, int32_t scale,
                                 uint32_t channels, const BandTarget& band) {
    const int32_t n = scale >= 3 ? 8 : (1 << scale);
    using Produce = bool (*)(JpegContext*, uint32_t, uint32_t, void*);
    constexpr Produce kDecodeAt[4] = {decodeBandMcu<0>, decodeBandMcu<1>, decodeBandMcu<2>, decodeBandMcu<3>};
    BandMcus mcus = {sd, &st, scale};
    const Produce produce =
        st.source == BandSource::CoefficientPlanes ? renderBandMcu : kDecodeAt[scale >= 3 ? 3 : scale];
    const McuOutput output = bandOutputFor(context, standardColourOf(context, sd), sd->componentCount, n);
    const McuRowStage stage = {produce, &mcus, output.expand, output.write, samplingMask(context), n,
                               static_cast<int32_t>(context->dec.maxH) * n};
    ImageRect view{};  // the band as the writers see it
    view.width = band.columns;
    view.height = band.rows;
    view.stride = static_cast<int32_t>(band.stride);
    view.bitsPerPixel = static_cast<int32_t>(8 * channels);
    view.bits = band.top;
    if (!writeMcuRow(context, stage, st.nextMcuRow, &view, band.columns)) return false;
    ++st.nextMcuRow;
    return true;
}

// Damage under strict reading stops the frame: nothing more is delivered.
int32_t failStream(StandardDecode* sd, StandardStream& st, uint32_t rowsWritten) {
    st.failed = true;
    sd->rowsDelivered += rowsWritten;
    return 0;
}

}  // namespace

bool standardStreamFromCoefficients(const StandardDecode* sd) {
    return sd->stream && sd->stream->source == BandSource::CoefficientPlanes;
}

bool openStandardStream(JpegContext* context, StandardDecode* sd) {
    if (!frameBands(sd)) return true;  // the whole-frame route reads it
    auto* st = static_cast<StandardStream*>(reserveAndAllocate(sd, sizeof(StandardStream)));
    if (!st) return false;
    std::memset(st, 0, sizeof *st);
    sd->stream = st;
    st->source = scanFeedsBands(sd) ? BandSource::EntropyData : BandSource::CoefficientPlanes;
    DecoderState& dec = context->dec;
    dec.maxH = sd->maxH;
    dec.maxV = sd->maxV;
    dec.mcusPerRow = sd->mcusPerRow;
    dec.mcuRows = sd->mcuRows;
    if (!allocateMcuBuffers(context, sd)) return false;
    uint32_t offset = 0;
    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        st->componentOffset[c] = offset;
        offset += uint32_t{sd->components[c].h} * sd->components[c].v;
    }
    // The band at full size is the largest: the reduced scales reuse it.
    const uint32_t channels = standardChannels(standardColourOf(context, sd), sd);
    st->band = static_cast<uint8_t*>(reserveAndAllocate(sd, bandStride(dec, channels, 3) * dec.mcuHeight));
    if (!st->band) return false;
    st->scanStart = sd->position;
    st->bandScale = -1;
    startScan(sd, *st);
    return true;
}

void releaseStandardStream(JpegContext* context) {
    StandardDecode* sd = context->dec.standard;
    if (!sd || !sd->stream) return;
    if (sd->stream->band) (void)complibFreeMemory(sd->stream->band);
    (void)complibFreeMemory(sd->stream);
    sd->stream = nullptr;
}

namespace {

// Makes the band buffer hold MCU row mcuRow, decoding the rows up to it.
// false after a report.
[[nodiscard]] bool bufferBand(JpegContext* context, StandardDecode* sd, StandardStream& st, uint32_t mcuRow,
                              int32_t scale, uint32_t channels) {
    const DecoderState& dec = context->dec;
    const uint64_t stride = bandStride(dec, channels, scale);
    const BandTarget buffer = {st.band, static_cast<ptrdiff_t>(stride),
                               static_cast<int32_t>(scale >= 3 ? dec.mcuHeight : dec.mcuHeight >> (3 - scale)),
                               static_cast<int32_t>(stride / channels)};
    while (st.bandMcuRow < static_cast<int32_t>(mcuRow)) {
        st.bandMcuRow = static_cast<int32_t>(st.nextMcuRow);
        if (!decodeBandRow(context, sd, st, scale, channels, buffer)) return false;
    }
    return true;
}

// Output row outRow of a frame with no reduced transforms (12-bit): each
// value the rounded mean of the full-size values it covers, 8 x 8 of them at
// 1/8 size, fewer at the right and bottom edges. The covered rows lie in one
// band, since the reduction divides the MCU height. false after a report.
[[nodiscard]] bool averageRow(JpegContext* context, StandardDecode* sd, StandardStream& st, uint32_t outRow,
                              uint32_t factor, uint32_t channels, const StandardRowTarget& target, uint32_t* sums,
                              uint8_t* out) {
    const DecoderState& dec = context->dec;
    const uint32_t width = sd->width, first = outRow * factor;
    const uint32_t last = first + factor < sd->height ? first + factor : sd->height;
    if (!bufferBand(context, sd, st, first / dec.mcuHeight, 3, channels)) return false;
    const uint32_t outValues = target.values;
    std::memset(sums, 0, size_t{outValues} * sizeof(uint32_t));
    const size_t stride = static_cast<size_t>(bandStride(dec, channels, 3));
    for (uint32_t y = first; y < last; ++y) {
        const uint8_t* row = st.band + (y % dec.mcuHeight) * stride;
        for (uint32_t x = 0; x < width && (x / factor) * channels < outValues; ++x)
            for (uint32_t ch = 0; ch < channels; ++ch) sums[(x / factor) * channels + ch] += row[x * channels + ch];
    }
    for (uint32_t value = 0; value < outValues; ++value) {
        const uint32_t ox = value / channels;
        const uint32_t spanX = (ox + 1) * factor <= width ? factor : width - ox * factor;
        const uint32_t count = spanX * (last - first);
        out[value] = static_cast<uint8_t>((sums[value] + count / 2) / count);
    }
    return true;
}

}  // namespace

int32_t decodeStandardStreamRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    StandardDecode* sd = context->dec.standard;
    StandardStream& st = *sd->stream;
    if (!rect || !rect->bits || rect->height <= 0 || scale < 0) return 0;
    if (scale > 3) scale = 3;
    if (st.failed) return 0;
    uint32_t outWidth = 0, outHeight = 0;
    standardImageSize(context, scale, &outWidth, &outHeight);
    const StandardColour model = standardColourOf(context, sd);
    const uint32_t channels = standardChannels(model, sd);
    StandardRowTarget target;
    if (!standardRowTarget(rect, outWidth, channels, 1, &target)) return 0;
    if (scale != sd->scale) {
        sd->scale = scale;
        sd->rowsDelivered = 0;
    }
    if (st.source == BandSource::CoefficientPlanes) {
        // A pass decodes its scans into the planes first, then the bands are
        // rendered from them.
        if (sd->rowsDelivered == 0 || sd->rowsDelivered >= outHeight) {
            if (!decodeStandardPass(context, sd)) return 0;
            sd->rowsDelivered = 0;
            st.nextMcuRow = 0;
            st.bandMcuRow = -1;
        }
    } else {
        // A new scale, or a new pass once the picture is complete, starts the scan again.
        if (st.bandScale >= 0 && (scale != st.bandScale || sd->rowsDelivered == 0 || sd->rowsDelivered >= outHeight)) {
            sd->rowsDelivered = 0;
            startScan(sd, st);
        }
        if (st.bandScale < 0 && !standardScanTablesReady(sd)) {
            st.failed = true;
            return 0;
        }
        context->dec.lastMarker = kMarkerEoi;  // a frame of one scan is complete from the first pass
    }
    st.bandScale = scale;
    uint32_t wanted = rows & 0xFFFF;
    if (wanted > outHeight - sd->rowsDelivered) wanted = outHeight - sd->rowsDelivered;
    if (wanted > uint32_t(rect->height)) wanted = uint32_t(rect->height);
    // 12-bit frames have no reduced transforms: they are reduced by averaging.
    if (sd->precision != 8 && scale < 3) {
        auto* sums = static_cast<uint32_t*>(complibAllocMemory(size_t{target.values} * sizeof(uint32_t) + 4));
        if (!sums) return 0;
        uint32_t r = 0;
        for (; r < wanted; ++r)
            if (!averageRow(context, sd, st, sd->rowsDelivered + r, 1u << (3 - scale), channels, target, sums,
                            rect->bits + static_cast<ptrdiff_t>(rect->stride) * r))
                break;
        (void)complibFreeMemory(sums);
        if (r < wanted) return failStream(sd, st, r);
        sd->rowsDelivered += wanted;
        return static_cast<int32_t>(wanted);
    }
    const DecoderState& dec = context->dec;
    const uint32_t bandRows = scale >= 3 ? dec.mcuHeight : dec.mcuHeight >> (3 - scale);
    const size_t bufferStride = static_cast<size_t>(bandStride(dec, channels, scale));
    for (uint32_t r = 0; r < wanted;) {
        const uint32_t outRow = sd->rowsDelivered + r;
        const uint32_t mcuRow = outRow / bandRows, rowInBand = outRow % bandRows;
        const uint32_t picturePart = outHeight - (outRow - rowInBand) < bandRows ? outHeight - (outRow - rowInBand) : bandRows;
        // A band asked for whole goes straight into the caller's rows.
        if (rowInBand == 0 && st.nextMcuRow == mcuRow && wanted - r >= picturePart) {
            const BandTarget direct = {rect->bits + static_cast<ptrdiff_t>(rect->stride) * r, rect->stride,
                                       static_cast<int32_t>(picturePart), static_cast<int32_t>(target.values / channels)};
            if (!decodeBandRow(context, sd, st, scale, channels, direct)) return failStream(sd, st, r);
            st.bandMcuRow = -1;  // the buffer does not hold it
            r += picturePart;
            continue;
        }
        if (!bufferBand(context, sd, st, mcuRow, scale, channels)) return failStream(sd, st, r);
        std::memcpy(rect->bits + static_cast<ptrdiff_t>(rect->stride) * r, st.band + rowInBand * bufferStride,
                    target.values);
        ++r;
    }
    sd->rowsDelivered += wanted;
    return static_cast<int32_t>(wanted);
}
