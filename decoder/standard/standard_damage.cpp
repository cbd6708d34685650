// Standard mode: reading past damage. A file cut short, a stretch of corrupt
// entropy-coded data or bytes out of place cost the MCUs they touch, not
// the picture: lost units are filled (mid-grey, or the coefficients earlier
// scans gave), restart markers put the decode back in step by their
// numbers, and the header walk resumes at the next marker that can be real.
// Each kind of damage is reported once per decode.
#include <cstring>

#include "context/jpeg_constants.h"
#include "decoder/standard/standard_entropy.h"
#include "runtime/report.h"

namespace {

uint32_t read16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }

bool isRestart(uint8_t code) { return code >= kRst0 && code <= kRst7; }

// The code of the marker whose first 0xFF is at `at`, past fill bytes; 0
// when the data ends first.
uint8_t markerCodeAt(const uint8_t* d, uint32_t length, uint32_t at) {
    while (at < length && d[at] == 0xFF) ++at;
    return at < length ? d[at] : 0;
}

const KelChar16* damageText(uint32_t kind) {
    switch (kind) {
        case JPEG_DAMAGE_TRUNCATED: return report_text::kPrematureEndOfData;
        case JPEG_DAMAGE_ENTROPY: return report_text::kCorruptEntropyCodedData;
        case JPEG_DAMAGE_STRAY: return report_text::kExtraneousBytesBeforeMarker;
        default: return report_text::kInvalidMarkerSegmentLength;
    }
}

}  // namespace

bool noteStandardDamage(StandardDecode* sd, uint32_t kinds) {
    const uint32_t fresh = kinds & ~sd->damage;
    sd->damage |= kinds;
    for (uint32_t kind = 1; kind <= JPEG_DAMAGE_SEGMENT; kind <<= 1) {
        if (!(fresh & kind)) continue;
        if (sd->strict) {
            reportJpegError(damageText(kind));
            return false;
        }
        reportJpegWarning(damageText(kind));
    }
    return !(sd->strict && kinds);
}

bool standardMarkerPlausible(const StandardDecode* sd, uint32_t at) {
    const uint8_t* d = sd->data;
    const uint32_t n = sd->length;
    if (at + 1 >= n) return false;
    const uint8_t code = d[at + 1];
    if (code == kEoi) return true;
    // Segments: SOFn, DHT, DAC, SOS, DQT, DNL, DRI, DHP, EXP, APPn, JPGn, COM.
    const bool segment = (code >= 0xC0 && code <= 0xCF) || (code >= 0xDA && code <= 0xFE);
    if (!segment || n - at < 4) return false;
    const uint32_t length = read16(d + at + 2);
    if (length < 2 || length > n - at - 2) return false;
    if (code == kSos) {
        const uint32_t components = length >= 3 ? d[at + 4] : 0;
        return components >= 1 && components <= 4 && length == 6 + 2 * components;
    }
    const uint32_t end = at + 2 + length;
    return end == n || d[end] == 0xFF;
}

uint32_t nextPlausibleMarker(const StandardDecode* sd, uint32_t at) {
    const uint8_t* d = sd->data;
    const uint32_t n = sd->length;
    while (at < n) {
        const void* ff = std::memchr(d + at, 0xFF, n - at);
        if (!ff) return n;
        at = static_cast<uint32_t>(static_cast<const uint8_t*>(ff) - d);
        while (at + 1 < n && d[at + 1] == 0xFF) ++at;  // fill bytes: the code follows the last
        if (at + 1 >= n) return n;
        const uint8_t code = d[at + 1];
        if (code != 0 && !isRestart(code) && standardMarkerPlausible(sd, at)) return at;
        at += 2;
    }
    return n;
}

bool noteScanLeftovers(StandardDecode* sd, const EntropyReader& r) {
    const bool unusedBytes = r.bitCount - r.padBits >= 8;
    const bool unreadBytes = r.position < r.length && (r.data[r.position] != 0xFF ||
                                                       (r.position + 1 < r.length && r.data[r.position + 1] == 0));
    return !(unusedBytes || unreadBytes) || noteStandardDamage(sd, JPEG_DAMAGE_STRAY);
}

UnitOutcome loseStandardUnit(StandardDecode* sd, const EntropyReader& r, ScanDamage& damage,
                             uint64_t unit) {
    const bool overran = entropyOverran(r);
    // Data that stops at the end of the stream or at EOI ends early; a code
    // that fails within the last bits before such a stop counts so too.
    uint32_t kind = JPEG_DAMAGE_ENTROPY;
    if (r.atMarker && (overran || r.bitCount - r.padBits < 32) &&
        (r.position >= r.length || markerCodeAt(r.data, r.length, r.position) == kEoi))
        kind = JPEG_DAMAGE_TRUNCATED;
    if (!noteStandardDamage(sd, kind)) return UnitOutcome::Stop;
    damage.lost = true;
    if (unit < damage.firstLost) damage.firstLost = unit;
    return UnitOutcome::Lost;
}

bool takeRestartMarker(StandardDecode* sd, EntropyReader& r, ScanDamage& damage, uint64_t unit) {
    // Whole bytes loaded and never used: an interval decoded whole leaves at
    // most the padding bits of its last byte.
    const bool decodedWhole = !damage.lost && r.bitCount - r.padBits < 8;
    const uint8_t* d = r.data;
    const uint32_t n = r.length;
    uint32_t at = r.position;
    r.bits = 0;
    r.bitCount = 0;
    r.padBits = 0;
    r.atMarker = false;
    bool skippedData = false;
    uint32_t kinds = 0;
    for (;;) {
        // The next marker, at the last of its fill bytes, past data bytes and stuffed zeros.
        while (at < n) {
            if (d[at] != 0xFF) {
                skippedData = true;
                ++at;
            } else if (at + 1 < n && d[at + 1] == 0) {
                skippedData = true;
                at += 2;
            } else if (at + 1 < n && d[at + 1] == 0xFF) {
                ++at;
            } else {
                break;
            }
        }
        if (at + 1 >= n) {
            r.position = n;
            damage.lost = true;
            kinds |= JPEG_DAMAGE_TRUNCATED;
            break;
        }
        const uint8_t code = d[at + 1];
        if (isRestart(code)) {
            const uint32_t number = static_cast<uint32_t>(code - kRst0);
            const uint32_t ahead = (number - damage.nextRestart) & 7;
            const bool inStep = decodedWhole && !skippedData;
            // In step, the one due, or too far from it to place: taken as the one due.
            if (inStep || ahead == 0 || (ahead >= 3 && ahead <= 5)) {
                // Data to spare before the marker due means the interval's
                // codes were read out of step; a lost interval was noted already.
                if (!inStep && (ahead != 0 || !damage.lost)) kinds |= JPEG_DAMAGE_ENTROPY;
                r.position = at + 2;
                damage.nextRestart = (number + 1) & 7;
                if (damage.lost) damage.lostEnd = unit;
                damage.lost = false;
                break;
            }
            kinds |= JPEG_DAMAGE_ENTROPY;
            if (ahead <= 2) {
                // A later interval's marker: the one due went missing with its interval's data.
                r.position = at;
                damage.nextRestart = (damage.nextRestart + 1) & 7;
                damage.lost = true;
                break;
            }
            at += 2;  // an earlier interval's marker: the data after it is not this interval's either
            continue;
        }
        if (!standardMarkerPlausible(sd, at)) {
            kinds |= JPEG_DAMAGE_ENTROPY;  // a data byte turned into 0xFF
            at += 2;
            continue;
        }
        // A real marker: the scan's data ends here.
        r.position = at;
        damage.lost = true;
        kinds |= code == kEoi ? JPEG_DAMAGE_TRUNCATED : JPEG_DAMAGE_ENTROPY;
        break;
    }
    if (damage.lost && unit < damage.firstLost) damage.firstLost = unit;
    return noteStandardDamage(sd, kinds);
}
