// The marker parser: the header walk from SOI to the first scan, the scan
// set-up, and the markers met between entropy-coded segments.
#include "decoder/marker_parser.h"

#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/bit_reader.h"
#include "decoder/huffman_decode.h"
#include "runtime/limits.h"
#include "runtime/report.h"

namespace {

constexpr int32_t kWalkFailed = -1;

uint32_t read8(BitstreamFile* bf) { return getHeaderBits(bf, 8); }
uint32_t read16(BitstreamFile* bf) { return getHeaderBits(bf, 16); }

// Bytes consumed so far; lets the restart handler tell whether a marker was read.
uint32_t bitsConsumed(const BitstreamFile* bf) { return complibGetBitstreamPosition(bf) * 8 - bf->bitCount; }

// Adds a table byte to the pending list once: at most the eight distinct tables.
void addPendingTable(DecoderState& dec, uint32_t tableByte) {
    for (uint32_t i = 0; i < dec.pendingCount; ++i)
        if (dec.pendingTables[i] == static_cast<int32_t>(tableByte)) return;
    dec.pendingTables[dec.pendingCount++] = static_cast<int32_t>(tableByte);
    dec.pendingTables[dec.pendingCount] = -1;
}

// One table of a DHT segment; remaining counts the segment's bytes left.
[[nodiscard]] bool readHuffmanTable(JpegContext* context, int32_t& remaining) {
    BitstreamFile* bf = context->bitstream;
    HuffmanDefinition definition{};
    definition.tableByte = static_cast<uint8_t>(read8(bf));
    uint32_t n = 0;
    for (uint8_t& count : definition.bits) {
        count = static_cast<uint8_t>(read8(bf));
        n += count;
    }
    uint32_t tableClass = definition.tableByte >> 4, tableNumber = definition.tableByte & 15;
    if (remaining < 17 || tableClass > 1 || tableNumber > 3 || n > 256 ||
        n > static_cast<uint32_t>(remaining - 17)) {
        reportJpegError(report_text::kInvalidDhtSegmentSyntax);
        return false;
    }
    for (uint32_t i = 0; i < n; ++i) definition.huffval[i] = static_cast<uint8_t>(read8(bf));
    remaining -= static_cast<int32_t>(17 + n);
    addPendingTable(context->dec, tableClass * 16 + tableNumber);
    return complibBuildHuffmanCodeTable(context, &definition, n) == 0;
}

[[nodiscard]] bool readDhtSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    skipMarker(bf);
    int32_t remaining = static_cast<int32_t>(read16(bf)) - 2;
    if (remaining < 0) {
        reportJpegError(report_text::kInvalidDhtSegmentSyntax);
        return false;
    }
    while (remaining != 0) {
        if (!readHuffmanTable(context, remaining)) return false;
    }
    return true;
}

[[nodiscard]] bool readDqtSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    skipMarker(bf);
    int32_t remaining = static_cast<int32_t>(read16(bf)) - 2;
    while (remaining > 0) {
        uint32_t tableByte = read8(bf);
        uint32_t width = (tableByte & 0xF0) == 0x10 ? 2 : 1;
        int32_t need = static_cast<int32_t>(1 + 64 * width);
        if ((tableByte & 15) > 3 || need > remaining) break;
        int32_t* table = context->quantTables[tableByte & 15];
        for (int i = 0; i < 64; ++i) table[i] = static_cast<int32_t>(getHeaderBits(bf, 8 * width));
        remaining -= need;
    }
    if (remaining != 0) {
        reportJpegError(report_text::kInvalidDqtSegmentSyntax);
        return false;
    }
    return true;
}

void readDriSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    skipMarker(bf);
    if (read16(bf) != 4) reportJpegError(report_text::kInvalidDriSegmentSyntax);
    context->dec.restartInterval = read16(bf);
}

// The JFIF body after its identifier; returns the bytes of the segment left to skip.
uint32_t readJfifBody(JpegContext* context, uint32_t segmentLength) {
    BitstreamFile* bf = context->bitstream;
    DecoderState& dec = context->dec;
    (void)read16(bf);  // version
    dec.densityUnits = static_cast<uint8_t>(read8(bf));
    dec.xDensity = static_cast<uint16_t>(read16(bf));
    dec.yDensity = static_cast<uint16_t>(read16(bf));
    dec.thumbnailWidth = static_cast<uint8_t>(read8(bf));
    dec.thumbnailHeight = static_cast<uint8_t>(read8(bf));
    uint32_t thumbnailBytes = 3u * dec.thumbnailWidth * dec.thumbnailHeight;
    int32_t left = static_cast<int32_t>(segmentLength) - 16;
    auto* params = static_cast<JpegDecodeParams*>(context->params);
    if ((context->options & JPEG_OPT_JFIF) && params && params->jfifInfo) {
        JfifInfo* info = params->jfifInfo;
        info->xDensity = dec.xDensity;
        info->yDensity = dec.yDensity;
        info->units = dec.densityUnits;
        info->thumbnailWidth = dec.thumbnailWidth;
        info->thumbnailHeight = dec.thumbnailHeight;
        // The buffer holds the largest thumbnail, so the count is read whole,
        // past the end of the data as well (0xFF bytes, each reported).
        for (uint32_t i = 0; i < thumbnailBytes; ++i) info->thumbnail[i] = static_cast<uint8_t>(read8(bf));
        left -= static_cast<int32_t>(thumbnailBytes);
        return left > 0 ? static_cast<uint32_t>(left) : 0;
    }
    // Without a buffer the thumbnail is read and dropped, and the segment's
    // length is still skipped in full after it: a thumbnail shifts the parse.
    skipHeaderBytes(bf, thumbnailBytes);
    return left > 0 ? static_cast<uint32_t>(left) : 0;
}

void readAppSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    uint16_t marker = readMarker(bf);
    uint32_t length = read16(bf);
    int32_t rest = static_cast<int32_t>(length) - 2;
    if (marker == kMarkerApp0 && rest >= 6) {
        char identifier[5];
        for (char& c : identifier) c = static_cast<char>(read8(bf));
        if (std::memcmp(identifier, "JFIF", 5) == 0) {
            skipHeaderBytes(bf, readJfifBody(context, length));
        } else {
            skipHeaderBytes(bf, length - 7);
        }
        return;
    }
    if (rest > 0) skipHeaderBytes(bf, static_cast<uint32_t>(rest));
}

void readComSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    skipMarker(bf);
    uint32_t length = read16(bf);
    if (length > 2) skipHeaderBytes(bf, length - 2);
}

// Walks the table and miscellaneous segments; returns the first other marker
// (not consumed), or kWalkFailed after a report. Past the end of the data the
// peek sees 0xFFFF, which stops the walk like any other unknown marker and
// leaves the caller to judge it: as a frame marker it is refused, before a
// scan it keeps the previous scan header.
int32_t walkMiscellaneousSegments(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    for (;;) {
        uint16_t marker = peekMarker(bf);
        if (marker == kMarkerDht) {
            if (!readDhtSegment(context)) return kWalkFailed;
        } else if (marker == kMarkerDqt) {
            if (!readDqtSegment(context)) return kWalkFailed;
        } else if (marker == kMarkerDri) {
            readDriSegment(context);
        } else if (marker >= kMarkerApp0 && marker <= 0xFFEF) {
            readAppSegment(context);
        } else if (marker == 0xFFFE) {
            readComSegment(context);
        } else if (marker == kMarkerDac) {
            // Arithmetic-coding conditioning: there is no way past it.
            reportJpegError(report_text::kArithmeticCodingNotSupported);
            return kWalkFailed;
        } else {
            return marker;
        }
    }
}

uint32_t blockCountOf(uint32_t samplingByte, uint32_t previous) {
    switch (samplingByte) {
        case 0x11: return 1;
        case 0x12:
        case 0x21: return 2;
        case 0x22: return 4;
        default: return previous;
    }
}

void computeGeometry(DecoderState& dec) {
    dec.positionCount = dec.maxH * dec.maxV;
    dec.componentPositions = dec.componentCount * dec.positionCount;
    dec.scratchBlocks = dec.positionCount * 4;
    dec.mcuWidth = 8 * dec.maxH;
    dec.mcuHeight = 8 * dec.maxV;
    dec.mcuRows = (dec.imageHeight + dec.mcuHeight - 1) / dec.mcuHeight;
    dec.mcusPerRow = (dec.imageWidth + dec.mcuWidth - 1) / dec.mcuWidth;
    dec.totalMcus = dec.mcusPerRow * dec.mcuRows;
}

// The frame header after its marker. Components beyond the fourth are read
// and dropped so that the sampling check still comes before the count check.
[[nodiscard]] bool readFrameHeader(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    DecoderState& dec = context->dec;
    FrameHeader& frame = context->frame;
    (void)read16(bf);  // Lf
    frame.precision = static_cast<uint8_t>(read8(bf));
    frame.lines = static_cast<uint16_t>(read16(bf));
    frame.samplesPerLine = static_cast<uint16_t>(read16(bf));
    uint32_t count = read8(bf);
    frame.componentCount = static_cast<uint8_t>(count);
    dec.imageHeight = frame.lines;
    dec.imageWidth = frame.samplesPerLine;
    dec.componentCount = count;
    dec.samplingSignature = 0;
    dec.maxH = dec.maxV = 0;
    dec.blocksPerMcu = 0;
    bool zeroFactor = false, badTable = false;
    uint32_t blocks = 0;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t identifier = read8(bf), sampling = read8(bf), tableNumber = read8(bf);
        uint32_t h = sampling >> 4, v = sampling & 15;
        zeroFactor |= h == 0 || v == 0;
        if (h > dec.maxH) dec.maxH = h;
        if (v > dec.maxV) dec.maxV = v;
        blocks = blockCountOf(sampling, blocks);
        dec.blocksPerMcu += blocks;
        dec.samplingSignature = dec.samplingSignature * 256 + sampling;
        if (i >= 4) continue;
        frame.components[i] = FrameHeaderComponent{static_cast<uint8_t>(identifier), static_cast<uint8_t>(h),
                                                   static_cast<uint8_t>(v), static_cast<uint8_t>(tableNumber)};
        context->components[i].sampling = sampling;
        badTable |= tableNumber > 3;
        std::memcpy(context->components[i].quant, context->quantTables[tableNumber & 3], sizeof(int32_t) * 64);
    }
    if (dec.maxH >= 3 || dec.maxV >= 3 || zeroFactor) {
        reportJpegError(report_text::kUnsupportedSamplingFactor);
        return false;
    }
    if (count >= 5 || count == 0) {
        reportJpegError(report_text::kNotSupportImageComponents);
        return false;
    }
    if (badTable) {
        reportJpegError(report_text::kInvalidQuantizationTableNumber);
        return false;
    }
    if (!framePixelsAllowed(dec.imageWidth, dec.imageHeight)) {
        reportJpegError(report_text::kImageExceedsThePixelLimit);
        return false;
    }
    computeGeometry(dec);
    return true;
}

[[nodiscard]] bool readSosSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    if (readMarker(bf) != kMarkerSos) {
        reportJpegError(report_text::kIllegalSosMarkerCode);
        return true;
    }
    (void)read16(bf);  // Ls
    ScanHeader scan{};
    uint32_t count = read8(bf);
    if (count == 0 || count > 4) {
        reportJpegError(report_text::kInvalidSosSegmentSyntax);
        return false;
    }
    scan.componentCount = static_cast<uint8_t>(count);
    bool badTable = false;
    for (uint32_t i = 0; i < count; ++i) {
        scan.components[i].selector = static_cast<uint8_t>(read8(bf));
        uint32_t tables = read8(bf);
        scan.components[i].dcTable = static_cast<uint8_t>(tables >> 4);
        scan.components[i].acTable = static_cast<uint8_t>(tables & 15);
        badTable |= (tables >> 4) > 3 || (tables & 15) > 3;
    }
    scan.ss = static_cast<uint8_t>(read8(bf));
    scan.se = static_cast<uint8_t>(read8(bf));
    uint32_t approximation = read8(bf);
    scan.ah = static_cast<uint8_t>(approximation >> 4);
    scan.al = static_cast<uint8_t>(approximation & 15);
    // The segment is read whole before a table number is refused, so that
    // the end of the data inside it is reported byte by byte.
    if (badTable) {
        reportJpegError(report_text::kInvalidSosSegmentSyntax);
        return false;
    }
    context->dec.scan = scan;
    return true;
}

// Frame component whose identifier is the selector, searching from the first; -1 if none.
int32_t findFrameComponent(const JpegContext* context, uint32_t selector) {
    uint32_t count = context->dec.componentCount < 4 ? context->dec.componentCount : 4;
    for (uint32_t k = 0; k < count; ++k)
        if (context->frame.components[k].identifier == selector) return static_cast<int32_t>(k);
    return -1;
}

[[nodiscard]] bool setUpScanComponents(JpegContext* context) {
    DecoderState& dec = context->dec;
    const ScanHeader& scan = dec.scan;
    for (uint32_t i = 0; i < scan.componentCount; ++i) {
        int32_t k = findFrameComponent(context, scan.components[i].selector);
        if (k < 0) {
            reportJpegError(report_text::kInvalidSosSegmentSyntax);
            return false;
        }
        const FrameHeaderComponent& fc = context->frame.components[k];
        const HuffmanSlot& dc = context->huffman[kDcSlot + scan.components[i].dcTable];
        const HuffmanSlot& ac = context->huffman[kAcSlot + scan.components[i].acTable];
        ComponentRecord& record = context->components[i];
        record.blocksInMcu = uint32_t{fc.horizontalSampling} * fc.verticalSampling;
        record.dcLookupTable = dc.lookupTable;
        record.dcCodeTable = dc.codeTable;
        record.dcMaxCodeLength = dc.maxCodeLength;
        record.acLookupTable = ac.lookupTable;
        record.acCodeTable = ac.codeTable;
        record.acMaxCodeLength = ac.maxCodeLength;
    }
    dec.firstScanBlockOffset = 0;
    if (scan.componentCount > 0) {
        int32_t first = findFrameComponent(context, scan.components[0].selector);
        for (int32_t k = 0; k < first; ++k)
            dec.firstScanBlockOffset += uint32_t{context->frame.components[k].horizontalSampling} *
                                        context->frame.components[k].verticalSampling;
    }
    if (scan.ss != 0 || scan.se != 0)
        dec.scanPass = scan.ah != 0 ? ScanPass::AcRefine : ScanPass::AcFirst;
    else
        dec.scanPass = scan.ah != 0 ? ScanPass::DcRefine : ScanPass::DcFirst;
    return true;
}

}  // namespace

namespace {

// The scan set-up proper; parseScanHeaders adds the clean-up after a failure.
int32_t setUpNextScan(JpegContext* context) {
    DecoderState& dec = context->dec;
    int32_t marker = walkMiscellaneousSegments(context);
    if (marker == kWalkFailed) return -1;
    if (dec.pendingCount != 0) {
        if (jpegDecodeInitializeDecVLCTable(context) != 0) {
            reportJpegError(report_text::kInitializeVlcTableFailed);
            return -1;
        }
        dec.pendingCount = 0;
        dec.pendingTables[0] = -1;
    }
    if (marker == kMarkerSos && !readSosSegment(context)) return -1;
    // Each progressive scan walks the whole frame again, however few its
    // bytes: the scan count is what bounds the work of a tiny file.
    if (marker == kMarkerSos && !scanCountAllowed(++dec.scanCount)) {
        reportJpegError(report_text::kTooManyScans);
        return -1;
    }
    if (!setUpScanComponents(context)) return -1;
    if (dec.mcuBlocks) dec.progressiveCursor = dec.progressiveBlocks;
    context->mcuCounter = 0;
    return 0;
}

}  // namespace

int32_t parseScanHeaders(JpegContext* context) {
    if (setUpNextScan(context) == 0) return 0;
    // Tables redefined before the failure may have been released: no record
    // may keep pointing at them (a missing table reads as a corrupt code).
    for (ComponentRecord& record : context->components) {
        record.dcLookupTable = record.acLookupTable = nullptr;
        record.dcCodeTable = record.acCodeTable = nullptr;
    }
    return -1;
}

int32_t parseFrameHeaders(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    if (readMarker(bf) != kMarkerSoi) {
        reportJpegError(report_text::kExtraneousBytesBeforeSoiMarker);
        return -1;
    }
    if (walkMiscellaneousSegments(context) == kWalkFailed) return -1;
    uint16_t sof = readMarker(bf);
    context->frame.sofMarker = sof;
    if (sof < kMarkerSof0 || sof > markerWord(kSof3)) {
        reportJpegError(report_text::kUnsupportedSofCodingMode);
        return -1;
    }
    if (!readFrameHeader(context)) return -1;
    return parseScanHeaders(context) == 0 ? 0 : -1;
}

void readDnlSegment(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    skipMarker(bf);
    if (read16(bf) != 4) reportJpegError(report_text::kInvalidDnlSegmentSyntax);
    uint32_t lines = read16(bf);
    if (context->dec.imageHeight == 0) {
        context->dec.imageHeight = lines;
    } else {
        reportJpegError(report_text::kNoEffectDnlSegment);
    }
}

uint16_t processRestart(JpegContext* context) {
    BitstreamFile* bf = context->bitstream;
    DecoderState& dec = context->dec;
    uint16_t marker = peekMarker(bf);
    while (marker >= 0xFFC0) {
        // The data has ended (the reader has reported): leave the state as it
        // is, so that a caller feeding pieces can hand over the next one.
        if (bitReaderPastEnd(bf)) return marker;
        if (marker >= kMarkerRst0 && marker <= markerWord(kRst7)) {
            skipMarker(bf);
            context->mcuCounter = 0;
            dec.eobRun = 0;
            for (uint32_t i = 0; i < dec.componentCount && i < 4; ++i) context->components[i].dcPredictor = 0;
        } else if (marker == kMarkerEoi) {
            dec.lastMarker = kMarkerEoi;
            return kMarkerEoi;
        } else if (marker == kMarkerDnl) {
            readDnlSegment(context);
        } else {
            // A new scan. A marker that cannot be read past (unknown, or a
            // malformed segment) would stop every later call here: end the image.
            uint32_t before = bitsConsumed(bf);
            bool failed = parseScanHeaders(context) != 0;
            if (!failed && bitsConsumed(bf) == before)
                reportJpegError(report_text::kUnexpectedMarkerInEntropyCodedData);
            if (failed || bitsConsumed(bf) == before) {
                dec.lastMarker = kMarkerEoi;
                return kMarkerEoi;
            }
        }
        marker = peekMarker(bf);
    }
    return marker;
}
