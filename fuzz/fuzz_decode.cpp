// Decodes memory input at a chosen scale, optionally as raw components, in
// strips whose sizes come from the input.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::decodeStrips(bytes, size);
    return 0;
}
