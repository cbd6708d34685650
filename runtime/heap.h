// Heap wrappers: every buffer the library keeps for itself. The context block
// and the memory-mode output stream (a plain process-heap block, because the
// caller receives it and releases it with HeapFree / free() or jpegFreeMemory)
// do not come from here.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t kComplibFailure = 0x80000000u;

// Returns the block or null; never reports (callers report in their own words).
void* complibAllocMemory(size_t size);
// 0, or kComplibFailure after reporting "HeapFree () failed." (a block the heap does not own).
uint32_t complibFreeMemory(void* block);
// Null block: allocates. On failure returns null and the old block stays valid.
void* complibReallocMemory(void* block, size_t size);
