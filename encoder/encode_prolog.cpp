// jpegEncodeProlog and jpegEncodeEpilog.
#include "encoder/encode_prolog.h"

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/encode_tables.h"
#include "encoder/marker_writer.h"
#include "runtime/report.h"

namespace encoder {

namespace {

void resetDcPredictors(JpegContext* context) {
    for (ComponentRecord& record : context->components) record.dcPredictor = 0;
}

// Each component codes with the Huffman tables its scan
// selectors name (set last component first, as the codec always did).
void attachHuffmanTables(JpegContext* context) {
    const EncoderState& enc = context->enc;
    for (uint32_t i = enc.componentCount; i-- > 0;) {
        uint8_t selectors = enc.scanComponents[i].tableSelectors;
        context->components[i].dcCodeTable = context->huffman[kDcSlot + (selectors >> 4)].codeTable;
        context->components[i].acCodeTable = context->huffman[kAcSlot + (selectors & 15)].codeTable;
    }
}

// Releases a context whose output was never created.
JpegHandle abandon(JpegContext* context) {
    (void)complibDestroyJpegContext(context);
    return nullptr;
}

// Writes the trailer (DNL when the height was not known, then EOI) unless a
// write already failed, flushes, hands a memory-mode stream to the receiver
// (or releases it when there is none, as after a failed prolog) and destroys
// the context. Returns 0, or -1 when any write failed.
int32_t finishAndDestroy(JpegContext* context, JpegEncodeParams* receiver) {
    BitstreamFile* bf = context->bitstream;
    if (bf->status == kBitstreamOk) {
        if (context->frame.lines == 0) jpegEncodeWriteDnl(context, context->enc.linesEncoded);
        jpegEncodeWriteEoi(context);
        (void)flushOutput(bf);
    }
    if (context->options & JPEG_OPT_MEMORY) {
        if (receiver) {
            receiver->outputBuffer = bf->memCursor;
            receiver->outputSize = bf->memLength;
        } else {
            (void)jpegFreeMemory(bf->memCursor);  // a plain block, like the one a caller receives
        }
    }
    uint32_t status = bf->status;
    int32_t destroyed = complibDestroyJpegContext(context);
    return destroyed != 0 || status != kBitstreamOk ? -1 : 0;
}

// A prolog that fails after creating its output still ends the stream as the
// epilog would, then reports failure to its caller.
JpegHandle failAfterCreate(JpegContext* context, const KelChar16* text) {
    reportJpegError(text);
    (void)finishAndDestroy(context, nullptr);
    return nullptr;
}

}  // namespace

void jpegEncodeCountMcuForRestart(JpegContext* context) {
    EncoderState& enc = context->enc;
    if (++context->mcuCounter != enc.restartInterval) return;
    jpegEncodeWriteRestart(context, enc.restartIndex);
    enc.restartIndex = (enc.restartIndex + 1) & 7;
    resetDcPredictors(context);
    context->mcuCounter = 0;
}

int32_t jpegEncodeRestartFrame(JpegContext* context, uint8_t** buffer, uint32_t* size) {
    constexpr uint32_t kRequired = JPEG_OPT_MEMORY | JPEG_OPT_PARTIAL_BITSTREAM;
    BitstreamFile* bf = context->bitstream;
    if ((context->options & kRequired) != kRequired || bf->status != kBitstreamOk) return -1;
    jpegEncodeWriteEoi(context);
    (void)flushOutput(bf);
    *buffer = bf->memCursor;
    *size = bf->memLength;
    resetDcPredictors(context);
    bf->memPosition = 0;
    bf->memLength = 0;
    bf->bitBuffer = 0;
    bf->bitCount = 32;
    bf->readIndex = 0;
    bf->status = kBitstreamOk;
    return 0;
}

}  // namespace encoder

using namespace encoder;

extern "C" KELJPEG_API JpegHandle KELJPEG_CALL jpegEncodeProlog(const KelChar16* fileName, JpegEncodeParams* params) {
    JpegContext* context =
        complibCreateJpegContext(fileName, params ? params->options | JPEG_OPT_ENCODE : JPEG_OPT_ENCODE);
    if (!context || !params) {
        reportJpegError(report_text::kJpegPrologFailedInJpegEncodeProlog);
        return context ? abandon(context) : nullptr;
    }
    if (!samplingSupported(params)) {
        reportJpegError(report_text::kUnsupportedSamplingFactors);
        return abandon(context);
    }
    BitstreamFile* bf = context->bitstream;
    if (context->options & JPEG_OPT_MEMORY) {
        bf->flags |= kBitstreamMemory;
        bf->memPosition = 0;
    }
    if (complibCreateBitstreamFile(bf) != 0) return failAfterCreate(context, report_text::kNoSuchFileOrDirectory);
    if (jpegEncodeBuildTables(context, params) != 0)
        return failAfterCreate(context, report_text::kTablesCreateFailedInJpegEncodeProlog);
    context->params = params;
    context->enc.restartInterval = params->restartInterval;
    (void)jpegEncodeWriteHeaders(context, params->jfif);
    attachHuffmanTables(context);
    context->stateTag = kEncoderStateTag;
    context->stateVersion = kEncoderStateVersion;
    return context;
}

extern "C" KELJPEG_API int32_t KELJPEG_CALL jpegEncodeEpilog(JpegHandle context) {
    if (!context) return -1;
    return finishAndDestroy(context, static_cast<JpegEncodeParams*>(context->params));
}
