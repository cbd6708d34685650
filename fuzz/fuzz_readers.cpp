// Differential fuzzing of the quick Huffman reader: sequential frames MCU
// by MCU with the plain and the quick kernels, every scale; any difference
// in what the two leave behind after an MCU aborts.
#include <cstdlib>

#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (!fuzz_harness::firstReaderDifference(bytes, size).empty()) std::abort();
    return 0;
}
