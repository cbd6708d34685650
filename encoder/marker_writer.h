// Marker writer: the header segments of a baseline frame, and DNL, EOI and
// RSTn, written through the bit writer.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;

namespace encoder {

constexpr uint16_t kMarkerSoi = 0xFFD8;
constexpr uint16_t kMarkerEoi = 0xFFD9;
constexpr uint16_t kMarkerRst0 = 0xFFD0;
constexpr uint16_t kMarkerApp0 = 0xFFE0;
constexpr uint16_t kMarkerDqt = 0xFFDB;
constexpr uint16_t kMarkerDht = 0xFFC4;
constexpr uint16_t kMarkerSof0 = 0xFFC0;
constexpr uint16_t kMarkerDri = 0xFFDD;
constexpr uint16_t kMarkerSos = 0xFFDA;
constexpr uint16_t kMarkerDnl = 0xFFDC;

// Stores the low `count` bytes of value into out, most significant first.
void storeBigEndian(uint8_t* out, uint32_t value, int count);

// SOI, APP0 (JFIF; 1 or 3 components, JPEG_OPT_JFIF set, JPEG_OPT_RAW_COMPONENTS
// clear), DQT, four DHT, SOF0, DRI (restart interval not 0), SOS.
// A null jfif writes the segment with a 1:1 aspect ratio and no thumbnail.
int32_t jpegEncodeWriteHeaders(JpegContext* context, const JfifInfo* jfif);

uint32_t jpegEncodeWriteDnl(JpegContext* context, uint32_t lines);
uint32_t jpegEncodeWriteEoi(JpegContext* context);
uint32_t jpegEncodeWriteRestart(JpegContext* context, uint32_t index);

}  // namespace encoder
