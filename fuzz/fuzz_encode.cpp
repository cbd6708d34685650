// Encodes rectangles with random geometry, stride, sampling, options, quality and strips.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::encodeRects(bytes, size);
    return 0;
}
