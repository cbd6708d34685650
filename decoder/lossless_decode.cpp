// The row driver of lossless frames and the difference decoder. There is no
// restart processing, MCU counting or end-of-image test here: the rows asked
// for and the frame's lines bound the work.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/decode_route.h"
#include "decoder/lossless_decode.h"

namespace {

struct RowRoutines {
    LosslessRowDecoder first;
    LosslessRowDecoder byPredictor[7];  // predictors 1..7
};

const RowRoutines kByteRoutines = {
    decodeLosslessFirstRow8,
    {decodeLosslessRowP1x8, decodeLosslessRowP2x8, decodeLosslessRowP3x8, decodeLosslessRowP4x8,
     decodeLosslessRowP5x8, decodeLosslessRowP6x8, decodeLosslessRowP7x8}};

const RowRoutines kWordRoutines = {
    decodeLosslessFirstRow16,
    {decodeLosslessRowP1x16, decodeLosslessRowP2x16, decodeLosslessRowP3x16, decodeLosslessRowP4x16,
     decodeLosslessRowP5x16, decodeLosslessRowP6x16, decodeLosslessRowP7x16}};

size_t sampleBytes(const JpegContext* context) { return context->frame.precision <= 8 ? 1 : 2; }

size_t rowBytes(const JpegContext* context) {
    return static_cast<size_t>(context->dec.componentCount) * context->frame.samplesPerLine * sampleBytes(context);
}

// What a row needs beyond the frame checks: 1..4 components, a kept-row buffer
// that holds a whole row, a rectangle whose rows do not overlap, and a point
// transform below the precision (the first prediction is 2^(P - Pt - 1)).
bool rowsFit(const JpegContext* context, const ImageRect* rect) {
    const DecoderState& dec = context->dec;
    const size_t bytes = rowBytes(context);
    const size_t stride = static_cast<size_t>(rect->stride < 0 ? -static_cast<int64_t>(rect->stride) : rect->stride);
    return rect->bits && dec.componentCount >= 1 && dec.componentCount <= 4 && dec.losslessRowScratch &&
           bytes <= dec.spatialPrevLineSize && stride >= bytes && dec.scan.al < context->frame.precision;
}

// First call: choose the routine set by precision and the routine by
// predictor. Returns the first-row routine, or null for an unsupported frame.
LosslessRowDecoder chooseRowRoutines(JpegContext* context) {
    const uint32_t precision = context->frame.precision;
    const uint32_t predictor = context->dec.scan.ss;
    if (precision < 2 || precision > 16 || predictor < 1 || predictor > 7) return nullptr;
    const RowRoutines& set = precision <= 8 ? kByteRoutines : kWordRoutines;
    context->dec.losslessRowDecoder = set.byPredictor[predictor - 1];
    return set.first;
}

}  // namespace

int32_t decodeDifference(JpegContext* context, ComponentRecord* component, int32_t* difference) {
    BitstreamFile* bf = context->bitstream;
    int32_t category =
        decodeHuffmanSymbol(bf, component->dcLookupTable, component->dcCodeTable, component->dcMaxCodeLength);
    if (category < 0 || category > 16) return kLosslessCodeError;
    if (category == 0) {
        *difference = 0;
    } else if (category == 16) {
        // No threshold applies to 16 bits: the raw value is the difference.
        *difference = static_cast<int32_t>(getBits(bf, 16));
    } else {
        *difference = receiveExtend(bf, static_cast<uint32_t>(category));
    }
    return 0;
}

namespace {

// Decodes one row into the scratch row and only then copies it to target, so
// that a row whose data fails part-way leaves the caller's row untouched.
[[nodiscard]] bool decodeWholeRow(JpegContext* context, LosslessRowDecoder decode, uint8_t* target,
                                  const uint8_t* previousRow) {
    uint8_t* scratch = context->dec.losslessRowScratch;
    if (decode(context, scratch, previousRow) != 0) return false;
    std::memcpy(target, scratch, rowBytes(context));
    return true;
}

}  // namespace

int32_t decodeLosslessRows(JpegContext* context, ImageRect* rect, uint32_t rows) {
    if (!context || !rect) return 0;
    DecoderState& dec = context->dec;
    const uint32_t lines = context->frame.lines;
    // Every call writes at least one row; the rectangle's height is not read.
    if (!rowsFit(context, rect)) return 0;
    if (lines != 0 && dec.rowsDelivered >= lines) return 0;  // the image is complete

    uint8_t* row = rect->bits;
    bool decoded;
    if (dec.rowsDelivered == 0) {
        LosslessRowDecoder first = chooseRowRoutines(context);
        if (!first) return 0;
        decoded = decodeWholeRow(context, first, row, nullptr);
    } else {
        if (!dec.losslessRowDecoder) return 0;
        decoded = decodeWholeRow(context, dec.losslessRowDecoder, row, dec.spatialPrevLine);
    }
    if (!decoded) return 0;
    ++dec.rowsDelivered;
    int32_t delivered = 1;

    const int32_t requested = static_cast<int32_t>(rows & 0xFFFF);
    for (int32_t i = 1; i < requested && (lines == 0 || dec.rowsDelivered < lines); ++i) {
        uint8_t* next = row + rect->stride;
        if (!decodeWholeRow(context, dec.losslessRowDecoder, next, row)) return 0;  // counted rows stay counted
        ++dec.rowsDelivered;
        ++delivered;
        row = next;
    }
    if (dec.rowsDelivered != lines) std::memcpy(dec.spatialPrevLine, row, rowBytes(context));
    return delivered;
}

// A lossless frame has no reduced sizes (and no block buffers to reduce).
int32_t deliverLosslessRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    return scale >= 3 ? decodeLosslessRows(context, rect, rows) : 0;
}
