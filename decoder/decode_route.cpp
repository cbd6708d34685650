// The decode routes and the one place that chooses between them.
#include "decoder/decode_route.h"

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/scaled_output.h"
#include "decoder/standard/standard_decode.h"

namespace {

constexpr uint16_t kSofProgressive = markerWord(kSof2);
constexpr uint16_t kSofLossless = markerWord(kSof3);

// Reduced sizes exist for sequential frames only; they round up, so a
// 641 x 481 picture is 321 x 241 at half size. A scale above 3 shifts by a
// negative amount and gives 0 x 0.
void sequentialImageSize(const JpegContext* context, int32_t scale, uint32_t* width, uint32_t* height) {
    uint32_t w = context->dec.imageWidth, h = context->dec.imageHeight;
    if (scale != 3) {
        uint32_t shift = static_cast<uint32_t>(3 - scale);
        if (shift >= 32) {
            w = h = 0;
        } else {
            uint64_t round = (uint64_t{1} << shift) - 1;
            w = static_cast<uint32_t>((w + round) >> shift);
            h = static_cast<uint32_t>((h + round) >> shift);
        }
    }
    if (width) *width = w;
    if (height) *height = h;
}

// Progressive and lossless frames always come at full size.
void fullImageSize(const JpegContext* context, int32_t, uint32_t* width, uint32_t* height) {
    if (width) *width = context->dec.imageWidth;
    if (height) *height = context->dec.imageHeight;
}

// A new scale restarts the scan from its first MCU, unless nothing has been
// decoded at a scale yet; the scale is recorded whatever the frame kind.
void nameLegacyScale(JpegContext* context, int32_t scale) {
    DecoderState& dec = context->dec;
    if (scale == dec.currentScale) return;
    if (dec.currentScale != -1) rewindScan(context);
    dec.currentScale = static_cast<int16_t>(scale);
}

void nameStandardScale(JpegContext* context, int32_t scale) { context->dec.currentScale = static_cast<int16_t>(scale); }

int32_t deliverStandardRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale) {
    return decodeStandardRows(context, rect, rows, scale);
}

// Both standard routes: the stream's block buffers are the legacy ones.
void releaseStandard(JpegContext* context) {
    releaseLegacyBuffers(context);
    releaseStandardDecode(context);
}

int32_t deliverNothing(JpegContext*, ImageRect*, uint32_t, int32_t) { return 0; }
void noImageSize(const JpegContext*, int32_t, uint32_t* width, uint32_t* height) {
    if (width) *width = 0;
    if (height) *height = 0;
}
void nameNoScale(JpegContext*, int32_t) {}
void releaseNothing(JpegContext*) {}

const DecodeRoute kSequential = {deliverSequentialRows, sequentialImageSize, nameLegacyScale, releaseLegacyBuffers,
                                  RowOvershoot::WhileHeightUnknown};
const DecodeRoute kProgressive = {deliverProgressiveRows, fullImageSize, nameLegacyScale, releaseLegacyBuffers,
                                   RowOvershoot::Always};
const DecodeRoute kLossless = {deliverLosslessRows, fullImageSize, nameLegacyScale, releaseLegacyBuffers,
                               RowOvershoot::Never};
const DecodeRoute kStandard = {deliverStandardRows, standardImageSize, nameStandardScale, releaseStandard,
                               RowOvershoot::Never};
const DecodeRoute kStandardStream = {decodeStandardStreamRows, standardImageSize, nameStandardScale, releaseStandard,
                                     RowOvershoot::Never};
const DecodeRoute kNone = {deliverNothing, noImageSize, nameNoScale, releaseNothing, RowOvershoot::Never};

}  // namespace

const DecodeRoute* chooseLegacyRoute(const JpegContext* context) {
    const uint16_t frameType = context->frame.sofMarker;
    if (frameType == kSofProgressive) return &kProgressive;
    if (frameType >= kSofLossless) return &kLossless;
    return &kSequential;
}

// Frames of one interleaved sequential scan stream a band at a time; the
// rest are decoded whole by the prolog's first pass.
const DecodeRoute* chooseStandardRoute(const JpegContext* context) {
    const StandardDecode* sd = context->dec.standard;
    return sd && sd->stream ? &kStandardStream : &kStandard;
}

const DecodeRoute& routeOf(const JpegContext* context) {
    return context->dec.route ? *context->dec.route : kNone;
}
