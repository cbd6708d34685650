// Encoder working state held in the codec context. The frame header itself
// (component identifiers, sampling, Tq, size) lives in JpegContext::frame, the
// quantisation tables in JpegContext::quantTables, the Huffman code tables in
// JpegContext::huffman and the per-component coding records (table pointers,
// DC predictor, blocks per MCU, divisors) in JpegContext::components.
#pragma once

#include <cstdint>

#include "context/huffman_code_table.h"

constexpr int kEncoderHuffmanTables = 4;       // DC 0, DC 1, AC 0, AC 1
constexpr int kEncoderMaxBlocksPerMcu = 16;    // four components of 2x2 (only 12 are ever coded)

struct EncoderScanComponent {
    uint8_t identifier;
    uint8_t tableSelectors;  // (Td << 4) | Ta
};

struct EncoderState {
    // Table definitions as written in DHT, in the order DC 0, DC 1, AC 0, AC 1.
    HuffmanDefinition huffmanSpecs[kEncoderHuffmanTables];
    uint32_t huffmanSymbolCounts[kEncoderHuffmanTables];
    uint32_t quantTableCount;  // always 2, both written even for one component
    uint32_t quantPrecision;   // always 0: 8-bit entries

    // Frame and scan description, fixed by the prolog.
    uint32_t componentCount;
    uint16_t sofLength;  // 8 + 3n
    uint16_t sosLength;  // 6 + 2n
    uint8_t scanComponentCount;
    EncoderScanComponent scanComponents[4];
    uint8_t spectralStart;  // Ss = 0
    uint8_t spectralEnd;    // Se = 63
    uint8_t approximation;  // (Ah << 4) | Al = 0

    // MCU geometry. The signature is the sampling bytes run together, first
    // component most significant: 4:2:0 is 0x221111.
    uint32_t samplingSignature;
    uint32_t maxH, maxV;
    uint32_t mcuWidth, mcuHeight;  // 8 * maxH, 8 * maxV
    uint32_t mcusPerRow, mcusPerColumn;

    // Restart markers: the MCU count since the last marker is
    // JpegContext::mcuCounter; the index names the next RSTn.
    uint32_t restartInterval;
    uint32_t restartIndex;

    uint32_t linesEncoded;  // written into DNL when the frame height is 0

    // The blocks of the MCU being coded: component 1's blocks first, each
    // 64 level-shifted samples in row order, transformed in place.
    int16_t mcuBlocks[kEncoderMaxBlocksPerMcu * 64];
};
