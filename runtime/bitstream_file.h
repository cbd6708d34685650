// The byte source or sink of one codec operation: a named file, the caller's
// memory (decoding) or a growing heap block (encoding). It also carries the
// 4096-byte read buffer and the 32-bit bit accumulator that the decoder's bit
// reader and the encoder's bit writer work on.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "runtime/platform.h"

constexpr uint32_t kBitstreamBufferSize = 4096;
constexpr int kBitstreamNameUnits = 256;

// flags
constexpr uint32_t kBitstreamReading = 2;
constexpr uint32_t kBitstreamWriting = 4;
constexpr uint32_t kBitstreamBytePosition = 8;  // generic bit position counts staging bytes, not words
constexpr uint32_t kBitstreamMemory = 16;

// status
constexpr uint32_t kBitstreamOk = 0;
constexpr uint32_t kBitstreamEndOfData = 1;
constexpr uint32_t kBitstreamReadFailed = 2;  // also the encoder's sticky write error
constexpr uint32_t kBitstreamOpenFailed = 3;

struct BitstreamFile {
    // Generic bit writer staging area (defaults to readBuffer).
    uint8_t* stagingStart;
    // Memory mode. Reading: next unread byte of the caller's data. Writing:
    // base of the heap block that receives the output.
    uint8_t* memCursor;
    uint32_t memLength;  // reading: caller's length; writing: bytes written
    uint32_t bitBuffer;  // most significant bit first
    uint8_t* stagingCursor;
    const uint8_t* memBase;  // reading: base of the caller's data
    uint32_t memPosition;    // reading: memCursor - memBase; writing: bytes written
    uint8_t* stagingEnd;
    uint32_t startOffset;   // where the JPEG data starts in the file or memory
    int32_t fileSize;       // named file's size at open (0 in memory mode, -1 unknown)
    uint32_t bytePosition;  // bytes fetched into readBuffer, counted from position 0 of the source
    platform::File handle;  // null in memory mode
    uint32_t memCapacity;   // writing: allocated size, a multiple of 4096
    uint32_t bufferedCount; // valid bytes in readBuffer
    uint32_t bitCount;      // reading: valid bits in bitBuffer; writing: free bits
    uint32_t flags;
    uint32_t readIndex;     // next byte to take from readBuffer
    uint32_t status;
    KelChar16 fileName[kBitstreamNameUnits];
    uint32_t nameMarker;    // 4 once a name was copied in
    uint8_t readBuffer[kBitstreamBufferSize];
};

uint32_t complibOpenBitstreamFile(BitstreamFile* bf);    // 0 or 0x80000000
uint32_t complibCreateBitstreamFile(BitstreamFile* bf);  // 0 or 0x80000000
uint32_t complibAppendBitstreamFile(BitstreamFile* bf);  // 0 or 0x80000000
uint32_t complibCloseBitstreamFile(BitstreamFile* bf);   // 0 or the close failure
int32_t complibWriteBitstreamFile(BitstreamFile* bf, const void* data, uint32_t count);  // count or -1
int32_t complibReadBitstreamFile(BitstreamFile* bf, void* data, uint32_t count);         // count or -1
uint32_t complibSeekBitstreamFile(BitstreamFile* bf, int32_t offset, uint32_t origin);  // position or 0xFFFFFFFF
uint32_t complibDupBitstreamFile(BitstreamFile* dst, BitstreamFile* src, int32_t offset, int32_t count);
int32_t readBitstreamData(BitstreamFile* bf);  // 0 or -1
uint32_t complibResetBitstreamFile(BitstreamFile* bf);
uint32_t complibGetBitstreamPosition(const BitstreamFile* bf);

// Generic bit access, independent of the codec's own bit reader and writer.
int32_t complibPutBits(BitstreamFile* bf, uint32_t value, uint32_t count);
uint32_t complibFlushBits(BitstreamFile* bf);
void complibAlignPutBits(BitstreamFile* bf);
uint32_t complibGetBits(BitstreamFile* bf, uint32_t count);
uint32_t complibPeekBits(BitstreamFile* bf, uint32_t count);
void complibSkipBits(BitstreamFile* bf, uint32_t count);
void complibAlignGetBits(BitstreamFile* bf);
uint32_t complibGetBitPosition(const BitstreamFile* bf);
