/* A C host: includes the public header, checks the record layouts a C
 * compiler sees, and calls the library through the shared object. */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "KelJPEG.h"

#define CHECK(cond)                                      \
    do {                                                 \
        if (!(cond)) {                                   \
            fprintf(stderr, "failed: %s\n", #cond);      \
            return 1;                                    \
        }                                                \
    } while (0)

/* The records as a C compiler lays them out, proven at compile time on every
 * target: exact sizes on 32-bit targets, only pointers wider on 64-bit ones. */
#define LAYOUT_CHECK(name, cond) typedef char layout_##name[(cond) ? 1 : -1]
LAYOUT_CHECK(decode_params, sizeof(JpegDecodeParams) == 24 + 2 * sizeof(void*) &&
                                offsetof(JpegDecodeParams, options) == 14 && offsetof(JpegDecodeParams, startOffset) == 16 &&
                                offsetof(JpegDecodeParams, jfifInfo) == 20 &&
                                offsetof(JpegDecodeParams, dataLength) == 20 + 2 * sizeof(void*));
LAYOUT_CHECK(encode_params, sizeof(JpegEncodeParams) == 24 + 2 * sizeof(void*) && offsetof(JpegEncodeParams, quality) == 12 &&
                                offsetof(JpegEncodeParams, jfif) == 20 &&
                                offsetof(JpegEncodeParams, outputSize) == 20 + 2 * sizeof(void*));
LAYOUT_CHECK(image_rect, sizeof(ImageRect) == 28 + sizeof(void*) && offsetof(ImageRect, bits) == 24 &&
                             offsetof(ImageRect, size) == 24 + sizeof(void*));
LAYOUT_CHECK(frame_header, sizeof(FrameHeader) == 26 && offsetof(FrameHeader, sofMarker) == 16 &&
                               offsetof(FrameHeader, lines) == 20 && offsetof(FrameHeader, precision) == 24 &&
                               offsetof(FrameHeader, componentCount) == 25);
LAYOUT_CHECK(jfif_info, offsetof(JfifInfo, yDensity) == 2 && offsetof(JfifInfo, units) == 4 &&
                            offsetof(JfifInfo, thumbnailWidth) == 5 && offsetof(JfifInfo, thumbnailHeight) == 6 &&
                            offsetof(JfifInfo, thumbnail) == 7);
LAYOUT_CHECK(bitmap_header, sizeof(BITMAPINFOHEADER) == 40 && offsetof(BITMAPINFOHEADER, biClrImportant) == 36);

static int reports;
static void KELJPEG_CALL countReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                     const KelChar16* line, uint32_t icon) {
    (void)user; (void)source; (void)severity; (void)text; (void)line; (void)icon;
    ++reports;
}

/* Encodes a noisy grey picture to memory, large enough that the stream
 * grows past its first 4096-byte block. Returns the stream or null. */
static uint8_t* encodeToMemory(uint32_t* size) {
    enum { kSide = 96 };
    static uint8_t pixels[kSide * kSide];
    uint32_t seed = 12345;
    JpegEncodeParams params = {0x11, kSide, kSide, 0, 1, 100, JPEG_OPT_MEMORY, 0, NULL, NULL, 0};
    ImageRect rect = {kSide, kSide, kSide, 8, 0, 0, pixels, 0};
    JpegHandle jpeg;
    int i, ok;
    for (i = 0; i < kSide * kSide; ++i) {
        seed = seed * 1103515245u + 12345u;
        pixels[i] = (uint8_t)(seed >> 24);
    }
    jpeg = jpegEncodeProlog(NULL, &params);
    if (jpeg == NULL) return NULL;
    ok = jpegEncodeFromRect(jpeg, &rect, kSide) == kSide;
    if (jpegEncodeEpilog(jpeg) != 0 || !ok) {
        jpegFreeMemory(params.outputBuffer);
        return NULL;
    }
    *size = params.outputSize;
    return params.outputBuffer;
}

int main(void) {
    uint8_t* stream;
    uint32_t size = 0;

    jpegSetReportHandler(countReport, NULL);
    CHECK(jpegFreeMemory(NULL) == 0);

    /* The memory-mode stream is a plain block of the process heap: a host
     * releases it with the platform's own call, as legacy hosts do. */
    stream = encodeToMemory(&size);
    CHECK(stream != NULL && size > 4096);
    CHECK(stream[0] == 0xFF && stream[1] == 0xD8 && stream[size - 2] == 0xFF && stream[size - 1] == 0xD9);
#ifdef _WIN32
    CHECK(HeapValidate(GetProcessHeap(), 0, stream));
    CHECK(HeapSize(GetProcessHeap(), 0, stream) >= size);
    CHECK(HeapFree(GetProcessHeap(), 0, stream));
#else
    free(stream);
#endif
    stream = encodeToMemory(&size);
    CHECK(stream != NULL);
    CHECK(jpegFreeMemory(stream) == 0);
    CHECK(reports == 0);
    jpegSetReportHandler(NULL, NULL);
    puts("C host OK");
    return 0;
}
