/* Prints the JFIF density and thumbnail size of a JPEG file.
 *   usage: jfif_info IN.jpg */
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
    /* The largest thumbnail is 255 x 255 pixels of 3 bytes, behind 7 bytes of
     * densities and sizes. Size the buffer for it: the decoder copies
     * whatever thumbnail the file carries. */
    size_t jfifBytes = 7 + 3 * 255 * 255;
    JfifInfo* jfif = calloc(1, jfifBytes);
    JpegDecodeParams params;
    JpegHandle jpeg;
    KelChar16* fileName;

    if (argc < 2 || jfif == NULL) return 2;
    memset(&params, 0, sizeof params);
    params.options = JPEG_OPT_JFIF;
    params.jfifInfo = jfif;
    fileName = widen(argv[1]);
    jpeg = fileName ? jpegDecodeProlog(fileName, &params) : NULL;
    free(fileName);
    if (jpeg == NULL) {
        free(jfif);
        return 1;
    }
    /* The prolog has read the headers: the buffer is filled (it stays
     * zero for a file without a JFIF segment). */
    printf("density %u x %u (units %u), thumbnail %u x %u\n", (unsigned)jfif->xDensity,
           (unsigned)jfif->yDensity, (unsigned)jfif->units, (unsigned)jfif->thumbnailWidth,
           (unsigned)jfif->thumbnailHeight);
    jpegDecodeEpilog(jpeg);
    free(jfif);
    return 0;
}
