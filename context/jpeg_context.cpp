#include "context/jpeg_context.h"

#include <cstdlib>
#include <new>

#include "runtime/heap.h"
#include "runtime/report.h"

namespace {

void releaseBlock(void* block) {
    if (block) (void)complibFreeMemory(block);
}

}  // namespace

JpegContext* complibCreateJpegContext(const KelChar16* fileName, uint32_t options) {
    uint32_t direction = options & (JPEG_OPT_ENCODE | JPEG_OPT_DECODE);
    if (direction != JPEG_OPT_ENCODE && direction != JPEG_OPT_DECODE) {
        reportJpegError(report_text::kIllegalOptionsParameter);
        return nullptr;
    }
    // The context comes zeroed: nothing it holds may start out as garbage.
    auto* context = static_cast<JpegContext*>(std::calloc(1, sizeof(JpegContext)));
    if (!context) {
        reportJpegError(report_text::kGlobalLockFailedInJpegProlog);
        return nullptr;
    }
    context->self = context;
    context->size = sizeof(JpegContext);
    context->magic = kContextMagic;
    context->options = static_cast<uint16_t>(options);
    if (fileName) {
        BitstreamFile& bf = context->bitstreamFile;
        int i = 0;
        for (; i < kBitstreamNameUnits - 1 && fileName[i]; ++i) bf.fileName[i] = fileName[i];
        bf.fileName[i] = 0;
        bf.nameMarker = 4;
    }
    context->componentRecords = context->components;
    context->bitstream = &context->bitstreamFile;
    return context;
}

int32_t complibDestroyJpegContext(JpegContext* context) {
    for (int n = 0; n < 4; ++n) {
        releaseBlock(context->huffman[kDcSlot + n].codeTable);
        releaseBlock(context->huffman[kDcSlot + n].lookupTable);
        releaseBlock(context->huffman[kAcSlot + n].codeTable);
        releaseBlock(context->huffman[kAcSlot + n].lookupTable);
    }
    (void)complibCloseBitstreamFile(context->bitstream);
    std::free(context->self);
    return 0;
}
