/* Shows a 1/8 preview of a JPEG file first, then the full picture from the
 * same handle.   usage: scaled_preview IN.jpg */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <KelJPEG.h>

static KelChar16* widen(const char* text) {
    size_t length = strlen(text), i;
    KelChar16* wide = malloc((length + 1) * sizeof *wide);
    for (i = 0; wide != NULL && i <= length; ++i) wide[i] = (unsigned char)text[i];
    return wide;
}

/* Decodes the whole picture at one scale in one call; returns its rows. */
static int32_t decodeAtScale(JpegHandle jpeg, uint32_t bytesPerPixel, int32_t scale, uint32_t* width,
                             uint32_t* height) {
    ImageRect rect;
    int32_t rows;
    unsigned long sum = 0;
    size_t i;

    jpegDecodeGetImageSize(jpeg, width, height, scale);
    memset(&rect, 0, sizeof rect);
    rect.width = (int32_t)*width;
    rect.height = (int32_t)*height;
    rect.stride = (int32_t)(*width * bytesPerPixel);
    rect.bitsPerPixel = (int32_t)(8 * bytesPerPixel);
    rect.bits = malloc((size_t)rect.stride * *height + 1);
    if (rect.bits == NULL) return 0;
    rows = jpegDecodeScaleOutputToRect(jpeg, &rect, *height, scale);
    /* ... show rect; here: add up its bytes ... */
    for (i = 0; rows > 0 && i < (size_t)rect.stride * *height; ++i) sum += rect.bits[i];
    printf("%u x %u, pixel sum %lu\n", (unsigned)*width, (unsigned)*height, sum);
    free(rect.bits);
    return rows;
}

int main(int argc, char** argv) {
    JpegDecodeParams params;
    FrameHeader frame;
    JpegHandle jpeg;
    KelChar16* fileName;
    uint32_t bytesPerPixel, width, height;
    int32_t rows;

    if (argc < 2) return 2;
    memset(&params, 0, sizeof params);
    fileName = widen(argv[1]);
    jpeg = fileName ? jpegDecodeProlog(fileName, &params) : NULL;
    free(fileName);
    if (jpeg == NULL) return 1;
    jpegGetFrameHeader(jpeg, &frame);
    bytesPerPixel = params.componentCount >= 3 ? 3 : 1;

    if (frame.sofMarker == 0xFFC2 || frame.sofMarker == 0xFFC3) {
        /* Progressive and lossless frames have no reduced sizes. */
        rows = decodeAtScale(jpeg, bytesPerPixel, JPEG_SCALE_FULL, &width, &height);
    } else {
        rows = decodeAtScale(jpeg, bytesPerPixel, JPEG_SCALE_1_8, &width, &height);
        /* Another scale starts again from the top of the picture. */
        if (rows == (int32_t)height) rows = decodeAtScale(jpeg, bytesPerPixel, JPEG_SCALE_FULL, &width, &height);
    }
    jpegDecodeEpilog(jpeg);
    return rows == (int32_t)height ? 0 : 1;
}
