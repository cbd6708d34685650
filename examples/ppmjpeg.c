/* ppmjpeg: a small host of the KelJPEG library.
 *
 *   ppmjpeg decode IN.jpg OUT.ppm [SCALE]    SCALE 0 = 1/8, 1 = 1/4, 2 = 1/2, 3 = full (default)
 *   ppmjpeg encode IN.ppm OUT.jpg [QUALITY]  QUALITY 1..100, default 75
 *
 * Colour JPEG files become binary PPM (P6), greyscale ones PGM (P5); PPM and
 * PGM input become three- or one-component JPEG. It uses only the public C
 * interface of KelJPEG.h.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <KelJPEG.h>

/* The library takes UTF-16 file names; argv holds UTF-8 (or ASCII). */
static KelChar16* utf16FromUtf8(const char* text) {
    size_t length = strlen(text), used = 0, i = 0;
    KelChar16* out = malloc((length + 1) * 2 * sizeof(KelChar16));
    if (!out) return NULL;
    while (i < length) {
        unsigned char c = (unsigned char)text[i];
        uint32_t code = c;
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (extra) code = c & (0x3Fu >> extra);
        for (++i; extra > 0 && i < length; --extra, ++i) code = (code << 6) | ((unsigned char)text[i] & 0x3Fu);
        if (code >= 0x10000) {
            code -= 0x10000;
            out[used++] = (KelChar16)(0xD800 + (code >> 10));
            out[used++] = (KelChar16)(0xDC00 + (code & 0x3FF));
        } else {
            out[used++] = (KelChar16)code;
        }
    }
    out[used] = 0;
    return out;
}

/* Reports arrive as UTF-16; print the composed line in ASCII. */
static void KELJPEG_CALL printReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                     const KelChar16* line, uint32_t icon) {
    int i;
    (void)user; (void)source; (void)severity; (void)text; (void)icon;
    fputs("ppmjpeg: library report: ", stderr);
    for (i = 0; line[i]; ++i) fputc(line[i] < 0x80 ? (char)line[i] : '?', stderr);
    fputc('\n', stderr);
}

static int writeNetpbm(const char* path, const uint8_t* pixels, uint32_t width, uint32_t height, int channels) {
    FILE* out = fopen(path, "wb");
    size_t bytes = (size_t)width * height * channels;
    if (!out) return -1;
    fprintf(out, "P%c\n%u %u\n255\n", channels == 3 ? '6' : '5', (unsigned)width, (unsigned)height);
    if (fwrite(pixels, 1, bytes, out) != bytes) {
        fclose(out);
        return -1;
    }
    return fclose(out) == 0 ? 0 : -1;
}

/* Blue, green, red <-> red, green, blue, in place. */
static void swapRedAndBlue(uint8_t* pixels, size_t count) {
    size_t i;
    for (i = 0; i < count; ++i) {
        uint8_t first = pixels[3 * i];
        pixels[3 * i] = pixels[3 * i + 2];
        pixels[3 * i + 2] = first;
    }
}

/* Decodes the whole picture at a scale; returns the pixels (grey or
 * blue-green-red), or null. */
static uint8_t* decodePicture(JpegHandle jpeg, int channels, int32_t scale, uint32_t width, uint32_t height) {
    ImageRect rect;
    uint8_t* pixels = malloc((size_t)width * height * channels);
    if (!pixels) return NULL;
    memset(&rect, 0, sizeof rect);
    rect.width = (int32_t)width;
    rect.height = (int32_t)height;
    rect.stride = (int32_t)(width * channels);
    rect.bitsPerPixel = 8 * channels;
    rect.bits = pixels;
    /* One call for the whole picture writes exactly its rows; a progressive
     * file decodes all its scans first. */
    if ((uint32_t)jpegDecodeScaleOutputToRect(jpeg, &rect, height, scale) != height) {
        free(pixels);
        return NULL;
    }
    return pixels;
}

static int decode(const char* inPath, const char* outPath, int32_t scale) {
    JpegDecodeParams params;
    FrameHeader frame;
    JpegHandle jpeg;
    KelChar16* name = utf16FromUtf8(inPath);
    uint32_t width = 0, height = 0;
    int channels, status = 1;
    uint8_t* pixels = NULL;

    memset(&params, 0, sizeof params);
    jpeg = name ? jpegDecodeProlog(name, &params) : NULL;
    free(name);
    if (!jpeg) return 1;
    jpegDecodeGetImageSize(jpeg, &width, &height, scale);
    channels = params.componentCount >= 3 ? 3 : 1;
    if (jpegGetFrameHeader(jpeg, &frame) != 0 || frame.sofMarker == 0xFFC3 || frame.precision != 8)
        fprintf(stderr, "ppmjpeg: only 8-bit DCT-based files are handled here\n");
    else if (width == 0 || height == 0)
        fprintf(stderr, "ppmjpeg: the picture's height comes after its data; not handled here\n");
    else
        pixels = decodePicture(jpeg, channels, scale, width, height);
    if (pixels) {
        if (channels == 3) swapRedAndBlue(pixels, (size_t)width * height);
        status = writeNetpbm(outPath, pixels, width, height, channels) == 0 ? 0 : 1;
        free(pixels);
    }
    if (jpegDecodeEpilog(jpeg) != 0) status = 1;
    return status;
}

/* Reads the next header number of a PPM or PGM file, skipping comments. */
static int readHeaderNumber(FILE* in, unsigned* value) {
    int c = fgetc(in);
    while (c == '#' || c == ' ' || c == '\t' || c == '\r' || c == '\n') {
        if (c == '#') while (c != '\n' && c != EOF) c = fgetc(in);
        c = fgetc(in);
    }
    *value = 0;
    if (c < '0' || c > '9') return -1;
    while (c >= '0' && c <= '9') {
        *value = *value * 10 + (unsigned)(c - '0');
        c = fgetc(in);
    }
    return 0;
}

/* Reads a binary PPM (3 channels) or PGM (1 channel) of maximum value 255;
 * returns its pixels in the library's order (blue, green, red), or null. */
static uint8_t* readNetpbm(const char* path, unsigned* width, unsigned* height, int* channels) {
    FILE* in = fopen(path, "rb");
    unsigned maxValue;
    size_t bytes;
    uint8_t* pixels = NULL;
    int kind;

    if (!in) return NULL;
    kind = fgetc(in) == 'P' ? fgetc(in) : 0;
    *channels = kind == '6' ? 3 : kind == '5' ? 1 : 0;
    if (*channels && !readHeaderNumber(in, width) && !readHeaderNumber(in, height) &&
        !readHeaderNumber(in, &maxValue) && maxValue == 255 && *width && *height && *width <= 65535 &&
        *height <= 65535) {
        bytes = (size_t)*width * *height * *channels;
        pixels = malloc(bytes);
        if (pixels && fread(pixels, 1, bytes, in) != bytes) {
            free(pixels);
            pixels = NULL;
        }
    }
    fclose(in);
    if (pixels && *channels == 3) swapRedAndBlue(pixels, (size_t)*width * *height);
    return pixels;
}

static int encode(const char* inPath, const char* outPath, uint16_t quality) {
    unsigned width, height, y, stripRows;
    int channels, status;
    uint8_t* pixels = readNetpbm(inPath, &width, &height, &channels);
    JpegEncodeParams params;
    JfifInfo jfif;
    JpegHandle jpeg;
    ImageRect rect;
    KelChar16* name;

    if (!pixels) return 1;
    memset(&params, 0, sizeof params);
    memset(&jfif, 0, sizeof jfif);
    jfif.xDensity = jfif.yDensity = 1; /* square pixels, no unit, no thumbnail */
    params.samplingFactors = channels == 3 ? 0x221111u : 0x11u;
    params.width = (uint16_t)width;
    params.height = (uint16_t)height;
    params.componentCount = (uint16_t)channels;
    params.quality = quality;
    params.options = JPEG_OPT_JFIF;
    params.jfif = &jfif;
    name = utf16FromUtf8(outPath);
    jpeg = name ? jpegEncodeProlog(name, &params) : NULL;
    free(name);
    if (!jpeg) {
        free(pixels);
        return 1;
    }
    /* Strips of whole MCU rows (16 lines for 4:2:0, 8 for grey); only the
     * last strip may be shorter. */
    stripRows = channels == 3 ? 16 : 8;
    memset(&rect, 0, sizeof rect);
    rect.width = (int32_t)width;
    rect.stride = (int32_t)(width * channels);
    rect.bitsPerPixel = 8 * channels;
    status = 0;
    for (y = 0; y < height && status == 0; y += stripRows) {
        uint32_t lines = height - y < stripRows ? height - y : stripRows;
        rect.height = (int32_t)lines;
        rect.bits = pixels + (size_t)y * rect.stride;
        if (jpegEncodeFromRect(jpeg, &rect, lines) != lines) status = 1;
    }
    if (jpegEncodeEpilog(jpeg) != 0) status = 1;
    free(pixels);
    return status;
}

int main(int argc, char** argv) {
    jpegSetReportHandler(printReport, NULL);
    if (argc >= 4 && strcmp(argv[1], "decode") == 0)
        return decode(argv[2], argv[3], argc > 4 ? (int32_t)atoi(argv[4]) : JPEG_SCALE_FULL);
    if (argc >= 4 && strcmp(argv[1], "encode") == 0)
        return encode(argv[2], argv[3], (uint16_t)(argc > 4 ? atoi(argv[4]) : 75));
    fprintf(stderr, "usage: ppmjpeg decode IN.jpg OUT.ppm [SCALE]\n"
                    "       ppmjpeg encode IN.ppm OUT.jpg [QUALITY]\n");
    return 2;
}
