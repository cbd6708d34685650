#include "encoder/marker_writer.h"

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"

namespace encoder {

namespace {

// Largest fixed part of a segment after its marker: DHT's 2 + 1 + 16 + 256.
constexpr int kSegmentBytes = 2 + 1 + 16 + 256;

// Collects one segment's bytes after its marker.
struct Segment {
    uint8_t bytes[kSegmentBytes];
    uint32_t size = 0;

    void put8(uint32_t v) { bytes[size++] = static_cast<uint8_t>(v); }
    void put16(uint32_t v) {
        storeBigEndian(bytes + size, v, 2);
        size += 2;
    }
};

uint32_t writeSegment(BitstreamFile* bf, uint16_t marker, const Segment& segment) {
    writeMarker(bf, marker);
    return writeBytes(bf, segment.bytes, segment.size);
}

bool wantsJfif(const JpegContext* context) {
    uint32_t n = context->enc.componentCount;
    return (n == 1 || n == 3) && (context->options & JPEG_OPT_JFIF) && !(context->options & JPEG_OPT_RAW_COMPONENTS);
}

// The length field counts the thumbnail as w * h bytes although 3 * w * h
// follow. Streams written this way are what the codec has always produced,
// so the field stays as it is; it is right when there is no thumbnail.
uint32_t writeJfif(BitstreamFile* bf, const JfifInfo* jfif) {
    static const JfifInfo kSquarePixels = {1, 1, 0, 0, 0, {0}};
    if (!jfif) jfif = &kSquarePixels;
    uint32_t w = jfif->thumbnailWidth, h = jfif->thumbnailHeight;
    Segment s;
    s.put16(16 + w * h);
    for (char c : {'J', 'F', 'I', 'F', '\0'}) s.put8(static_cast<uint8_t>(c));
    s.put16(0x0102);
    s.put8(jfif->units);
    s.put16(jfif->xDensity);
    s.put16(jfif->yDensity);
    s.put8(w);
    s.put8(h);
    writeSegment(bf, kMarkerApp0, s);
    return writeBytes(bf, jfif->thumbnail, 3 * w * h);
}

uint32_t writeDqt(BitstreamFile* bf, const JpegContext* context) {
    const EncoderState& enc = context->enc;
    uint32_t perTable = enc.quantPrecision ? 129 : 65;
    Segment s;
    s.put16(2 + enc.quantTableCount * perTable);
    writeSegment(bf, kMarkerDqt, s);
    uint32_t last = 0;
    for (uint32_t t = 0; t < enc.quantTableCount; ++t) {
        uint8_t table[65];
        table[0] = static_cast<uint8_t>((enc.quantPrecision << 4) | t);
        for (int k = 0; k < 64; ++k) table[1 + k] = static_cast<uint8_t>(context->quantTables[t][k]);
        last = writeBytes(bf, table, 65);
    }
    return last;
}

uint32_t writeDht(BitstreamFile* bf, const HuffmanDefinition& def, uint32_t symbolCount) {
    Segment s;
    s.put16(19 + symbolCount);
    s.put8(def.tableByte);
    for (uint8_t b : def.bits) s.put8(b);
    for (uint32_t i = 0; i < symbolCount; ++i) s.put8(def.huffval[i]);
    return writeSegment(bf, kMarkerDht, s);
}

uint32_t writeSof0(BitstreamFile* bf, const JpegContext* context) {
    const FrameHeader& frame = context->frame;
    Segment s;
    s.put16(context->enc.sofLength);
    s.put8(frame.precision);
    s.put16(frame.lines);
    s.put16(frame.samplesPerLine);
    s.put8(frame.componentCount);
    for (uint32_t i = 0; i < frame.componentCount && i < 4; ++i) {
        const FrameHeaderComponent& c = frame.components[i];
        s.put8(c.identifier);
        s.put8((c.horizontalSampling << 4) | c.verticalSampling);
        s.put8(c.quantTable);
    }
    return writeSegment(bf, kMarkerSof0, s);
}

uint32_t writeDri(BitstreamFile* bf, uint32_t interval) {
    Segment s;
    s.put16(4);
    s.put16(interval);
    return writeSegment(bf, kMarkerDri, s);
}

uint32_t writeSos(BitstreamFile* bf, const EncoderState& enc) {
    Segment s;
    s.put16(enc.sosLength);
    s.put8(enc.scanComponentCount);
    for (uint32_t i = 0; i < enc.scanComponentCount && i < 4; ++i) {
        s.put8(enc.scanComponents[i].identifier);
        s.put8(enc.scanComponents[i].tableSelectors);
    }
    s.put8(enc.spectralStart);
    s.put8(enc.spectralEnd);
    s.put8(enc.approximation);
    return writeSegment(bf, kMarkerSos, s);
}

}  // namespace

void storeBigEndian(uint8_t* out, uint32_t value, int count) {
    for (int i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
}

int32_t jpegEncodeWriteHeaders(JpegContext* context, const JfifInfo* jfif) {
    BitstreamFile* bf = context->bitstream;
    const EncoderState& enc = context->enc;
    writeMarker(bf, kMarkerSoi);
    if (wantsJfif(context)) writeJfif(bf, jfif);
    writeDqt(bf, context);
    for (int t = 0; t < kEncoderHuffmanTables; ++t) writeDht(bf, enc.huffmanSpecs[t], enc.huffmanSymbolCounts[t]);
    writeSof0(bf, context);
    if (enc.restartInterval != 0) writeDri(bf, enc.restartInterval);
    writeSos(bf, enc);
    return 0;
}

uint32_t jpegEncodeWriteDnl(JpegContext* context, uint32_t lines) {
    Segment s;
    s.put16(4);
    s.put16(lines);
    return writeSegment(context->bitstream, kMarkerDnl, s);
}

uint32_t jpegEncodeWriteEoi(JpegContext* context) { return writeMarker(context->bitstream, kMarkerEoi); }

uint32_t jpegEncodeWriteRestart(JpegContext* context, uint32_t index) {
    return writeMarker(context->bitstream, static_cast<uint16_t>(kMarkerRst0 + (index & 7)));
}

}  // namespace encoder
