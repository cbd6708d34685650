// Packed-bitmap header services and bitmap allocation, including headers
// whose fields no real bitmap could have.
#include <gtest/gtest.h>

#include <climits>

#include "bitmap/dib_header.h"
#include "bitmap_test_support.h"
#include "runtime/heap.h"
#include "test_support.h"

using namespace bitmap_testing;
using testing_support::ReportCapture;
using testing_support::text;

TEST(DibHeaderServices, ColourTableSizeAndPixelAddress) {
    struct Case { int depth; uint32_t compression, used, size; uint64_t table; };
    for (Case c : {Case{1, 0, 0, 40, 8}, Case{4, 0, 0, 40, 64}, Case{8, 0, 0, 40, 1024}, Case{24, 0, 0, 40, 0},
                   Case{16, 0, 0, 40, 0}, Case{16, 3, 0, 40, 12}, Case{8, 0, 7, 40, 28},
                   Case{8, 0, 7, 32, 1024},  // too short to hold biClrUsed: by depth
                   Case{8, 0, UINT32_MAX, 40, 4ull * UINT32_MAX}, Case{40, 0, 0, 40, 4ull << 40},
                   Case{65535, 0, 0, 40, UINT64_MAX}}) {
        DibHeader h(c.depth);
        h.get()->biCompression = c.compression;
        h.get()->biClrUsed = c.used;
        h.get()->biSize = c.size;
        EXPECT_EQ(complibDIBColorTableSize(h.get()), c.table) << c.depth << " " << c.used << " " << c.size;
    }
    DibHeader info(8);
    const uint8_t* base = info.block.data();
    EXPECT_EQ(complibDIBBitsAddress(info.get()), base + 40 + 1024);
    info.get()->biSize = 124;
    info.get()->biClrUsed = 2;
    EXPECT_EQ(complibDIBBitsAddress(info.get()), base + 124 + 8);
    info.get()->biClrUsed = UINT32_MAX;
    EXPECT_EQ(complibDIBBitsAddress(info.get()), nullptr);
    // The older 12-byte header: 3-byte palette entries, none for 24 bits.
    DibHeader core(0);
    uint8_t* c = core.block.data();
    const uint32_t size = 12;
    const uint16_t depth8 = 8, depth24 = 24;
    std::memcpy(c, &size, 4);
    std::memcpy(c + 10, &depth8, 2);
    EXPECT_EQ(complibDIBBitsAddress(core.get()), c + 12 + 768);
    std::memcpy(c + 10, &depth24, 2);
    EXPECT_EQ(complibDIBBitsAddress(core.get()), c + 12);
}

TEST(DibHeaderServices, CopyShiftsTheRowBitsBeforeRoundingAndRefusesImpossibleSizes) {
    // 33 pixels of 1 bit: (33 >> 3) = 4 bytes a row, not the 5 the pixels need.
    DibHeader header(1, 33, 2, 2);
    header.setEntry(1, 9, 9, 9);
    std::vector<uint8_t> bits(16);
    for (size_t i = 0; i < bits.size(); ++i) bits[i] = static_cast<uint8_t>(i + 1);
    std::vector<uint8_t> headerOut(48 + 8, 0xCD), bitsOut(16, 0xCD);
    auto* infoOut = reinterpret_cast<BITMAPINFOHEADER*>(headerOut.data());
    ASSERT_EQ(complibCopyPackedDIB(bitsOut.data(), infoOut, bits.data(), header.get()), 0u);
    EXPECT_EQ(0, std::memcmp(headerOut.data(), header.block.data(), 48));
    EXPECT_EQ(headerOut[48], 0xCD);
    EXPECT_EQ(0, std::memcmp(bitsOut.data(), bits.data(), 8));
    EXPECT_EQ(bitsOut[8], 0xCD);

    std::vector<uint8_t> out(64, 0xCD);
    infoOut = reinterpret_cast<BITMAPINFOHEADER*>(out.data());
    struct Bad { int depth; int32_t w, h; uint32_t used; };
    // Negative or huge sizes; a table size that would wrap the header size;
    // row bytes times rows beyond 64 bits.
    for (Bad b : {Bad{24, -8, 2, 0}, Bad{24, 8, -2, 0}, Bad{24, INT32_MAX, INT32_MAX, 0}, Bad{8, 1, 1, UINT32_MAX},
                  Bad{65535, 1, 1, 0}, Bad{32768, INT32_MAX, INT32_MAX, 1}}) {
        DibHeader bad(b.depth, b.w, b.h);
        bad.get()->biClrUsed = b.used;
        EXPECT_EQ(complibCopyPackedDIB(out.data(), infoOut, out.data(), bad.get()), 0x80000000u) << b.depth;
    }
    for (uint8_t v : out) EXPECT_EQ(v, 0xCD);
}

TEST(CreateWinDIBits, FillsTheHeaderAllocatesBothBlocksOrReports) {
    ReportCapture capture;
    void* bits = nullptr;
    BITMAPINFOHEADER* header = nullptr;
    ASSERT_EQ(complibCreateWinDIBits(&bits, &header, 5, 3, 8), 1);
    BITMAPINFOHEADER expected{40, 5, 3, 1, 8, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(header, &expected, 24)) << "up to biSizeImage";
    EXPECT_EQ(header->biClrUsed, 0u);
    // The 256-entry table and 3 rows of 8 bytes are usable.
    std::memset(reinterpret_cast<uint8_t*>(header) + 40, 0, 1024);
    std::memset(bits, 0, 24);
    EXPECT_EQ(complibFreeMemory(bits), 0u);
    EXPECT_EQ(complibFreeMemory(header), 0u);
    EXPECT_TRUE(capture.reports().empty());

    bits = nullptr;
    header = nullptr;
    EXPECT_EQ(complibCreateWinDIBits(&bits, &header, 4, 4, 2), 0);  // unknown depth: no report
    EXPECT_TRUE(capture.reports().empty());
    for (auto [w, h] : {std::pair{-1, 4}, std::pair{4, -1}, std::pair{INT32_MAX, INT32_MAX}}) {
        capture.clear();
        EXPECT_EQ(complibCreateWinDIBits(&bits, &header, w, h, 32), 0);
        ASSERT_EQ(capture.reports().size(), 1u);
        EXPECT_EQ(capture.reports()[0].source, text(report_text::kComplibCreateWinDIBits));
        EXPECT_EQ(capture.reports()[0].text, text(report_text::kComplibAllocMemoryCallFailed));
    }
    EXPECT_EQ(bits, nullptr);
    EXPECT_EQ(header, nullptr);
}
