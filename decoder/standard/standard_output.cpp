// Standard mode's lossless route: a lossless frame's scans decode into
// sample planes (a component per scan, or several interleaved), and the
// caller's rows are read from them, each component's own samples (point
// transform undone), reduced sizes as rounded means of the full-size samples.
#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/standard/standard_decode.h"
#include "runtime/heap.h"

namespace {

// Component c's sample under pixel (x, y), stretched over the frame by its
// sampling factors.
uint32_t sampleAt(const StandardDecode* sd, const StandardComponent& c, uint32_t x, uint32_t y) {
    const uint32_t cx = static_cast<uint32_t>(uint64_t{x} * c.h / sd->maxH);
    const uint32_t cy = static_cast<uint32_t>(uint64_t{y} * c.v / sd->maxV);
    return (uint32_t{c.samples[size_t{cy} * c.planeWidth + cx]} << c.pointTransform) & 0xFFFF;
}

// One row of `width` pixels: every component's sample, in frame order.
void produceRow(const StandardDecode* sd, uint32_t y, uint32_t width, uint16_t* out) {
    for (uint32_t x = 0; x < width; ++x)
        for (uint32_t i = 0; i < sd->componentCount; ++i) *out++ = static_cast<uint16_t>(sampleAt(sd, sd->components[i], x, y));
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
    while (sd->scanReady) {
        bool ok = sd->sofMarker == markerWord(kSof3) ? decodeStandardLosslessScan(sd) : decodeStandardDctScan(sd);
        if (!ok || !readStandardHeaders(sd, true)) return false;
        if (oneScan) break;
    }
    if (!sd->scanReady) context->dec.lastMarker = kMarkerEoi;
    // A progressive picture with scans still to come, or cut short, has its
    // missing coefficients estimated; the complete one is shown as coded.
    sd->incomplete = sd->sofMarker == markerWord(kSof2) &&
                     (sd->scanReady || (sd->damage & (JPEG_DAMAGE_TRUNCATED | JPEG_DAMAGE_ENTROPY)) != 0);
    return true;
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
    uint32_t wanted = rows & 0xFFFF;
    if (wanted > outHeight - sd->rowsDelivered) wanted = outHeight - sd->rowsDelivered;
    // Rows are written from the top of rect, never below its height.
    if (rect->height > 0 && wanted > uint32_t(rect->height)) wanted = uint32_t(rect->height);
    const uint32_t factor = 1u << (3 - scale);
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
                produceRow(sd, outRow, outWidth, source);
                storeRow(source, target, out);
                continue;
            }
            const uint32_t first = outRow * factor, last = first + factor < sd->height ? first + factor : sd->height;
            std::memset(sums, 0, size_t{outWidth} * channels * 4);
            for (uint32_t y = first; y < last; ++y) {
                produceRow(sd, y, sd->width, source);
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
