// Standard mode: the scans of lossless frames. Samples are predicted from
// their decoded neighbours in the component's own plane, so components with
// any sampling factors, interleaved or in scans of their own, decode alike.
// The first line of a scan and of each restart interval predicts from the
// left (its first sample from the mid value), every first column from above.
#include "decoder/standard/standard_entropy.h"
#include "runtime/report.h"

namespace {

struct LosslessWalk {
    StandardDecode* sd;
    EntropyReader reader;
    uint32_t intervalFirstRow[4];  // per scan component: the first sample line of the current interval
};

int32_t predictSample(const StandardComponent& c, uint32_t x, uint32_t y, uint32_t firstRow, uint32_t predictor,
                      int32_t midValue) {
    const uint16_t* row = c.samples + size_t{y} * c.planeWidth;
    if (y == firstRow) return x == 0 ? midValue : row[x - 1];
    const uint16_t* above = row - c.planeWidth;
    if (x == 0) return above[0];
    int32_t ra = row[x - 1], rb = above[x], rc = above[x - 1];
    switch (predictor) {
        case 1: return ra;
        case 2: return rb;
        case 3: return rc;
        case 4: return ra + rb - rc;
        case 5: return ra + ((rb - rc) >> 1);
        case 6: return rb + ((ra - rc) >> 1);
        default: return (ra + rb) >> 1;
    }
}

// A difference: category 0 is 0, category 16 is 32768 with no further bits.
[[nodiscard]] bool decodeDifference(LosslessWalk& w, uint32_t i, int32_t& difference) {
    int32_t s = decodeEntropySymbol(w.reader, w.sd->dcTables[w.sd->scan.dcTable[i]]);
    if (s < 0 || s > 16) return false;
    if (s == 0) difference = 0;
    else if (s == 16) difference = 32768;
    else difference = extendBits(getEntropyBits(w.reader, static_cast<uint32_t>(s)), static_cast<uint32_t>(s));
    return true;
}

[[nodiscard]] bool decodeSample(LosslessWalk& w, uint32_t i, uint32_t x, uint32_t y) {
    StandardDecode* sd = w.sd;
    StandardComponent& c = sd->components[sd->scan.component[i]];
    int32_t difference = 0;
    if (!decodeDifference(w, i, difference)) return false;
    const int32_t midValue = 1 << (sd->precision - sd->scan.al - 1);
    int32_t prediction = predictSample(c, x, y, w.intervalFirstRow[i], sd->scan.ss, midValue);
    c.samples[size_t{y} * c.planeWidth + x] = static_cast<uint16_t>(prediction + difference);
    return true;
}

// A lost unit shows the mid value, as a sequential DCT frame's lost MCUs
// show mid-grey.
void fillLostUnit(LosslessWalk& w, uint32_t x, uint32_t y) {
    StandardDecode* sd = w.sd;
    const StandardScan& scan = sd->scan;
    const uint16_t midValue = static_cast<uint16_t>(1u << (sd->precision - scan.al - 1));
    for (uint32_t i = 0; i < scan.count; ++i) {
        StandardComponent& c = sd->components[scan.component[i]];
        const uint32_t h = scan.count == 1 ? 1 : c.h, v = scan.count == 1 ? 1 : c.v;
        for (uint32_t sy = y * v; sy < (y + 1) * v; ++sy)
            for (uint32_t sx = x * h; sx < (x + 1) * h; ++sx) c.samples[size_t{sy} * c.planeWidth + sx] = midValue;
    }
}

}  // namespace

bool decodeStandardLosslessScan(StandardDecode* sd) {
    const StandardScan& scan = sd->scan;
    for (uint32_t i = 0; i < scan.count; ++i) {
        if (!sd->dcTables[scan.dcTable[i]].defined && !standardDefaultHuffman(sd, false, scan.dcTable[i])) {
            reportJpegError(report_text::kHuffmanTableMissingForTheScan);
            return false;
        }
        sd->components[scan.component[i]].pointTransform = scan.al;
    }
    LosslessWalk w{sd, {}, {0, 0, 0, 0}};
    startEntropyReader(w.reader, sd);
    const bool single = scan.count == 1;
    const StandardComponent& first = sd->components[scan.component[0]];
    const uint32_t unitsAcross = single ? first.width : sd->mcusPerRow;
    const uint32_t unitsDown = single ? first.height : sd->mcuRows;
    const uint64_t units = uint64_t{unitsAcross} * unitsDown;
    ScanDamage damage;
    startScanDamage(damage, units);
    for (uint64_t unit = 0; unit < units; ++unit) {
        uint32_t x = static_cast<uint32_t>(unit % unitsAcross), y = static_cast<uint32_t>(unit / unitsAcross);
        if (sd->restartInterval != 0 && unit != 0 && unit % sd->restartInterval == 0) {
            if (!takeRestartMarker(sd, w.reader, damage, unit)) return false;
            for (uint32_t i = 0; i < scan.count; ++i) w.intervalFirstRow[i] = single ? y : y * sd->components[scan.component[i]].v;
        }
        bool ok = true;
        if (single) {
            ok = damage.lost || decodeSample(w, 0, x, y);
        } else {
            for (uint32_t i = 0; i < scan.count && ok; ++i) {
                const StandardComponent& c = sd->components[scan.component[i]];
                for (uint32_t v = 0; v < c.v && ok; ++v)
                    for (uint32_t h = 0; h < c.h && ok; ++h)
                        ok = damage.lost || decodeSample(w, i, x * c.h + h, y * c.v + v);
            }
        }
        if (!damage.lost && checkStandardUnit(sd, w.reader, ok, damage, unit) == UnitOutcome::Stop) return false;
        if (damage.lost) fillLostUnit(w, x, y);
    }
    if (damage.firstLost == units && !noteScanLeftovers(sd, w.reader)) return false;
    sd->position = damage.firstLost < units ? nextPlausibleMarker(sd, w.reader.position) : entropyResumePosition(w.reader);
    sd->scanReady = false;
    return true;
}
