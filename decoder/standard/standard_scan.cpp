// Standard mode: the scans of DCT frames. Each scan's blocks go into the
// components' whole-frame coefficient grids, so that sequential frames coded
// as several scans (one component each, in any order) and progressive frames
// share one path. A scan of one component walks that component's own blocks
// in raster order, one block per MCU; a scan of several walks MCUs of H x V
// blocks per component. Restart intervals count those MCUs in every scan.

#include <cstring>

#include "context/jpeg_constants.h"
#include "decoder/huffman_decode.h"
#include "decoder/refinement_mask.h"
#include "decoder/standard/standard_entropy.h"
#include "runtime/report.h"

namespace {

enum class BlockPass { Sequential, DcFirst, DcRefine, AcFirst, AcRefine };

struct ScanWalk {
    StandardDecode* sd;
    EntropyReader reader;
    BlockPass pass;
};

BlockPass passOf(const StandardDecode* sd) {
    const StandardScan& scan = sd->scan;
    if (sd->sofMarker != markerWord(kSof2)) return BlockPass::Sequential;
    if (scan.ss == 0) return scan.ah == 0 ? BlockPass::DcFirst : BlockPass::DcRefine;
    return scan.ah == 0 ? BlockPass::AcFirst : BlockPass::AcRefine;
}

// The predictor wraps rather than overflows on hostile data.
void addDifference(StandardComponent& component, int32_t difference) {
    component.dcPredictor = static_cast<int32_t>(static_cast<uint32_t>(component.dcPredictor) + static_cast<uint32_t>(difference));
}

[[nodiscard]] bool decodeSequentialBlock(ScanWalk& w, int16_t* block, StandardComponent& component, uint32_t i) {
    const StandardScan& scan = w.sd->scan;
    int32_t s = decodeEntropySymbol(w.reader, w.sd->dcTables[scan.dcTable[i]]);
    if (s < 0 || s > 15) return false;
    if (s) addDifference(component, extendBits(getEntropyBits(w.reader, static_cast<uint32_t>(s)), static_cast<uint32_t>(s)));
    block[0] = static_cast<int16_t>(component.dcPredictor);
    const StandardHuffman& ac = w.sd->acTables[scan.acTable[i]];
    for (uint32_t k = 1; k < 64; ++k) {
        int32_t rs = decodeEntropySymbol(w.reader, ac);
        if (rs < 0) return false;
        uint32_t run = static_cast<uint32_t>(rs) >> 4, size = static_cast<uint32_t>(rs) & 15;
        if (size == 0) {
            if (run != 15) break;  // end of block
            k += 15;               // sixteen zeros
            continue;
        }
        k += run;
        if (k > 63) return false;
        block[zigzagToNatural[k]] = static_cast<int16_t>(extendBits(getEntropyBits(w.reader, size), size));
    }
    return true;
}

[[nodiscard]] bool decodeDcFirst(ScanWalk& w, int16_t* block, StandardComponent& component, uint32_t i) {
    int32_t s = decodeEntropySymbol(w.reader, w.sd->dcTables[w.sd->scan.dcTable[i]]);
    if (s < 0 || s > 15) return false;
    if (s) addDifference(component, extendBits(getEntropyBits(w.reader, static_cast<uint32_t>(s)), static_cast<uint32_t>(s)));
    block[0] = static_cast<int16_t>(static_cast<uint32_t>(component.dcPredictor) << w.sd->scan.al);
    return true;
}

void decodeDcRefine(ScanWalk& w, int16_t* block) {
    if (getEntropyBits(w.reader, 1)) block[0] = static_cast<int16_t>(block[0] | (1 << w.sd->scan.al));
}

uint32_t readEobRun(EntropyReader& reader, uint32_t run) {
    return (1u << run) + getEntropyBits(reader, run);
}

[[nodiscard]] bool decodeAcFirst(ScanWalk& w, int16_t* block) {
    StandardDecode* sd = w.sd;
    if (sd->eobRun > 0) {
        --sd->eobRun;
        return true;
    }
    const StandardHuffman& ac = sd->acTables[sd->scan.acTable[0]];
    for (uint32_t k = sd->scan.ss; k <= sd->scan.se; ++k) {
        int32_t rs = decodeEntropySymbol(w.reader, ac);
        if (rs < 0) return false;
        uint32_t run = static_cast<uint32_t>(rs) >> 4, size = static_cast<uint32_t>(rs) & 15;
        if (size == 0) {
            if (run == 15) {
                k += 15;
                continue;
            }
            sd->eobRun = static_cast<int32_t>(readEobRun(w.reader, run)) - 1;  // this block ends the first band
            return true;
        }
        k += run;
        if (k > 63) return false;
        int32_t value = extendBits(getEntropyBits(w.reader, size), size);
        block[zigzagToNatural[k]] = static_cast<int16_t>(static_cast<uint32_t>(value) << sd->scan.al);
    }
    return true;
}

// A correction bit for a coefficient already non-zero: it adds the scan's
// bit in the direction of the coefficient's sign, once.
void refineCoefficient(EntropyReader& reader, int16_t& coefficient, int32_t bit) {
    if (getEntropyBits(reader, 1) && (coefficient & bit) == 0)
        coefficient = static_cast<int16_t>(coefficient >= 0 ? coefficient + bit : coefficient - bit);
}

[[nodiscard]] bool decodeAcRefine(ScanWalk& w, int16_t* block) {
    StandardDecode* sd = w.sd;
    const int32_t bit = 1 << sd->scan.al;
    const StandardHuffman& ac = sd->acTables[sd->scan.acTable[0]];
    uint32_t k = sd->scan.ss;
    const uint32_t end = sd->scan.se;
    const uint64_t nonzero = nonzeroInZigzagOrder(block);
    auto refine = [&w, bit](int16_t* coefficient) { refineCoefficient(w.reader, *coefficient, bit); };
    if (sd->eobRun == 0) {
        for (; k <= end; ++k) {
            int32_t rs = decodeEntropySymbol(w.reader, ac);
            if (rs < 0) return false;
            int32_t run = rs >> 4, size = rs & 15, value = 0;
            if (size != 0) {
                if (size != 1) return false;
                value = getEntropyBits(w.reader, 1) ? bit : -bit;
            } else if (run != 15) {
                sd->eobRun = static_cast<int32_t>(readEobRun(w.reader, static_cast<uint32_t>(run)));
                break;
            }
            // Pass run zero-history coefficients, correcting the non-zero ones met on the way.
            k = walkToZeroByMask(block, nonzero, k, end, run, refine);
            if (value != 0 && k <= end) block[zigzagToNatural[k]] = static_cast<int16_t>(value);
        }
    }
    if (sd->eobRun > 0) {
        correctEachByMask(block, nonzero, k, end, refine);
        --sd->eobRun;
    }
    return true;
}

[[nodiscard]] bool decodeBlock(ScanWalk& w, uint32_t i, uint32_t blockX, uint32_t blockY) {
    StandardComponent& component = w.sd->components[w.sd->scan.component[i]];
    int16_t* block = component.coefficients + (size_t{blockY} * component.blocksWide + blockX) * 64;
    switch (w.pass) {
        case BlockPass::Sequential: return decodeSequentialBlock(w, block, component, i);
        case BlockPass::DcFirst: return decodeDcFirst(w, block, component, i);
        case BlockPass::DcRefine: decodeDcRefine(w, block); return true;
        case BlockPass::AcFirst: return decodeAcFirst(w, block);
        case BlockPass::AcRefine: return decodeAcRefine(w, block);
    }
    return false;
}

// Every table the scan's pass reads must have been defined; slots 0 and 1
// left undefined get the example tables, as motion-JPEG frames expect.
bool scanTablesDefined(StandardDecode* sd, BlockPass pass) {
    const StandardScan& scan = sd->scan;
    bool needDc = pass == BlockPass::Sequential || pass == BlockPass::DcFirst;
    bool needAc = pass == BlockPass::Sequential || pass == BlockPass::AcFirst || pass == BlockPass::AcRefine;
    for (uint32_t i = 0; i < scan.count; ++i) {
        if (needDc && !sd->dcTables[scan.dcTable[i]].defined && !standardDefaultHuffman(sd, false, scan.dcTable[i]))
            return false;
        if (needAc && !sd->acTables[scan.acTable[i]].defined && !standardDefaultHuffman(sd, true, scan.acTable[i]))
            return false;
    }
    return true;
}

// A sequential unit lost to damage shows mid-grey: its blocks' coefficients
// go back to zero, whatever its decode had put in before the damage.
void clearUnit(StandardDecode* sd, uint32_t x, uint32_t y) {
    const StandardScan& scan = sd->scan;
    for (uint32_t i = 0; i < scan.count; ++i) {
        StandardComponent& component = sd->components[scan.component[i]];
        const uint32_t h = scan.count == 1 ? 1 : component.h, v = scan.count == 1 ? 1 : component.v;
        for (uint32_t by = y * v; by < (y + 1) * v; ++by)
            for (uint32_t bx = x * h; bx < (x + 1) * h; ++bx)
                std::memset(component.coefficients + (size_t{by} * component.blocksWide + bx) * 64, 0, 64 * sizeof(int16_t));
    }
}

// What the scan told of each of its components' coefficients, for the
// estimates of an incomplete picture: its band is known to its point
// transform, or, when units were lost, only outside the lost stretch.
void noteCoverage(StandardDecode* sd, uint64_t firstLost, uint64_t lostEnd, uint64_t units, uint32_t unitsAcross) {
    const StandardScan& scan = sd->scan;
    for (uint32_t i = 0; i < scan.count; ++i) {
        StandardCoverage& coverage = sd->coverage[scan.component[i]];
        if (firstLost >= units) {
            for (uint32_t k = scan.ss; k <= scan.se; ++k) coverage.knownBits[k] = scan.al;
            if (coverage.partial && coverage.ss <= scan.se && scan.ss <= coverage.se) coverage.partial = false;
            continue;
        }
        coverage.partial = true;
        coverage.ss = scan.ss;
        coverage.se = scan.se;
        coverage.al = scan.al;
        coverage.interleaved = scan.count > 1;
        coverage.unitsAcross = unitsAcross;
        coverage.firstLost = firstLost;
        coverage.lostEnd = lostEnd;
    }
}

// The quantisation table of a component is the one defined when its first scan begins.
bool latchQuantTables(StandardDecode* sd) {
    for (uint32_t i = 0; i < sd->scan.count; ++i) {
        StandardComponent& component = sd->components[sd->scan.component[i]];
        if (component.quantLatched) continue;
        if (!sd->quantDefined[component.quantTable]) return false;
        component.largestQuant = 0;
        for (int n = 0; n < 64; ++n) {
            component.quant[n] = sd->quantTables[component.quantTable][n];
            if (component.quant[n] > component.largestQuant) component.largestQuant = component.quant[n];
        }
        for (int k = 0; k < 64; ++k) component.zigzagQuant[k] = component.quant[zigzagToNatural[k]];
        component.quantLatched = true;
    }
    return true;
}

}  // namespace

bool standardScanTablesReady(StandardDecode* sd) {
    if (!scanTablesDefined(sd, passOf(sd))) {
        reportJpegError(report_text::kHuffmanTableMissingForTheScan);
        return false;
    }
    if (!latchQuantTables(sd)) {
        reportJpegError(report_text::kQuantizationTableMissingForTheScan);
        return false;
    }
    return true;
}

bool decodeStandardDctScan(StandardDecode* sd) {
    ScanWalk w{sd, {}, passOf(sd)};
    if (!standardScanTablesReady(sd)) return false;
    startEntropyReader(w.reader, sd);
    for (StandardComponent& component : sd->components) component.dcPredictor = 0;
    sd->eobRun = 0;
    const StandardScan& scan = sd->scan;
    const uint32_t interval = sd->restartInterval;
    uint32_t unitsAcross, unitsDown;
    if (scan.count == 1) {
        const StandardComponent& only = sd->components[scan.component[0]];
        unitsAcross = (only.width + 7) / 8;
        unitsDown = (only.height + 7) / 8;
    } else {
        unitsAcross = sd->mcusPerRow;
        unitsDown = sd->mcuRows;
    }
    const uint64_t units = uint64_t{unitsAcross} * unitsDown;
    ScanDamage damage;
    startScanDamage(damage, units);
    for (uint64_t unit = 0; unit < units; ++unit) {
        if (interval != 0 && unit != 0 && unit % interval == 0) {
            if (!takeRestartMarker(sd, w.reader, damage, unit)) return false;
            for (StandardComponent& component : sd->components) component.dcPredictor = 0;
            sd->eobRun = 0;
        }
        // Lost units keep what they have: zero coefficients (mid-grey) in a
        // sequential frame, the earlier scans' in a progressive one.
        if (damage.lost) continue;
        uint32_t x = static_cast<uint32_t>(unit % unitsAcross), y = static_cast<uint32_t>(unit / unitsAcross);
        bool ok = true;
        if (scan.count == 1) {
            ok = decodeBlock(w, 0, x, y);
        } else {
            for (uint32_t i = 0; i < scan.count && ok; ++i) {
                const StandardComponent& component = sd->components[scan.component[i]];
                for (uint32_t v = 0; v < component.v && ok; ++v)
                    for (uint32_t h = 0; h < component.h && ok; ++h)
                        ok = decodeBlock(w, i, x * component.h + h, y * component.v + v);
            }
        }
        const UnitOutcome outcome = checkStandardUnit(sd, w.reader, ok, damage, unit);
        if (outcome == UnitOutcome::Stop) return false;
        if (outcome == UnitOutcome::Lost && w.pass == BlockPass::Sequential) clearUnit(sd, x, y);
    }
    if (damage.firstLost == units && !noteScanLeftovers(sd, w.reader)) return false;
    if (sd->sofMarker == markerWord(kSof2)) noteCoverage(sd, damage.firstLost, lostStretchEnd(damage, units), units, unitsAcross);
    // After damage the rest of the scan's data is passed over up to the next
    // marker that can be real; a scan read whole ends where its data does.
    sd->position = damage.firstLost < units ? nextPlausibleMarker(sd, w.reader.position) : entropyResumePosition(w.reader);
    sd->scanReady = false;
    return true;
}
