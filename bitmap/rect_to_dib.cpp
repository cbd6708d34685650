#include "bitmap/rect_to_dib.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "bitmap/dib_to_rect.h"
#include "bitmap/dither_palette.h"
#include "runtime/report.h"

namespace {

// Largest pixel array a header may describe: the library's rows and offsets
// are 32-bit quantities.
constexpr int64_t kMaxBitmapBytes = INT32_MAX;

// What rectangle and bitmap have in common, and where the bitmap's rows lie.
struct CommonGeometry {
    int32_t columns;     // converted pixels per row, >= 0
    int32_t rows;        // the smaller height, as returned (negative for a top-down header)
    int64_t step;        // bytes per stored bitmap row
    int64_t bitmapRows;  // stored rows the header describes
};

[[nodiscard]] bool commonGeometryOf(const ImageRect* rect, const BITMAPINFOHEADER* header, CommonGeometry* out) {
    auto bitmapWidth = static_cast<int32_t>(header->biWidth);
    auto bitmapHeight = static_cast<int32_t>(header->biHeight);
    out->columns = std::max(0, std::min(rect->width, bitmapWidth));
    out->rows = std::min(rect->height, bitmapHeight);
    out->step = complibDIBRowStep(header->biBitCount, bitmapWidth);
    out->bitmapRows = std::max(0, bitmapHeight);
    return out->bitmapRows == 0 || out->step <= kMaxBitmapBytes / out->bitmapRows;
}

// Offset from the rectangle's bits to the start of its n-th row from the bottom.
int64_t rectRowFromBottom(const ImageRect* rect, int64_t n) {
    return (rect->height - 1 - n) * static_cast<int64_t>(rect->stride);
}

// Byte range, relative to bits, that the rectangle's rows occupy.
struct ByteRange {
    int64_t begin;
    int64_t end;
};

ByteRange rectBytes(const ImageRect* rect) {
    if (rect->height <= 0) return {0, 0};
    int64_t last = (rect->height - 1) * static_cast<int64_t>(rect->stride);
    int64_t rowBytes = std::max<int64_t>(std::abs(static_cast<int64_t>(rect->stride)),
                                         static_cast<int64_t>(std::max(rect->width, 0)) * (rect->bitsPerPixel / 8));
    return {std::min<int64_t>(0, last), std::max<int64_t>(0, last) + rowBytes};
}

// Bitmap pixel writers, one per depth, each for a grey row and for a row of
// three-byte pixels (blue, green, red; or raw Y, Cb, Cr for the 8-bit one).
// `out` and `in` point at pixel x0; n pixels; c is the dither row count.
struct Dib8Writer {
    static constexpr int kBytes = 1;
    const DitherTables* tables;
    void grey(uint8_t* out, const uint8_t* in, int32_t n) const { std::memcpy(out, in, static_cast<size_t>(n)); }
    void threeBytes(uint8_t* out, const uint8_t* in, int32_t x0, int32_t n, int64_t c) const {
        int k = static_cast<int>(c & 3);  // the dither row follows the rows still to do, counting down
        for (int32_t i = 0; i < n; ++i, in += 3) {
            if (!tables) {
                out[i] = 0;
                continue;
            }
            int j = (x0 + i) & 3;
            out[i] = static_cast<uint8_t>(tables->y[k][j][in[0]] + tables->cb[k][j][in[1]] + tables->cr[k][j][in[2]]);
        }
    }
};

struct Dib16Writer {
    static constexpr int kBytes = 2;
    bool is565;
    static void store(uint8_t* out, unsigned v) {
        out[0] = static_cast<uint8_t>(v);
        out[1] = static_cast<uint8_t>(v >> 8);
    }
    unsigned pack(unsigned blue, unsigned green, unsigned red) const {
        if (is565) return ((red & 0xF8) << 8) | ((green & 0xFC) << 3) | (blue >> 3);
        return ((red & 0xF8) << 7) | ((green & 0xF8) << 2) | (blue >> 3);
    }
    void grey(uint8_t* out, const uint8_t* in, int32_t n) const {
        for (int32_t i = 0; i < n; ++i) store(out + 2 * i, pack(in[i], in[i], in[i]));
    }
    void threeBytes(uint8_t* out, const uint8_t* in, int32_t, int32_t n, int64_t) const {
        for (int32_t i = 0; i < n; ++i, in += 3) store(out + 2 * i, pack(in[0], in[1], in[2]));
    }
};

struct Dib24Writer {
    static constexpr int kBytes = 3;
    void grey(uint8_t* out, const uint8_t* in, int32_t n) const {
        for (int32_t i = 0; i < n; ++i) std::memset(out + 3 * i, in[i], 3);
    }
    void threeBytes(uint8_t* out, const uint8_t* in, int32_t, int32_t n, int64_t) const {
        std::memcpy(out, in, 3 * static_cast<size_t>(n));
    }
};

// Byte 3 of each 32-bit pixel is never written.
struct Dib32Writer {
    static constexpr int kBytes = 4;
    void grey(uint8_t* out, const uint8_t* in, int32_t n) const {
        for (int32_t i = 0; i < n; ++i) std::memset(out + 4 * i, in[i], 3);
    }
    void threeBytes(uint8_t* out, const uint8_t* in, int32_t, int32_t n, int64_t) const {
        for (int32_t i = 0; i < n; ++i) std::memcpy(out + 4 * i, in + 3 * i, 3);
    }
};

// The row that follows the rows of an 8-bit rectangle, converted as three-byte
// pixels with row count 0: the rectangle row above the last one read, into
// the bitmap row after the last one written. Pixels whose source bytes fall
// outside the rectangle, or a bitmap row the header does not describe, are
// skipped rather than touched.
template <typename Writer>
void convertTrailingRow(const ImageRect* rect, uint8_t* bitmap, const CommonGeometry& g, const Writer& writer) {
    if (g.rows < 0 || g.rows >= g.bitmapRows) return;
    ByteRange range = rectBytes(rect);
    int64_t source = rectRowFromBottom(rect, g.rows);
    int64_t first = source >= range.begin ? 0 : (range.begin - source + 2) / 3;
    int64_t pastLast = range.end - source >= 3 ? (range.end - source - 3) / 3 + 1 : 0;
    pastLast = std::min<int64_t>(pastLast, g.columns);
    if (pastLast <= first) return;
    writer.threeBytes(bitmap + g.rows * g.step + first * Writer::kBytes, rect->bits + source + 3 * first,
                      static_cast<int32_t>(first), static_cast<int32_t>(pastLast - first), 0);
}

template <typename Writer>
int32_t convertRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header, const Writer& writer) {
    CommonGeometry g;
    if (!commonGeometryOf(rect, header, &g)) return 0;
    if (g.columns == 0) return g.rows;
    auto* bitmap = static_cast<uint8_t*>(bits);
    if (rect->bitsPerPixel == 8) {
        for (int32_t r = 0; r < g.rows; ++r)
            writer.grey(bitmap + r * g.step, rect->bits + rectRowFromBottom(rect, r), g.columns);
        convertTrailingRow(rect, bitmap, g, writer);
    } else if (rect->bitsPerPixel == 24) {
        for (int32_t r = 0; r < g.rows; ++r)
            writer.threeBytes(bitmap + r * g.step, rect->bits + rectRowFromBottom(rect, r), 0, g.columns, g.rows - r);
    }
    return g.rows;
}

}  // namespace

int64_t complibDIBRowStep(int bitCount, int64_t width) {
    if (width <= 0) return 0;
    switch (bitCount) {
    case 1: return ((width + 7) / 8 + 3) & ~int64_t{3};
    case 4: return ((width + 1) / 2 + 3) & ~int64_t{3};
    case 8: return (width + 3) & ~int64_t{3};
    case 16: return (2 * width + 2) & ~int64_t{3};
    case 24: return (3 * width + 3) & ~int64_t{3};
    case 32: return 4 * width;
    default: return 0;
    }
}

int32_t complibGetDIBits1FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    if (rect->bitsPerPixel != 1) return 0;
    CommonGeometry g;
    if (!commonGeometryOf(rect, header, &g)) return 0;
    int64_t length = std::min<int64_t>(rect->stride, g.step);
    auto* bitmap = static_cast<uint8_t*>(bits);
    for (int32_t r = 0; r < g.rows && length > 0; ++r)
        std::memcpy(bitmap + r * g.step, rect->bits + rectRowFromBottom(rect, r), static_cast<size_t>(length));
    return g.rows;
}

int32_t complibGetDIBits4FromRect(const ImageRect*, void*, const BITMAPINFOHEADER*) { return 0; }

int32_t complibGetDIBits8FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    return convertRect(rect, bits, header, Dib8Writer{complibDitherTables()});
}

int32_t complibGetDIBits16FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    return convertRect(rect, bits, header, Dib16Writer{complibDIBIs565(header)});
}

int32_t complibGetDIBits24FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    return convertRect(rect, bits, header, Dib24Writer{});
}

int32_t complibGetDIBits32FromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    return convertRect(rect, bits, header, Dib32Writer{});
}

int32_t complibGetDIBitsFromRect(const ImageRect* rect, void* bits, const BITMAPINFOHEADER* header) {
    if (header->biSize == 12) return 0;
    switch (header->biBitCount) {
    case 1: return complibGetDIBits1FromRect(rect, bits, header);
    case 4: return complibGetDIBits4FromRect(rect, bits, header);
    case 8: return complibGetDIBits8FromRect(rect, bits, header);
    case 16: return complibGetDIBits16FromRect(rect, bits, header);
    case 24: return complibGetDIBits24FromRect(rect, bits, header);
    case 32: return complibGetDIBits32FromRect(rect, bits, header);
    default:
        complibReportError(report_text::kComplibGetDIBitsFromRect, JPEG_SEVERITY_ERROR,
                           report_text::kUndefinedBiBitCountInDib);
        return 0;
    }
}
