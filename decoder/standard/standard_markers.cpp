// Standard mode: the marker walk. Every segment the interchange format
// allows is read or skipped by its length; fill bytes before a marker, table
// segments between scans, 16-bit quantisation tables, scan components in any
// order and sampling factors up to 4 are all accepted.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "context/jpeg_constants.h"
#include "decoder/huffman_decode.h"
#include "decoder/standard/standard_entropy.h"
#include "encoder/encode_tables.h"
#include "runtime/limits.h"
#include "runtime/report.h"

namespace {


// A segment's body: the bytes after its length field, bounded by the data.
struct Segment {
    const uint8_t* bytes;
    uint32_t size;
};

[[nodiscard]] bool takeSegment(StandardDecode* sd, Segment& segment) {
    if (sd->length - sd->position < 2) return false;
    uint32_t length = (uint32_t{sd->data[sd->position]} << 8) | sd->data[sd->position + 1];
    if (length < 2 || length > sd->length - sd->position) return false;
    segment.bytes = sd->data + sd->position + 2;
    segment.size = length - 2;
    sd->position += length;
    return true;
}

uint32_t read16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }

// The code each index of kFastHuffmanBits bits starts with, in a valid
// table: for a 3-bit code 101 of symbol 0x02, indexes 1010000000 to
// 1011111111 hold length 3 and the symbol.
void fillShortCodes(const uint8_t* counts, const uint8_t* values, uint16_t* shortCodes) {
    std::memset(shortCodes, 0, sizeof(uint16_t) << kFastHuffmanBits);
    uint32_t code = 0, k = 0;
    for (uint32_t length = 1; length <= kFastHuffmanBits; ++length, code <<= 1) {
        for (uint32_t i = 0; i < counts[length - 1]; ++i, ++k, ++code) {
            const uint32_t spare = kFastHuffmanBits - length;
            for (uint32_t suffix = 0; suffix < (1u << spare); ++suffix)
                shortCodes[(code << spare) | suffix] = static_cast<uint16_t>(length | values[k] << 8);
        }
    }
}

// Canonical codes from the counts: each length's codes follow the previous
// length's last code shifted left by one.
[[nodiscard]] bool buildStandardHuffman(StandardHuffman& table, const uint8_t* counts, const uint8_t* values,
                                        uint32_t total, bool acTable) {
    std::memset(&table, 0, sizeof table);
    std::memcpy(table.values, values, total);
    int32_t code = 0;
    uint32_t k = 0;
    for (uint32_t length = 1; length <= 16; ++length) {
        uint32_t count = counts[length - 1];
        table.valueOffset[length] = static_cast<int32_t>(k) - code;
        for (uint32_t i = 0; i < count; ++i, ++k, ++code) {
            // More codes than the length holds: the table is invalid, and the
            // code would index past the fast tables.
            if (code >= (1 << length)) return false;
            if (length <= 8) {
                uint32_t first = static_cast<uint32_t>(code) << (8 - length);
                for (uint32_t j = 0; j < (1u << (8 - length)); ++j) {
                    table.fastLength[first + j] = static_cast<uint8_t>(length);
                    table.fastSymbol[first + j] = values[k];
                }
            }
        }
        table.maxCode[length] = count ? code - 1 : -1;
        code <<= 1;
    }
    uint16_t shortCodes[1u << kFastHuffmanBits];
    fillShortCodes(counts, values, shortCodes);
    buildShortCodeTables(shortCodes, ZeroSizeRuns::EndBlock, acTable, table.fast, table.skip, table.steps);
    table.largestStepValue = 0;
    for (const uint64_t step : table.steps) {
        const uint32_t first = static_cast<uint32_t>(std::abs(stepFirstValue(step)));
        const uint32_t second = static_cast<uint32_t>(std::abs(stepSecondValue(step)));
        table.largestStepValue = std::max({table.largestStepValue, first, second});
    }
    table.maxCode[17] = 0x7FFFFFFF;
    table.defined = true;
    return true;
}

[[nodiscard]] bool readHuffmanTables(StandardDecode* sd, const Segment& s) {
    uint32_t at = 0;
    while (at < s.size) {
        if (s.size - at < 17) return false;
        uint32_t tableByte = s.bytes[at];
        const uint8_t* counts = s.bytes + at + 1;
        uint32_t total = 0;
        for (int i = 0; i < 16; ++i) total += counts[i];
        if ((tableByte >> 4) > 1 || (tableByte & 15) > 3 || total > 256 || s.size - at - 17 < total) return false;
        StandardHuffman& table = (tableByte >> 4) ? sd->acTables[tableByte & 15] : sd->dcTables[tableByte & 15];
        if (!buildStandardHuffman(table, counts, s.bytes + at + 17, total, (tableByte >> 4) != 0)) return false;
        at += 17 + total;
    }
    return true;
}

}  // namespace

bool standardDefaultHuffman(StandardDecode* sd, bool ac, uint32_t slot) {
    if (slot > 1) return false;
    const encoder::StandardHuffmanTable& example = encoder::kStandardHuffmanTables[(ac ? 2 : 0) + slot];
    uint32_t total = 0;
    for (uint8_t count : example.bits) total += count;
    StandardHuffman& table = ac ? sd->acTables[slot] : sd->dcTables[slot];
    return buildStandardHuffman(table, example.bits, example.huffval, total, ac);
}

namespace {

[[nodiscard]] bool readQuantTables(StandardDecode* sd, const Segment& s) {
    uint32_t at = 0;
    while (at < s.size) {
        uint32_t tableByte = s.bytes[at];
        uint32_t width = (tableByte >> 4) == 1 ? 2 : 1;
        if ((tableByte >> 4) > 1 || (tableByte & 15) > 3 || s.size - at - 1 < 64 * width) return false;
        uint16_t* table = sd->quantTables[tableByte & 15];
        const uint8_t* entries = s.bytes + at + 1;
        for (uint32_t k = 0; k < 64; ++k)
            table[zigzagToNatural[k]] = static_cast<uint16_t>(width == 2 ? read16(entries + 2 * k) : entries[k]);
        sd->quantDefined[tableByte & 15] = true;
        at += 1 + 64 * width;
    }
    return true;
}

const KelChar16* readFrame(StandardDecode* sd, uint8_t marker, const Segment& s) {
    if (s.size < 6) return report_text::kInvalidSofSegmentSyntax;
    sd->sofMarker = static_cast<uint16_t>(0xFF00 | marker);
    sd->precision = s.bytes[0];
    sd->height = read16(s.bytes + 1);
    sd->width = read16(s.bytes + 3);
    sd->componentCount = s.bytes[5];
    const bool lossless = marker == kSof3;
    if (sd->componentCount < 1 || sd->componentCount > 4) return report_text::kNotSupportImageComponents;
    if (s.size < 6 + 3 * sd->componentCount) return report_text::kInvalidSofSegmentSyntax;
    if (lossless ? (sd->precision < 2 || sd->precision > 16) : (sd->precision != 8 && sd->precision != 12))
        return report_text::kUnsupportedSamplePrecision;
    if (sd->width == 0) return report_text::kTheImageHasNoWidth;
    sd->maxH = sd->maxV = 1;
    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        const uint8_t* p = s.bytes + 6 + 3 * c;
        StandardComponent& component = sd->components[c];
        component.identifier = p[0];
        component.h = static_cast<uint8_t>(p[1] >> 4);
        component.v = static_cast<uint8_t>(p[1] & 15);
        component.quantTable = p[2];
        if (component.h < 1 || component.h > 4 || component.v < 1 || component.v > 4)
            return report_text::kUnsupportedSamplingFactor;
        if (!lossless && component.quantTable > 3) return report_text::kInvalidSofSegmentSyntax;
        for (uint32_t other = 0; other < c; ++other)
            if (sd->components[other].identifier == component.identifier) return report_text::kInvalidSofSegmentSyntax;
        if (component.h > sd->maxH) sd->maxH = component.h;
        if (component.v > sd->maxV) sd->maxV = component.v;
    }
    return nullptr;
}

const KelChar16* readScan(StandardDecode* sd, const Segment& s) {
    if (s.size < 1) return report_text::kInvalidSosSegmentSyntax;
    StandardScan scan{};
    scan.count = s.bytes[0];
    if (scan.count < 1 || scan.count > 4 || scan.count > sd->componentCount || s.size < 4 + 2 * scan.count)
        return report_text::kInvalidSosSegmentSyntax;
    for (uint32_t i = 0; i < scan.count; ++i) {
        const uint8_t* p = s.bytes + 1 + 2 * i;
        uint32_t found = sd->componentCount;
        for (uint32_t c = 0; c < sd->componentCount; ++c)
            if (sd->components[c].identifier == p[0]) found = c;
        if (found == sd->componentCount) return report_text::kInvalidSosSegmentSyntax;
        for (uint32_t j = 0; j < i; ++j)
            if (scan.component[j] == found) return report_text::kInvalidSosSegmentSyntax;
        scan.component[i] = found;
        scan.dcTable[i] = static_cast<uint8_t>(p[1] >> 4);
        scan.acTable[i] = static_cast<uint8_t>(p[1] & 15);
    }
    const uint8_t* tail = s.bytes + 1 + 2 * scan.count;
    scan.ss = tail[0];
    scan.se = tail[1];
    scan.ah = static_cast<uint8_t>(tail[2] >> 4);
    scan.al = static_cast<uint8_t>(tail[2] & 15);
    if (sd->sofMarker == markerWord(kSof2)) {
        bool dcBand = scan.ss == 0;
        if (scan.se > 63 || scan.ss > scan.se || (dcBand && scan.se != 0) || (!dcBand && scan.count != 1) ||
            scan.al > 13 || scan.ah > 13)
            return report_text::kInvalidProgressiveScanParameters;
    } else if (sd->sofMarker == markerWord(kSof3)) {
        if (scan.ss < 1 || scan.ss > 7 || scan.al >= sd->precision) return report_text::kInvalidLosslessScanParameters;
    }
    // A table selector counts only where the scan reads that table: a DC
    // refinement reads none, a progressive AC scan no DC table, a lossless
    // scan no AC table (a selector of 15 there is damage with a clear intent).
    const bool progressive = sd->sofMarker == markerWord(kSof2);
    const bool readsDc = !progressive || (scan.ss == 0 && scan.ah == 0);
    const bool readsAc = sd->sofMarker != markerWord(kSof3) && (!progressive || scan.ss != 0);
    for (uint32_t i = 0; i < scan.count; ++i) {
        if ((readsDc && scan.dcTable[i] > 3) || (readsAc && scan.acTable[i] > 3))
            return report_text::kInvalidSosSegmentSyntax;
        if (scan.dcTable[i] > 3) scan.dcTable[i] = 0;
        if (scan.acTable[i] > 3) scan.acTable[i] = 0;
    }
    // Each scan walks the whole frame, however few its bytes.
    if (!scanCountAllowed(++sd->scanCount)) return report_text::kTooManyScans;
    sd->scan = scan;
    sd->scanReady = true;
    return nullptr;
}

void readApplication(StandardDecode* sd, uint8_t marker, const Segment& s) {
    if (marker == kApp0 && s.size >= 14 && std::memcmp(s.bytes, "JFIF", 5) == 0) {
        sd->jfif = true;
        sd->jfifUnits = s.bytes[7];
        sd->jfifXDensity = static_cast<uint16_t>(read16(s.bytes + 8));
        sd->jfifYDensity = static_cast<uint16_t>(read16(s.bytes + 10));
        sd->thumbnailWidth = s.bytes[12];
        sd->thumbnailHeight = s.bytes[13];
        sd->thumbnail = s.bytes + 14;
        sd->thumbnailBytes = s.size - 14;
    } else if (marker == kApp14 && s.size >= 12 && std::memcmp(s.bytes, "Adobe", 5) == 0) {
        sd->adobeTransform = s.bytes[11];
    }
}

// Strict reading stopped at damage, which is reported already.
const KelChar16 kStopped[] = {0};

// Segments the walk skips by their length: application data, comments,
// DNL (read ahead by the prolog), DAC, JPGn and the rest.
bool skippedSegment(uint8_t marker) {
    return !(marker >= kSof0 && marker <= 0xCF) && marker != kDqt && marker != kDri && marker != kSos;
}

// Where the walk stands: whether a scan has been read (data that ends after
// one is a file cut short, before one there is no picture).
struct Walk {
    StandardDecode* sd;
    bool frameSeen;
    bool done;
};

// A segment whose length runs past the data or does not end at a marker:
// for a segment the walk only skips, it resumes at the next marker that
// can be real, looked for from the segment's own body on: a length too long
// would swallow the markers behind it. When that marker lies behind the
// length's end, the length may be right and bytes stray behind it, or the
// length too short; either way the walk skips up to it as stray bytes.
// Returns the failure text, or null.
const KelChar16* resumeAfterBadLength(Walk& walk, uint32_t body, bool taken) {
    StandardDecode* sd = walk.sd;
    const uint32_t next = nextPlausibleMarker(sd, body);
    if (taken && next < sd->length && next >= sd->position) return nullptr;
    if (next < sd->length) {
        sd->position = next;
        return noteStandardDamage(sd, JPEG_DAMAGE_SEGMENT) ? nullptr : kStopped;
    }
    return nullptr;  // the caller treats the data as ending inside the segment
}

// Handles one marker segment; sets walk.done when the walk is to stop after it.
const KelChar16* readSegment(Walk& walk, uint8_t marker) {
    StandardDecode* sd = walk.sd;
    // Markers without a segment; a second SOI is out of place.
    if (marker == kSoi) return noteStandardDamage(sd, JPEG_DAMAGE_STRAY) ? nullptr : kStopped;
    if (marker == kTem || (marker >= kRst0 && marker <= kRst7)) return nullptr;
    if (marker == kEoi) {
        sd->finished = true;
        walk.done = true;
        return nullptr;
    }
    const uint32_t body = sd->position + 2;
    Segment s{};
    if (!takeSegment(sd, s)) {
        if (skippedSegment(marker)) {
            const uint32_t before = sd->position;
            if (const KelChar16* failure = resumeAfterBadLength(walk, body, false)) return failure;
            if (sd->position != before) return nullptr;
        }
        // The data ends inside the segment: after a scan, a file cut short.
        const bool runsPast = sd->length - sd->position < 2 ||
                              ((uint32_t{sd->data[sd->position]} << 8) | sd->data[sd->position + 1]) >= 2;
        if (sd->scanCount > 0 && runsPast) {
            sd->position = sd->length;
            sd->finished = true;
            walk.done = true;
            return noteStandardDamage(sd, JPEG_DAMAGE_TRUNCATED) ? nullptr : kStopped;
        }
        return report_text::kInvalidMarkerSegmentLength;
    }
    if (marker >= kSof0 && marker <= kSof3) {
        if (walk.frameSeen) return report_text::kMoreThanOneFrame;
        walk.frameSeen = true;
        return readFrame(sd, marker, s);
    }
    if (marker > kSof3 && marker <= 0xCF && marker != kDht && marker != kDac)
        return report_text::kUnsupportedSofCodingMode;
    switch (marker) {
        case kDht:
            return readHuffmanTables(sd, s) ? nullptr : report_text::kInvalidDhtSegmentSyntax;
        case kDqt:
            return readQuantTables(sd, s) ? nullptr : report_text::kInvalidDqtSegmentSyntax;
        case kDri:
            if (s.size != 2) return report_text::kInvalidDriSegmentSyntax;
            sd->restartInterval = read16(s.bytes);
            return nullptr;
        case kSos:
            if (!walk.frameSeen) return report_text::kScanBeforeTheFrameHeader;
            walk.done = true;
            return readScan(sd, s);
        default:
            if (marker >= kApp0 && marker <= 0xEF) readApplication(sd, marker, s);
            // A length that does not end at a marker is wrong, too short or too long.
            if (sd->position < sd->length && sd->data[sd->position] != 0xFF) return resumeAfterBadLength(walk, body, true);
            return nullptr;
    }
}

}  // namespace

bool readStandardHeaders(StandardDecode* sd, bool frameSeen) {
    Walk walk{sd, frameSeen, false};
    bool stray = false;  // bytes that are no marker since the last segment
    for (;;) {
        // Anything that is not a marker is skipped up to the next 0xFF;
        // any number of fill bytes 0xFF may precede a marker.
        const uint32_t start = sd->position;
        while (sd->position < sd->length && sd->data[sd->position] != 0xFF) ++sd->position;
        stray = stray || sd->position != start;
        while (sd->position < sd->length && sd->data[sd->position] == 0xFF) ++sd->position;
        if (sd->position >= sd->length) {
            if (!walk.frameSeen) {
                reportJpegError(report_text::kNoFrameHeader);
                return false;
            }
            sd->finished = true;  // a stream cut after a scan ends there
            if (sd->scanCount > 0 && !noteStandardDamage(sd, JPEG_DAMAGE_TRUNCATED)) return false;
            return true;
        }
        uint8_t marker = sd->data[sd->position++];
        // A stuffed byte or a reserved code outside entropy-coded data is no marker.
        if (marker == 0 || (marker > kTem && marker < 0xC0)) {
            stray = true;
            continue;
        }
        if (stray && !noteStandardDamage(sd, JPEG_DAMAGE_STRAY)) return false;
        stray = false;
        if (const KelChar16* failure = readSegment(walk, marker)) {
            if (failure != kStopped) reportJpegError(failure);
            return false;
        }
        if (walk.done) return true;
    }
}

uint32_t findStandardDnlHeight(const StandardDecode* sd) {
    for (uint32_t i = sd->position; i + 5 < sd->length; ++i) {
        if (sd->data[i] == 0xFF && sd->data[i + 1] == kDnl && read16(sd->data + i + 2) == 4)
            return read16(sd->data + i + 4);
    }
    return 0;
}
