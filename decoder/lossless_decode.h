// Row driver of lossless frames: decodes rows straight into the rectangle.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;

// Rows delivered by this call; 0 on failure or for an unsupported frame.
// rows: low 16 bits used.
int32_t decodeLosslessRows(JpegContext* context, ImageRect* rect, uint32_t rows);
