// Compile-time proof of the caller records' binary layout. On 32-bit targets
// every record has exactly its documented size; on 64-bit targets only the
// pointer fields widen.
#include <cstddef>

#include "KelJPEG.h"

namespace {
constexpr size_t kPointerGrowth = sizeof(void*) - 4;
}

static_assert(offsetof(ImageRect, width) == 0 && offsetof(ImageRect, height) == 4 && offsetof(ImageRect, stride) == 8 &&
                  offsetof(ImageRect, bitsPerPixel) == 12 && offsetof(ImageRect, reserved1) == 16 &&
                  offsetof(ImageRect, reserved2) == 20 && offsetof(ImageRect, bits) == 24 &&
                  offsetof(ImageRect, size) == 28 + kPointerGrowth,
              "ImageRect layout");
static_assert(sizeof(ImageRect) == 32 + kPointerGrowth, "ImageRect size");

static_assert(offsetof(JfifInfo, xDensity) == 0 && offsetof(JfifInfo, yDensity) == 2 && offsetof(JfifInfo, units) == 4 &&
                  offsetof(JfifInfo, thumbnailWidth) == 5 && offsetof(JfifInfo, thumbnailHeight) == 6 &&
                  offsetof(JfifInfo, thumbnail) == 7,
              "JfifInfo layout");

static_assert(offsetof(JpegDecodeParams, samplingSignature) == 0 && offsetof(JpegDecodeParams, width) == 4 &&
                  offsetof(JpegDecodeParams, height) == 6 && offsetof(JpegDecodeParams, restartInterval) == 8 &&
                  offsetof(JpegDecodeParams, componentCount) == 10 && offsetof(JpegDecodeParams, reserved) == 12 &&
                  offsetof(JpegDecodeParams, options) == 14 && offsetof(JpegDecodeParams, startOffset) == 16 &&
                  offsetof(JpegDecodeParams, jfifInfo) == 20 && offsetof(JpegDecodeParams, data) == 20 + sizeof(void*) &&
                  offsetof(JpegDecodeParams, dataLength) == 20 + 2 * sizeof(void*),
              "JpegDecodeParams layout");
static_assert(sizeof(JpegDecodeParams) == 32 + 2 * kPointerGrowth, "JpegDecodeParams size");

static_assert(offsetof(FrameHeader, components) == 0 && offsetof(FrameHeader, sofMarker) == 16 &&
                  offsetof(FrameHeader, reserved) == 18 && offsetof(FrameHeader, lines) == 20 &&
                  offsetof(FrameHeader, samplesPerLine) == 22 && offsetof(FrameHeader, precision) == 24 &&
                  offsetof(FrameHeader, componentCount) == 25,
              "FrameHeader layout");
static_assert(sizeof(FrameHeader) == 26, "FrameHeader size");

static_assert(offsetof(JpegEncodeParams, samplingFactors) == 0 && offsetof(JpegEncodeParams, width) == 4 &&
                  offsetof(JpegEncodeParams, height) == 6 && offsetof(JpegEncodeParams, restartInterval) == 8 &&
                  offsetof(JpegEncodeParams, componentCount) == 10 && offsetof(JpegEncodeParams, quality) == 12 &&
                  offsetof(JpegEncodeParams, options) == 14 && offsetof(JpegEncodeParams, reserved) == 16 &&
                  offsetof(JpegEncodeParams, jfif) == 20 && offsetof(JpegEncodeParams, outputBuffer) == 20 + sizeof(void*) &&
                  offsetof(JpegEncodeParams, outputSize) == 20 + 2 * sizeof(void*),
              "JpegEncodeParams layout");
static_assert(sizeof(JpegEncodeParams) == 32 + 2 * kPointerGrowth, "JpegEncodeParams size");

static_assert(sizeof(FrameHeaderComponent) == 4 && offsetof(FrameHeaderComponent, identifier) == 0 &&
                  offsetof(FrameHeaderComponent, horizontalSampling) == 1 &&
                  offsetof(FrameHeaderComponent, verticalSampling) == 2 &&
                  offsetof(FrameHeaderComponent, quantTable) == 3,
              "FrameHeaderComponent layout");

// The bitmap records have one layout everywhere (no pointers); on Windows
// these are the system's own declarations.
static_assert(offsetof(BITMAPINFOHEADER, biSize) == 0 && offsetof(BITMAPINFOHEADER, biWidth) == 4 &&
                  offsetof(BITMAPINFOHEADER, biHeight) == 8 && offsetof(BITMAPINFOHEADER, biPlanes) == 12 &&
                  offsetof(BITMAPINFOHEADER, biBitCount) == 14 && offsetof(BITMAPINFOHEADER, biCompression) == 16 &&
                  offsetof(BITMAPINFOHEADER, biSizeImage) == 20 && offsetof(BITMAPINFOHEADER, biXPelsPerMeter) == 24 &&
                  offsetof(BITMAPINFOHEADER, biYPelsPerMeter) == 28 && offsetof(BITMAPINFOHEADER, biClrUsed) == 32 &&
                  offsetof(BITMAPINFOHEADER, biClrImportant) == 36,
              "BITMAPINFOHEADER layout");
static_assert(sizeof(BITMAPINFOHEADER) == 40, "BITMAPINFOHEADER size");
static_assert(sizeof(RGBQUAD) == 4 && offsetof(RGBQUAD, rgbBlue) == 0 && offsetof(RGBQUAD, rgbGreen) == 1 &&
                  offsetof(RGBQUAD, rgbRed) == 2 && offsetof(RGBQUAD, rgbReserved) == 3,
              "RGBQUAD layout");
static_assert(BI_RGB == 0, "BI_RGB value");

// The caller records are exchanged with hosts compiled by other compilers:
// the byte sizes of the fixed-width fields must not depend on the target.
static_assert(sizeof(KelChar16) == 2, "UTF-16 code unit");
static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "32- or 64-bit target");
