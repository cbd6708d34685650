// Standard mode: from coefficients to samples, and from component planes to
// the caller's rows. Components of any sampling factors are expanded by
// replication; colour follows the stream's own signals: the Adobe segment's
// transform flag (RGB, YCbCr, CMYK or YCCK, inverted CMYK as Adobe writes it),
// else JFIF (YCbCr), else component identifiers 'R', 'G', 'B' (RGB).
#include <cmath>
#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/inverse_dct.h"
#include "decoder/pixel_writers.h"
#include "decoder/standard/standard_decode.h"
#include "runtime/heap.h"

namespace {

// Inverse DCT in double precision, for 12-bit frames whose coefficients the
// 16-bit integer transform cannot hold.
void inverseDctPrecise(const int32_t* coefficients, int32_t* samples) {
    static constexpr double kPi = 3.14159265358979323846;
    double cosines[8][8];
    for (int x = 0; x < 8; ++x)
        for (int u = 0; u < 8; ++u) cosines[x][u] = (u == 0 ? std::sqrt(0.5) : 1.0) * std::cos((2 * x + 1) * u * kPi / 16);
    double rows[64];
    for (int y = 0; y < 8; ++y)
        for (int u = 0; u < 8; ++u) {
            double sum = 0;
            for (int v = 0; v < 8; ++v) sum += cosines[y][v] * coefficients[v * 8 + u];
            rows[y * 8 + u] = sum / 2;
        }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double sum = 0;
            for (int u = 0; u < 8; ++u) sum += cosines[x][u] * rows[y * 8 + u];
            double value = std::floor(sum / 2 + 0.5);  // limited first: hostile coefficients overflow int
            samples[y * 8 + x] = static_cast<int32_t>(value < -65536 ? -65536 : (value > 65536 ? 65536 : value));
        }
}


// One block's samples at a scale: 8 x 8, or through the reduced transforms
// n x n (n = 4, 2, 1), placed at (bx, by) x n in the component's plane. 12-bit
// frames render at full size only.
void renderBlock(const StandardDecode* sd, const StandardComponent& c, uint32_t bx, uint32_t by, int32_t scale) {
    const int16_t* coefficients = c.coefficients + (size_t{by} * c.blocksWide + bx) * 64;
    if (sd->precision == 8) {
        const uint32_t n = scale >= 3 ? 8 : (1u << scale);
        uint16_t* out = c.samples + size_t{by} * n * c.planeWidth + size_t{bx} * n;
        int16_t block[64];
        for (int i = 0; i < 64; ++i) {
            int32_t v = int32_t{coefficients[i]} * c.quant[i];
            block[i] = static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v));
        }
        switch (n) {
            case 8: inverseDct8x8(block); break;
            case 4: inverseDct4x4(block); break;
            case 2: inverseDct2x2(block); break;
            default: block[0] = static_cast<int16_t>((block[0] + 4) >> 3); break;  // the 8x8 transform's mean
        }
        for (uint32_t r = 0; r < n; ++r)
            for (uint32_t col = 0; col < n; ++col)
                out[size_t{r} * c.planeWidth + col] = static_cast<uint16_t>(clampSample(block[r * 8 + col]) + 128);
        return;
    }
    uint16_t* out = c.samples + size_t{by} * 8 * c.planeWidth + size_t{bx} * 8;
    int32_t dequantised[64], samples[64];
    for (int n = 0; n < 64; ++n) dequantised[n] = int32_t{coefficients[n]} * c.quant[n];
    inverseDctPrecise(dequantised, samples);
    for (int n = 0; n < 64; ++n)
        out[size_t(n / 8) * c.planeWidth + n % 8] = static_cast<uint16_t>(standardClamp(samples[n] + 2048, 4095));
}

uint32_t sampleAt(const StandardDecode* sd, const StandardComponent& c, uint32_t x, uint32_t y) {
    uint32_t cx = static_cast<uint32_t>(uint64_t{x} * c.h / sd->maxH);
    uint32_t cy = static_cast<uint32_t>(uint64_t{y} * c.v / sd->maxV);
    uint32_t value = c.samples[size_t{cy} * c.planeWidth + cx];
    if (sd->sofMarker == markerWord(kSof3)) return (value << c.pointTransform) & 0xFFFF;
    return sd->precision == 12 ? value >> 4 : value;
}

// One row of `width` pixels, as rendered, as channel values (blue, green,
// red for colour output).
void produceRow(const StandardDecode* sd, StandardColour model, uint32_t y, uint32_t width, uint16_t* out) {
    const StandardComponent* c = sd->components;
    const uint32_t count = sd->componentCount;
    for (uint32_t x = 0; x < width; ++x) {
        uint32_t s[4] = {0, 0, 0, 0};
        for (uint32_t i = 0; i < count; ++i) s[i] = sampleAt(sd, c[i], x, y);
        int32_t rgb[3] = {0, 0, 0};
        switch (model) {
            case StandardColour::Gray: *out++ = static_cast<uint16_t>(s[0]); continue;
            case StandardColour::Raw:
            case StandardColour::Lossless:
                for (uint32_t i = 0; i < count; ++i) *out++ = static_cast<uint16_t>(s[i]);
                continue;
            case StandardColour::Rgb: rgb[0] = int32_t(s[0]); rgb[1] = int32_t(s[1]); rgb[2] = int32_t(s[2]); break;
            case StandardColour::YCbCr: standardYccToRgb(int32_t(s[0]), int32_t(s[1]), int32_t(s[2]), rgb); break;
            case StandardColour::Ycck:
            case StandardColour::InvertedCmyk:
            case StandardColour::Cmyk: {
                int32_t ink[3] = {int32_t(s[0]), int32_t(s[1]), int32_t(s[2])}, k = int32_t(s[3]);
                if (model == StandardColour::Ycck) {
                    standardYccToRgb(ink[0], ink[1], ink[2], rgb);
                    for (int i = 0; i < 3; ++i) ink[i] = 255 - rgb[i];  // as stored by Adobe: inverted ink
                } else if (model == StandardColour::Cmyk) {
                    for (int i = 0; i < 3; ++i) ink[i] = 255 - ink[i];
                    k = 255 - k;
                }
                for (int i = 0; i < 3; ++i) rgb[i] = inkUnderBlack(ink[i], k);
                break;
            }
        }
        *out++ = static_cast<uint16_t>(rgb[2]);
        *out++ = static_cast<uint16_t>(rgb[1]);
        *out++ = static_cast<uint16_t>(rgb[0]);
    }
}

void storeRow(const uint16_t* values, const StandardRowTarget& target, uint8_t* out) {
    if (target.bytesPerValue == 2) {
        std::memcpy(out, values, size_t{target.values} * 2);
        return;
    }
    for (uint32_t i = 0; i < target.values; ++i) out[i] = static_cast<uint8_t>(values[i]);
}

}  // namespace

bool decodeStandardPass(JpegContext* context, StandardDecode* sd) {
    const bool oneScan = sd->sofMarker == markerWord(kSof2) && (context->dec.progressiveMode & 1);
    bool decoded = false;
    while (sd->scanReady) {
        bool ok = sd->sofMarker == markerWord(kSof3) ? decodeStandardLosslessScan(sd) : decodeStandardDctScan(sd);
        if (!ok || !readStandardHeaders(sd, true)) return false;
        decoded = true;
        if (oneScan) break;
    }
    if (!sd->scanReady) context->dec.lastMarker = kMarkerEoi;
    if (decoded) sd->renderedScale = -1;  // the planes no longer show the coefficients
    return true;
}

void renderStandardPlanes(StandardDecode* sd, int32_t scale) {
    for (uint32_t i = 0; i < sd->componentCount; ++i) {
        const StandardComponent& c = sd->components[i];
        for (uint32_t by = 0; by < c.blocksHigh; ++by)
            for (uint32_t bx = 0; bx < c.blocksWide; ++bx) renderBlock(sd, c, bx, by, scale);
    }
    sd->renderedScale = scale;
}

void standardImageSize(const JpegContext* context, int32_t scale, uint32_t* width, uint32_t* height) {
    const StandardDecode* sd = context->dec.standard;
    uint32_t w = sd->width, h = sd->height;
    if (scale < 0) {
        w = h = 0;
    } else if (scale < 3) {
        uint32_t factor = 1u << (3 - scale);
        w = (w + factor - 1) / factor;
        h = (h + factor - 1) / factor;
    }
    if (width) *width = w;
    if (height) *height = h;
}

int32_t decodeStandardRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    StandardDecode* sd = context->dec.standard;
    if (!rect || !rect->bits || rect->height <= 0 || scale < 0) return 0;
    if (scale > 3) scale = 3;
    if (scale != sd->scale) {
        sd->scale = scale;
        sd->rowsDelivered = 0;
    }
    uint32_t outWidth = 0, outHeight = 0;
    standardImageSize(context, scale, &outWidth, &outHeight);
    const StandardColour model = standardColourOf(context, sd);
    const uint32_t channels = standardChannels(model, sd), bytes = standardSampleBytes(sd);
    StandardRowTarget target;
    if (!standardRowTarget(rect, outWidth, channels, bytes, &target)) return 0;
    if (sd->rowsDelivered == 0 || sd->rowsDelivered >= outHeight) {
        if (!decodeStandardPass(context, sd)) return 0;
        sd->rowsDelivered = 0;
    }
    // 8-bit DCT frames reduce in the inverse transform; 12-bit and lossless
    // frames average the full-size picture.
    const bool dct = sd->sofMarker != markerWord(kSof3);
    const int32_t renderScale = dct && sd->precision == 8 ? scale : 3;
    if (dct && sd->renderedScale != renderScale) renderStandardPlanes(sd, renderScale);
    uint32_t wanted = rows & 0xFFFF;
    if (wanted > outHeight - sd->rowsDelivered) wanted = outHeight - sd->rowsDelivered;
    // Rows are written from the top of rect, never below its height.
    if (rect->height > 0 && wanted > uint32_t(rect->height)) wanted = uint32_t(rect->height);
    const uint32_t factor = 1u << (renderScale - scale);
    const uint64_t rowValues = uint64_t{sd->width} * channels;
    auto* source = static_cast<uint16_t*>(complibAllocMemory(static_cast<size_t>(rowValues * 2 + 2)));
    auto* sums = static_cast<uint32_t*>(complibAllocMemory(static_cast<size_t>(uint64_t{outWidth} * channels * 4 + 4)));
    auto* result = static_cast<uint16_t*>(complibAllocMemory(static_cast<size_t>(uint64_t{outWidth} * channels * 2 + 2)));
    int32_t delivered = -1;
    if (source && sums && result) {
        for (uint32_t r = 0; r < wanted; ++r) {
            const uint32_t outRow = sd->rowsDelivered + r;
            uint8_t* out = rect->bits + static_cast<ptrdiff_t>(rect->stride) * r;
            if (factor == 1) {  // rendered at this size: the row as it is
                produceRow(sd, model, outRow, outWidth, source);
                storeRow(source, target, out);
                continue;
            }
            const uint32_t first = outRow * factor, last = first + factor < sd->height ? first + factor : sd->height;
            std::memset(sums, 0, size_t{outWidth} * channels * 4);
            for (uint32_t y = first; y < last; ++y) {
                produceRow(sd, model, y, sd->width, source);
                for (uint32_t x = 0; x < sd->width; ++x)
                    for (uint32_t ch = 0; ch < channels; ++ch) sums[(x / factor) * channels + ch] += source[x * channels + ch];
            }
            // Each output value is the rounded mean of the source values it covers.
            for (uint32_t ox = 0; ox < outWidth; ++ox) {
                uint32_t spanX = (ox + 1) * factor <= sd->width ? factor : sd->width - ox * factor;
                uint32_t count = spanX * (last - first);
                for (uint32_t ch = 0; ch < channels; ++ch)
                    result[ox * channels + ch] = static_cast<uint16_t>((sums[ox * channels + ch] + count / 2) / count);
            }
            storeRow(result, target, out);
        }
        delivered = static_cast<int32_t>(wanted);
        sd->rowsDelivered += wanted;
    }
    for (void* block : {static_cast<void*>(source), static_cast<void*>(sums), static_cast<void*>(result)})
        if (block) (void)complibFreeMemory(block);
    return delivered < 0 ? 0 : delivered;
}
