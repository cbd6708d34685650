// Decodes into device-independent bitmaps described by hostile headers.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz_harness::decodeToBitmap(bytes, size);
    return 0;
}
