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

TEST(DibHeaderServices, ColourTableSizeByDepthMasksAndColoursUsed) {
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(1).get()), 8u);
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(4).get()), 64u);
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(8).get()), 1024u);
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(24).get()), 0u);
    DibHeader sixteen(16);
    EXPECT_EQ(complibDIBColorTableSize(sixteen.get()), 0u);
    sixteen.get()->biCompression = 3;
    EXPECT_EQ(complibDIBColorTableSize(sixteen.get()), 12u);

    DibHeader used(8);
    used.get()->biClrUsed = 7;
    EXPECT_EQ(complibDIBColorTableSize(used.get()), 28u);
    // A header too short to hold biClrUsed goes by depth.
    used.get()->biSize = 32;
    EXPECT_EQ(complibDIBColorTableSize(used.get()), 1024u);

    // Hostile values are computed without wrapping.
    DibHeader hostile(8);
    hostile.get()->biClrUsed = UINT32_MAX;
    EXPECT_EQ(complibDIBColorTableSize(hostile.get()), 4ull * UINT32_MAX);
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(40).get()), 4ull << 40);
    EXPECT_EQ(complibDIBColorTableSize(DibHeader(65535).get()), UINT64_MAX);
}

TEST(DibHeaderServices, PixelAddressOfPackedBitmaps) {
    DibHeader info(8);
    const uint8_t* base = info.block.data();
    EXPECT_EQ(complibDIBBitsAddress(info.get()), base + 40 + 1024);
    info.get()->biSize = 124;
    info.get()->biClrUsed = 2;
    EXPECT_EQ(complibDIBBitsAddress(info.get()), base + 124 + 8);

    // The older 12-byte header: 3-byte palette entries, none for 24 bits.
    DibHeader core(0);
    uint8_t* c = core.block.data();
    const uint32_t size = 12;
    std::memcpy(c, &size, 4);
    const uint16_t depth8 = 8, depth24 = 24;
    std::memcpy(c + 10, &depth8, 2);
    EXPECT_EQ(complibDIBBitsAddress(core.get()), c + 12 + 768);
    std::memcpy(c + 10, &depth24, 2);
    EXPECT_EQ(complibDIBBitsAddress(core.get()), c + 12);

    DibHeader hostile(8);
    hostile.get()->biClrUsed = UINT32_MAX;
    EXPECT_EQ(complibDIBBitsAddress(hostile.get()), nullptr);
}

TEST(DibHeaderServices, CopyShiftsTheRowBitsBeforeRounding) {
    // 33 pixels of 1 bit: (33 >> 3) = 4 bytes a row, not the 5 the pixels need.
    DibHeader header(1, 33, 2, 2);
    header.setEntry(1, 9, 9, 9);
    std::vector<uint8_t> bits(16);
    for (size_t i = 0; i < bits.size(); ++i) bits[i] = static_cast<uint8_t>(i + 1);
    std::vector<uint8_t> headerOut(48 + 8, 0xCD);
    std::vector<uint8_t> bitsOut(16, 0xCD);
    ASSERT_EQ(complibCopyPackedDIB(bitsOut.data(), reinterpret_cast<BITMAPINFOHEADER*>(headerOut.data()), bits.data(),
                                   header.get()),
              0u);
    EXPECT_EQ(0, std::memcmp(headerOut.data(), header.block.data(), 48));
    EXPECT_EQ(headerOut[48], 0xCD);
    EXPECT_EQ(0, std::memcmp(bitsOut.data(), bits.data(), 8));
    EXPECT_EQ(bitsOut[8], 0xCD);
}

TEST(DibHeaderServices, CopyRefusesSizesNoBitmapCanHave) {
    std::vector<uint8_t> out(64, 0xCD);
    auto* headerOut = reinterpret_cast<BITMAPINFOHEADER*>(out.data());
    const std::pair<int32_t, int32_t> geometries[] = {{-8, 2}, {8, -2}, {INT32_MAX, INT32_MAX}};
    for (auto [w, h] : geometries) {
        DibHeader header(24, w, h, 0);
        EXPECT_EQ(complibCopyPackedDIB(out.data(), headerOut, out.data(), header.get()), 0x80000000u) << w << "x" << h;
    }
    DibHeader many(8, 1, 1);
    many.get()->biClrUsed = UINT32_MAX;
    EXPECT_EQ(complibCopyPackedDIB(out.data(), headerOut, out.data(), many.get()), 0x80000000u);
    // A table size that would wrap the header size round to a small number.
    DibHeader deep(65535, 1, 1);
    EXPECT_EQ(complibCopyPackedDIB(out.data(), headerOut, out.data(), deep.get()), 0x80000000u);
    // Row bytes times rows beyond 64 bits.
    DibHeader tall(32768, INT32_MAX, INT32_MAX);
    tall.get()->biClrUsed = 1;
    EXPECT_EQ(complibCopyPackedDIB(out.data(), headerOut, out.data(), tall.get()), 0x80000000u);
    for (uint8_t b : out) EXPECT_EQ(b, 0xCD);
}

TEST(CreateWinDIBits, FillsTheHeaderAndAllocatesBothBlocks) {
    ReportCapture capture;
    void* bits = nullptr;
    BITMAPINFOHEADER* header = nullptr;
    ASSERT_EQ(complibCreateWinDIBits(&bits, &header, 5, 3, 8), 1);
    ASSERT_NE(bits, nullptr);
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(header->biSize, 40u);
    EXPECT_EQ(header->biWidth, 5);
    EXPECT_EQ(header->biHeight, 3);
    EXPECT_EQ(header->biPlanes, 1);
    EXPECT_EQ(header->biBitCount, 8);
    EXPECT_EQ(header->biCompression, 0u);
    EXPECT_EQ(header->biSizeImage, 0u);
    EXPECT_EQ(header->biClrUsed, 0u);
    // The 256-entry table and 3 rows of 8 bytes are usable.
    std::memset(reinterpret_cast<uint8_t*>(header) + 40, 0, 1024);
    std::memset(bits, 0, 24);
    EXPECT_EQ(complibFreeMemory(bits), 0u);
    EXPECT_EQ(complibFreeMemory(header), 0u);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(CreateWinDIBits, UnknownDepthsAndImpossibleSizes) {
    ReportCapture capture;
    void* bits = nullptr;
    BITMAPINFOHEADER* header = nullptr;
    EXPECT_EQ(complibCreateWinDIBits(&bits, &header, 4, 4, 2), 0);
    EXPECT_TRUE(capture.reports().empty());
    for (auto [w, h] : {std::pair{-1, 4}, std::pair{4, -1}, std::pair{INT32_MAX, INT32_MAX}}) {
        capture.clear();
        EXPECT_EQ(complibCreateWinDIBits(&bits, &header, w, h, 32), 0);
        ASSERT_EQ(capture.reports().size(), 1u);
        EXPECT_EQ(capture.reports()[0].source, "complibCreateWinDIBits");
        EXPECT_EQ(capture.reports()[0].text, "complibAllocMemory () failed");
    }
    EXPECT_EQ(bits, nullptr);
    EXPECT_EQ(header, nullptr);
}
