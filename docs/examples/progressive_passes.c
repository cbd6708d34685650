/* Decodes a progressive JPEG file pass by pass: each pass adds one scan and
 * delivers the whole picture again, sharper.   usage: progressive_passes IN.jpg */
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

int main(int argc, char** argv) {
    JpegDecodeParams params;
    ImageRect rect;
    JpegHandle jpeg;
    KelChar16* fileName;
    uint32_t bytesPerPixel;
    unsigned long sum = 0;
    size_t i;
    int passes = 0, failed = 0;

    if (argc < 2) return 2;
    memset(&params, 0, sizeof params);
    fileName = widen(argv[1]);
    jpeg = fileName ? jpegDecodeProlog(fileName, &params) : NULL;
    free(fileName);
    if (jpeg == NULL) return 1;
    if ((params.options & JPEG_OPT_PROGRESSIVE) == 0) { /* set by the prolog */
        printf("not a progressive file\n");
        jpegDecodeEpilog(jpeg);
        return 1;
    }

    bytesPerPixel = params.componentCount >= 3 ? 3 : 1;
    memset(&rect, 0, sizeof rect);
    rect.width = params.width;
    rect.height = params.height;
    rect.stride = (int32_t)(params.width * bytesPerPixel);
    rect.bitsPerPixel = (int32_t)(8 * bytesPerPixel);
    rect.bits = malloc((size_t)rect.stride * params.height);

    jpegDecodeSetProgressiveMode(jpeg, 1); /* one scan per pass; 0 = all scans before the first rows */
    while (rect.bits != NULL && !jpegDecodeQueryProgressiveComplete(jpeg)) {
        /* A pass is one request for the whole picture; here the row
         * argument is a count. */
        if (jpegDecodeToRect(jpeg, &rect, params.height) != params.height) {
            failed = 1;
            break;
        }
        ++passes;
        /* ... show rect: a coarse picture first, the final one last ... */
    }
    if (rect.bits == NULL) failed = 1;
    for (i = 0; !failed && i < (size_t)rect.stride * params.height; ++i) sum += rect.bits[i];
    printf("%d passes, pixel sum %lu\n", passes, sum);
    free(rect.bits);
    jpegDecodeEpilog(jpeg);
    return failed;
}
