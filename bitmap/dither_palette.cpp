#include "bitmap/dither_palette.h"

#include <atomic>
#include <mutex>  // std::lock_guard

#include "runtime/platform.h"

namespace {

// 4 x 4 ordered-dither matrix, row by row.
constexpr uint8_t kDitherMatrix[4][4] = {{1, 13, 4, 16}, {9, 5, 12, 8}, {3, 15, 2, 14}, {11, 7, 10, 6}};

DitherTables gDitherTables;
std::atomic<bool> gDitherTablesReady{false};

// Exact products truncated toward zero, as the decoder's constant tables hold
// them: 1.772 x -128 = -226.8 gives -226.
int32_t blueFromCb(int32_t cb) { return 1772 * cb / 1000; }
int32_t greenFromCb(int32_t cb) { return -34414 * cb / 100000; }
int32_t greenFromCr(int32_t cr) { return -71414 * cr / 100000; }
int32_t redFromCr(int32_t cr) { return 1402 * cr / 1000; }

uint8_t rangeLimit(int32_t v) {
    if (v < -128) return 0;
    if (v > 127) return 255;
    return static_cast<uint8_t>(v + 128);
}

// Level of sample v for one table: how many thresholds first, first + spacing,
// ... lie at or below v, times the level's weight in the palette index.
uint8_t ditherLevel(int v, int first, int spacing, int weight) {
    int level = 0;
    for (int threshold = first; threshold <= v; threshold += spacing) ++level;
    return static_cast<uint8_t>(level * weight);
}

void buildDitherTables() {
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 4; ++j) {
            int d = kDitherMatrix[k][j];
            for (int v = 0; v < 256; ++v) {
                gDitherTables.y[k][j][v] = ditherLevel(v, 3 * d, 36, 25);
                gDitherTables.cb[k][j][v] = ditherLevel(v, 4 * d, 64, 5);
                gDitherTables.cr[k][j][v] = ditherLevel(v, 4 * d, 64, 1);
            }
        }
    }
    gDitherTablesReady.store(true, std::memory_order_release);
}

}  // namespace

void jpegDecodeYCbCrToRGB(uint8_t* red, uint8_t* green, uint8_t* blue, int32_t y, int32_t cb, int32_t cr) {
    int32_t ys = y - 128;
    int32_t cbs = cb - 128;
    int32_t crs = cr - 128;
    *blue = rangeLimit(ys + blueFromCb(cbs));
    *green = rangeLimit(ys + greenFromCb(cbs) + greenFromCr(crs));
    *red = rangeLimit(ys + redFromCr(crs));
}

void complibFillDitherPalette(RGBQUAD* palette) {
    for (int i = 0; i < kDitherPaletteEntries; ++i) {
        RGBQUAD& entry = palette[i];
        jpegDecodeYCbCrToRGB(&entry.rgbRed, &entry.rgbGreen, &entry.rgbBlue, (i / 25) * 32 + 16,
                             ((i / 5) % 5) * 51 + 25, (i % 5) * 51 + 25);
        entry.rgbReserved = 0;
    }
}

void complibBuildDitherTables(const BITMAPINFOHEADER* header) {
    if (!header || header->biBitCount != 8) return;
    // The tables never change once built, so one build serves every later
    // request; concurrent first requests wait for the one that builds.
    if (gDitherTablesReady.load(std::memory_order_acquire)) return;
    static platform::Lock buildLock;
    std::lock_guard<platform::Lock> guard(buildLock);
    if (!gDitherTablesReady.load(std::memory_order_acquire)) buildDitherTables();
}

const DitherTables* complibDitherTables() {
    return gDitherTablesReady.load(std::memory_order_acquire) ? &gDitherTables : nullptr;
}
