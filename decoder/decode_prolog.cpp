// Opening and closing a decode, and the header queries.
#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/marker_parser.h"
#include "decoder/decode_route.h"
#include "decoder/kernels.h"
#include "decoder/standard/standard_decode.h"
#include "runtime/bitstream_file.h"
#include "runtime/file.h"
#include "runtime/heap.h"
#include "runtime/limits.h"
#include "runtime/report.h"

namespace {

constexpr uint16_t kSofProgressive = markerWord(kSof2);
constexpr uint16_t kSofLossless = markerWord(kSof3);

JpegHandle failProlog(JpegContext* context, const KelChar16* text) {
    if (text) reportJpegError(text);
    (void)jpegDecodeEpilog(context);
    return nullptr;
}

// The data must end with EOI: the last 0xFF before the end, searched from two
// bytes before the end backwards, must be followed by 0xD9. Trailing bytes
// without 0xFF are thus accepted. The search stops at the start of the data.
bool dataIsComplete(BitstreamFile* bf) {
    int64_t end = (bf->flags & kBitstreamMemory) ? int64_t{bf->memLength} : int64_t{bf->fileSize};
    int64_t start = bf->startOffset;
    for (int64_t back = 2; end - back >= start; ++back) {
        if (complibSeekBitstreamFile(bf, static_cast<int32_t>(-back), 2) == kFileFailure) return false;
        uint8_t byte = 0;
        if (complibReadBitstreamFile(bf, &byte, 1) != 1) return false;
        if (byte != 0xFF) continue;
        uint8_t next = 0;
        return complibReadBitstreamFile(bf, &next, 1) == 1 && next == kEoi;
    }
    return false;
}

// Buffers beyond the host's memory limit are refused as if the heap had run
// out, with the same report.
void* allocateBuffer(JpegContext* context, uint64_t size) {
    if (size == 0) size = 1;  // a frame of width 0 still gets a block
    if (!reserveContextMemory(&context->dec.heldBytes, size)) return nullptr;
    return complibAllocMemory(static_cast<size_t>(size));
}

// Block buffers of DCT-based frames, and the position index table:
// for each block position in raster order, its entries for components 0..3.
const KelChar16* allocateBlockBuffers(JpegContext* context) {
    DecoderState& dec = context->dec;
    const bool progressive = context->frame.sofMarker == kSofProgressive;
    uint64_t frameBlocks = progressive ? uint64_t{dec.blocksPerMcu} * dec.totalMcus : dec.blocksPerMcu;
    uint64_t blocks = uint64_t{dec.scratchBlocks} + dec.blocksPerMcu + frameBlocks;
    dec.mcuBlocks = static_cast<int16_t*>(allocateBuffer(context, blocks * kBlockBytes));
    if (!dec.mcuBlocks) return report_text::kMcuBlocksMemoryAllocationFailed;
    // Zeroed so that output before any decoded MCU shows mid-grey, never stray memory.
    std::memset(dec.mcuBlocks, 0, static_cast<size_t>(blocks * kBlockBytes));
    dec.expansionScratch = dec.mcuBlocks + dec.blocksPerMcu * kBlockValues;
    if (progressive) {
        dec.progressiveBlocks = dec.expansionScratch + dec.scratchBlocks * kBlockValues;
        dec.progressiveCursor = dec.progressiveBlocks;
    }
    dec.mcuXYEntries = dec.scratchBlocks;
    dec.mcuXYBlocks = static_cast<int16_t**>(allocateBuffer(context, uint64_t{dec.mcuXYEntries} * sizeof(int16_t*)));
    if (!dec.mcuXYBlocks) return report_text::kMcuXYBlocksAllocationFailed;
    for (uint32_t i = 0; i < dec.mcuXYEntries; ++i) dec.mcuXYBlocks[i] = dec.mcuBlocks;
    dec.mcuXYBlocksIndex =
        static_cast<uint32_t*>(allocateBuffer(context, uint64_t{dec.mcuXYEntries} * sizeof(uint32_t)));
    if (!dec.mcuXYBlocksIndex) return report_text::kMcuXYBlocksInxMemoryAllocationFailed;
    const uint32_t positions = dec.positionCount;
    for (uint32_t t = 0; t < positions; ++t)
        for (uint32_t c = 0; c < 4; ++c) dec.mcuXYBlocksIndex[4 * t + c] = t + c * positions;
    return nullptr;
}

const KelChar16* allocateFrameBuffers(JpegContext* context, JpegDecodeParams* params) {
    DecoderState& dec = context->dec;
    if (context->frame.sofMarker >= kSofLossless) {
        uint64_t size = uint64_t{dec.componentCount} * dec.imageWidth * 2;
        dec.spatialPrevLineSize = static_cast<uint32_t>(size);
        // The kept row, then the row being decoded: a row reaches the caller
        // only once all of it has decoded.
        dec.spatialPrevLine = static_cast<uint8_t*>(allocateBuffer(context, 2 * size));
        if (!dec.spatialPrevLine) return report_text::kSpatialPrevLineMemoryAllocationFailed;
        dec.losslessRowScratch = dec.spatialPrevLine + size;
        return nullptr;
    }
    if (context->frame.sofMarker == kSofProgressive) {
        params->options = static_cast<uint16_t>(params->options | JPEG_OPT_PROGRESSIVE);
        dec.progressiveMode = 0;
    }
    return allocateBlockBuffers(context);
}

// Options, the source and its completeness; returns the failure text or null.
const KelChar16* openSource(JpegContext* context, const JpegDecodeParams* params) {
    BitstreamFile* bf = context->bitstream;
    uint32_t options = params->options;
    if ((options & JPEG_OPT_START_OFFSET) && (options & JPEG_OPT_MEMORY)) return report_text::kIllegalOptions;
    if (options & JPEG_OPT_START_OFFSET) {
        bf->startOffset = params->startOffset;
    } else {
        bf->startOffset = 0;
        if (options & JPEG_OPT_MEMORY) {
            bf->flags |= kBitstreamMemory;
            bf->memBase = params->data;
            bf->memCursor = const_cast<uint8_t*>(params->data);
            bf->memLength = params->data ? params->dataLength : 0;
            bf->memPosition = 0;
        }
    }
    if (complibOpenBitstreamFile(bf) != 0) return report_text::kNoSuchFileOrDirectory;
    if (!(options & JPEG_OPT_PARTIAL_BITSTREAM)) {
        // Standard mode shows data that ends early as far as it goes; only
        // its strict reading asks for EOI at the end.
        const bool showsIncomplete = (options & JPEG_OPT_STANDARD) && !(options & JPEG_OPT_STRICT);
        if (!showsIncomplete && !dataIsComplete(bf)) return report_text::kJpegFileIsNotComplete;
        if (complibSeekBitstreamFile(bf, static_cast<int32_t>(bf->startOffset), 0) == kFileFailure)
            return report_text::kJpegFileIsNotComplete;
    }
    if ((options & JPEG_OPT_PARTIAL_BITSTREAM) && !(options & JPEG_OPT_MEMORY)) return report_text::kIllegalOptions;
    return nullptr;
}

void writeBackGeometry(const JpegContext* context, JpegDecodeParams* params) {
    const DecoderState& dec = context->dec;
    params->samplingSignature = dec.samplingSignature;
    params->width = static_cast<uint16_t>(dec.imageWidth);
    params->height = static_cast<uint16_t>(dec.imageHeight);
    params->restartInterval = static_cast<uint16_t>(dec.restartInterval);
    params->componentCount = static_cast<uint16_t>(dec.componentCount);
}

}  // namespace

extern "C" KELJPEG_API JpegHandle KELJPEG_CALL jpegDecodeProlog(const KelChar16* fileName,
                                                              JpegDecodeParams* params) {
    if (!params) {
        reportJpegError(report_text::kPrologFailed);
        return nullptr;
    }
    JpegContext* context = complibCreateJpegContext(fileName, uint32_t{params->options} | JPEG_OPT_DECODE);
    if (!context) {
        reportJpegError(report_text::kPrologFailed);
        return nullptr;
    }
    DecoderState& dec = context->dec;
    dec.kernels = &decoderKernels();
    dec.lastMarker = 0;
    dec.imageHeight = dec.imageWidth = 0;
    dec.pendingCount = 0;
    dec.pendingTables[0] = -1;
    dec.restartInterval = 0;
    // The mode is known now and the frame kind once the headers are read;
    // until then the route only knows which buffers a failed prolog releases.
    const bool standard = (params->options & JPEG_OPT_STANDARD) != 0;
    dec.route = standard ? chooseStandardRoute(context) : chooseLegacyRoute(context);
    if (const KelChar16* failure = openSource(context, params)) return failProlog(context, failure);
    if (standard) {  // standard mode reads the stream its own way from here
        if (const KelChar16* failure = openStandardDecode(context, params)) return failProlog(context, failure);
        dec.route = chooseStandardRoute(context);
        context->stateTag = kDecoderStateTag;
        context->stateVersion = kDecoderStateVersion;
        return context;
    }
    dec.densityUnits = 0;
    context->params = params;
    if (parseFrameHeaders(context) != 0) return failProlog(context, report_text::kFrameLevelParseFailed);
    dec.route = chooseLegacyRoute(context);
    dec.scanDataOffset = complibGetBitstreamPosition(context->bitstream);
    dec.currentScale = -1;
    writeBackGeometry(context, params);
    if (const KelChar16* failure = allocateFrameBuffers(context, params)) return failProlog(context, failure);
    context->stateTag = kDecoderStateTag;
    context->stateVersion = kDecoderStateVersion;
    return context;
}

void releaseLegacyBuffers(JpegContext* context) {
    DecoderState& dec = context->dec;
    for (void* buffer : {static_cast<void*>(dec.mcuXYBlocksIndex), static_cast<void*>(dec.mcuXYBlocks),
                         static_cast<void*>(dec.mcuBlocks), static_cast<void*>(dec.spatialPrevLine)}) {
        if (buffer) (void)complibFreeMemory(buffer);
    }
    dec.mcuXYBlocksIndex = nullptr;
    dec.mcuXYBlocks = nullptr;
    dec.mcuBlocks = nullptr;
    dec.spatialPrevLine = nullptr;
    dec.losslessRowScratch = nullptr;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeEpilog(JpegHandle context) {
    if (!context) return -1;
    routeOf(context).release(context);
    return complibDestroyJpegContext(context);
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeGetImageSize(JpegHandle context, uint32_t* width,
                                                                   uint32_t* height, int32_t scale) {
    if (!context) return -1;
    routeOf(context).imageSize(context, scale, width, height);
    return 0;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegGetFrameHeader(JpegHandle context,
                                                               FrameHeader* frameHeader) {
    if (!context || context->magic != kContextMagic || !frameHeader) return -1;
    std::memcpy(frameHeader, &context->frame, sizeof(FrameHeader));
    return 0;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeQueryDamage(JpegHandle context) {
    if (!context) return -1;
    if (context->magic != kContextMagic || !context->dec.standard) return 0;
    return static_cast<int32_t>(context->dec.standard->damage);
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegDecodeSetPartialBitstream(JpegHandle context,
                                                                          const uint8_t* data, uint32_t length) {
    if (!context) return -1;
    uint32_t needed = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM;
    if ((context->options & needed) != needed) return -1;
    for (ComponentRecord& component : context->components) component.dcPredictor = 0;
    BitstreamFile* bf = context->bitstream;
    bf->memCursor = const_cast<uint8_t*>(data);
    bf->memBase = data;
    bf->memLength = data ? length : 0;
    bf->memPosition = 0;
    bf->bytePosition = 0;
    bf->bufferedCount = 0;
    bf->bitCount = 0;
    bf->readIndex = 0;
    bf->status = 0;
    bf->bitBuffer = 0;
    return 0;
}
