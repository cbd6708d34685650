// Encodes bitmaps of every depth and TWAIN transfers with hostile headers.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::encodeBitmaps(bytes, size);
    return 0;
}
