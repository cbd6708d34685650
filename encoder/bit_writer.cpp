#include "encoder/bit_writer.h"

namespace encoder {

namespace {

// Writes the full buffer out; a short write is remembered, never retried.
void drainFullBuffer(BitstreamFile* bf) {
    if (complibWriteBitstreamFile(bf, bf->readBuffer, kOutputBufferSize) < static_cast<int32_t>(kOutputBufferSize))
        bf->status = kWriteFailed;
    bf->readIndex = 0;
}

void appendChecked(BitstreamFile* bf, uint8_t byte) {
    bf->readBuffer[bf->readIndex++] = byte;
    if (bf->readIndex == kOutputBufferSize) drainFullBuffer(bf);
}

void appendStuffed(BitstreamFile* bf, uint8_t byte) {
    appendChecked(bf, byte);
    if (byte == 0xFF) appendChecked(bf, 0x00);
}

}  // namespace

void writeWord(BitstreamFile* bf) {
    uint32_t word = bf->bitBuffer;
    if (bf->readIndex < kWordFitsBelow) {
        uint8_t* out = bf->readBuffer + bf->readIndex;
        for (int shift = 24; shift >= 0; shift -= 8) {
            uint8_t byte = static_cast<uint8_t>(word >> shift);
            *out++ = byte;
            if (byte == 0xFF) *out++ = 0x00;
        }
        bf->readIndex = static_cast<uint32_t>(out - bf->readBuffer);
        return;
    }
    for (int shift = 24; shift >= 0; shift -= 8) appendStuffed(bf, static_cast<uint8_t>(word >> shift));
}

uint32_t writeBytes(BitstreamFile* bf, const uint8_t* data, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) appendChecked(bf, data[i]);
    return 8 * count;
}

uint32_t writeMarker(BitstreamFile* bf, uint16_t marker) {
    if (bf->bitCount != 32) {
        uint32_t pad = bf->bitCount % 8;
        bf->bitBuffer = (bf->bitBuffer << pad) | ((1u << pad) - 1);
        bf->bitCount -= pad;
        // The accumulator now holds whole bytes in its low 32 - bitCount bits.
        for (int shift = 24 - static_cast<int>(bf->bitCount); shift >= 0; shift -= 8)
            appendStuffed(bf, static_cast<uint8_t>(bf->bitBuffer >> shift));
        bf->bitBuffer = 0;
        bf->bitCount = 32;
    }
    appendChecked(bf, static_cast<uint8_t>(marker >> 8));
    appendChecked(bf, static_cast<uint8_t>(marker));
    return 16;
}

int32_t flushOutput(BitstreamFile* bf) {
    if (bf->readIndex == 0) return 0;
    if (complibWriteBitstreamFile(bf, bf->readBuffer, bf->readIndex) < static_cast<int32_t>(bf->readIndex)) {
        bf->status = kWriteFailed;
        return -1;
    }
    return 0;
}

}  // namespace encoder
