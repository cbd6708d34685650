/*
 * KelJPEG: JPEG still-image codec, C interface.
 *
 * One decode or encode is framed by a prolog, which returns a handle, and an
 * epilog, which releases it. The calls in between work in strips of rows.
 * Every failure is reported once through the report handler (see
 * jpegSetReportHandler) and returned as the documented failure value.
 *
 * The caller records below are a binary interface: on 32-bit targets each has
 * exactly the documented size and field offsets; on 64-bit targets pointer
 * fields widen and nothing else moves.
 */
#ifndef KELJPEG_H
#define KELJPEG_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Exported functions use the platform C calling convention (cdecl on 32-bit
 * x86 Windows, the AAPCS on ARM). */
#if defined(_WIN32)
#define KELJPEG_CALL __cdecl
#if defined(KELJPEG_BUILDING)
#define KELJPEG_API __declspec(dllexport)
#elif defined(KELJPEG_STATIC)
#define KELJPEG_API
#else
#define KELJPEG_API __declspec(dllimport)
#endif
#else
#define KELJPEG_CALL
#if defined(KELJPEG_BUILDING)
#define KELJPEG_API __attribute__((visibility("default")))
#else
#define KELJPEG_API
#endif
#endif

/* File names and report texts are UTF-16. */
#if defined(_WIN32)
typedef wchar_t KelChar16;
#elif defined(__cplusplus)
typedef char16_t KelChar16;
#else
typedef uint_least16_t KelChar16;
#endif

/* Opaque codec context, owned by the library from prolog to epilog. */
typedef struct JpegContext* JpegHandle;

/* ---- Option bits (16-bit option word of both parameter blocks) ---------- */
#define JPEG_OPT_ENCODE            0x0001u /* set by jpegEncodeProlog */
#define JPEG_OPT_DECODE            0x0002u /* set by jpegDecodeProlog */
#define JPEG_OPT_START_OFFSET      0x0004u /* decoder: data starts at startOffset in the file */
#define JPEG_OPT_MEMORY            0x0008u /* decode from / encode to memory */
#define JPEG_OPT_RAW_COMPONENTS    0x0010u /* decoder: no colour conversion; encoder: no JFIF, no RGB->YCbCr */
#define JPEG_OPT_JFIF              0x0020u /* decoder: copy JFIF info out; encoder: write JFIF APP0 */
#define JPEG_OPT_PROGRESSIVE       0x0040u /* output only: the frame is progressive (SOF2) */
#define JPEG_OPT_FINE_TABLES       0x0080u /* encoder: fixed fine quantisation tables */
#define JPEG_OPT_PARTIAL_BITSTREAM 0x0100u /* skip the final-EOI check; memory mode only */
/* Decoder: standard mode. Without this bit every result stays exactly that of
 * the legacy decoder. With it the decoder reads every Huffman-coded baseline,
 * extended, progressive and lossless file as ITU-T T.81 defines it:
 *  - sequential frames coded as several scans, one or more components each,
 *    in any component order; a one-component scan walks that component's own
 *    blocks in raster order (also a greyscale frame sampled other than 1x1);
 *  - restart markers in every kind of scan, progressive ones included (end-
 *    of-band runs and DC predictors restart), and DC first scans that code
 *    components separately, each with its own predictor;
 *  - fill bytes 0xFF before any marker; every segment skipped by its own
 *    length (a JFIF thumbnail never shifts the parse); table segments (DHT,
 *    DQT, DRI) between scans, a new DRI redefining the restart interval;
 *    16-bit quantisation tables, each component using the table in force
 *    when its first scan starts; 12-bit DCT frames (output 8 bits);
 *  - sampling factors 1 to 4 in any combination (4:1:1, 3x1 ...), expanded by
 *    replication; a height of 0 in the frame header taken from DNL (reported
 *    back in params->height);
 *  - lossless frames: difference category 16 (32768, no further bits),
 *    restart intervals, components with other sampling factors (expanded),
 *    samples shifted back by the point transform;
 *  - colour as the stream says: Adobe APP14 transform 0 with three components
 *    is RGB (no YCbCr conversion), four components are CMYK (transform 0) or
 *    YCCK (transform 2) stored inverted as Adobe writes them and shown as
 *    blue-green-red; without Adobe or JFIF, identifiers 'R','G','B' mean RGB;
 *  - rows are counted per call (rows = rows wanted now, written from the top
 *    of rect, at most rect->height of them, which must be set); rect's
 *    bitsPerPixel must be the pixel written: 8 grey, 24 colour, 8 x the
 *    components raw, and for lossless frames 8 x the components x the bytes
 *    of a sample (2 above 8 bits), else the call returns 0;
 *  - every frame type has the reduced scales. 8-bit DCT frames reduce in
 *    the inverse transform, as djpeg -scale does, but with the legacy
 *    reduced transforms (the 4 x 4 and 2 x 2 lowest frequencies, the block
 *    mean at 1/8) and chroma replicated from the reduced blocks; djpeg's
 *    transforms take more coefficients and scale chroma in the transform, so
 *    on detailed pictures the two differ by tens of levels, on smooth ones by
 *    a few. 12-bit and lossless frames average the full-size picture;
 *  - a frame coded as one interleaved sequential scan of 8-bit samples is
 *    decoded a band of one MCU row at a time as rows are asked for, in
 *    memory that does not grow with the height; other DCT frames (several
 *    scans, progressive, 12-bit) decode their scans into a coefficient
 *    buffer on the first call of a pass and render bands from it; lossless
 *    frames decode into sample planes on the first call.
 * The whole stream is read by the prolog, so JPEG_OPT_PARTIAL_BITSTREAM is
 * refused ("Illegal options"); a progressive frame may still be shown one
 * scan per pass (jpegDecodeSetProgressiveMode).
 * Damaged and incomplete files are shown as far as their data goes, as
 * viewers show them; each kind of damage is reported once, with warning
 * severity, and noted for jpegDecodeQueryDamage:
 *  - data that ends early (no end-of-image check in the prolog): every
 *    complete MCU is shown, the rest of a sequential frame is mid-grey, a
 *    progressive frame keeps the coefficients its scans gave;
 *  - corrupt entropy-coded data: the MCUs from the damage up to the next
 *    restart marker (the end of the scan without them) are lost and filled
 *    as above; the decode resumes at the restart marker that follows, by
 *    its number;
 *  - bytes that are no marker (between segments or behind a scan's data),
 *    unknown markers and a second SOI are skipped, and so is a comment or application segment whose
 *    length does not end at a marker (the walk resumes at the next one);
 *    a damaged frame header, table or scan header is still refused;
 *  - a scan that uses Huffman table 0 or 1 never defined gets the standard
 *    table of its class (luminance for 0, chrominance for 1), as motion-JPEG
 *    frames expect; that is no damage;
 *  - a progressive picture shown before its last scan (one scan per pass, or
 *    a file cut short) has the DC and the five lowest AC coefficients that
 *    are still missing or coarse estimated from the neighbouring blocks'
 *    DC, so that it shows blurred rather than as a mosaic of flat blocks;
 *    the complete picture is decoded as coded. */
#define JPEG_OPT_STANDARD          0x0200u
/* Decoder, with JPEG_OPT_STANDARD: strict reading. The first damage of any
 * kind above is reported as an error and fails the call (the prolog, for
 * data without EOI at its end, "JPEG file is NOT complete"). Ignored by the
 * legacy reading. */
#define JPEG_OPT_STRICT            0x0400u

/* Scales of the scaled-output calls. */
#define JPEG_SCALE_1_8  0
#define JPEG_SCALE_1_4  1
#define JPEG_SCALE_1_2  2
#define JPEG_SCALE_FULL 3

/* Report severities and the icon styles a report carries. */
#define JPEG_SEVERITY_TRACE   0
#define JPEG_SEVERITY_WARNING 1
#define JPEG_SEVERITY_ERROR   2
#define JPEG_SEVERITY_FATAL   3
#define JPEG_ICON_ERROR       16u
#define JPEG_ICON_INFORMATION 64u

#pragma pack(push, 1)

/* A picture in memory: rows of packed pixels, top row first when stride > 0.
 * 24-bit pixels are blue, green, red. 32 bytes on 32-bit targets. */
typedef struct ImageRect {
    int32_t width;
    int32_t height;
    int32_t stride;
    int32_t bitsPerPixel;
    uint32_t reserved1;
    uint32_t reserved2;
    uint8_t* bits;
    uint32_t size;
} ImageRect;

/* JFIF information: densities, units and an inline RGB thumbnail of
 * 3 * thumbnailWidth * thumbnailHeight bytes. */
typedef struct JfifInfo {
    uint16_t xDensity;
    uint16_t yDensity;
    uint8_t units;
    uint8_t thumbnailWidth;
    uint8_t thumbnailHeight;
    uint8_t thumbnail[1];
} JfifInfo;

/* Decoder parameter block; 32 bytes on 32-bit targets. Must stay valid from
 * the prolog to the epilog. */
typedef struct JpegDecodeParams {
    uint32_t samplingSignature; /* out: H*16+V of each component, first one most significant */
    uint16_t width;             /* out */
    uint16_t height;            /* out */
    uint16_t restartInterval;   /* out */
    uint16_t componentCount;    /* out */
    uint16_t reserved;
    uint16_t options;           /* in/out: JPEG_OPT_*; JPEG_OPT_PROGRESSIVE is set on return */
    uint32_t startOffset;       /* in: with JPEG_OPT_START_OFFSET */
    JfifInfo* jfifInfo;         /* in: with JPEG_OPT_JFIF, or null */
    const uint8_t* data;        /* in: with JPEG_OPT_MEMORY */
    uint32_t dataLength;        /* in: with JPEG_OPT_MEMORY */
} JpegDecodeParams;

typedef struct FrameHeaderComponent {
    uint8_t identifier;
    uint8_t horizontalSampling;
    uint8_t verticalSampling;
    uint8_t quantTable;
} FrameHeaderComponent;

/* Frame header as parsed from the SOF segment; 26 bytes. */
typedef struct FrameHeader {
    FrameHeaderComponent components[4];
    uint16_t sofMarker; /* 0xFFC0 .. 0xFFC3 */
    uint8_t reserved[2];
    uint16_t lines;
    uint16_t samplesPerLine;
    uint8_t precision;
    uint8_t componentCount;
} FrameHeader;

/* Encoder parameter block; 32 bytes on 32-bit targets. Must stay valid from
 * the prolog to the epilog. */
typedef struct JpegEncodeParams {
    uint32_t samplingFactors;   /* one (H<<4)|V byte per component, component 1 most significant */
    uint16_t width;
    uint16_t height;            /* 0: not known yet; a DNL segment carries it */
    uint16_t restartInterval;
    uint16_t componentCount;
    uint16_t quality;           /* 1..100 */
    uint16_t options;           /* JPEG_OPT_* */
    uint32_t reserved;
    const JfifInfo* jfif;       /* read when the JFIF segment is written */
    uint8_t* outputBuffer;      /* out, memory mode: a plain block of the process heap, released with
                                 * HeapFree(GetProcessHeap(), 0, p) on Windows, free(p) elsewhere,
                                 * or jpegFreeMemory(p) */
    uint32_t outputSize;        /* out, memory mode */
} JpegEncodeParams;

#if !defined(_WIN32)
/* The platform's device-independent bitmap header and palette entry, with the
 * layouts Windows publishes. */
typedef struct BITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} BITMAPINFOHEADER;

typedef struct RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} RGBQUAD;

#define BI_RGB 0u
#endif

#pragma pack(pop)

/* ---- Reports ------------------------------------------------------------ */

/* Receives every report: source tag, severity, message text, the composed
 * line (severity word, source, text and the system's message for the last
 * error, run together) and the icon style (JPEG_ICON_*). */
typedef void (KELJPEG_CALL *JpegReportHandler)(void* user, const KelChar16* source, int32_t severity,
                                               const KelChar16* text, const KelChar16* line,
                                               uint32_t iconStyle);

/* Installs a process-wide report handler; null restores the default (a
 * message box on Windows, one line on standard error elsewhere). */
KELJPEG_API void KELJPEG_CALL jpegSetReportHandler(JpegReportHandler handler, void* user);

/* ---- Resource limits ---------------------------------------------------- */

/* Limits every decode of the process obeys. A limit that is hit ends the
 * operation with a report and the call's failure value. The defaults refuse
 * no valid file: 3584 scans (the most a four-component frame can carry),
 * 65535 x 65535 pixels, and no memory limit beyond what the heap gives. */
typedef struct JpegLimits {
    uint32_t maxScans;       /* scans read in one frame (a tiny progressive file
                                of thousands of scans re-walks the whole frame each time) */
    uint32_t reserved;       /* 0 */
    uint64_t maxPixels;      /* width x height of a frame, checked by the prolog */
    uint64_t maxMemoryBytes; /* frame buffers one decode may hold, including a
                                bitmap decode's pixel store */
} JpegLimits;

/* Sets the process-wide limits; a field of 0 (or a null pointer) restores
 * that limit's default. Decodes opened before the call may see either value.
 * Returns 0. */
KELJPEG_API int32_t KELJPEG_CALL jpegSetLimits(const JpegLimits* limits);
/* Copies the limits in force, defaults filled in: 0, or -1 for a null pointer. */
KELJPEG_API int32_t KELJPEG_CALL jpegGetLimits(JpegLimits* limits);

/* ---- Decoding ----------------------------------------------------------- */

/* Opens a decode of a file (or, with JPEG_OPT_MEMORY, of params->data),
 * checks that the data ends with EOI (unless JPEG_OPT_PARTIAL_BITSTREAM, or
 * JPEG_OPT_STANDARD without JPEG_OPT_STRICT),
 * reads the headers up to the first scan and writes the geometry back into
 * params. Returns the handle, or 0 after a report. */
KELJPEG_API JpegHandle KELJPEG_CALL jpegDecodeProlog(const KelChar16* fileName, JpegDecodeParams* params);
/* Releases the buffers and the handle: 0, or -1 for a null handle. Call it
 * exactly once per successful prolog, also after a failed call. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeEpilog(JpegHandle context);
/* Output size at a scale (JPEG_SCALE_*), rounded up; progressive and
 * lossless frames always report the full size. 0, or -1 for a null handle. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeGetImageSize(JpegHandle context, uint32_t* width, uint32_t* height,
                                                        int32_t scale);
/* Copies the frame header: 0, or -1 when the handle is not a codec context. */
KELJPEG_API int32_t KELJPEG_CALL jpegGetFrameHeader(JpegHandle context, FrameHeader* frameHeader);
/* Hands over the next piece of entropy-coded data of a memory decode opened
 * with JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM. Each piece must start
 * where the DC predictors restart (after a restart marker). 0, or -1. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeSetPartialBitstream(JpegHandle context, const uint8_t* data,
                                                               uint32_t length);
/* Decodes bands of one MCU row into rect (24-bit blue-green-red for colour,
 * 8-bit for grey; with JPEG_OPT_RAW_COMPONENTS the components as stored, and
 * bitsPerPixel must be 8 times their count). rows (low 16 bits) is the row up
 * to which to decode, counted from the top of the image: a first call asks
 * for rows 0..rows-1, a later one passes the end row it wants. Every call
 * writes from the top of rect, and its first band is a whole MCU row high.
 * rect->height is not read: each band the call decodes is written whole, also
 * rows below the picture, and the count returned is the bands' count.
 * Room a rectangle needs: rows rounded up to a whole MCU row (when rows is at
 * least one MCU row high; otherwise rows). The MCU row is 8 x the largest
 * vertical sampling factor (8 or 16; params->samplingSignature holds the
 * factors); a frame whose height is still to come from DNL and a progressive
 * frame do write those whole MCU rows, a sequential frame of known height
 * writes at most rows. Lossless frames count rows per call instead (at least
 * one, at most rows). Returns the rows delivered by this call, or 0 on
 * failure. In standard mode (JPEG_OPT_STANDARD) rows are counted per call and
 * never written below rect->height, which must be set. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToRect(JpegHandle context, ImageRect* rect, uint32_t rows);
/* As jpegDecodeToRect, in rows of the picture reduced to `scale`; the MCU row
 * is halved for each step down (at 1/8 a 4:2:0 frame has MCU rows of 2), and
 * the last band stops at the rows asked for also while the height is still
 * unknown, so the room needed is rows rounded up to a whole reduced MCU row.
 * Progressive frames are delivered at full size. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToRect(JpegHandle context, ImageRect* rect, uint32_t rows,
                                                             int32_t scale);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeSetProgressiveMode(JpegHandle context, uint32_t mode);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeQueryProgressiveComplete(JpegHandle context);

/* Damage met so far by a standard-mode decode: the JPEG_DAMAGE_* bits of the
 * kinds found, 0 for a clean file, -1 for a null handle. Damage is found as
 * the data is read, so the answer is whole once the last row is delivered
 * (before the epilog); the prolog already knows of damaged headers. A legacy
 * decode answers 0: it refuses damaged data instead. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeQueryDamage(JpegHandle context);
#define JPEG_DAMAGE_TRUNCATED 0x01 /* the data ends before the picture: "premature end of data" */
#define JPEG_DAMAGE_ENTROPY   0x02 /* corrupt entropy-coded data, MCUs lost: "corrupt entropy-coded data" */
#define JPEG_DAMAGE_STRAY     0x04 /* bytes or markers out of place, skipped: "extraneous bytes before marker" */
#define JPEG_DAMAGE_SEGMENT   0x08 /* a segment's length not ending at a marker: "invalid marker segment length" */

/* ---- Encoding ----------------------------------------------------------- */

/* Opens a baseline encode into fileName (null in memory mode) and writes the
 * headers up to SOS. Sampling bytes other than 0x11, 0x12, 0x21 and 0x22, or
 * a component count outside 1..4, are refused. Returns the handle or 0. */
KELJPEG_API JpegHandle KELJPEG_CALL jpegEncodeProlog(const KelChar16* fileName, JpegEncodeParams* params);
/* Writes DNL (height 0) and EOI, hands a memory-mode stream back through the
 * parameter block and releases the handle. Returns 0, or -1 when any write
 * failed (the memory-mode fields are filled even then). */
KELJPEG_API int32_t KELJPEG_CALL jpegEncodeEpilog(JpegHandle context);
/* Encodes the top `lines` rows of rect (blue-green-red, grey or raw
 * component bytes; bitsPerPixel at least 8 times the component count, or the
 * call returns 0). Strips are taken top to bottom; all but the last must be
 * whole MCU rows. Returns lines, or 0 on failure. */
KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromRect(JpegHandle context, const ImageRect* rect, uint32_t lines);
/* Encodes a whole planar frame (Y, then U and V at half width and height;
 * YVU411 takes V first) into an encoder opened with sampling 0x221111.
 * Returns height, or 0 on failure. */
KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromYUV411(JpegHandle context, const uint8_t* planes, uint32_t width,
                                                      uint32_t height);
KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromYVU411(JpegHandle context, const uint8_t* planes, uint32_t width,
                                                      uint32_t height);
/* Releases a memory-mode output block handed back by jpegEncodeEpilog, as
 * the platform's own release would. Returns 0 (also for null), or -1 after a
 * report when the heap refuses the block. */
KELJPEG_API int32_t KELJPEG_CALL jpegFreeMemory(void* block);

/* ---- Bitmaps and TWAIN -------------------------------------------------- */

/* Bitmaps are the platform's device-independent bitmaps: a 40-byte
 * BITMAPINFOHEADER (followed by its colour table where there is one) and a
 * separate block of bottom-up rows, each padded to a multiple of 4 bytes. */

/* Encodes `lines` rows of a bitmap (1, 4, 8, 16 (5-5-5), 24 or 32 bits,
 * uncompressed) as the next strip. The rows are as wide as the encoded
 * image; biWidth and biHeight are not consulted. A 24-bit bitmap into a
 * colour encode is read in place, last stored row first; other depths are
 * converted first (an 8-bit, one-component encode takes the green channel as
 * its grey level). Returns the strip's line count (low 16 bits), or 0 after a
 * report ("Memory allocation failed.", "complibSetDIBitsToRect failed."). */
KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromWinDIBits(JpegHandle context, uint32_t lines, const void* bits,
                                                         const BITMAPINFOHEADER* header);

/* With bits null: fills the header for the output size at `scale` (0..3 as
 * in jpegDecodeGetImageSize) and the JFIF density, keeps biBitCount, and for
 * 8 bits writes the 202-entry dithered YCbCr palette behind the header
 * (entries 202..255 are left alone) and readies the dither; returns 0.
 * With bits: decodes `lines` rows into the bitmap and returns lines, or 0
 * (no report of its own for a decode that delivered nothing). Images of two
 * or four components are refused (0). An 8-bit bitmap of a colour image is
 * available at full size only, and maps to palette index 0 everywhere until
 * a header query has readied the dither.
 *
 * Writes stay inside the bitmap the header describes (|biHeight| rows of
 * padded biWidth pixels), even where a literal reading of the arguments would reach outside:
 *  - more lines than the bitmap has rows: only the bitmap's rows are written,
 *    each with the row it would otherwise have received;
 *  - an image whose height comes from a DNL segment, with `lines` not a
 *    multiple of 16: the whole MCU rows the decoder produces are kept in the
 *    library's own buffer, not written below the bitmap's first stored row;
 *  - a one-component image converted to a 16-, 24- or 32-bit bitmap, or to
 *    an 8-bit bitmap narrower than the image, is followed by one more bitmap
 *    row (when the bitmap has it) converted from the bytes that precede the
 *    decoded rows as if they were 3-byte pixels; only the pixels whose bytes
 *    lie inside the decoded rows are written, the rest of that row is left
 *    as it was. */
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinDIBits(JpegHandle context, uint32_t lines, void* bits,
                                                                  BITMAPINFOHEADER* header, int32_t scale);

/* Encodes a TWAIN native transfer: `lines` rows of `width` red-green-blue
 * pixels, top row first, each row padded to an even byte count. Returns the
 * line count (low 16 bits) or 0; a zero width reports "LocalAlloc failed". */
KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromWinTWAIN(JpegHandle context, const void* data, uint32_t width,
                                                        uint32_t lines);

/* Kept for callers of an older interface: jpegEncodeFromWinDIB does nothing
 * and returns 0; the four decode names below are one entry that does
 * nothing and returns -1. */
KELJPEG_API int32_t KELJPEG_CALL jpegEncodeFromWinDIB(void);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToWinDIB(void);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeToWinBitmap(void);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinDIB(void);
KELJPEG_API int32_t KELJPEG_CALL jpegDecodeScaleOutputToWinBitmap(void);

#ifdef __cplusplus
}
#endif

#endif /* KELJPEG_H */
