/* A C host: includes the public header, checks the record layouts a C
 * compiler sees, and calls the library through the shared object. */
#include <stddef.h>
#include <stdio.h>

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
                                offsetof(JpegDecodeParams, dataLength) == 20 + 2 * sizeof(void*));
LAYOUT_CHECK(encode_params, sizeof(JpegEncodeParams) == 24 + 2 * sizeof(void*) &&
                                offsetof(JpegEncodeParams, outputSize) == 20 + 2 * sizeof(void*));
LAYOUT_CHECK(image_rect, sizeof(ImageRect) == 28 + sizeof(void*) && offsetof(ImageRect, size) == 24 + sizeof(void*));
LAYOUT_CHECK(frame_header, sizeof(FrameHeader) == 26 && offsetof(FrameHeader, sofMarker) == 16 &&
                               offsetof(FrameHeader, lines) == 20 && offsetof(FrameHeader, precision) == 24);
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

int main(void) {
    CHECK(offsetof(JpegDecodeParams, options) == 14);
    CHECK(offsetof(JpegDecodeParams, startOffset) == 16);
    CHECK(offsetof(JpegDecodeParams, jfifInfo) == 20);
    CHECK(offsetof(JpegEncodeParams, quality) == 12);
    CHECK(offsetof(JpegEncodeParams, jfif) == 20);
    CHECK(sizeof(FrameHeader) == 26);
    CHECK(offsetof(FrameHeader, componentCount) == 25);
    CHECK(offsetof(JfifInfo, thumbnail) == 7);
    CHECK(sizeof(BITMAPINFOHEADER) == 40);
    CHECK(offsetof(ImageRect, bits) == 24);

    jpegSetReportHandler(countReport, NULL);
    CHECK(jpegFreeMemory(NULL) == 0);
    jpegSetReportHandler(NULL, NULL);
    puts("C host OK");
    return 0;
}
