// The codec context: one record per encode or decode, handed to the caller as
// an opaque handle. The fields both directions share live here; each direction
// keeps its own working state in DecoderState / EncoderState.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "context/decoder_state.h"
#include "context/encoder_state.h"
#include "context/huffman_code_table.h"
#include "runtime/bitstream_file.h"

constexpr uint32_t kContextMagic = 0x4A504547u;  // the bytes "GEPJ" read little-endian
constexpr uint32_t kEncoderStateTag = 0x454E4300u;
constexpr uint32_t kEncoderStateVersion = 0x022E0001u;
constexpr uint32_t kDecoderStateTag = 0x44454300u;
constexpr uint32_t kDecoderStateVersion = 0x032E0001u;

struct HuffmanLookupTable;  // the decoder's lookup structure for one table

// One of the eight Huffman tables (four DC, then four AC).
struct HuffmanSlot {
    HuffmanCode* codeTable;
    HuffmanLookupTable* lookupTable;  // decoder only
    uint32_t symbolCount;
    uint32_t maxCodeLength;
};

constexpr int kDcSlot = 0;  // slots 0..3: DC tables 0..3
constexpr int kAcSlot = 4;  // slots 4..7: AC tables 0..3

// Per-component record as the decoder fills it from the frame and scan headers.
struct ComponentRecord {
    HuffmanLookupTable* dcLookupTable;
    HuffmanCode* dcCodeTable;
    HuffmanLookupTable* acLookupTable;
    HuffmanCode* acCodeTable;
    int32_t dcPredictor;
    uint32_t blocksInMcu;   // H * V
    uint32_t sampling;      // H * 16 + V
    uint32_t dcMaxCodeLength;
    uint32_t acMaxCodeLength;
    int32_t quant[64];      // private copy of the component's table, zig-zag order
};

struct JpegContext {
    // Header. magic must stay the first word: jpegGetFrameHeader checks it.
    uint32_t magic;
    uint32_t stateTag;      // 0 until a prolog completes
    uint32_t stateVersion;
    JpegContext* self;
    uint32_t size;
    BitstreamFile* bitstream;  // points at bitstreamFile below
    void* params;              // the caller's JpegDecodeParams or JpegEncodeParams

    uint16_t options;  // the caller's option word with the direction bit

    FrameHeader frame;  // as copied out by jpegGetFrameHeader

    int32_t quantTables[4][64];  // in DQT (zig-zag) order
    HuffmanSlot huffman[8];      // kDcSlot + n, kAcSlot + n

    ComponentRecord components[4];
    ComponentRecord* componentRecords;  // &components[0]
    uint32_t mcuCounter;                // MCUs since the scan start or the last restart

    DecoderState dec;
    EncoderState enc;

    BitstreamFile bitstreamFile;
};

// Creates a context for one direction: options must hold exactly one of
// JPEG_OPT_ENCODE / JPEG_OPT_DECODE. Reports and returns null on failure.
JpegContext* complibCreateJpegContext(const KelChar16* fileName, uint32_t options);
// Releases the Huffman tables, closes the bitstream and releases the block. Returns 0.
int32_t complibDestroyJpegContext(JpegContext* context);
