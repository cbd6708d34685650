// Table generation for the encoder: frame and scan description, quantisation
// tables scaled by quality (or the fixed fine pair), per-component divisors,
// and the standard Huffman tables rearranged for direct indexing.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "context/jpeg_constants.h"

struct JpegContext;

namespace encoder {

struct QuantTable {
    uint16_t v[64];
};
// Base tables for quality scaling (luminance, chrominance), zig-zag order.
extern const QuantTable kBaseQuantTables[2];
// The fixed fine pair used with JPEG_OPT_FINE_TABLES, zig-zag order, unscaled.
extern const QuantTable kFineQuantTables[2];

// The standard table definitions, 16 BITS bytes then 162 HUFFVAL bytes, in
// the order DC 0 (luminance), DC 1, AC 0, AC 1.
struct StandardHuffmanTable {
    uint8_t bits[16];
    uint8_t huffval[162];
};
extern const StandardHuffmanTable kStandardHuffmanTables[4];

// Quality to scale factor in percent: 0 counts as 1, above 100 gives 0.
uint32_t qualityScale(uint32_t quality);
// One table entry scaled and clamped to 1..255.
uint32_t scaleQuantEntry(uint32_t base, uint32_t scale);

// True when every component's sampling byte is one the encoder codes
// (0x11, 0x12, 0x21, 0x22) and the component count is 1..4.
bool samplingSupported(const JpegEncodeParams* params);

// Sets up frame, scan, quantisation and Huffman tables from the caller's
// parameters. Returns 0, or -1 when a table cannot be allocated.
[[nodiscard]] int32_t jpegEncodeBuildTables(JpegContext* context, const JpegEncodeParams* params);

// Fills both quantisation tables from quality (or the fine pair) and copies
// 8x each entry into every component's divisors.
void jpegEncodeSetupQuantTables(JpegContext* context, uint32_t quality);

}  // namespace encoder
