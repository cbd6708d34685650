/* Encodes a picture held as planar Y, U and V samples (one U and one V
 * sample for each 2 x 2 group of Y samples) into memory. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <KelJPEG.h>

enum { kWidth = 48, kHeight = 32 };

int main(void) {
    /* Y plane, then U plane, then V plane, back to back. */
    static uint8_t planes[kWidth * kHeight * 3 / 2];
    uint8_t* y = planes;
    uint8_t* u = planes + kWidth * kHeight;
    uint8_t* v = u + kWidth * kHeight / 4;
    JpegEncodeParams params;
    JpegHandle jpeg;
    uint32_t row, column, lines;

    for (row = 0; row < kHeight; ++row)
        for (column = 0; column < kWidth; ++column) y[row * kWidth + column] = (uint8_t)(16 + 4 * column);
    memset(u, 100, kWidth * kHeight / 4);
    memset(v, 160, kWidth * kHeight / 4);

    memset(&params, 0, sizeof params);
    params.samplingFactors = 0x221111; /* required by the planar entry points */
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 3;
    params.quality = 75;
    params.options = JPEG_OPT_MEMORY;
    jpeg = jpegEncodeProlog(NULL, &params);
    if (jpeg == NULL) return 1;
    lines = jpegEncodeFromYUV411(jpeg, planes, kWidth, kHeight); /* the whole picture at once */
    if (jpegEncodeEpilog(jpeg) != 0) lines = 0;
    printf("%u lines, %u bytes of JPEG\n", (unsigned)lines, (unsigned)params.outputSize);
    jpegFreeMemory(params.outputBuffer);
    return lines == kHeight ? 0 : 1;
}
