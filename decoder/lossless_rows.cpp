// The sixteen row routines of lossless decoding: a first row, then one per
// predictor, each for byte samples and for 16-bit samples. Samples are kept
// modulo 2^8 or 2^16; predictions use the stored (unsigned) neighbours, with
// arithmetic shifts, so predictor 5 with Rb - Rc = -3 adds -2 to Ra.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/lossless_decode.h"

namespace {

template <typename Sample>
int32_t loadSample(const uint8_t* row, size_t index) {
    Sample s;
    std::memcpy(&s, row + index * sizeof(Sample), sizeof(Sample));  // rows need not be aligned
    return s;
}

template <typename Sample>
void storeSample(uint8_t* row, size_t index, int32_t value) {
    Sample s = static_cast<Sample>(value);
    std::memcpy(row + index * sizeof(Sample), &s, sizeof(Sample));
}

// Px for pixels after the first, from Ra (left), Rb (above), Rc (above left).
template <int Predictor>
int32_t predict(int32_t ra, int32_t rb, int32_t rc) {
    if constexpr (Predictor == 1) return ra;
    if constexpr (Predictor == 2) return rb;
    if constexpr (Predictor == 3) return rc;
    if constexpr (Predictor == 4) return ra + rb - rc;
    if constexpr (Predictor == 5) return ra + ((rb - rc) >> 1);
    if constexpr (Predictor == 6) return rb + ((ra - rc) >> 1);
    if constexpr (Predictor == 7) return (ra + rb) >> 1;
}

struct RowShape {
    size_t components;
    size_t width;
};

RowShape rowShape(const JpegContext* context) {
    return {context->dec.componentCount, context->frame.samplesPerLine};
}

// Pixel 0 from 2^(P - Pt - 1), every later pixel from its left neighbour.
template <typename Sample>
int32_t decodeFirstRow(JpegContext* context, uint8_t* row) {
    const RowShape shape = rowShape(context);
    const int32_t initial = 1 << (context->frame.precision - context->dec.scan.al - 1);
    for (size_t x = 0; x < shape.width; ++x) {
        for (size_t c = 0; c < shape.components; ++c) {
            int32_t difference;
            if (decodeDifference(context, &context->components[c], &difference) != 0) return kLosslessCodeError;
            const size_t i = x * shape.components + c;
            const int32_t prediction = x == 0 ? initial : loadSample<Sample>(row, i - shape.components);
            storeSample<Sample>(row, i, difference + prediction);
        }
    }
    return 0;
}

// Pixel 0 from the sample above whatever the predictor, the others by it.
template <typename Sample, int Predictor>
int32_t decodeRow(JpegContext* context, uint8_t* row, const uint8_t* previousRow) {
    const RowShape shape = rowShape(context);
    for (size_t x = 0; x < shape.width; ++x) {
        for (size_t c = 0; c < shape.components; ++c) {
            int32_t difference;
            if (decodeDifference(context, &context->components[c], &difference) != 0) return kLosslessCodeError;
            const size_t i = x * shape.components + c;
            const int32_t rb = loadSample<Sample>(previousRow, i);
            int32_t prediction = rb;
            if (x > 0) {
                const size_t left = i - shape.components;
                prediction = predict<Predictor>(loadSample<Sample>(row, left), rb, loadSample<Sample>(previousRow, left));
            }
            storeSample<Sample>(row, i, difference + prediction);
        }
    }
    return 0;
}

}  // namespace

int32_t decodeLosslessFirstRow8(JpegContext* context, uint8_t* row, const uint8_t*) {
    return decodeFirstRow<uint8_t>(context, row);
}
int32_t decodeLosslessFirstRow16(JpegContext* context, uint8_t* row, const uint8_t*) {
    return decodeFirstRow<uint16_t>(context, row);
}

int32_t decodeLosslessRowP1x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 1>(c, row, prev); }
int32_t decodeLosslessRowP2x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 2>(c, row, prev); }
int32_t decodeLosslessRowP3x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 3>(c, row, prev); }
int32_t decodeLosslessRowP4x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 4>(c, row, prev); }
int32_t decodeLosslessRowP5x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 5>(c, row, prev); }
int32_t decodeLosslessRowP6x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 6>(c, row, prev); }
int32_t decodeLosslessRowP7x8(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint8_t, 7>(c, row, prev); }

int32_t decodeLosslessRowP1x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 1>(c, row, prev); }
int32_t decodeLosslessRowP2x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 2>(c, row, prev); }
int32_t decodeLosslessRowP3x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 3>(c, row, prev); }
int32_t decodeLosslessRowP4x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 4>(c, row, prev); }
int32_t decodeLosslessRowP5x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 5>(c, row, prev); }
int32_t decodeLosslessRowP6x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 6>(c, row, prev); }
int32_t decodeLosslessRowP7x16(JpegContext* c, uint8_t* row, const uint8_t* prev) { return decodeRow<uint16_t, 7>(c, row, prev); }
