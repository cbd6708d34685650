// Decodes lossless frames, turning other frame markers into the lossless one.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::decodeLossless(bytes, size);
    return 0;
}
