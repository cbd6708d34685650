// Progressive frames: the quantised coefficients of the whole image live in
// one buffer (progressiveBlocks, MCU order, natural order within a block,
// already shifted left by each scan's Al). Scans are decoded into it whole;
// rows are rebuilt from whatever it holds at the time, so a caller can show a
// coarse picture after the first scan and refine it pass by pass.
#pragma once

#include <cstdint>

#include "KelJPEG.h"

struct JpegContext;
struct ComponentRecord;

// Rows delivered by this call; 0 on any failure. rows: low 16 bits used.
// A pass begins when rowsDelivered is 0 or equals the frame's lines: all
// scans are decoded first (or one scan, with progressiveMode bit 0 set).
[[nodiscard]] int32_t decodeProgressiveRows(JpegContext* context, ImageRect* rect, uint32_t rows);

// ---- Scan decoders: a run of blocks, in order; 0, or -1 on a coding error ----
// The reader is taken up once for the run and handed back after it, so the
// walks end a run before anything else reads the stream (a restart marker).
struct ScanBlock {
    int16_t* block;
    ComponentRecord* component;
};
using ScanDecoder = int32_t (*)(JpegContext* context, const ScanBlock* run, uint32_t count);

struct ProgressiveDecoders {
    ScanDecoder dcFirst, dcRefine, acFirst, acRefine;
};
extern const ProgressiveDecoders kPlainProgressive;
extern const ProgressiveDecoders kQuickProgressive;

// The scan decoder for the context's current scan header.
ScanDecoder selectScanDecoder(const JpegContext* context);

// ---- Scan walks: decode one whole scan into progressiveBlocks ----
// 1 after the last MCU, -1 on failure (reported). Ns > 1: MCU by MCU, with
// restart processing.
[[nodiscard]] int32_t decodeScanInterleaved(JpegContext* context);
// Ns = 1: the component's blocks in the MCU grid, bounded by the frame's
// width and height counted 8 per block; no restart processing. 1, 0 when
// EOI was already seen, -1 on failure (reported).
[[nodiscard]] int32_t decodeScanSingle(JpegContext* context);

// The components' quantisers in natural order, as the low 16 bits that the
// truncated products keep (a product's low 16 bits depend only on its
// factors' low 16 bits): worked out once per output pass, so that a block's
// dequantisation is a plain 16-bit multiply instead of 64 table look-ups.
struct NaturalQuant {
    uint16_t values[4][64];
};
NaturalQuant naturalQuantOf(const JpegContext* context);

// Dequantises and inverse-transforms the MCU at progressiveCursor into
// mcuBlocks, then moves the cursor on by one MCU.
void rebuildProgressiveMcu(JpegContext* context, const NaturalQuant& quant);
