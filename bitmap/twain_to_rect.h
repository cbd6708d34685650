// TWAIN native transfer rows (24-bit RGB, top row first, rows padded to an
// even byte count) into an image rectangle in the library's blue, green, red
// order.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

// Sets the rectangle to width x lines with stride 3 x width, allocates its
// pixel store and fills it. Returns rect, or null after a report; the caller
// frees the pixel store in either case (complibFreeImageRect).
[[nodiscard]] ImageRect* complibConvertWinTWAINToRect(ImageRect* rect, const void* data, uint32_t width,
                                                      uint32_t lines);
