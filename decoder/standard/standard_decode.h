// Standard mode (JPEG_OPT_STANDARD): a second reading of the stream for hosts
// that need every interchange file decoded as ITU-T T.81 defines it. It loads
// the whole stream, decodes every scan into whole-frame coefficient (or, for
// lossless frames, sample) planes, and renders rows from those planes. None of
// this touches the legacy decoding path; a context without the option never
// allocates a StandardDecode.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;

// A Huffman table in the form the decoder walks: an 8-bit look-ahead for
// short codes and the canonical maxCode/valueOffset lists for longer ones.
struct StandardHuffman {
    bool defined;
    uint8_t fastLength[256];  // code length of the code starting with the 8 bits, 0 if longer or none
    uint8_t fastSymbol[256];
    int32_t maxCode[18];      // largest code of each length, -1 when none
    int32_t valueOffset[18];  // index into values of the first code of each length, minus that code
    uint8_t values[256];
};

struct StandardComponent {
    uint8_t identifier;
    uint8_t h, v;              // sampling factors 1..4
    uint8_t quantTable;        // Tq
    uint32_t width, height;    // samples of this component: ceil(X*H/Hmax), ceil(Y*V/Vmax)
    uint32_t blocksWide;       // block grid held: mcusPerRow*H by mcuRows*V (covers both scan layouts)
    uint32_t blocksHigh;
    int16_t* coefficients;     // DCT frames: quantised coefficients, natural order, 64 per block
    uint16_t* samples;         // decoded samples, planeWidth per row
    uint32_t planeWidth, planeHeight;
    uint16_t quant[64];        // natural order, latched when the component's first scan starts
    bool quantLatched;
    uint8_t pointTransform;    // lossless: Pt of the component's scan, applied on output
    int32_t dcPredictor;
};

struct StandardScan {
    uint32_t count;            // Ns
    uint32_t component[4];     // frame component index of each scan component
    uint8_t dcTable[4], acTable[4];
    uint8_t ss, se, ah, al;
};

struct StandardDecode {
    uint8_t* data;             // the stream from SOI on
    uint32_t length;
    uint32_t position;         // next unread byte
    uint16_t sofMarker;
    uint32_t precision;
    uint32_t width, height, componentCount;
    uint32_t maxH, maxV, mcusPerRow, mcuRows;
    StandardComponent components[4];
    uint16_t quantTables[4][64];  // natural order
    bool quantDefined[4];
    StandardHuffman dcTables[4], acTables[4];
    uint32_t restartInterval;
    int32_t adobeTransform;    // -1 without an Adobe APP14 segment
    bool jfif;
    uint8_t jfifUnits;
    uint16_t jfifXDensity, jfifYDensity;
    uint8_t thumbnailWidth, thumbnailHeight;
    const uint8_t* thumbnail;  // inside data
    uint32_t thumbnailBytes;   // bytes of the APP0 segment after its fixed fields
    StandardScan scan;         // the scan whose header was read last and whose data is next
    bool scanReady;            // scan holds a header whose data has not been decoded yet
    bool finished;             // EOI met
    int32_t eobRun;
    uint32_t rowsDelivered;    // output rows of the current pass (at the current scale)
    uint32_t scanCount;        // scan headers read, against the host's scan limit
    uint64_t heldBytes;        // planes held, against the host's memory limit
    int32_t scale;             // 3 full size, 2/1/0 a half, quarter, eighth
};

// The prolog's branch: load the stream, parse the headers up to the first
// scan, fill the context's frame header and geometry and the caller's block.
// Returns a failure text for the prolog to report, or null.
const KelChar16* openStandardDecode(JpegContext* context, JpegDecodeParams* params);
void releaseStandardDecode(JpegContext* context);

// Rows of the picture at full size or, for scale 0..2, reduced by averaging.
int32_t decodeStandardRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
// Output size at a scale; every frame type reduces.
void standardImageSize(const JpegContext* context, int32_t scale, uint32_t* width, uint32_t* height);

// ---- Between the stages of standard mode ----

// Header walk from the current position up to and including the next SOS
// (or EOI). Returns false, with a report, on a header the decoder cannot use.
[[nodiscard]] bool readStandardHeaders(StandardDecode* sd, bool frameSeen);
// The line count of a DNL segment after the current position, or 0.
uint32_t findStandardDnlHeight(const StandardDecode* sd);
// Decodes the data of sd->scan into the planes; false on corrupt data (reported).
[[nodiscard]] bool decodeStandardDctScan(StandardDecode* sd);
[[nodiscard]] bool decodeStandardLosslessScan(StandardDecode* sd);
// Samples of every component from the coefficients (DCT frames).
void renderStandardPlanes(StandardDecode* sd);
