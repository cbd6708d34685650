// The decode route: what the exported decode calls do for this context's kind
// of decode, chosen once by the prolog (sequential, progressive or lossless
// frame in the legacy reading, or standard mode) and called through from then
// on, so that no entry point asks the frame kind or the mode again.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;

// Whether a call may write more rows than it was asked for (up to whole MCU
// rows): 20 rows of a 4:2:0 progressive frame write 32.
enum class RowOvershoot : uint8_t { Never, WhileHeightUnknown, Always };

struct DecodeRoute {
    // Rows into rect at a scale (3 and above: full size); the rows decoded by
    // this call, or 0 on failure. rows: low 16 bits used.
    int32_t (*deliverRows)(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
    // The output size at a scale.
    void (*imageSize)(const JpegContext* context, int32_t scale, uint32_t* width, uint32_t* height);
    // jpegDecodeScaleOutputToRect names a scale before anything else is
    // checked; the legacy reading rewinds to the scan's start when it changes.
    void (*nameScale)(JpegContext* context, int32_t scale);
    // Releases the route's buffers (the epilog).
    void (*release)(JpegContext* context);
    RowOvershoot overshoot;
};

// Chosen by the prolog once the headers are read.
const DecodeRoute* chooseLegacyRoute(const JpegContext* context);
const DecodeRoute* chooseStandardRoute(const JpegContext* context);

// The context's route; one that delivers nothing for a handle that is no
// opened decode (an encoder's, say).
const DecodeRoute& routeOf(const JpegContext* context);

// ---- The legacy routes' stages, each in the file of its kind ----
int32_t deliverSequentialRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
int32_t deliverProgressiveRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
int32_t deliverLosslessRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
void releaseLegacyBuffers(JpegContext* context);
