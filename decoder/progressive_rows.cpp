// The row driver of progressive frames and its two exported controls. Each
// output pass first decodes scans into the coefficient buffer (all of them, or
// one with progressiveMode bit 0), then rebuilds MCU rows from the buffer and
// hands them to the same expanders and pixel writers as sequential output.
#include <cstring>

#include "context/jpeg_context.h"
#include "decoder/decode_to_rect.h"
#include "decoder/bit_reader.h"
#include "decoder/huffman_decode.h"
#include "decoder/inverse_dct.h"
#include "decoder/kernels.h"
#include "decoder/marker_parser.h"
#include "decoder/pixel_writers.h"
#include "decoder/decode_route.h"
#include "decoder/progressive_decode.h"
#include "decoder/upsample.h"

namespace {

constexpr uint16_t kFirstMarker = kMarkerSof0;  // 16 bits below this at a byte boundary are entropy data

// Decodes the current scan whole: -1 on failure, otherwise 0 or 1.
[[nodiscard]] int32_t decodeCurrentScan(JpegContext* context) {
    return context->dec.scan.componentCount != 1 ? decodeScanInterleaved(context) : decodeScanSingle(context);
}

// After the scan set-up has read its way to the next SOS, entropy data must
// follow. A marker there means the set-up stopped short of any SOS (a stray
// marker, or fill bytes past the end of the data): decoding the old scan
// header again would never end, so the pass fails instead. EOI there ends the
// image.
enum class NextScan { Ready, EndOfImage, Unusable };

NextScan setUpNextScan(JpegContext* context) {
    if (parseScanHeaders(context) != 0) return NextScan::Unusable;
    const uint16_t next = peekMarker(context->bitstream);
    if (next == kMarkerEoi) {
        context->dec.lastMarker = kMarkerEoi;
        return NextScan::EndOfImage;
    }
    return next < kFirstMarker ? NextScan::Ready : NextScan::Unusable;
}

// Decodes scans for a new pass: until EOI, or one scan when the caller asked
// for one scan per pass. Once EOI has been seen nothing is left to decode and
// the pass re-renders the finished coefficients. false on any failure.
[[nodiscard]] bool decodeScansForPass(JpegContext* context) {
    DecoderState& dec = context->dec;
    while (dec.lastMarker != kMarkerEoi) {
        if (decodeCurrentScan(context) < 0) return false;
        dec.lastMarker = peekMarker(context->bitstream);
        if (dec.lastMarker < kFirstMarker) return false;  // no marker after the scan
        if (dec.lastMarker == kMarkerEoi) break;
        NextScan next = setUpNextScan(context);
        if (next == NextScan::Unusable) return false;
        if (next == NextScan::EndOfImage) break;
        if (dec.progressiveMode & 1) break;  // the next scan's data waits for the next pass
    }
    return true;
}

void dequantiseBlock(const int16_t* coefficients, const uint16_t* quant, int16_t* out) {
    for (int n = 0; n < kBlockValues; ++n) {
        // Unsigned product: a hostile table cannot overflow; 16-bit truncation as in sequential decoding.
        out[n] = static_cast<int16_t>(static_cast<uint32_t>(static_cast<uint16_t>(coefficients[n])) * quant[n]);
    }
}

int16_t* mcuRowStart(const JpegContext* context, uint32_t mcuRow) {
    const DecoderState& dec = context->dec;
    return dec.progressiveBlocks + static_cast<size_t>(mcuRow) * dec.mcusPerRow * dec.blocksPerMcu * kBlockValues;
}

// The MCUs of a pass come from the coefficient buffer, a row at a time.
bool rebuildNextMcu(JpegContext* context, uint32_t mcuRow, uint32_t mcuX, void* quant) {
    if (mcuX == 0) context->dec.progressiveCursor = mcuRowStart(context, mcuRow);
    rebuildProgressiveMcu(context, *static_cast<const NaturalQuant*>(quant));
    return true;
}

}  // namespace

NaturalQuant naturalQuantOf(const JpegContext* context) {
    NaturalQuant quant;
    for (int c = 0; c < 4; ++c)
        for (int n = 0; n < kBlockValues; ++n)
            quant.values[c][n] = static_cast<uint16_t>(context->components[c].quant[naturalToZigzag[n]]);
    return quant;
}

void rebuildProgressiveMcu(JpegContext* context, const NaturalQuant& quant) {
    auto inverseDctClamp = context->dec.kernels->inverseDctClamp;  // inverseDct8x8 then clampBlock
    DecoderState& dec = context->dec;
    const int16_t* in = dec.progressiveCursor;
    int16_t* out = dec.mcuBlocks;
    uint32_t blocksLeft = dec.blocksPerMcu;
    const int components = static_cast<int>(dec.componentCount < 4 ? dec.componentCount : 4);
    for (int c = 0; c < components; ++c) {
        const FrameHeaderComponent& fc = context->frame.components[c];
        const uint32_t blocks = static_cast<uint32_t>(fc.horizontalSampling) * fc.verticalSampling;
        for (uint32_t b = 0; b < blocks && blocksLeft > 0; ++b, --blocksLeft) {
            dequantiseBlock(in, quant.values[c], out);
            inverseDctClamp(out);
            in += kBlockValues;
            out += kBlockValues;
        }
    }
    dec.progressiveCursor += static_cast<size_t>(dec.blocksPerMcu) * kBlockValues;
}

int32_t decodeProgressiveRows(JpegContext* context, ImageRect* rect, uint32_t rows) {
    if (!context) return 0;
    DecoderState& dec = context->dec;
    const int32_t lines = context->frame.lines;
    if (dec.rowsDelivered == 0 || dec.rowsDelivered == static_cast<uint32_t>(lines)) {
        dec.rowsDelivered = 0;
        if (!decodeScansForPass(context)) return 0;
    }
    BandLoop loop{};
    const McuOutput output = selectMcuOutput(context, rect);
    NaturalQuant quant = naturalQuantOf(context);
    loop.stage = {rebuildNextMcu, &quant, output.expand, output.write, samplingMask(context), 8,
                  static_cast<int32_t>(dec.mcuWidth)};
    if (!loop.stage.expand || !loop.stage.write || !dec.progressiveBlocks) return 0;
    loop.mcuHeight = static_cast<int32_t>(dec.mcuHeight);
    loop.columnsPerBand = rect->width;
    loop.clipTo = lines;
    // A band past the last MCU row holds no rows or fewer: it is counted but
    // not rebuilt, so the cursor never leaves the buffer.
    loop.writtenMcuRows = dec.mcuRows;
    const int32_t delivered = runBandLoop(context, rect, rows, loop);
    dec.progressiveCursor = dec.progressiveBlocks;
    return delivered;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeSetProgressiveMode(JpegHandle context, uint32_t mode) {
    if (!context) return -1;
    context->dec.progressiveMode = mode;
    return 1;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeQueryProgressiveComplete(JpegHandle context) {
    if (!context) return 1;
    return context->dec.lastMarker == kMarkerEoi ? 1 : 0;
}

// Progressive frames come at full size whatever the scale.
int32_t deliverProgressiveRows(JpegContext* context, ImageRect* rect, uint32_t rows, int32_t) {
    return decodeProgressiveRows(context, rect, rows);
}
