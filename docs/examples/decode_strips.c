/* Decodes a sequential JPEG file one MCU row at a time into one picture
 * buffer.   usage: decode_strips IN.jpg */
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

/* Lines per MCU row: 8 times the largest vertical sampling factor. */
static uint32_t mcuHeight(const FrameHeader* frame) {
    uint32_t i, largest = 1;
    for (i = 0; i < frame->componentCount && i < 4; ++i)
        if (frame->components[i].verticalSampling > largest) largest = frame->components[i].verticalSampling;
    return 8 * largest;
}

int main(int argc, char** argv) {
    JpegDecodeParams params;
    FrameHeader frame;
    ImageRect strip;
    JpegHandle jpeg;
    KelChar16* fileName;
    uint8_t* picture;
    uint32_t width, height, band, bytesPerPixel, done = 0;
    unsigned long sum = 0;
    size_t i;

    if (argc < 2) return 2;
    memset(&params, 0, sizeof params);
    fileName = widen(argv[1]);
    jpeg = fileName ? jpegDecodeProlog(fileName, &params) : NULL;
    free(fileName);
    if (jpeg == NULL) return 1;

    jpegGetFrameHeader(jpeg, &frame);
    width = params.width;
    height = params.height;
    band = mcuHeight(&frame);
    bytesPerPixel = params.componentCount >= 3 ? 3 : 1; /* blue-green-red, or grey */

    /* Room for whole MCU rows: the last band is written whole. */
    picture = calloc((size_t)width * bytesPerPixel, height + band);
    memset(&strip, 0, sizeof strip);
    strip.width = (int32_t)width;
    strip.height = (int32_t)band;
    strip.stride = (int32_t)(width * bytesPerPixel);
    strip.bitsPerPixel = (int32_t)(8 * bytesPerPixel);
    while (picture != NULL && done < height) {
        /* After the first call the row argument is the row up to which to
         * decode, counted from the top of the picture: here always a whole
         * number of MCU rows. The result counts the rows added. */
        int32_t added;
        strip.bits = picture + (size_t)done * strip.stride;
        added = jpegDecodeToRect(jpeg, &strip, done + band);
        if (added <= 0) break;
        done += (uint32_t)added;
    }
    jpegDecodeEpilog(jpeg);
    if (picture == NULL || done < height) {
        free(picture);
        return 1;
    }

    for (i = 0; i < (size_t)width * height * bytesPerPixel; ++i) sum += picture[i];
    printf("%u x %u, %u component(s), %u lines per strip, pixel sum %lu\n", (unsigned)width, (unsigned)height,
           (unsigned)params.componentCount, (unsigned)band, sum);
    free(picture);
    return 0;
}
