// Row driver of progressive frames (decodes scans into the coefficient
// buffer, then rebuilds rows through the expanders and pixel writers).
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;

// Rows delivered by this call; 0 on any failure. rows: low 16 bits used.
int32_t decodeProgressiveRows(JpegContext* context, ImageRect* rect, uint32_t rows);
