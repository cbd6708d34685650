/* Decodes a JPEG stream that arrives in pieces, one MCU row per piece,
 * without holding the whole stream. The stream is made here by encoding a
 * grey picture with a restart marker after every MCU row. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <KelJPEG.h>

enum { kWidth = 64, kHeight = 40, kMcuSide = 8 }; /* grey, sampling 0x11: 8 x 8 MCUs */

static int reports;
static void KELJPEG_CALL countReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                     const KelChar16* line, uint32_t iconStyle) {
    (void)user; (void)source; (void)severity; (void)text; (void)line; (void)iconStyle;
    ++reports; /* the end of each piece is reported; expected here */
}

/* Length of the headers: every segment up to and including start of scan. */
static uint32_t headerLength(const uint8_t* data, uint32_t size) {
    uint32_t at = 2; /* after the start-of-image marker */
    while (at + 4 <= size && data[at] == 0xFF) {
        uint32_t end = at + 2 + (uint32_t)(data[at + 2] << 8 | data[at + 3]);
        if (data[at + 1] == 0xDA) return end;
        at = end;
    }
    return 0;
}

/* Length of the piece starting at `at`: up to and including the next
 * restart marker, or everything that is left. */
static uint32_t pieceLength(const uint8_t* data, uint32_t size, uint32_t at) {
    uint32_t i;
    for (i = at; i + 1 < size; ++i)
        if (data[i] == 0xFF && data[i + 1] >= 0xD0 && data[i + 1] <= 0xD7) return i + 2 - at;
    return size - at;
}

/* Makes the stream: one call, since memory mode hands it back whole. */
static JpegEncodeParams encodeSample(void) {
    static uint8_t picture[kHeight][kWidth];
    JpegEncodeParams params;
    ImageRect rect;
    JpegHandle jpeg;
    int x, y;

    for (y = 0; y < kHeight; ++y)
        for (x = 0; x < kWidth; ++x) picture[y][x] = (uint8_t)(x * y);
    memset(&params, 0, sizeof params);
    params.samplingFactors = 0x11;
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 1;
    params.quality = 75;
    params.restartInterval = kWidth / kMcuSide; /* a restart marker after every MCU row */
    params.options = JPEG_OPT_MEMORY;
    jpeg = jpegEncodeProlog(NULL, &params);
    if (jpeg != NULL) {
        memset(&rect, 0, sizeof rect);
        rect.width = kWidth;
        rect.stride = kWidth;
        rect.bitsPerPixel = 8;
        rect.bits = picture[0];
        jpegEncodeFromRect(jpeg, &rect, kHeight);
        jpegEncodeEpilog(jpeg);
    }
    return params;
}

/* The same stream decoded whole, for comparison. */
static int decodeWhole(const JpegEncodeParams* stream, uint8_t* picture) {
    JpegDecodeParams params;
    ImageRect rect;
    JpegHandle jpeg;
    int32_t rows = 0;

    memset(&params, 0, sizeof params);
    params.options = JPEG_OPT_MEMORY;
    params.data = stream->outputBuffer;
    params.dataLength = stream->outputSize;
    jpeg = jpegDecodeProlog(NULL, &params);
    if (jpeg == NULL) return -1;
    memset(&rect, 0, sizeof rect);
    rect.width = kWidth;
    rect.stride = kWidth;
    rect.bitsPerPixel = 8;
    rect.bits = picture;
    rows = jpegDecodeToRect(jpeg, &rect, kHeight);
    jpegDecodeEpilog(jpeg);
    return rows == kHeight ? 0 : -1;
}

int main(void) {
    static uint8_t decoded[kHeight + kMcuSide][kWidth], whole[kHeight][kWidth];
    JpegEncodeParams stream = encodeSample();
    JpegDecodeParams params;
    ImageRect strip;
    JpegHandle jpeg;
    uint32_t at, done = 0, pieces = 0;

    if (stream.outputBuffer == NULL) return 1;
    jpegSetReportHandler(countReport, NULL);

    /* The prolog sees the headers only. */
    memset(&params, 0, sizeof params);
    params.options = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM;
    params.data = stream.outputBuffer;
    params.dataLength = headerLength(stream.outputBuffer, stream.outputSize);
    jpeg = params.dataLength ? jpegDecodeProlog(NULL, &params) : NULL;

    memset(&strip, 0, sizeof strip);
    strip.width = kWidth;
    strip.height = kMcuSide;
    strip.stride = kWidth;
    strip.bitsPerPixel = 8;
    for (at = params.dataLength; jpeg != NULL && at < stream.outputSize && done < kHeight;) {
        /* As each piece arrives: hand it over, then decode the MCU row it
         * completes (the row argument is the row up to which to decode). */
        uint32_t length = pieceLength(stream.outputBuffer, stream.outputSize, at);
        int32_t added;
        if (jpegDecodeSetPartialBitstream(jpeg, stream.outputBuffer + at, length) != 0) break;
        strip.bits = decoded[done];
        added = jpegDecodeToRect(jpeg, &strip, done + kMcuSide);
        if (added <= 0) break;
        done += (uint32_t)added;
        at += length;
        ++pieces;
    }
    if (jpeg != NULL) jpegDecodeEpilog(jpeg);
    jpegSetReportHandler(NULL, NULL);

    if (done < kHeight || decodeWhole(&stream, whole[0]) != 0 || memcmp(decoded, whole, sizeof whole) != 0) done = 0;
    jpegFreeMemory(stream.outputBuffer);
    printf("%u rows from %u pieces (%d reports)%s\n", (unsigned)done, (unsigned)pieces, reports,
           done ? ", as decoded whole" : "");
    return done ? 0 : 1;
}
