// Allocation of an ImageRect's pixel storage.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

constexpr uint32_t kBadArgument = 0x80030057u;

// Computes stride (when 0) and size, allocates size bytes; null on failure.
ImageRect* complibAllocImageRect(ImageRect* rect);
// 0, kBadArgument for a null rect or null bits, or the heap's failure code.
uint32_t complibFreeImageRect(ImageRect* rect);
