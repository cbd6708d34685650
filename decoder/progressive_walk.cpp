// The two scan walks of progressive frames. An interleaved scan (Ns > 1,
// DC scans in practice) visits the MCUs in order with restart processing; a
// single-component scan visits that component's blocks in the MCU grid.
//
// Worked example, a 17 x 17 4:2:0 image (2 x 2 MCUs of 6 blocks): a
// single-component scan of the luma (H = V = 2) visits 3 x 3 blocks, those
// whose top-left pixel lies inside the picture, at MCU start + v * 2 + h; a
// scan of Cb (H = V = 1, 4 blocks before it in each MCU) visits 2 x 2 blocks.
#include "context/jpeg_context.h"
#include "decoder/mcu_decode.h"
#include "decoder/progressive_decode.h"
#include "runtime/report.h"

namespace {

// Where the scan's blocks lie in each MCU. The walks take these bounds once,
// before the first block, so that a scan header met halfway (a hostile
// restart position) cannot move them out of the MCU.
struct ScanLayout {
    ScanDecoder decoder;
    uint32_t firstBlock;      // blocks before the scan's first component
    uint32_t recordBlocks[4]; // blocks of each scan component (interleaved scans)
    uint32_t h, v;            // sampling of the single component
};

bool coefficientsReady(const JpegContext* context) {
    const DecoderState& dec = context->dec;
    const ScanHeader& scan = dec.scan;
    return dec.progressiveBlocks && dec.blocksPerMcu > 0 && scan.ss <= 63 && scan.se <= 63 &&
           scan.componentCount >= 1 && scan.componentCount <= 4;
}

// The frame component a scan selector names (the first with that identifier).
int frameComponentOf(const JpegContext* context, uint8_t selector) {
    const int count = context->frame.componentCount < 4 ? context->frame.componentCount : 4;
    for (int k = 0; k < count; ++k) {
        if (context->frame.components[k].identifier == selector) return k;
    }
    return -1;
}

[[nodiscard]] bool interleavedLayout(const JpegContext* context, ScanLayout* layout) {
    if (!coefficientsReady(context)) return false;
    const DecoderState& dec = context->dec;
    layout->decoder = selectScanDecoder(context);
    layout->firstBlock = dec.firstScanBlockOffset;
    uint32_t end = layout->firstBlock;
    for (uint32_t i = 0; i < dec.scan.componentCount; ++i) {
        layout->recordBlocks[i] = context->components[i].blocksInMcu;
        end += layout->recordBlocks[i];
    }
    return layout->decoder && end <= dec.blocksPerMcu;
}

[[nodiscard]] bool singleLayout(const JpegContext* context, ScanLayout* layout) {
    if (!coefficientsReady(context)) return false;
    const int k = frameComponentOf(context, context->dec.scan.components[0].selector);
    if (k < 0) return false;
    layout->decoder = selectScanDecoder(context);
    layout->firstBlock = context->dec.firstScanBlockOffset;
    layout->h = context->frame.components[k].horizontalSampling;
    layout->v = context->frame.components[k].verticalSampling;
    return layout->decoder && layout->h >= 1 && layout->h <= 2 && layout->v >= 1 && layout->v <= 2 &&
           layout->firstBlock + layout->h * layout->v <= context->dec.blocksPerMcu;
}

int16_t* mcuStart(const JpegContext* context, uint32_t mcu) {
    return context->dec.progressiveBlocks + static_cast<size_t>(mcu) * context->dec.blocksPerMcu * kBlockValues;
}

// Blocks handed to the scan decoder a run at a time, so that its reader
// stays in registers from one block to the next: 64 blocks of a
// single-component scan, or the blocks of one MCU of an interleaved scan.
constexpr uint32_t kRunBlocks = 64;
struct BlockRun {
    ScanDecoder decoder;
    uint32_t count;
    ScanBlock blocks[kRunBlocks];
};

// Decodes the blocks gathered; false on a coding error.
[[nodiscard]] bool decodeRun(JpegContext* context, BlockRun& run) {
    const uint32_t count = run.count;
    run.count = 0;
    return count == 0 || run.decoder(context, run.blocks, count) >= 0;
}

[[nodiscard]] bool addToRun(JpegContext* context, BlockRun& run, int16_t* block, ComponentRecord* component) {
    run.blocks[run.count++] = {block, component};
    return run.count < kRunBlocks || decodeRun(context, run);
}

}  // namespace

int32_t decodeScanInterleaved(JpegContext* context) {
    ScanLayout layout{};
    if (!interleavedLayout(context, &layout)) {
        reportJpegError(report_text::kUnitNo);
        return -1;
    }
    const uint32_t records = context->dec.scan.componentCount;
    BlockRun run{layout.decoder, 0, {}};
    for (uint32_t mcu = 0; mcu < context->dec.totalMcus; ++mcu) {
        int16_t* block = mcuStart(context, mcu) + static_cast<size_t>(layout.firstBlock) * kBlockValues;
        bool ok = true;
        for (uint32_t i = 0; i < records && ok; ++i) {
            for (uint32_t b = 0; b < layout.recordBlocks[i] && ok; ++b, block += kBlockValues)
                ok = addToRun(context, run, block, &context->components[i]);
        }
        if (!ok || !decodeRun(context, run)) {
            reportJpegError(report_text::kUnitNo);
            return -1;
        }
        finishMcu(context);
    }
    return 1;
}

int32_t decodeScanSingle(JpegContext* context) {
    if (context->dec.lastMarker == kMarkerEoi) return 0;
    ScanLayout layout{};
    if (!singleLayout(context, &layout)) {
        reportJpegError(report_text::kUnitEquals0);
        return -1;
    }
    // Blocks are counted 8 pixels at a time against the full-size picture,
    // whatever the component's sampling: for H = maxH or maxH / 2 (and the
    // same vertically) that visits exactly the blocks the scan carries.
    int32_t rowsLeft = context->frame.lines;
    const DecoderState& dec = context->dec;
    BlockRun run{layout.decoder, 0, {}};
    for (uint32_t mcuRow = 0; mcuRow < dec.mcuRows; ++mcuRow) {
        for (uint32_t v = 0; v < layout.v; ++v, rowsLeft -= 8) {
            if (rowsLeft <= 0) continue;
            int32_t columnsLeft = context->frame.samplesPerLine;
            for (uint32_t column = 0; column < dec.mcusPerRow; ++column) {
                int16_t* mcu = mcuStart(context, mcuRow * dec.mcusPerRow + column);
                for (uint32_t h = 0; h < layout.h; ++h, columnsLeft -= 8) {
                    if (columnsLeft <= 0) continue;
                    int16_t* block = mcu + static_cast<size_t>(layout.firstBlock + v * layout.h + h) * kBlockValues;
                    if (!addToRun(context, run, block, &context->components[0])) {
                        reportJpegError(report_text::kUnitEquals0);
                        return -1;
                    }
                }
            }
        }
    }
    if (!decodeRun(context, run)) {
        reportJpegError(report_text::kUnitEquals0);
        return -1;
    }
    return 1;
}
