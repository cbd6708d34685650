// Decoder working state held in the codec context.
#pragma once

#include <cstdint>

struct DecoderState {
    uint32_t placeholder;  // filled in by the decoder
};
