// Decoder working state held in the codec context, grouped by lifetime:
// per operation (stream position, output progress), per frame (JFIF values,
// geometry, buffers), per scan (scan header, pending tables, block routine).
//
// Worked example, a 17 x 9 colour image with component sampling bytes 0x22,
// 0x11, 0x11 (4:2:0): samplingSignature 0x221111, maxH = maxV = 2,
// positionCount 4, blocksPerMcu 6, mcuWidth = mcuHeight = 16, mcusPerRow 2,
// mcuRows 1, totalMcus 2; mcuBlocks holds 6 decoded blocks, then 16 scratch
// blocks for expanded chroma, then 6 more (4:2:0 sequential: 28 blocks, 3584
// bytes); mcuXYBlocksIndex is 0,4,8,12, 1,5,9,13, 2,6,10,14, 3,7,11,15.
#pragma once

#include <cstdint>

#include "context/jpeg_constants.h"

struct JpegContext;
struct ComponentRecord;
struct StandardDecode;
struct DecodeRoute;

// A sample block: 64 signed 16-bit values in row-major order.
constexpr int kBlockValues = 64;
constexpr int kBlockBytes = kBlockValues * 2;

// Which coefficient pass the current scan carries, chosen by the scan set-up
// from Ss, Se and Ah; only progressive frames use it.
enum class ScanPass : uint32_t { DcFirst = 0, DcRefine = 1, AcFirst = 2, AcRefine = 3 };

// One component of a scan header: selector, DC and AC table numbers.
struct ScanComponent {
    uint8_t selector;
    uint8_t dcTable;
    uint8_t acTable;
};

// The last scan header read (SOS).
struct ScanHeader {
    ScanComponent components[4];
    uint8_t componentCount;  // Ns, 1..4 once accepted
    uint8_t ss;              // spectral start (lossless: predictor selection)
    uint8_t se;              // spectral end
    uint8_t ah;              // successive approximation, high bit
    uint8_t al;              // successive approximation, low bit (lossless: point transform)
};

// Row routine of the lossless decoder, kept between calls (owned by lossless decoding).
using LosslessRowDecoder = int32_t (*)(JpegContext* context, uint8_t* row, const uint8_t* previousRow);

struct DecoderKernels;

struct DecoderState {
    // ---- Per operation ----
    const DecodeRoute* route;  // what the decode calls do, chosen by the prolog
    const DecoderKernels* kernels;  // the kernel set, chosen once by the prolog
    uint32_t scanDataOffset;   // byte position of the first entropy-coded byte of the first scan
    uint32_t progressiveMode;  // bit 0: one scan per output pass (progressive frames)
    uint32_t rowsDelivered;    // rows delivered in the current output pass
    uint16_t lastMarker;       // kMarkerEoi once the end of the image has been met
    int16_t currentScale;      // scale of the last scaled output, -1 before the first
    uint32_t scanCount;        // scan headers read, against the host's scan limit
    uint64_t heldBytes;        // frame buffers held, against the host's memory limit

    // ---- JFIF values (APP0) ----
    uint16_t xDensity;
    uint16_t yDensity;
    uint8_t densityUnits;
    uint8_t thumbnailWidth;
    uint8_t thumbnailHeight;

    // ---- Per scan ----
    ScanHeader scan;
    // Huffman tables defined since the decoding tables were last built: the
    // table byte Tc*16+Th of each, ended by -1; at most eight distinct tables.
    int32_t pendingTables[9];
    uint32_t pendingCount;
    ScanPass scanPass;               // block routine for the scan (progressive)
    uint32_t firstScanBlockOffset;   // blocks before the scan's first component within an MCU

    // ---- Frame geometry (from the frame header) ----
    uint32_t samplingSignature;  // H*16+V of each component, the first most significant
    uint32_t totalMcus;          // mcusPerRow * mcuRows
    uint32_t imageWidth;
    uint32_t imageHeight;        // 0 until a DNL segment gives it, when the frame says 0
    uint32_t maxH;
    uint32_t maxV;
    uint32_t positionCount;      // maxH * maxV: 8x8 block positions per MCU (1, 2 or 4)
    uint32_t componentPositions; // componentCount * maxH * maxV
    uint32_t blocksPerMcu;       // sum of H*V over the components
    uint32_t scratchBlocks;      // maxH * maxV * 4: room for expanded components
    uint32_t mcuWidth;           // 8 * maxH
    uint32_t mcuHeight;          // 8 * maxV
    uint32_t componentCount;     // Nf
    uint32_t mcusPerRow;
    uint32_t mcuRows;
    uint32_t restartInterval;    // MCUs between restart markers, 0 without DRI
    int32_t eobRun;              // progressive end-of-band run

    // ---- Frame buffers (allocated by the prolog, released by the epilog) ----
    int16_t* mcuBlocks;          // one decoded MCU, then the expansion scratch, then the rest
    int16_t* progressiveBlocks;  // progressive: every block of the image (quantised coefficients)
    int16_t* progressiveCursor;  // progressive: next MCU to rebuild
    int16_t* expansionScratch;   // mcuBlocks + blocksPerMcu blocks: scratchBlocks blocks
    int16_t** mcuXYBlocks;       // scratchBlocks pointers: (component c, position k) at c*positionCount + k
    uint32_t* mcuXYBlocksIndex;  // per position k: k, k+P, k+2P, k+3P (P = positionCount)
    uint32_t mcuXYEntries;       // entries of each of the two tables above

    // ---- Lossless ----
    uint32_t spatialPrevLineSize;
    uint8_t* spatialPrevLine;     // the last row of the previous call
    uint8_t* losslessRowScratch;  // behind spatialPrevLine: the row being decoded
    LosslessRowDecoder losslessRowDecoder;

    // ---- Standard mode (JPEG_OPT_STANDARD): its whole state, null otherwise ----
    StandardDecode* standard;
};
