// Marker writer: the header segments of a baseline frame, and DNL, EOI and
// RSTn, written through the bit writer.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "context/jpeg_constants.h"

struct JpegContext;

namespace encoder {

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
