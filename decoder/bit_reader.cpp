// Byte source of the bit reader, with its end-of-data behaviour.
#include "decoder/bit_reader.h"

#include "runtime/report.h"

uint8_t fetchByteSlow(BitstreamFile* bf) {
    if (bf->readIndex != bf->bufferedCount) return bf->readBuffer[bf->readIndex++];
    if (bf->status != kBitstreamOk) {
        bf->status = kBitstreamEndOfData;
        reportJpegError(report_text::kFoundUnexpectedEndOfJpegFile);
        return 0xFF;
    }
    int32_t count = complibReadBitstreamFile(bf, bf->readBuffer, kBitstreamBufferSize);
    // An empty read of memory data is the end of the data, as it is for a file.
    if (count <= 0) {
        bf->status = kBitstreamReadFailed;
        bf->bufferedCount = 0;
        bf->readIndex = 0;
        reportJpegError(report_text::kReadFailedStop);
        return 0xFF;
    }
    bf->bytePosition += static_cast<uint32_t>(count);
    bf->bufferedCount = static_cast<uint32_t>(count);
    bf->readIndex = 1;
    return bf->readBuffer[0];
}

void skipHeaderBytes(BitstreamFile* bf, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) (void)getHeaderBits(bf, 8);
}
