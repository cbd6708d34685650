/* Encodes a grey picture into memory and decodes it back from memory: no
 * files, no file names. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <KelJPEG.h>

enum { kWidth = 64, kHeight = 48 };

static void describe(ImageRect* rect, uint8_t* pixels) {
    memset(rect, 0, sizeof *rect);
    rect->width = kWidth;
    rect->height = kHeight;
    rect->stride = kWidth;
    rect->bitsPerPixel = 8;
    rect->bits = pixels;
}

int main(void) {
    static uint8_t original[kHeight][kWidth], decoded[kHeight][kWidth];
    JpegEncodeParams encodeParams;
    JpegDecodeParams decodeParams;
    ImageRect rect;
    JpegHandle jpeg;
    int x, y, worst = 0;

    for (y = 0; y < kHeight; ++y)
        for (x = 0; x < kWidth; ++x) original[y][x] = (uint8_t)(x * 4 + y);

    memset(&encodeParams, 0, sizeof encodeParams);
    encodeParams.samplingFactors = 0x11; /* one component, 1x1 */
    encodeParams.width = kWidth;
    encodeParams.height = kHeight;
    encodeParams.componentCount = 1;
    encodeParams.quality = 90;
    encodeParams.options = JPEG_OPT_MEMORY;
    jpeg = jpegEncodeProlog(NULL, &encodeParams); /* no file name in memory mode */
    if (jpeg == NULL) return 1;
    describe(&rect, original[0]);
    jpegEncodeFromRect(jpeg, &rect, kHeight); /* one strip: the last may be any height */
    if (jpegEncodeEpilog(jpeg) != 0) {
        jpegFreeMemory(encodeParams.outputBuffer); /* null when nothing was written */
        return 1;
    }
    /* The epilog handed the stream over: it is ours until jpegFreeMemory. */
    printf("encoded %u bytes\n", (unsigned)encodeParams.outputSize);

    memset(&decodeParams, 0, sizeof decodeParams);
    decodeParams.options = JPEG_OPT_MEMORY;
    decodeParams.data = encodeParams.outputBuffer; /* must stay valid until the epilog */
    decodeParams.dataLength = encodeParams.outputSize;
    jpeg = jpegDecodeProlog(NULL, &decodeParams);
    if (jpeg != NULL) {
        describe(&rect, decoded[0]);
        if (jpegDecodeToRect(jpeg, &rect, kHeight) != kHeight) worst = 256;
        jpegDecodeEpilog(jpeg);
    } else {
        worst = 256;
    }
    jpegFreeMemory(encodeParams.outputBuffer);

    for (y = 0; y < kHeight && worst < 256; ++y)
        for (x = 0; x < kWidth; ++x) {
            int difference = abs(original[y][x] - decoded[y][x]);
            if (difference > worst) worst = difference;
        }
    printf("largest pixel difference after the round trip: %d\n", worst);
    return worst <= 16 ? 0 : 1;
}
