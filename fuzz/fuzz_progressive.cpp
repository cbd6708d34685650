// Decodes a progressive image one scan per pass until it reports completion.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::decodeProgressivePasses(bytes, size);
    return 0;
}
