/* Encodes a 24-bit device-independent bitmap into JPEG (in memory), then
 * decodes it into a 24-bit bitmap at half size and into an 8-bit bitmap with
 * the library's palette at full size. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <KelJPEG.h>

enum { kWidth = 40, kHeight = 30 };

/* A bitmap header followed by room for a full palette. */
typedef struct BitmapInfo {
    BITMAPINFOHEADER header;
    RGBQUAD palette[256];
} BitmapInfo;

static uint32_t rowBytes(int32_t width, int bitCount) { return ((uint32_t)(width * bitCount) + 31) / 32 * 4; }

/* Decodes the whole picture at a scale into a bitmap of bitCount bits. */
static int decodeToBitmap(const uint8_t* jpegData, uint32_t jpegSize, int bitCount, int32_t scale) {
    JpegDecodeParams params;
    BitmapInfo info;
    JpegHandle jpeg;
    uint8_t* bits;
    int32_t lines;

    memset(&params, 0, sizeof params);
    params.options = JPEG_OPT_MEMORY;
    params.data = jpegData;
    params.dataLength = jpegSize;
    jpeg = jpegDecodeProlog(NULL, &params);
    if (jpeg == NULL) return -1;

    /* Without pixels the call fills in the header: size, resolution, and
     * for 8 bits the palette. */
    memset(&info, 0, sizeof info);
    info.header.biBitCount = (uint16_t)bitCount;
    jpegDecodeScaleOutputToWinDIBits(jpeg, 0, NULL, &info.header, scale);

    bits = calloc(info.header.biHeight, rowBytes(info.header.biWidth, bitCount));
    lines = bits ? jpegDecodeScaleOutputToWinDIBits(jpeg, (uint32_t)info.header.biHeight, bits, &info.header, scale)
                 : 0;
    printf("%d-bit bitmap %d x %d: %d lines\n", bitCount, (int)info.header.biWidth, (int)info.header.biHeight,
           (int)lines);
    free(bits);
    jpegDecodeEpilog(jpeg);
    return lines == info.header.biHeight ? 0 : -1;
}

int main(void) {
    static uint8_t bits[kHeight * ((kWidth * 3 + 3) / 4 * 4)];
    BITMAPINFOHEADER header;
    JpegEncodeParams params;
    JpegHandle jpeg;
    uint32_t x, y, stride = rowBytes(kWidth, 24);
    int failed;

    /* Bottom-up rows, blue-green-red pixels, each row padded to 4 bytes. */
    for (y = 0; y < kHeight; ++y)
        for (x = 0; x < kWidth; ++x) {
            uint8_t* pixel = bits + y * stride + 3 * x;
            pixel[0] = (uint8_t)(6 * x);
            pixel[1] = (uint8_t)(8 * y);
            pixel[2] = 200;
        }
    memset(&header, 0, sizeof header);
    header.biSize = sizeof header;
    header.biWidth = kWidth;
    header.biHeight = kHeight;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biCompression = BI_RGB;

    memset(&params, 0, sizeof params);
    params.samplingFactors = 0x211111; /* 4:2:2 */
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 3;
    params.quality = 80;
    params.options = JPEG_OPT_MEMORY;
    jpeg = jpegEncodeProlog(NULL, &params);
    if (jpeg == NULL) return 1;
    /* The whole bitmap in one call: the rows are read bottom-up in place. */
    failed = jpegEncodeFromWinDIBits(jpeg, kHeight, bits, &header) != kHeight;
    if (jpegEncodeEpilog(jpeg) != 0) failed = 1;

    if (!failed) failed = decodeToBitmap(params.outputBuffer, params.outputSize, 24, JPEG_SCALE_1_2) != 0;
    /* Colour into 8 bits works at full size only. */
    if (!failed) failed = decodeToBitmap(params.outputBuffer, params.outputSize, 8, JPEG_SCALE_FULL) != 0;
    jpegFreeMemory(params.outputBuffer);
    return failed;
}
