// Chooses the decoder's inner loops once per process, by processor.
#include "decoder/kernels.h"

#include "decoder/colour_tables.h"
#include "decoder/inverse_dct.h"
#include "decoder/mcu_decode.h"
#include "decoder/progressive_decode.h"

namespace {

// colourBlock for kernels that convert one row at a time.
template <void (*row8)(const int16_t*, const int16_t*, const int16_t*, uint8_t*)>
void colourBlockByRows(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                       int32_t rows) {
    for (int32_t r = 0; r < rows; ++r) row8(y + 8 * r, cb + 8 * r, cr + 8 * r, out + r * stride);
}

// colourBlockHalved for kernels that convert one row at a time.
template <void (*wideRow8)(const int16_t*, const int16_t*, const int16_t*, uint8_t*)>
void colourBlockHalvedByRows(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                             int32_t rows, bool tall) {
    for (int32_t r = 0; r < rows; ++r) {
        const int32_t chromaRow = tall ? r >> 1 : r;
        wideRow8(y + 8 * r, cb + 8 * chromaRow, cr + 8 * chromaRow, out + r * stride);
    }
}

const DecoderKernels kScalar = {
    "scalar", decodeMcuBlocks, inverseDctClampScalar, inverseDct4x4ClampScalar, colourRow8Scalar,
    colourBlockByRows<colourRow8Scalar>, colourBlockByRows<roundedColourRow8Scalar>, colourRow8WideScalar,
    colourBlockHalvedScalar, colourBlockHalvedByRows<roundedColourRow8WideScalar>, greyBlockScalar,
    &kPlainProgressive};

#if KELJPEG_X86_KERNELS
const DecoderKernels kSse2 = {
    "sse2", decodeMcuBlocksFast, inverseDctClampSse2, inverseDct4x4ClampSse2, colourRow8Sse2,
    colourBlockByRows<colourRow8Sse2>, colourBlockByRows<roundedColourRow8Sse2>, colourRow8WideSse2,
    colourBlockHalvedByRows<colourRow8WideSse2>, colourBlockHalvedByRows<roundedColourRow8WideSse2>, greyBlockSse2,
    &kQuickProgressive};
const DecoderKernels kAvx2 = {
    "avx2", decodeMcuBlocksFast, inverseDctClampAvx2, inverseDct4x4ClampSse2, colourRow8Avx2,
    colourBlockAvx2, roundedColourBlockAvx2, colourRow8WideAvx2, colourBlockHalvedAvx2, roundedColourBlockHalvedAvx2,
    greyBlockSse2, &kQuickProgressive};
#endif
#if KELJPEG_NEON_KERNELS
const DecoderKernels kNeon = {
    "neon", decodeMcuBlocksFast, inverseDctClampNeon, inverseDct4x4ClampScalar, colourRow8Neon,
    colourBlockByRows<colourRow8Neon>, colourBlockByRows<roundedColourRow8Scalar>, colourRow8WideNeon,
    colourBlockHalvedByRows<colourRow8WideNeon>, colourBlockHalvedByRows<roundedColourRow8WideScalar>,
    greyBlockScalar, &kQuickProgressive};
#endif

#if KELJPEG_X86_KERNELS
const KernelSets<DecoderKernels> kSets = {&kScalar, &kSse2, &kAvx2, nullptr, {nullptr}};
#elif KELJPEG_NEON_KERNELS
const KernelSets<DecoderKernels> kSets = {&kScalar, nullptr, nullptr, &kNeon, {nullptr}};
#else
const KernelSets<DecoderKernels> kSets = {&kScalar, nullptr, nullptr, nullptr, {nullptr}};
#endif

}  // namespace

const DecoderKernels& decoderKernels() { return chosenSet(kSets); }

std::vector<const DecoderKernels*> runnableDecoderKernels() { return runnableSets(kSets); }

void forceScalarKernels(bool scalar) { forcePlainSet(kSets, scalar); }

void inverseDctClampScalar(int16_t* block) {
    inverseDct8x8(block);
    clampBlock(block);
}

void inverseDct4x4ClampScalar(int16_t* block) {
    inverseDct4x4(block);
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col) block[row * 8 + col] = clampSample(block[row * 8 + col]);
}

void greyBlockScalar(const int16_t* y, uint8_t* out, ptrdiff_t stride, int32_t rows) {
    for (int32_t r = 0; r < rows; ++r, y += 8, out += stride)
        for (int col = 0; col < 8; ++col) out[col] = static_cast<uint8_t>(y[col] + 128);
}

void colourRow8Scalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    for (int col = 0; col < 8; ++col, out += 3) {
        int32_t luma = static_cast<int8_t>(y[col]);
        const ChromaOffsets& b = cbOffsetTable[static_cast<uint8_t>(cb[col] + 128)];
        const ChromaOffsets& red = crOffsetTable[static_cast<uint8_t>(cr[col] + 128)];
        out[0] = rangeLimit(luma + b.first);
        out[1] = rangeLimit(luma + b.second + red.first);
        out[2] = rangeLimit(luma + red.second);
    }
}

namespace {

// The rounded conversion in tables, giving exactly the bits of
// standardYccToRgb: the red and blue terms rounded per chroma value, the
// green products summed before their rounding shift, and the clamp a look-up
// (luma plus a term lies in -227..480).
struct RoundedColourTables {
    int16_t red[256];      // by Cr + 128: (91881 x (Cr - 128) + 32768) >> 16, 91881 = 1.402 x 65536
    int16_t blue[256];     // by Cb + 128: (116130 x (Cb - 128) + 32768) >> 16
    int32_t greenCb[256];  // -22554 x (Cb - 128)
    int32_t greenCr[256];  // -46802 x (Cr - 128), with the rounding half
    uint8_t limit[768];    // by value + 256: the value held to 0..255
};

constexpr RoundedColourTables makeRoundedColourTables() {
    RoundedColourTables t{};
    for (int i = 0; i < 256; ++i) {
        const int32_t c = i - 128;
        t.red[i] = static_cast<int16_t>((91881 * c + 32768) >> 16);
        t.blue[i] = static_cast<int16_t>((116130 * c + 32768) >> 16);
        t.greenCb[i] = -22554 * c;
        t.greenCr[i] = -46802 * c + 32768;
    }
    for (int i = 0; i < 768; ++i) t.limit[i] = static_cast<uint8_t>(i < 256 ? 0 : (i > 511 ? 255 : i - 256));
    return t;
}

constexpr RoundedColourTables kRounded = makeRoundedColourTables();

}  // namespace

void roundedColourRowScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, int32_t count, uint8_t* out) {
    for (int32_t i = 0; i < count; ++i, out += 3) {
        const int32_t luma = y[i] + 128 + 256;
        const int32_t b = cb[i] + 128, r = cr[i] + 128;
        out[0] = kRounded.limit[luma + kRounded.blue[b]];
        out[1] = kRounded.limit[luma + ((kRounded.greenCb[b] + kRounded.greenCr[r]) >> 16)];
        out[2] = kRounded.limit[luma + kRounded.red[r]];
    }
}

void roundedColourRow8Scalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    roundedColourRowScalar(y, cb, cr, 8, out);
}

namespace {

// Eight pixels' chroma from four samples, each taken twice.
void widenChroma(const int16_t* four, int16_t* eight) {
    for (int i = 0; i < 8; ++i) eight[i] = four[i >> 1];
}

}  // namespace

void colourRow8WideScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    int16_t blue[8], red[8];
    widenChroma(cb, blue);
    widenChroma(cr, red);
    colourRow8Scalar(y, blue, red, out);
}

void colourBlockHalvedScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out, ptrdiff_t stride,
                             int32_t rows, bool tall) {
    colourBlockHalvedByRows<colourRow8WideScalar>(y, cb, cr, out, stride, rows, tall);
}

void roundedColourRow8WideScalar(const int16_t* y, const int16_t* cb, const int16_t* cr, uint8_t* out) {
    int16_t blue[8], red[8];
    widenChroma(cb, blue);
    widenChroma(cr, red);
    roundedColourRowScalar(y, blue, red, 8, out);
}
