#include "bitmap/dib_to_rect.h"

#include <algorithm>
#include <cstring>

#include "runtime/heap.h"
#include "runtime/image_rect.h"
#include "runtime/report.h"

namespace {

constexpr size_t kColourTableOffset = 40;

const uint8_t* colourTableOf(const BITMAPINFOHEADER* header) {
    return reinterpret_cast<const uint8_t*>(header) + kColourTableOffset;
}

int64_t roundUp4(int64_t n) { return (n + 3) & ~int64_t{3}; }

// Bytes between the starts of two stored bitmap rows, for a bitmap as wide as
// the rectangle (w pixels).
int64_t sourceRowStep(int bitCount, int64_t w) {
    switch (bitCount) {
    case 1: return roundUp4((w + 7) >> 3);
    case 4: return roundUp4((w + 1) >> 1);
    case 8: return (w + 3) & ~int64_t{3};
    case 16: return (2 * w + 2) & ~int64_t{3};
    case 24: return (3 * w + 3) & ~int64_t{3};
    default: return 4 * w;
    }
}

// Walks the bitmap's stored rows (bottom row first) against the rectangle's
// rows from the last one up, and hands each pair to convertRow.
template <typename ConvertRow>
uint32_t forEachRow(ImageRect* rect, const void* bits, int bitCount, ConvertRow convertRow) {
    if (rect->width <= 0 || rect->height <= 0) return 0;
    const auto* source = static_cast<const uint8_t*>(bits);
    int64_t step = sourceRowStep(bitCount, rect->width);
    for (int64_t r = 0; r < rect->height; ++r) {
        uint8_t* destination = rect->bits + (rect->height - 1 - r) * static_cast<int64_t>(rect->stride);
        convertRow(destination, source + r * step, r, step);
    }
    return 0;
}

// Rows copied unchanged take `stride` bytes each, which can run past a short
// bitmap row into the next; at the bitmap's last row the copy stops at the end
// of the pixel array instead of reading beyond it.
void copyRowWithinBitmap(uint8_t* destination, const uint8_t* source, const ImageRect* rect, int64_t row,
                         int64_t step) {
    int64_t available = (rect->height - row) * step;
    int64_t length = std::min<int64_t>(rect->stride, available);
    if (length > 0) std::memcpy(destination, source, static_cast<size_t>(length));
}

// Pixel stores for the two converted destination depths: an 8-bit rectangle
// takes the green channel alone as its grey level (green standing for
// brightness, no weighting), a 24-bit one blue, green, red.
template <int kBytes>
void storeColour(uint8_t* pixel, uint8_t blue, uint8_t green, uint8_t red) {
    if constexpr (kBytes == 1) {
        pixel[0] = green;
    } else {
        pixel[0] = blue;
        pixel[1] = green;
        pixel[2] = red;
    }
}

template <int kBytes>
void storePaletteEntry(uint8_t* pixel, const uint8_t* palette, unsigned index) {
    const uint8_t* entry = palette + 4 * index;
    storeColour<kBytes>(pixel, entry[0], entry[1], entry[2]);
}

template <int kBytes>
uint32_t convert1(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    const uint8_t* palette = colourTableOf(header);
    return forEachRow(rect, bits, 1, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
        for (int32_t x = 0; x < rect->width; ++x) {
            unsigned bit = (in[x >> 3] >> (7 - (x & 7))) & 1u;
            storePaletteEntry<kBytes>(out + x * kBytes, palette, bit);
        }
    });
}

template <int kBytes>
uint32_t convert4(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    const uint8_t* palette = colourTableOf(header);
    return forEachRow(rect, bits, 4, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
        for (int32_t x = 0; x < rect->width; ++x) {
            uint8_t pair = in[x >> 1];
            unsigned index = (x & 1) ? (pair & 0x0Fu) : (pair >> 4);
            storePaletteEntry<kBytes>(out + x * kBytes, palette, index);
        }
    });
}

template <int kBytes>
uint32_t convert8(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    const uint8_t* palette = colourTableOf(header);
    return forEachRow(rect, bits, 8, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
        for (int32_t x = 0; x < rect->width; ++x) storePaletteEntry<kBytes>(out + x * kBytes, palette, in[x]);
    });
}

template <int kBytes>
uint32_t convert16(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    bool is565 = complibDIBIs565(header);
    return forEachRow(rect, bits, 16, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
        for (int32_t x = 0; x < rect->width; ++x) {
            unsigned v = in[2 * x] | (in[2 * x + 1] << 8);
            auto blue = static_cast<uint8_t>(v << 3);
            auto green = static_cast<uint8_t>(is565 ? (v >> 3) & 0xFC : (v >> 2) & 0xF8);
            auto red = static_cast<uint8_t>(is565 ? (v >> 8) & 0xF8 : (v >> 7) & 0xF8);
            storeColour<kBytes>(out + x * kBytes, blue, green, red);
        }
    });
}

template <int kSourceBytes>
uint32_t convertGreenOnly(ImageRect* rect, const void* bits) {
    return forEachRow(rect, bits, kSourceBytes * 8, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
        for (int32_t x = 0; x < rect->width; ++x) out[x] = in[x * kSourceBytes + 1];
    });
}

}  // namespace

bool complibDIBIs565(const BITMAPINFOHEADER* header) {
    return header->biCompression != 0 && (colourTableOf(header)[1] & 0x80) != 0;
}

uint32_t complibSetDIBits1ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    switch (rect->bitsPerPixel) {
    case 1:
        return forEachRow(rect, bits, 1, [&](uint8_t* out, const uint8_t* in, int64_t row, int64_t step) {
            copyRowWithinBitmap(out, in, rect, row, step);
        });
    case 8: return convert1<1>(rect, bits, header);
    case 24: return convert1<3>(rect, bits, header);
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBits4ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    if (header->biCompression != 0) return kComplibFailure;
    switch (rect->bitsPerPixel) {
    case 8: return convert4<1>(rect, bits, header);
    case 24: return convert4<3>(rect, bits, header);
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBits8ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    // Run-length coded 8-bit bitmaps are not expanded; the dispatcher refuses
    // them before they get here, so this success converts nothing.
    if (header->biCompression != 0) return 0;
    switch (rect->bitsPerPixel) {
    case 8: return convert8<1>(rect, bits, header);
    case 24: return convert8<3>(rect, bits, header);
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBits16ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    switch (rect->bitsPerPixel) {
    case 8: return convert16<1>(rect, bits, header);
    case 24: return convert16<3>(rect, bits, header);
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBits24ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER*) {
    switch (rect->bitsPerPixel) {
    case 8: return convertGreenOnly<3>(rect, bits);
    case 24:
        return forEachRow(rect, bits, 24, [&](uint8_t* out, const uint8_t* in, int64_t row, int64_t step) {
            copyRowWithinBitmap(out, in, rect, row, step);
        });
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBits32ToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER*) {
    switch (rect->bitsPerPixel) {
    case 8: return convertGreenOnly<4>(rect, bits);
    case 24:
        return forEachRow(rect, bits, 32, [&](uint8_t* out, const uint8_t* in, int64_t, int64_t) {
            for (int32_t x = 0; x < rect->width; ++x) std::memcpy(out + 3 * x, in + 4 * x, 3);
        });
    default: return kComplibFailure;
    }
}

uint32_t complibSetDIBitsToRect(ImageRect* rect, const void* bits, const BITMAPINFOHEADER* header) {
    const KelChar16* tag = report_text::kComplibSetDIBitsToRect;
    if (header->biSize == 12) return kBadArgument;
    if (header->biCompression != 0) {
        complibReportError(tag, JPEG_SEVERITY_ERROR, report_text::kNotBiRgb);
        return kComplibFailure;
    }
    switch (header->biBitCount) {
    case 1: return complibSetDIBits1ToRect(rect, bits, header);
    case 4: return complibSetDIBits4ToRect(rect, bits, header);
    case 8: return complibSetDIBits8ToRect(rect, bits, header);
    case 16: return complibSetDIBits16ToRect(rect, bits, header);
    case 24: return complibSetDIBits24ToRect(rect, bits, header);
    case 32: return complibSetDIBits32ToRect(rect, bits, header);
    default:
        complibReportError(tag, JPEG_SEVERITY_ERROR, report_text::kUndefinedBiBitCountInDib);
        return kComplibFailure;
    }
}
