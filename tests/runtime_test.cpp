// Runtime services: report composition, heap, bitstream files, rectangles.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "runtime/bitstream_file.h"
#include "runtime/heap.h"
#include "runtime/image_rect.h"
#include "runtime/platform.h"
#include "runtime/report.h"
#include "test_support.h"

using namespace testing_support;

namespace {

// Report lines end with the system's text for the last error; pin it down.
void clearLastError() {
    errno = 0;
#if defined(_WIN32)
    SetLastError(0);
#endif
}

std::string systemTextForNoError() {
#if defined(_WIN32)
    // The system's own wording (and its trailing line break) for "no error".
    clearLastError();
    std::string out;
    for (char16_t c : platform::lastErrorText()) out += c < 0x80 ? static_cast<char>(c) : '?';
    clearLastError();
    return out;
#else
    clearLastError();
    return std::strerror(0);
#endif
}

TEST(Report, ComposesSeveritySourceTextAndSystemMessageWithoutSeparators) {
    ReportCapture capture;
    std::string system = systemTextForNoError();
    complibReportError(KJ_TEXT("JPEG"), 2, KJ_TEXT("Frame Level parse failed."));
    clearLastError();
    complibReportError(KJ_TEXT("src"), 0, KJ_TEXT("t"));
    clearLastError();
    complibReportError(KJ_TEXT("src"), 1, KJ_TEXT("t"));
    clearLastError();
    complibReportError(KJ_TEXT("src"), 3, KJ_TEXT("t"));
    clearLastError();
    complibReportError(KJ_TEXT("src"), 4, KJ_TEXT("t"));
    clearLastError();
    complibReportError(KJ_TEXT("src"), -1, KJ_TEXT("t"));
    const auto& r = capture.reports();
    ASSERT_EQ(r.size(), 6u);
    EXPECT_EQ(r[0].line, "ERRORJPEGFrame Level parse failed." + system);
    EXPECT_EQ(r[0].icon, JPEG_ICON_ERROR);
    EXPECT_EQ(r[0].source, "JPEG");
    EXPECT_EQ(r[1].line, "TRACEsrct" + system);
    EXPECT_EQ(r[2].line, "WARNINGsrct" + system);
    EXPECT_EQ(r[3].line, "FATALsrct" + system);
    EXPECT_EQ(r[3].icon, JPEG_ICON_INFORMATION);  // FATAL keeps the information icon
    EXPECT_EQ(r[4].line, "srct" + system);
    EXPECT_EQ(r[4].icon, JPEG_ICON_INFORMATION);
    EXPECT_EQ(r[5].line, "srct" + system);
    for (int i = 1; i < 6; ++i) EXPECT_NE(r[i].icon, JPEG_ICON_ERROR);
}

TEST(Report, LineIsBoundedAt384Units) {
    ReportCapture capture;
    std::basic_string<KelChar16> longText(1000, KelChar16('x'));
    complibReportError(KJ_TEXT("JPEG"), 2, longText.c_str());
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].line.size(), static_cast<size_t>(kReportLineUnits - 1));
    EXPECT_EQ(capture.reports()[0].line.substr(0, 10), "ERRORJPEGx");
}

TEST(Heap, ReallocOfNullAllocatesAndForeignFreeIsReported) {
    ReportCapture capture;
    void* block = complibReallocMemory(nullptr, 100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xAB, 100);
    void* grown = complibReallocMemory(block, 10000);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(static_cast<uint8_t*>(grown)[99], 0xAB);
    EXPECT_EQ(complibFreeMemory(grown), 0u);
    EXPECT_TRUE(capture.reports().empty());

    // A pointer into the middle of a block is not a block the heap owns.
    auto* owned = static_cast<uint8_t*>(complibAllocMemory(256));
    EXPECT_EQ(complibFreeMemory(owned + 64), kComplibFailure);
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].source, "COMPL");
    EXPECT_EQ(capture.reports()[0].text, "HeapFree () failed.");
    EXPECT_EQ(complibFreeMemory(owned), 0u);
}

BitstreamFile* newBitstream() {
    auto* bf = static_cast<BitstreamFile*>(std::calloc(1, sizeof(BitstreamFile)));
    return bf;
}

TEST(BitstreamMemory, OutputGrowsInWholeBuffersAtThe4096Boundary) {
    BitstreamFile* bf = newBitstream();
    bf->flags = kBitstreamMemory;
    ASSERT_EQ(complibCreateBitstreamFile(bf), 0u);
    uint8_t one = 0x55;
    ASSERT_EQ(complibWriteBitstreamFile(bf, &one, 1), 1);
    EXPECT_EQ(bf->memCapacity, 4096u);
    std::vector<uint8_t> fill(4095, 0x11);
    ASSERT_EQ(complibWriteBitstreamFile(bf, fill.data(), 4095), 4095);
    EXPECT_EQ(bf->memCapacity, 4096u);  // ends exactly at 4096: no growth
    ASSERT_EQ(complibWriteBitstreamFile(bf, &one, 1), 1);
    EXPECT_EQ(bf->memCapacity, 8192u);
    EXPECT_EQ(bf->memLength, 4097u);
    EXPECT_EQ(bf->memCursor[0], 0x55);
    EXPECT_EQ(bf->memCursor[4096], 0x55);
    complibFreeMemory(bf->memCursor);
    std::free(bf);
}

TEST(BitstreamMemory, ReadAndSeekWithinCallersData) {
    std::vector<uint8_t> data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    BitstreamFile* bf = newBitstream();
    bf->flags = kBitstreamMemory;
    bf->memBase = data.data();
    bf->memCursor = data.data();
    bf->memLength = static_cast<uint32_t>(data.size());
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    uint8_t got[16];
    EXPECT_EQ(complibReadBitstreamFile(bf, got, 4), 4);
    EXPECT_EQ(got[3], 4);
    EXPECT_EQ(complibSeekBitstreamFile(bf, -2, 2), 8u);
    EXPECT_EQ(complibReadBitstreamFile(bf, got, 16), 2);
    EXPECT_EQ(got[0], 9);
    EXPECT_EQ(complibReadBitstreamFile(bf, got, 1), 0);  // end of memory data reads 0, not -1
    EXPECT_EQ(complibSeekBitstreamFile(bf, 3, 0), 3u);
    EXPECT_EQ(complibSeekBitstreamFile(bf, 2, 1), 5u);
    EXPECT_EQ(complibReadBitstreamFile(bf, got, 1), 1);
    EXPECT_EQ(got[0], 6);
    EXPECT_EQ(complibSeekBitstreamFile(bf, 100, 0), 100u);  // no bounds check; reading finds nothing
    EXPECT_EQ(complibReadBitstreamFile(bf, got, 1), 0);
    EXPECT_EQ(complibSeekBitstreamFile(bf, 0, 7), 0xFFFFFFFFu);
    // Refill: everything at once, then an empty buffer without a report.
    complibSeekBitstreamFile(bf, 0, 0);
    EXPECT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 10u);
    EXPECT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 0u);
    std::free(bf);
}

TEST(BitstreamFileMode, ReadsSeeksAndStartOffsets) {
    ReportCapture capture;
    std::string path = tempPath("bitstream_file.bin");
    std::vector<uint8_t> bytes(5000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
    writeFileBytes(path, bytes);

    BitstreamFile* bf = newBitstream();
    WideName name = wideName(path);
    std::copy(name.begin(), name.end(), bf->fileName);
    bf->startOffset = 1000;
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    EXPECT_EQ(bf->fileSize, 5000);
    EXPECT_EQ(bf->bytePosition, 1000u);
    ASSERT_EQ(readBitstreamData(bf), 0);
    EXPECT_EQ(bf->bufferedCount, 4000u);
    EXPECT_EQ(bf->readBuffer[0], static_cast<uint8_t>(1000 * 7));
    bf->readIndex = 10;
    EXPECT_EQ(complibGetBitstreamPosition(bf), 1010u);
    // At the end of a file a refill reports and fails; a plain read returns -1.
    EXPECT_EQ(readBitstreamData(bf), -1);
    EXPECT_TRUE(capture.saw("found unexpected EOF"));
    uint8_t b;
    EXPECT_EQ(complibReadBitstreamFile(bf, &b, 1), -1);
    EXPECT_EQ(complibSeekBitstreamFile(bf, -1, 2), 4999u);
    EXPECT_EQ(complibReadBitstreamFile(bf, &b, 1), 1);
    EXPECT_EQ(b, bytes[4999]);
    EXPECT_EQ(complibCloseBitstreamFile(bf), 0u);

    // A start offset beyond the end opens, and reading ends at once.
    std::memset(bf, 0, sizeof *bf);
    std::copy(name.begin(), name.end(), bf->fileName);
    bf->startOffset = 90000;
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    EXPECT_EQ(complibReadBitstreamFile(bf, &b, 1), -1);
    complibCloseBitstreamFile(bf);

    // A missing file: status 3, no report of its own, close leaves the handle alone.
    std::memset(bf, 0, sizeof *bf);
    WideName missing = wideName(tempPath("does-not-exist.bin"));
    std::copy(missing.begin(), missing.end(), bf->fileName);
    capture.clear();
    EXPECT_EQ(complibOpenBitstreamFile(bf), kComplibFailure);
    EXPECT_EQ(bf->status, kBitstreamOpenFailed);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(complibCloseBitstreamFile(bf), 0u);
    std::free(bf);
}

TEST(BitstreamFileMode, CreateWritesAndReportsFailure) {
    ReportCapture capture;
    BitstreamFile* bf = newBitstream();
    WideName name = wideName(tempPath("created.bin"));
    std::copy(name.begin(), name.end(), bf->fileName);
    ASSERT_EQ(complibCreateBitstreamFile(bf), 0u);
    EXPECT_EQ(bf->bitCount, 32u);
    EXPECT_EQ(complibWriteBitstreamFile(bf, "abc", 3), 3);
    EXPECT_EQ(complibCloseBitstreamFile(bf), 0u);
    EXPECT_EQ(readFileBytes(tempPath("created.bin")).size(), 3u);

    std::memset(bf, 0, sizeof *bf);
    WideName bad = wideName(tempPath("no/such/dir/x.bin"));
    std::copy(bad.begin(), bad.end(), bf->fileName);
    EXPECT_EQ(complibCreateBitstreamFile(bf), kComplibFailure);
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].source, "complibCreateBitstreamFile");
    EXPECT_EQ(capture.reports()[0].text, "file create error");
    std::free(bf);
}

TEST(GenericBits, PutThenGetRoundTrips) {
    BitstreamFile* bf = newBitstream();
    bf->flags = kBitstreamMemory;
    ASSERT_EQ(complibCreateBitstreamFile(bf), 0u);
    const uint32_t values[] = {1, 0x2A, 0x7FFF, 3, 0x12345, 0};
    const uint32_t counts[] = {1, 6, 15, 2, 17, 5};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(complibPutBits(bf, values[i], counts[i]), static_cast<int32_t>(counts[i]));
    ASSERT_EQ(complibFlushBits(bf), 0u);
    std::vector<uint8_t> written(bf->memCursor, bf->memCursor + bf->memLength);
    EXPECT_EQ(written.size(), 6u);  // 46 bits
    complibFreeMemory(bf->memCursor);

    std::memset(bf, 0, sizeof *bf);
    bf->flags = kBitstreamMemory;
    bf->memBase = written.data();
    bf->memLength = static_cast<uint32_t>(written.size());
    ASSERT_EQ(complibOpenBitstreamFile(bf), 0u);
    EXPECT_EQ(complibPeekBits(bf, 7), (1u << 6) | 0x2A);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(complibGetBits(bf, counts[i]), values[i]) << i;
    std::free(bf);
}

TEST(ImageRect, AllocationRules) {
    ImageRect rect{5, 2, 0, 24, 0, 0, nullptr, 0};
    ASSERT_EQ(complibAllocImageRect(&rect), &rect);
    EXPECT_EQ(rect.stride, 15);
    EXPECT_EQ(rect.size, 34u);
    EXPECT_EQ(complibFreeImageRect(&rect), 0u);

    ImageRect kept{5, 2, 100, 24, 0, 0, nullptr, 0};
    ASSERT_NE(complibAllocImageRect(&kept), nullptr);
    EXPECT_EQ(kept.stride, 100);
    EXPECT_EQ(kept.size, 204u);
    complibFreeImageRect(&kept);

    ImageRect mono{13, 9, 0, 1, 0, 0, nullptr, 0};
    ASSERT_NE(complibAllocImageRect(&mono), nullptr);
    EXPECT_EQ(mono.stride, 0);  // sub-byte formats must set their own stride
    EXPECT_EQ(mono.size, 4u);
    complibFreeImageRect(&mono);

    ImageRect empty{1, 1, 0, 8, 0, 0, nullptr, 0};
    EXPECT_EQ(complibFreeImageRect(nullptr), kBadArgument);
    EXPECT_EQ(complibFreeImageRect(&empty), kBadArgument);
}

}  // namespace
