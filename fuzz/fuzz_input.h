// Reads fuzzer input as a sequence of parameters followed by payload bytes,
// so that every mode of an entry point is reachable from the bytes alone.
#pragma once

#include <cstddef>
#include <cstdint>

#include "KelJPEG.h"

class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    // Parameters come from the END of the input, so the payload keeps its head
    // (a JPEG stays a JPEG when the fuzzer appends option bytes).
    uint8_t takeByte() {
        if (size_ == 0) return 0;
        return data_[--size_];
    }
    // Low byte first; sequenced, so that every compiler reads an input alike.
    uint16_t takeU16() {
        const uint16_t low = takeByte();
        return static_cast<uint16_t>(low | (takeByte() << 8));
    }
    uint32_t takeU32() {
        const uint32_t low = takeU16();
        return low | (static_cast<uint32_t>(takeU16()) << 16);
    }

    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }

private:
    const uint8_t* data_;
    size_t size_;
};

// Frames larger than this are parsed but not decoded, to keep runs fast.
constexpr uint64_t kFuzzMaxPixels = 1u << 20;
