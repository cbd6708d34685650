// Expanders: once per MCU they fill the block pointer table (mcuXYBlocks)
// so that entry (component c, position k) points at the block of c that
// covers block position k, replicating subsampled chroma into the expansion
// scratch. n is the block side: 8 at full size, 4, 2 or 1 at the reduced
// sizes (the block in the top-left corner of its slot, row pitch 8). mask is
// samplingSignature shifted so that component 0's sampling byte is the top
// byte.
#pragma once

#include <cstdint>

struct JpegContext;

void jpegDecodeUpsampleH1V1(JpegContext* context, uint32_t mask, int32_t n);
void jpegDecodeUpsampleH2V1(JpegContext* context, uint32_t mask, int32_t n);
void jpegDecodeUpsampleH1V2(JpegContext* context, uint32_t mask, int32_t n);
void jpegDecodeUpsampleH2V2(JpegContext* context, uint32_t mask, int32_t n);
// Factors above 2 (standard mode only), sampled pixel by pixel.
void jpegDecodeUpsampleAny(JpegContext* context, uint32_t mask, int32_t n);
// 4:2:0 and 4:2:2 colour at full size: no copies, for the writers that read
// chroma where it lies (chromaHalved frames only).
void jpegDecodePointHalvedChroma(JpegContext* context, uint32_t mask, int32_t n);
// Three components, luma 2 x 2 or 2 x 1 and both chroma 1 x 1.
bool chromaHalved(const JpegContext* context);

using Expander = void (*)(JpegContext* context, uint32_t mask, int32_t n);

// True when the expander only points at the decoded blocks, copying
// nothing: it then fills the same table for every MCU (the decoded MCU
// never moves), so one call serves a whole MCU row. At 1/8 size every
// pairwise expander only points, since a block is one sample.
bool expanderOnlyPoints(Expander expand, int32_t n);

// The expander for the frame's MCU shape, or null for an unsupported one.
Expander selectExpander(const JpegContext* context);

// The mask handed to the expanders.
uint32_t samplingMask(const JpegContext* context);
