// Builders for the bitmap tests: a header with its colour table in one block,
// and rectangles over test-owned storage.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "KelJPEG.h"

namespace bitmap_testing {

// A BITMAPINFOHEADER followed by a colour table, as one contiguous block.
struct DibHeader {
    std::vector<uint8_t> block;

    explicit DibHeader(int bitCount, int32_t width = 0, int32_t height = 0, size_t tableEntries = 256,
                       uint32_t headerSize = 40) {
        // Room for the full 40-byte record even when biSize claims a shorter one.
        block.assign(std::max<size_t>(headerSize, 40) + 4 * tableEntries, 0);
        BITMAPINFOHEADER h{headerSize, width, height, 1, static_cast<uint16_t>(bitCount), 0, 0, 0, 0, 0, 0};
        std::memcpy(block.data(), &h, sizeof h);
    }
    BITMAPINFOHEADER* get() { return reinterpret_cast<BITMAPINFOHEADER*>(block.data()); }
    // Colour table entries always sit 40 bytes after the header's start.
    void setEntry(size_t i, uint8_t blue, uint8_t green, uint8_t red) {
        uint8_t* e = block.data() + 40 + 4 * i;
        e[0] = blue;
        e[1] = green;
        e[2] = red;
        e[3] = 0;
    }
    const RGBQUAD& entry(size_t i) const { return *reinterpret_cast<const RGBQUAD*>(block.data() + 40 + 4 * i); }
    // Bit-field masks in the first colour-table slots.
    void setMasks(uint32_t red, uint32_t green, uint32_t blue) {
        get()->biCompression = 3;
        std::memcpy(block.data() + 40, &red, 4);
        std::memcpy(block.data() + 44, &green, 4);
        std::memcpy(block.data() + 48, &blue, 4);
    }
};

// A rectangle over a vector with `guard` spare rows before and after, all
// filled with `fill`, so that writes outside the rows can be seen.
struct TestRect {
    ImageRect rect{};
    std::vector<uint8_t> storage;
    size_t guardBytes;

    TestRect(int32_t width, int32_t height, int32_t bitsPerPixel, int32_t stride, uint8_t fill = 0xEE,
             int guardRows = 2)
        : guardBytes(static_cast<size_t>(guardRows * stride)) {
        storage.assign(static_cast<size_t>(height * stride) + 2 * guardBytes, fill);
        rect = {width, height, stride, bitsPerPixel, 0, 0, storage.data() + guardBytes, 0};
    }
    uint8_t* row(int y) { return rect.bits + y * rect.stride; }
    uint8_t at(int y, int byte) const { return rect.bits[y * rect.stride + byte]; }
    bool guardsUntouched(uint8_t fill = 0xEE) const {
        for (size_t i = 0; i < guardBytes; ++i)
            if (storage[i] != fill || storage[storage.size() - 1 - i] != fill) return false;
        return true;
    }
};

constexpr uint8_t kUntouched = 0xCD;

// A bitmap header and pixel bytes pre-filled with kUntouched.
struct Bitmap {
    DibHeader header;
    std::vector<uint8_t> bits;
    Bitmap(int bitCount, int32_t width, int32_t height, size_t bytes)
        : header(bitCount, width, height), bits(bytes, kUntouched) {}
    bool untouchedFrom(size_t begin, size_t end) const {
        return std::all_of(bits.begin() + begin, bits.begin() + end, [](uint8_t b) { return b == kUntouched; });
    }
};

}  // namespace bitmap_testing
