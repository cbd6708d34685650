// jpegEncodeFromRect: strips of blue-green-red (or grey, or raw component)
// pixels cut into MCUs, converted straight into the blocks and coded.
#include <cstring>

#include "context/jpeg_context.h"
#include "encoder/block_coder.h"
#include "encoder/gather.h"
#include "encoder/kernels.h"
#include "runtime/heap.h"

namespace encoder {

namespace {

enum class PixelConversion { Bytes, Ycc, LevelShifted };

PixelConversion conversionFor(const JpegContext* context) {
    if (context->enc.componentCount != 3) return PixelConversion::Bytes;
    return (context->options & JPEG_OPT_RAW_COMPONENTS) ? PixelConversion::LevelShifted : PixelConversion::Ycc;
}

// One component's share of the MCU's samples: its blocks in raster order,
// 64 samples row by row each, one sample per 1 << shiftX pixels across and
// 1 << shiftY rows down.
struct ComponentBlocks {
    int16_t* blocks;
    uint32_t blocksAcross;
    uint32_t shiftX, shiftY;
    int32_t offset;  // subtracted from the bytes of a Bytes conversion
};

// The sample at (sx, sy) of the component's own grid: (9, 3) of two blocks
// across lies in the second block, row 3, column 1.
inline int16_t* sampleAt(const ComponentBlocks& c, uint32_t sx, uint32_t sy) {
    return c.blocks + ((sy >> 3) * c.blocksAcross + (sx >> 3)) * 64 + (sy & 7) * 8 + (sx & 7);
}

// One call of a colour row kernel for a whole MCU: which kernel, from which
// row of the MCU, and where its samples go.
enum class RowKernel : uint8_t {
    Luma,    // luma16 on sixteen pixels of the row
    Even,    // yccEven16 on sixteen pixels of the row
    Across,  // yccPixels16 on sixteen pixels of the row
    Down,    // yccPixels16 on eight pixels of the row and eight of the next
};
struct RowCall {
    RowKernel kernel;
    uint32_t row;
    YccRowOut out;
};

// The samples of one MCU as the coder takes them. They live for the whole
// call: positions outside the image keep whatever the previous MCU of this
// call put there (the first MCU finds 0, less the offset).
struct McuSamples {
    uint32_t components;
    uint32_t width, height;  // pixels
    PixelConversion conversion;
    ComponentBlocks component[4];
    int16_t* all;
    // Colour with luma at every pixel and both chroma at the same steps goes
    // through the row kernels, in calls fixed by the layout.
    uint32_t rowCalls;  // 0: the rows do not apply
    RowCall rowCall[16];
    int16_t spare[16];  // the chroma of a second row that keeps none
};

inline int16_t sampleOf(const uint8_t* pixel, uint32_t c, PixelConversion conversion, int32_t offset) {
    switch (conversion) {
        case PixelConversion::Ycc: {
            YccSample s = yccOf(pixel);
            return c == 0 ? s.y : (c == 1 ? s.cb : s.cr);
        }
        case PixelConversion::LevelShifted: return static_cast<int16_t>(pixel[c] - 128);
        case PixelConversion::Bytes: break;
    }
    return static_cast<int16_t>(pixel[c] - offset);
}

// The plain converter: the existing rows x pixels of the MCU, sample by
// sample. The vector rows below are measured against it.
void convertPlain(const McuSamples& m, const uint8_t* origin, intptr_t stride, uint32_t rows, uint32_t pixels) {
    for (uint32_t c = 0; c < m.components; ++c) {
        const ComponentBlocks& k = m.component[c];
        for (uint32_t y = 0; y < rows; y += 1u << k.shiftY) {
            const uint8_t* row = origin + stride * static_cast<intptr_t>(y);
            for (uint32_t x = 0; x < pixels; x += 1u << k.shiftX) {
                const uint8_t* pixel = row + x * m.components;
                *sampleAt(k, x >> k.shiftX, y >> k.shiftY) = sampleOf(pixel, c, m.conversion, k.offset);
            }
        }
    }
}

void convertRows(const McuSamples& m, const EncoderKernels& kernels, const uint8_t* origin, intptr_t stride) {
    for (uint32_t i = 0; i < m.rowCalls; ++i) {
        const RowCall& call = m.rowCall[i];
        const uint8_t* row = origin + stride * static_cast<intptr_t>(call.row);
        switch (call.kernel) {
            case RowKernel::Luma: kernels.luma16(row, row + 24, call.out); break;
            case RowKernel::Even: kernels.yccEven16(row, call.out); break;
            case RowKernel::Across: kernels.yccPixels16(row, row + 24, call.out); break;
            case RowKernel::Down: kernels.yccPixels16(row, row + stride, call.out); break;
        }
    }
}

// A whole MCU with the chosen kernels: colour by rows, grey by blocks, the
// rarer layouts (raw components, four components, unlike chroma) plainly.
void convertWhole(const McuSamples& m, const EncoderKernels& kernels, const uint8_t* origin, intptr_t stride) {
    if (m.rowCalls) return convertRows(m, kernels, origin, stride);
    if (m.components == 1) {
        const ComponentBlocks& grey = m.component[0];
        for (uint32_t y = 0; y < m.height; y += 8)
            for (uint32_t x = 0; x < m.width; x += 8)
                kernels.levelShiftBlock(origin + stride * static_cast<intptr_t>(y) + x, stride, sampleAt(grey, x, y));
        return;
    }
    convertPlain(m, origin, stride, m.height, m.width);
}

// The row calls of a colour MCU. Sixteen pixels across: one call per row,
// chroma on the rows it samples. Eight across: one call per two rows, the
// second row's chroma thrown away where chroma takes every other row.
void planRowCalls(McuSamples& m) {
    const ComponentBlocks &luma = m.component[0], &cb = m.component[1], &cr = m.component[2];
    m.rowCalls = 0;
    if (m.width == 16) {
        for (uint32_t y = 0; y < m.height; ++y) {
            RowCall call{RowKernel::Luma, y, YccRowOut{}};
            call.out.yA = sampleAt(luma, 0, y);
            call.out.yB = sampleAt(luma, 8, y);
            if ((y & ((1u << cb.shiftY) - 1)) == 0) {
                const uint32_t cy = y >> cb.shiftY;
                call.out.cbA = sampleAt(cb, 0, cy);
                call.out.crA = sampleAt(cr, 0, cy);
                call.kernel = cb.shiftX ? RowKernel::Even : RowKernel::Across;
                if (!cb.shiftX) {
                    call.out.cbB = sampleAt(cb, 8, cy);
                    call.out.crB = sampleAt(cr, 8, cy);
                }
            }
            m.rowCall[m.rowCalls++] = call;
        }
        return;
    }
    for (uint32_t y = 0; y < m.height; y += 2) {
        RowCall call{RowKernel::Down, y, YccRowOut{}};
        const uint32_t cy = y >> cb.shiftY;
        call.out.yA = sampleAt(luma, 0, y);
        call.out.yB = sampleAt(luma, 0, y + 1);
        call.out.cbA = sampleAt(cb, 0, cy);
        call.out.crA = sampleAt(cr, 0, cy);
        call.out.cbB = cb.shiftY ? m.spare : sampleAt(cb, 0, cy + 1);
        call.out.crB = cb.shiftY ? m.spare + 8 : sampleAt(cr, 0, cy + 1);
        m.rowCall[m.rowCalls++] = call;
    }
}

uint32_t shiftOf(uint32_t step) { return step == 2 ? 1 : 0; }

// Lays the components' blocks out one after another in storage (which holds
// 64 samples for each block of the MCU), fills them with the first MCU's
// padding and plans the row calls. m is not to be copied afterwards: the row
// calls point into it.
void setUpSamples(const JpegContext* context, const GatherPlan plans[4], int16_t* storage, McuSamples& m) {
    const EncoderState& enc = context->enc;
    m.components = enc.componentCount;
    m.width = enc.mcuWidth;
    m.height = enc.mcuHeight;
    m.conversion = conversionFor(context);
    m.all = storage;
    int16_t* at = storage;
    for (uint32_t c = 0; c < m.components; ++c) {
        const GatherPlan& plan = plans[c];
        m.component[c] = ComponentBlocks{at, plan.blocksAcross, shiftOf(plan.stepX), shiftOf(plan.stepY), plan.offset};
        uint32_t samples = 64 * plan.blocksAcross * plan.blocksDown;
        for (uint32_t i = 0; i < samples; ++i) at[i] = static_cast<int16_t>(-plan.offset);
        at += samples;
    }
    const ComponentBlocks* k = m.component;
    m.rowCalls = 0;
    if (m.conversion == PixelConversion::Ycc && k[0].shiftX == 0 && k[0].shiftY == 0 && k[1].shiftX == k[2].shiftX &&
        k[1].shiftY == k[2].shiftY)
        planRowCalls(m);
}

uint32_t blocksPerMcu(const GatherPlan plans[4], uint32_t n) {
    uint32_t blocks = 0;
    for (uint32_t c = 0; c < n; ++c) blocks += plans[c].blocksAcross * plans[c].blocksDown;
    return blocks;
}

struct Strip {
    const uint8_t* bits;
    int32_t stride;
    uint32_t width;  // pixels per row of the rectangle
    uint32_t lines;
};

// Codes the strip's MCU rows; false as soon as an output write has failed.
bool encodeStrip(JpegContext* context, const Strip& strip, const McuSamples& samples, const McuCoder& coder) {
    const EncoderState& enc = context->enc;
    const EncoderKernels& kernels = *coder.kernels;
    const uint32_t n = enc.componentCount;
    const intptr_t stride = strip.stride;
    uint32_t mcuRows = (strip.lines + enc.mcuHeight - 1) / enc.mcuHeight;
    for (uint32_t my = 0; my < mcuRows; ++my) {
        // A partial MCU row at the end of a call is coded as a full one.
        uint32_t rows = my + 1 < mcuRows ? enc.mcuHeight : strip.lines - my * enc.mcuHeight;
        const uint8_t* rowOrigin = strip.bits + stride * static_cast<intptr_t>(my * enc.mcuHeight);
        for (uint32_t mx = 0; mx < enc.mcusPerRow; ++mx) {
            uint32_t left = mx * enc.mcuWidth;
            uint32_t pixels = strip.width > left ? strip.width - left : 0;
            if (pixels > enc.mcuWidth) pixels = enc.mcuWidth;
            const uint8_t* origin = rowOrigin + static_cast<size_t>(left) * n;
            if (rows == enc.mcuHeight && pixels == enc.mcuWidth)
                convertWhole(samples, kernels, origin, stride);
            else
                convertPlain(samples, origin, stride, rows, pixels);
            encodeMcu(context, coder, samples.all);
        }
        if (context->bitstream->status != kBitstreamOk) return false;
    }
    return true;
}

}  // namespace

}  // namespace encoder

using namespace encoder;

extern "C" KELJPEG_API uint32_t KELJPEG_CALL jpegEncodeFromRect(JpegHandle context, const ImageRect* rect,
                                                               uint32_t lines) {
    if (!context || !rect || !rect->bits || rect->width < 0) return 0;
    uint32_t n = context->enc.componentCount;
    if (n < 1 || n > 4) return 0;
    // Pixels are read n bytes apart: a rectangle of fewer bits per pixel would
    // be read past its rows.
    if (rect->bitsPerPixel < 8 * static_cast<int32_t>(n)) return 0;
    GatherPlan plans[4];
    if (!selectGatherPlans(context, plans)) return 0;
    auto* storage = static_cast<int16_t*>(complibAllocMemory(64 * sizeof(int16_t) * blocksPerMcu(plans, n)));
    if (!storage) return 0;
    McuSamples samples;
    setUpSamples(context, plans, storage, samples);
    McuCoder coder;
    prepareMcuCoder(context, coder);

    Strip strip{rect->bits, rect->stride, static_cast<uint32_t>(rect->width), lines & 0xFFFF};
    bool encoded = encodeStrip(context, strip, samples, coder);
    (void)complibFreeMemory(storage);
    if (!encoded) return 0;
    context->enc.linesEncoded += strip.lines;
    return strip.lines;
}
