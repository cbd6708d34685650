// Decoder stages on hand-derived inputs: the inverse transforms, the Huffman
// lookup tables, the block decoders' edges, the reduced-size MCU decoders,
// segment warnings, and random damage in every reading.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "context/jpeg_context.h"
#include "decoder/huffman_decode.h"
#include "decoder/inverse_dct.h"
#include "decoder/mcu_decode.h"
#include "decoder_test_support.h"
#include "test_support.h"

using namespace testing_support;

namespace {

// ---- Inverse DCT ----

// The exact 2-D inverse transform of size n (8, or 4 over the low corner),
// scaled like the 8x8 one. The 2x2 transform's output is pinned by the
// manifest's quarter-size decodes.
double referenceIdct(const int16_t* coefficients, int n, int x, int y) {
    const double pi = std::acos(-1.0);
    double sum = 0;
    for (int v = 0; v < n; ++v)
        for (int u = 0; u < n; ++u) {
            double cu = u ? 1 : std::sqrt(0.5), cv = v ? 1 : std::sqrt(0.5);
            sum += cu * cv * coefficients[v * 8 + u] * std::cos((2 * x + 1) * u * pi / (2 * n)) *
                   std::cos((2 * y + 1) * v * pi / (2 * n));
        }
    return sum / 4;
}

TEST(InverseDct, FullAndHalfSizesFollowTheExactTransform) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> coefficient(-300, 300);
    for (int n : {8, 4}) {
        for (int trial = 0; trial < 300; ++trial) {
            int16_t block[64] = {}, original[64];
            // Energy falls off with frequency, as in pictures; some blocks are sparse.
            for (int v = 0; v < n; ++v)
                for (int u = 0; u < n; ++u)
                    block[v * 8 + u] = static_cast<int16_t>(trial % 3 == 0 && u + v > 3 ? 0 : coefficient(random) * 8 / (1 + u + v));
            if (n == 4) block[4] = block[32] = 999;  // outside the corner: not read, not written
            std::copy(block, block + 64, original);
            n == 8 ? inverseDct8x8(block) : inverseDct4x4(block);
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x)
                    ASSERT_LE(std::fabs(block[y * 8 + x] - referenceIdct(original, n, x, y)), n == 8 ? 1.5 : 1.0)
                        << "size " << n << " trial " << trial;
            if (n == 4) {
                EXPECT_EQ(block[4], 999);
                EXPECT_EQ(block[32], 999);
            }
        }
    }
}

// Coefficients over the whole 16-bit range, where the 32-bit sums wrap, go
// through the plain transform in the kernel tests (sanitizer builds watch).

// ---- Bit reader ----

// Stuffed bytes and markers met by the plain bit reader: the kernel tests
// hold it to the quick one's state after every MCU of clean and damaged
// streams, whose output the manifest pins.

// ---- Huffman lookup tables ----

HuffmanDefinition definitionOf(std::vector<uint8_t> bits, std::vector<uint8_t> symbols, uint8_t tableByte) {
    HuffmanDefinition d{};
    std::copy(bits.begin(), bits.end(), d.bits);
    std::copy(symbols.begin(), symbols.end(), d.huffval);
    d.tableByte = tableByte;
    return d;
}

TEST(HuffmanLookup, TablesTheFrameTypeCannotUseAreRefused) {
    ReportCapture capture;
    JpegContext* context = complibCreateJpegContext(nullptr, JPEG_OPT_DECODE);
    HuffmanDefinition d = definitionOf({3}, {1, 2, 3}, 0x10);  // three codes of length 1
    ASSERT_EQ(complibBuildHuffmanCodeTable(context, &d, 3), 0);
    context->frame.sofMarker = 0xFFC1;
    context->dec.pendingTables[0] = 16;
    context->dec.pendingTables[1] = -1;
    EXPECT_EQ(jpegDecodeInitializeDecVLCTable(context), -1);
    context->frame.sofMarker = 0xFFC5;
    EXPECT_EQ(jpegDecodeInitializeDecVLCTable(context), -1);
    EXPECT_TRUE(capture.saw(report_text::kIllegalSOFxCodeInJpegDecodeInitializeDecVLCTable));
    complibDestroyJpegContext(context);
}

// ---- Block decoders ----

// A context reading the given bits, with a DC table of 3-bit codes for sizes
// 0..5 and an AC table of 3-bit codes: 000 EOB, 001 ZRL, 010 (0,1), 011 (14,1), 100 (15,1).
struct BlockBench {
    std::vector<uint8_t> data;
    JpegContext* context = complibCreateJpegContext(nullptr, JPEG_OPT_DECODE | JPEG_OPT_MEMORY);
    ComponentRecord record{};
    explicit BlockBench(BitWriter& writer) {
        writer.align();
        data = writer.bytes();
        data.insert(data.end(), {0xFF, 0xD9});
        BitstreamFile* bf = context->bitstream;
        bf->flags |= kBitstreamMemory;
        bf->memBase = bf->memCursor = data.data();
        bf->memLength = static_cast<uint32_t>(data.size());
        (void)complibOpenBitstreamFile(bf);
        HuffmanDefinition dc = definitionOf({0, 0, 6}, {0, 1, 2, 3, 4, 5}, 0x00);
        HuffmanDefinition ac = definitionOf({0, 0, 5}, {0x00, 0xF0, 0x01, 0xE1, 0xF1}, 0x10);
        EXPECT_EQ(complibBuildHuffmanCodeTable(context, &dc, 6), 0);
        EXPECT_EQ(complibBuildHuffmanCodeTable(context, &ac, 5), 0);
        context->frame.sofMarker = 0xFFC0;
        context->dec.pendingTables[0] = 0;
        context->dec.pendingTables[1] = 16;
        context->dec.pendingTables[2] = -1;
        EXPECT_EQ(jpegDecodeInitializeDecVLCTable(context), 0);
        const HuffmanSlot& d = context->huffman[kDcSlot];
        const HuffmanSlot& a = context->huffman[kAcSlot];
        record = ComponentRecord{d.lookupTable, d.codeTable, a.lookupTable, a.codeTable, 0, 1, 0x11,
                                 d.maxCodeLength, a.maxCodeLength, {}};
        for (int k = 0; k < 64; ++k) record.quant[k] = k + 1;
    }
    ~BlockBench() { complibDestroyJpegContext(context); }
};

enum : uint32_t { kEob = 0, kZrl = 1, kRun0 = 2, kRun14 = 3, kRun15 = 4 };

// Ordinary blocks (end of block, a last coefficient at 63 without one, the
// DC prediction) are pinned by the manifest's decodes, the plain decoder held
// to the quick one MCU by MCU; zero runs past the end are not.
TEST(BlockDecoder, ZeroRunsPastTheEnd) {
    BitWriter w;
    for (int pass = 0; pass < 2; ++pass) {
        w.put(0, 3);
        for (int i = 0; i < 4; ++i) w.put(kZrl, 3);  // k = 64: accepted when an EOB follows
        if (pass == 0) w.put(kEob, 3);
        else w.put(kRun0, 3), w.put(1, 1);  // a coefficient at k = 65
    }
    BlockBench bench(w);
    ReportCapture capture;
    int16_t block[64];
    EXPECT_EQ(decodeBlock(bench.context, block, &bench.record), 0);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(decodeBlock(bench.context, block, &bench.record), -1);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kAc)});
}

TEST(BlockDecoder, PartialDecodeKeepsTheCornerAndSkipsTheRest) {
    BitWriter w;
    for (int pass = 0; pass < 2; ++pass) {
        w.put(1, 3), w.put(1, 1);                // DC +1
        w.put(kRun0, 3), w.put(1, 1);            // k = 1
        w.put(kRun14, 3), w.put(0, 1);           // k = 16, value -1
        w.put(kRun14, 3), w.put(1, 1);           // k = 31: beyond 24, stored only because 16 < 24
        w.put(kRun14, 3), w.put(1, 1);           // k = 46: skipped
        w.put(kEob, 3);
    }
    w.put(0, 3);
    for (int i = 0; i < 4; ++i) w.put(kZrl, 3);
    w.put(kRun0, 3), w.put(1, 1);  // overshoot in the skip phase: silent failure
    w.put(0, 3), w.put(7, 3);      // an AC code that does not exist
    BlockBench bench(w);
    ReportCapture capture;
    int16_t block[64] = {};
    ASSERT_EQ(decodeBlockPartial(bench.context, block, &bench.record, 24), 0);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(block[zigzagToNatural[1]], 2);
    EXPECT_EQ(block[zigzagToNatural[16]], -17);
    EXPECT_EQ(block[zigzagToNatural[31]], 32);
    EXPECT_EQ(block[zigzagToNatural[46]], 0);
    std::memset(block, 0, sizeof block);
    ASSERT_EQ(decodeBlockPartial(bench.context, block, &bench.record, 0), 0);  // eighth size: DC only
    EXPECT_EQ(block[0], 2);
    EXPECT_EQ(block[1], 0);
    EXPECT_EQ(decodeBlockPartial(bench.context, block, &bench.record, 4), -1);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(decodeBlockPartial(bench.context, block, &bench.record, 4), -1);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kDc)});
}

// ---- Reduced-size MCU decoders and geometry, through the prolog ----

TEST(McuDecoders, DcOnlyBlocksAtReducedSizes) {
    FlatJpeg recipe;
    recipe.width = 24;
    // DC 8 * 137 = 1096 clamps to 127 at every size, -1096 to -128.
    recipe.level = samples([](int, uint32_t mcu, int) { return mcu == 0 ? 137 : (mcu == 1 ? -100 : -137); });
    auto bytes = flatJpeg(recipe);
    for (McuDecoder decoder : {decodeMcuFull, decodeMcuHalf, decodeMcuQuarter, decodeMcuEighth}) {
        MemoryDecode d(bytes);
        ASSERT_NE(d.handle, nullptr);
        const int16_t* block = d.handle->dec.mcuBlocks;
        for (int expected : {127, -100, -128}) {
            ASSERT_EQ(decoder(d.handle), 1);
            EXPECT_EQ(block[0], expected);
            int corner = decoder == decodeMcuHalf ? 27 : decoder == decodeMcuQuarter ? 9 : 0;
            EXPECT_EQ(block[corner], expected);
        }
        EXPECT_EQ(d.handle->dec.lastMarker, kMarkerEoi);  // the marker after the last MCU
        EXPECT_EQ(decoder(d.handle), 0);
    }
}

// The thumbnail skipped twice without the JFIF option, and its copy with
// it, are DecodeProlog's (headers cut short, and a file with a start offset).
TEST(MarkerParser, SegmentWarningsLetTheParseGoOn) {
    FlatJpeg recipe;
    recipe.height = 16;
    recipe.heightInDnl = true;
    recipe.restartInterval = 1;
    recipe.extraSegments = {0xFF, 0xDD, 0x00, 0x05, 0x00, 0x00};  // DRI of the wrong length, rewritten later
    auto bytes = flatJpeg(recipe);
    bytes[segmentAt(bytes, 0xC0) + 6] = 16;  // the frame knows its height after all
    ReportCapture capture;
    MemoryDecode d(bytes);
    ASSERT_NE(d.handle, nullptr);
    EXPECT_EQ(capture.texts(), std::vector<std::string>{text(report_text::kInvalidDriSegmentSyntax)});
    Output out = outputFor(8, 16, 1);
    ImageRect rect = out.rect();
    EXPECT_EQ(jpegDecodeToRect(d.handle, &rect, 16), 16);
    EXPECT_TRUE(capture.saw(report_text::kNoEffectDnlSegment));
}

// ---- Damaged input ----

// Random damage to streams of every kind, read in both modes at every scale,
// in passes or not, and again at another scale into the same rectangle:
// every call ends with a result and stays inside the buffers (sanitizer
// builds watch). Standard mode shows every row of a file whose scans restart
// when only its entropy-coded data is damaged.
TEST(DamagedInput, RandomDamageEndsWithAResultInEveryReading) {
    struct Source {
        const char* name;
        std::vector<uint8_t> jpeg;
        bool showsAllRows;
    };
    FlatJpeg flat;
    flat.width = 40;
    flat.height = 24;
    flat.components = {{1, 0x22}, {2, 0x11}, {3, 0x11}};
    flat.restartInterval = 2;
    flat.level = samples([](int c, uint32_t m, int b) { return (c * 31 + int(m) * 17 + b * 5) % 120 - 60; });
    std::vector<std::vector<int32_t>> planes(3);
    for (uint32_t i = 0; i < 33 * 21 * 3; ++i) planes[i % 3].push_back(int32_t(mix(i) & 0xFF));
    std::vector<Source> sources = {{"flat 4:2:0, restarts", flatJpeg(flat), false},
                                   {"lossless", writeLossless({33, 21, 8, 7, 0, 0, {0x11, 0x11, 0x11}}, planes), false}};
#if defined(KELJPEG_HAVE_LIBJPEG)
    PeerRecipe baseline, progressive, separate;
    baseline.width = progressive.width = 48;
    baseline.height = progressive.height = 40;
    baseline.sampling = progressive.sampling = lumaSampling(2, 2);
    baseline.restartRows = 2;
    progressive.progressive = true;
    sources.push_back({"baseline, restarts", peerEncode(baseline), true});
    sources.push_back({"progressive", peerEncode(progressive), false});
    progressive.restartBlocks = 2;
    sources.push_back({"progressive, restarts", peerEncode(progressive), true});
    separate.sampling = lumaSampling(4, 1);
    separate.scans = scanScript("2: 0-63, 0, 0; 0: 0-63, 0, 0; 1: 0-63, 0, 0;");
    sources.push_back({"4:1:1 in three scans", peerEncode(separate), false});
#endif
    std::mt19937 random(1234);
    ReportCapture quiet;
    for (const Source& source : sources) {
        const auto ranges = scanDataRanges(source.jpeg);
        for (int trial = 0; trial < 400; ++trial) {
            auto bytes = source.jpeg;
            const bool dataOnly = trial % 2;
            for (int e = 0; e <= trial % 4 && !bytes.empty(); ++e) {
                const auto [from, to] = ranges[random() % ranges.size()];
                const size_t at = dataOnly ? from + random() % (to - from) : random() % bytes.size();
                switch (dataOnly ? random() % 2 : random() % 4) {
                    case 0: bytes[at] = static_cast<uint8_t>(random()); break;
                    case 1: bytes[at] = 0xFF; break;
                    case 2: bytes.erase(bytes.begin() + static_cast<ptrdiff_t>(at)); break;
                    default: bytes.resize(at + 1); break;
                }
            }
            const int scale = trial % 4;
            for (uint16_t mode : {uint16_t{JPEG_OPT_PARTIAL_BITSTREAM}, uint16_t{JPEG_OPT_STANDARD}}) {
                MemoryDecode d(bytes, mode);
                if (!d.handle) continue;
                uint32_t w = 0, h = 0, fullWidth = 0, fullHeight = 0;
                jpegDecodeGetImageSize(d.handle, &w, &h, scale);
                jpegDecodeGetImageSize(d.handle, &fullWidth, &fullHeight, JPEG_SCALE_FULL);
                if (fullWidth > 256 || fullHeight > 256) continue;  // a damaged header may claim any size
                jpegDecodeSetProgressiveMode(d.handle, uint32_t(trial / 4 % 2));
                Output out = outputFor(int(w), int(h), 3, int(fullWidth - w), int(fullHeight - h) + 32);
                for (int s : {scale, (scale + 1) % 4}) {
                    ImageRect rect = out.rect();
                    if (s == JPEG_SCALE_FULL) jpegDecodeToRect(d.handle, &rect, h ? h : 32);
                    else jpegDecodeScaleOutputToRect(d.handle, &rect, h ? h : 32, s);
                }
            }
            Picture shown;
            if (source.showsAllRows && dataOnly) {
                EXPECT_TRUE(ourDecode(bytes, JPEG_OPT_STANDARD, shown)) << source.name << " " << trial;
            }
        }
    }
}

}  // namespace
