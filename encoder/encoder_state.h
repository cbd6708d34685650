// Encoder working state held in the codec context.
#pragma once

#include <cstdint>

struct EncoderState {
    uint32_t placeholder;  // filled in by the encoder
};
