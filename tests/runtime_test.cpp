// Runtime services: heap, bitstream files in memory and on disk, rectangles.
#include <gtest/gtest.h>

#include <cstring>

#include "runtime/bitstream_file.h"
#include "runtime/heap.h"
#include "runtime/image_rect.h"
#include "test_support.h"

using namespace testing_support;

namespace {

TEST(Heap, BlocksAreAlignedResizeKeepsContentsAndForeignFreeIsReported) {
    ReportCapture capture;
    auto* block = static_cast<uint8_t*>(complibReallocMemory(nullptr, 24));  // realloc of null allocates
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(uint64_t), 0u);
    for (int i = 0; i < 24; ++i) block[i] = static_cast<uint8_t>(i);
    auto* grown = static_cast<uint8_t*>(complibReallocMemory(block, 1 << 20));
    ASSERT_NE(grown, nullptr);
    for (int i = 0; i < 24; ++i) ASSERT_EQ(grown[i], i);
    grown[(1 << 20) - 1] = 1;
    EXPECT_EQ(complibFreeMemory(grown), 0u);
    EXPECT_EQ(complibAllocMemory(SIZE_MAX), nullptr);
    EXPECT_TRUE(capture.reports().empty());
    // A pointer into the middle of a block is not a block the heap owns.
    auto* owned = static_cast<uint8_t*>(complibAllocMemory(256));
    EXPECT_EQ(complibFreeMemory(owned + 64), kComplibFailure);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kHeapFreeFailed)});
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kCompl));
    EXPECT_EQ(complibFreeMemory(owned), 0u);
}

// A zeroed bitstream record, named after `path` unless it is empty.
struct Bitstream {
    BitstreamFile bf{};
    explicit Bitstream(const std::string& path = "") {
        WideName name = wideName(path);
        std::copy(name.begin(), name.end(), bf.fileName);
        if (path.empty()) bf.flags = kBitstreamMemory;
    }
};

TEST(BitstreamMemory, OutputGrowsInWholeBuffersAtThe4096Boundary) {
    Bitstream s;
    ASSERT_EQ(complibCreateBitstreamFile(&s.bf), 0u);
    uint8_t one = 0x55;
    std::vector<uint8_t> fill(4095, 0x11);
    ASSERT_EQ(complibWriteBitstreamFile(&s.bf, &one, 1), 1);
    EXPECT_EQ(s.bf.memCapacity, 4096u);
    ASSERT_EQ(complibWriteBitstreamFile(&s.bf, fill.data(), 4095), 4095);
    EXPECT_EQ(s.bf.memCapacity, 4096u);  // ends exactly at 4096: no growth
    ASSERT_EQ(complibWriteBitstreamFile(&s.bf, &one, 1), 1);
    EXPECT_EQ(s.bf.memCapacity, 8192u);
    EXPECT_EQ(s.bf.memLength, 4097u);
    EXPECT_EQ(s.bf.memCursor[0], 0x55);
    EXPECT_EQ(s.bf.memCursor[4096], 0x55);
    EXPECT_EQ(jpegFreeMemory(s.bf.memCursor), 0);  // the caller's kind of block, not a tagged one
}

TEST(BitstreamMemory, ReadsAndSeeksWithinCallersDataAndEndsWithZero) {
    std::vector<uint8_t> data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    Bitstream s;
    BitstreamFile* bf = &s.bf;
    bf->memBase = bf->memCursor = data.data();
    bf->memLength = static_cast<uint32_t>(data.size());
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    uint8_t got[16];
    // Reads (each followed by a byte it read) and seeks in turn, in the order
    // written: the end of the memory data reads 0, not -1; a seek has no
    // bounds check, and reading past the end finds nothing.
    EXPECT_EQ((std::vector<int64_t>{complibReadBitstreamFile(bf, got, 4), got[3], complibSeekBitstreamFile(bf, -2, 2),
                                    complibReadBitstreamFile(bf, got, 16), got[0], complibReadBitstreamFile(bf, got, 1),
                                    complibSeekBitstreamFile(bf, 3, 0), complibSeekBitstreamFile(bf, 2, 1),
                                    complibReadBitstreamFile(bf, got, 1), got[0], complibSeekBitstreamFile(bf, 100, 0),
                                    complibReadBitstreamFile(bf, got, 1), complibSeekBitstreamFile(bf, 0, 7)}),
              (std::vector<int64_t>{4, 4, 8, 2, 9, 0, 3, 5, 1, 6, 100, 0, 0xFFFFFFFF}));
    // Refill: everything at once, then an empty buffer without a report.
    complibSeekBitstreamFile(bf, 0, 0);
    EXPECT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 10u);
    EXPECT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 0u);
}

TEST(BitstreamFileMode, ReadsSeeksStartOffsetsAndReportsTheEnd) {
    ReportCapture capture;
    std::string path = tempPath("bitstream_file.bin");
    std::vector<uint8_t> bytes(5000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
    writeFileBytes(path, bytes);
    Bitstream s(path);
    BitstreamFile* bf = &s.bf;
    bf->startOffset = 1000;
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    EXPECT_EQ(bf->fileSize, 5000);
    ASSERT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 4000u);
    EXPECT_EQ(bf->readBuffer[0], static_cast<uint8_t>(1000 * 7));
    bf->readIndex = 10;
    EXPECT_EQ(complibGetBitstreamPosition(bf), 1010u);
    // At the end of a file a refill reports and fails; a plain read returns -1.
    EXPECT_EQ(readBitstreamData(bf), -1);
    EXPECT_TRUE(capture.saw(report_text::kFoundUnexpectedEof));
    uint8_t b;
    EXPECT_EQ(complibReadBitstreamFile(bf, &b, 1), -1);
    EXPECT_EQ(complibSeekBitstreamFile(bf, -1, 2), 4999u);
    EXPECT_EQ(complibReadBitstreamFile(bf, &b, 1), 1);
    EXPECT_EQ(b, bytes[4999]);
    EXPECT_EQ(complibCloseBitstreamFile(bf), 0u);

    Bitstream beyond(path);  // a start offset beyond the end opens, and reading ends at once
    beyond.bf.startOffset = 90000;
    ASSERT_EQ(complibOpenBitstreamFile(&beyond.bf), 0u);
    EXPECT_EQ(complibReadBitstreamFile(&beyond.bf, &b, 1), -1);
    complibCloseBitstreamFile(&beyond.bf);

    // A missing file: status 3, no report of its own, close leaves the handle alone.
    Bitstream missing(tempPath("does-not-exist.bin"));
    capture.clear();
    EXPECT_EQ(complibOpenBitstreamFile(&missing.bf), kComplibFailure);
    EXPECT_EQ(missing.bf.status, kBitstreamOpenFailed);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(complibCloseBitstreamFile(&missing.bf), 0u);
    Bitstream bad(tempPath("no/such/dir/x.bin"));
    EXPECT_EQ(complibCreateBitstreamFile(&bad.bf), kComplibFailure);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kFileCreateError)});
    EXPECT_EQ(capture.reports()[0].source, text(report_text::kComplibCreateBitstreamFile));
}

TEST(ImageRect, AllocationRules) {
    struct Case { int32_t width, height, stride, bitsPerPixel, expectStride; uint32_t expectSize; };
    // A zero stride becomes width times bytes per pixel; a given one is kept;
    // sub-byte formats must set their own.
    for (Case c : {Case{5, 2, 0, 24, 15, 34}, Case{5, 2, 100, 24, 100, 204}, Case{13, 9, 0, 1, 0, 4}}) {
        ImageRect rect{c.width, c.height, c.stride, c.bitsPerPixel, 0, 0, nullptr, 0};
        ASSERT_EQ(complibAllocImageRect(&rect), &rect);
        EXPECT_EQ(rect.stride, c.expectStride);
        EXPECT_EQ(rect.size, c.expectSize);
        EXPECT_EQ(complibFreeImageRect(&rect), 0u);
    }
    ImageRect empty{1, 1, 0, 8, 0, 0, nullptr, 0};
    EXPECT_EQ(complibFreeImageRect(nullptr), kBadArgument);
    EXPECT_EQ(complibFreeImageRect(&empty), kBadArgument);
}

}  // namespace
