/* Encodes a generated 100 x 75 colour picture into a JPEG file, 16 lines at
 * a time.   usage: encode_strips OUT.jpg [RESTART_INTERVAL] */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <KelJPEG.h>

enum { kWidth = 100, kHeight = 75, kStripLines = 16 }; /* 16: the MCU height of 4:2:0 */

/* File names are UTF-16; this widens an ASCII name. */
static KelChar16* widen(const char* text) {
    size_t length = strlen(text), i;
    KelChar16* wide = malloc((length + 1) * sizeof *wide);
    for (i = 0; wide != NULL && i <= length; ++i) wide[i] = (unsigned char)text[i];
    return wide;
}

int main(int argc, char** argv) {
    static uint8_t picture[kHeight][kWidth * 3]; /* blue, green, red; top row first */
    JpegEncodeParams params;
    JfifInfo jfif;
    ImageRect strip;
    JpegHandle jpeg;
    KelChar16* fileName;
    uint32_t x, y, lines;
    int failed = 0;

    if (argc < 2) return 2;
    for (y = 0; y < kHeight; ++y) {
        for (x = 0; x < kWidth; ++x) {
            picture[y][3 * x] = (uint8_t)(2 * x);           /* blue */
            picture[y][3 * x + 1] = (uint8_t)(3 * y);       /* green */
            picture[y][3 * x + 2] = (uint8_t)(255 - 2 * x); /* red */
        }
    }

    memset(&jfif, 0, sizeof jfif);
    jfif.units = 1; /* dots per inch */
    jfif.xDensity = jfif.yDensity = 72;
    memset(&params, 0, sizeof params);
    params.samplingFactors = 0x221111; /* Y 2x2, Cb 1x1, Cr 1x1 (4:2:0) */
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 3;
    params.quality = 85;
    params.restartInterval = (uint16_t)(argc > 2 ? atoi(argv[2]) : 0);
    params.options = JPEG_OPT_JFIF;
    params.jfif = &jfif; /* params and jfif must outlive the handle */

    fileName = widen(argv[1]);
    jpeg = fileName ? jpegEncodeProlog(fileName, &params) : NULL;
    free(fileName);
    if (jpeg == NULL) return 1; /* already reported */

    memset(&strip, 0, sizeof strip);
    strip.width = kWidth;
    strip.stride = kWidth * 3;
    strip.bitsPerPixel = 24;
    for (y = 0; y < kHeight && !failed; y += lines) {
        /* Every strip but the last must hold whole MCU rows. */
        lines = kHeight - y < kStripLines ? kHeight - y : kStripLines;
        strip.height = (int32_t)lines;
        strip.bits = picture[y];
        if (jpegEncodeFromRect(jpeg, &strip, lines) != lines) failed = 1;
    }
    /* The epilog ends every encode, a failed one too: it writes the trailer,
     * closes the file and releases the handle. */
    if (jpegEncodeEpilog(jpeg) != 0) failed = 1;
    return failed;
}
