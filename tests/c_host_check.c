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
