// Standard mode: which colours the stream holds, and the size of an output
// pixel. Both output routes (whole frame and streamed) read them.

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/standard/standard_decode.h"

StandardColour standardColourOf(const JpegContext* context, const StandardDecode* sd) {
    if (sd->sofMarker == markerWord(kSof3)) return StandardColour::Lossless;
    if (context->options & JPEG_OPT_RAW_COMPONENTS) return StandardColour::Raw;
    if (sd->componentCount < 3) return StandardColour::Gray;
    if (sd->componentCount == 4) {
        if (sd->adobeTransform == 2) return StandardColour::Ycck;
        return sd->adobeTransform >= 0 ? StandardColour::InvertedCmyk : StandardColour::Cmyk;
    }
    if (sd->adobeTransform >= 0) return sd->adobeTransform == 0 ? StandardColour::Rgb : StandardColour::YCbCr;
    if (sd->jfif) return StandardColour::YCbCr;
    const StandardComponent* c = sd->components;
    if (c[0].identifier == 'R' && c[1].identifier == 'G' && c[2].identifier == 'B') return StandardColour::Rgb;
    return StandardColour::YCbCr;
}

uint32_t standardChannels(StandardColour model, const StandardDecode* sd) {
    switch (model) {
        case StandardColour::Gray: return 1;
        case StandardColour::Raw:
        case StandardColour::Lossless: return sd->componentCount;
        default: return 3;
    }
}

uint32_t standardSampleBytes(const StandardDecode* sd) { return sd->sofMarker == markerWord(kSof3) && sd->precision > 8 ? 2 : 1; }

bool standardRowTarget(const ImageRect* rect, uint32_t outWidth, uint32_t channels, uint32_t bytesPerValue,
                       StandardRowTarget* target) {
    if (rect->bitsPerPixel <= 0 || uint32_t(rect->bitsPerPixel) != 8 * channels * bytesPerValue) return false;
    const uint32_t columns = rect->width < 0 ? 0 : (uint32_t(rect->width) < outWidth ? uint32_t(rect->width) : outWidth);
    *target = {columns * channels, bytesPerValue};
    return true;
}
