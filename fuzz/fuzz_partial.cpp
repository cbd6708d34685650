// Feeds the entropy-coded data in pieces through partial bitstreams.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::decodePieces(bytes, size);
    return 0;
}
