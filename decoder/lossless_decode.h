// Lossless frames (SOF3 and above): each sample is a Huffman-coded difference
// plus a prediction from its decoded neighbours, decoded row by row straight
// into the caller's rectangle. Samples are one byte for precisions up to 8
// and one unsigned 16-bit value (host order) for 9 to 16; they keep the
// reduced range of a point transform (they are not shifted back up).
#pragma once

#include <climits>
#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;
struct ComponentRecord;

constexpr int32_t kLosslessCodeError = INT32_MIN;  // 0x80000000: a corrupt code, not reported

// Rows delivered by this call; 0 on failure or for an unsupported frame.
// rows: low 16 bits used. A call after the first predicts its first row from
// the row kept in spatialPrevLine by the previous call.
[[nodiscard]] int32_t decodeLosslessRows(JpegContext* context, ImageRect* rect, uint32_t rows);

// One difference with the component's DC table: 0, or kLosslessCodeError.
[[nodiscard]] int32_t decodeDifference(JpegContext* context, ComponentRecord* component, int32_t* difference);

// Row routines: (context, row, previous row) -> 0 or kLosslessCodeError. The
// first-row routine ignores the previous row.
[[nodiscard]] int32_t decodeLosslessFirstRow8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessFirstRow16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP1x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP2x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP3x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP4x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP5x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP6x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP7x8(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP1x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP2x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP3x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP4x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP5x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP6x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
[[nodiscard]] int32_t decodeLosslessRowP7x16(JpegContext* context, uint8_t* row, const uint8_t* previousRow);
