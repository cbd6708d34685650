// Standard mode (JPEG_OPT_STANDARD): a second reading of the stream for hosts
// that need every interchange file decoded as ITU-T T.81 defines it. Its own
// parser and entropy reader (fill bytes, restart resynchronisation, tables
// that change between scans) feed the output stages the legacy path uses:
// inverse transforms, expanders, pixel writers. A frame of one interleaved
// scan decodes a band at a time from its data; other DCT frames keep a
// coefficient buffer that bands are rendered from; lossless frames decode
// into sample planes. A context without the option never allocates a
// StandardDecode.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "decoder/huffman_fast.h"

struct JpegContext;
struct StandardStream;

// A Huffman table in the form the decoder walks: the short-code and skip
// and step tables both readers share (decoder/huffman_fast.h), an 8-bit look-ahead
// for the canonical walk, and the canonical maxCode/valueOffset lists for
// longer codes.
struct StandardHuffman {
    bool defined;
    uint32_t fast[1u << kFastHuffmanBits];
    uint32_t skip[1u << kFastHuffmanBits];
    uint64_t steps[1u << kFastHuffmanBits];
    uint32_t largestStepValue;  // the largest magnitude among the steps' coefficients
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
    uint16_t zigzagQuant[64];  // the same in zigzag order, as the block decoder meets positions
    uint16_t largestQuant;
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

// How far a progressive frame's scans have given one component's
// coefficients, for the estimates of a picture shown before its last scan:
// the point transform of the last scan that coded each zigzag position
// (0 exact, kNeverCoded before any), and the scan that lost units last,
// whose other units are known to its point transform.
constexpr uint8_t kNeverCoded = 0xFF;
struct StandardCoverage {
    uint8_t knownBits[64];
    bool partial;             // a scan of the component lost units
    uint8_t ss, se, al;       // that scan's band and point transform
    bool interleaved;         // its units were MCUs, else the component's blocks in raster order
    uint32_t unitsAcross;
    uint64_t firstLost, lostEnd;  // the units from firstLost to lostEnd missed the scan
};

struct StandardDecode {
    const uint8_t* data;       // the stream from SOI on: the caller's block in memory mode
    uint8_t* fileCopy;         // the stream read from a file, owned here
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
    StandardStream* stream;    // frames of one interleaved sequential scan: decoded a band at a time
    uint32_t damage;           // JPEG_DAMAGE_* kinds met so far, each reported once
    bool strict;               // JPEG_OPT_STRICT: the first damage fails the decode
    bool incomplete;           // the pass's picture lacks scans or data: missing coefficients are estimated
    StandardCoverage coverage[4];
};

// ---- Output: how the stream's colours become the caller's pixels ----

enum class StandardColour { Gray, YCbCr, Rgb, Cmyk, InvertedCmyk, Ycck, Raw, Lossless };

// Colour as the stream says: Adobe APP14, else JFIF, else 'R','G','B' identifiers.
StandardColour standardColourOf(const JpegContext* context, const StandardDecode* sd);
// Channels per output pixel: 1 grey, 3 colour, the component count raw or lossless.
uint32_t standardChannels(StandardColour model, const StandardDecode* sd);
// Bytes per channel: 2 for lossless samples above 8 bits, else 1.
uint32_t standardSampleBytes(const StandardDecode* sd);

inline int32_t standardClamp(int32_t v, int32_t high) { return v < 0 ? 0 : (v > high ? high : v); }

// YCbCr to red, green, blue with 16 fraction bits, rounded: 91881 is 1.402
// x 65536, so cr = 255 adds round(1.402 x 127) = 178 to red.
inline void standardYccToRgb(int32_t y, int32_t cb, int32_t cr, int32_t rgb[3]) {
    cb -= 128;
    cr -= 128;
    rgb[0] = standardClamp(y + ((91881 * cr + 32768) >> 16), 255);
    rgb[1] = standardClamp(y + ((-22554 * cb - 46802 * cr + 32768) >> 16), 255);
    rgb[2] = standardClamp(y + ((116130 * cb + 32768) >> 16), 255);
}

// What one output row of the caller's rectangle takes: both from the
// rectangle, whose pixel size must be the one the frame is written in (a
// 10-bit lossless colour frame has 6-byte pixels, which a 24-bit rectangle
// cannot hold).
struct StandardRowTarget {
    uint32_t values;         // channel values per row: the rectangle's columns (at most the picture's) x channels
    uint32_t bytesPerValue;  // 1, or 2 for samples above 8 bits
};
[[nodiscard]] bool standardRowTarget(const ImageRect* rect, uint32_t outWidth, uint32_t channels,
                                     uint32_t bytesPerValue, StandardRowTarget* target);

// The prolog's branch: load the stream, parse the headers up to the first
// scan, fill the context's frame header and geometry and the caller's block.
// Returns a failure text for the prolog to report, or null.
const KelChar16* openStandardDecode(JpegContext* context, JpegDecodeParams* params);
void releaseStandardDecode(JpegContext* context);

// The banded route, for every DCT frame: a band of one MCU row is decoded as
// the rows reach it, straight from the entropy-coded data for a frame of one
// interleaved sequential scan of 8-bit samples, else from the coefficient
// planes that each pass's scans fill. Lossless frames are left to the
// whole-frame route (sd->stream stays null). false when a buffer could not
// be had.
[[nodiscard]] bool openStandardStream(JpegContext* context, StandardDecode* sd);
void releaseStandardStream(JpegContext* context);
// The bands come from coefficient planes (which the prolog then allocates).
bool standardStreamFromCoefficients(const StandardDecode* sd);
// Rows of the picture at a scale, the reduced ones through the reduced
// inverse DCTs.
int32_t decodeStandardStreamRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
// Decodes the scans of a pass: all of them, or the next one of a progressive
// frame shown one scan per pass. false after a report.
[[nodiscard]] bool decodeStandardPass(JpegContext* context, StandardDecode* sd);

// A block of a progressive picture that lacks scans (sd->incomplete): its
// coefficients into out, the missing low ones estimated from the
// neighbouring blocks' DC. false when the block has them all (or no DC yet)
// and is rendered as it is.
bool estimateMissingCoefficients(const StandardDecode* sd, uint32_t c, uint32_t bx, uint32_t by, int16_t* out);

// Rows of a lossless picture at full size or, for scale 0..2, reduced by
// averaging.
int32_t decodeStandardRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t scale);
// Output size at a scale; every frame type reduces.
void standardImageSize(const JpegContext* context, int32_t scale, uint32_t* width, uint32_t* height);

// ---- Between the stages of standard mode ----

// Notes damage of the JPEG_DAMAGE_* kinds given, reporting each kind the
// first time it is met: a warning, or with strict reading an error. false
// when the decode is to stop (strict reading).
[[nodiscard]] bool noteStandardDamage(StandardDecode* sd, uint32_t kinds);
// A scan read whole that leaves data before the marker behind it (more than
// the padding bits of its last byte) has stray bytes there; the reader
// stands where the scan's last unit left it. false for strict reading.
struct EntropyReader;
[[nodiscard]] bool noteScanLeftovers(StandardDecode* sd, const EntropyReader& r);
// A marker at `at` (0xFF, then its code) that can be a real one: EOI, or a
// segment whose length fits the data and ends at another 0xFF or the end of
// the data (SOS: a length that fits its component count). A byte of damaged
// entropy-coded data turned into 0xFF passes this only by rare chance.
bool standardMarkerPlausible(const StandardDecode* sd, uint32_t at);
// The first plausible marker at or after `at`, past entropy-coded data,
// stuffed bytes, fill bytes, restart markers and markers that cannot be
// real; the data's length when there is none.
uint32_t nextPlausibleMarker(const StandardDecode* sd, uint32_t at);
// The example Huffman table T.81 gives for a class and slot 0 (luminance)
// or 1 (chrominance), which baseline encoders use as they are and
// motion-JPEG frames therefore leave out. false for other slots.
[[nodiscard]] bool standardDefaultHuffman(StandardDecode* sd, bool ac, uint32_t slot);

// Header walk from the current position up to and including the next SOS
// (or EOI). Returns false, with a report, on a header the decoder cannot use.
[[nodiscard]] bool readStandardHeaders(StandardDecode* sd, bool frameSeen);
// The line count of a DNL segment after the current position, or 0.
uint32_t findStandardDnlHeight(const StandardDecode* sd);
// Every table the scan reads is defined; the quantisation tables of its
// components are latched. false after a report.
[[nodiscard]] bool standardScanTablesReady(StandardDecode* sd);
// Decodes the data of sd->scan into the planes; false on corrupt data (reported).
[[nodiscard]] bool decodeStandardDctScan(StandardDecode* sd);
[[nodiscard]] bool decodeStandardLosslessScan(StandardDecode* sd);
