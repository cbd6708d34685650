// Encoder tables: edge qualities, the fine pair, the frame geometry from the
// sampling, and the peer's DQT and DHT bytes for the ordinary qualities.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "context/jpeg_context.h"
#include "encoder/encode_tables.h"
#include "decoder_test_support.h"
#include "encoder_test_support.h"
#include "test_support.h"

using namespace encoder;
using namespace testing_support;

namespace {

// Tables built for the given frame; the context is released on destruction.
struct Built {
    JpegContext* context;
    Built(uint32_t sampling, uint16_t components, uint16_t quality, uint32_t options = JPEG_OPT_ENCODE,
          uint16_t width = 0, uint16_t height = 0, uint16_t restartInterval = 0)
        : context(complibCreateJpegContext(nullptr, options)) {
        JpegEncodeParams p{sampling, width, height, restartInterval, components, quality, 0, 0, nullptr, nullptr, 0};
        EXPECT_EQ(jpegEncodeBuildTables(context, &p), 0);
    }
    ~Built() { complibDestroyJpegContext(context); }
};

TEST(EncoderQuantTables, EdgeQualitiesGiveFlatTablesAndFineTablesIgnoreQuality) {
    for (uint16_t quality : {0, 1, 100, 101, 65535}) {
        Built b(0x221111, 3, quality);
        int32_t expected = quality <= 1 ? 255 : 1;
        for (int t = 0; t < 2; ++t)
            for (int k = 0; k < 64; ++k) ASSERT_EQ(b.context->quantTables[t][k], expected) << quality;
    }
    // The fine pair's entries are pinned by the manifest's encodes at one quality.
    Built low(0x11, 1, 3, JPEG_OPT_ENCODE | JPEG_OPT_FINE_TABLES), high(0x11, 1, 100, JPEG_OPT_ENCODE | JPEG_OPT_FINE_TABLES);
    EXPECT_EQ(0, std::memcmp(low.context->quantTables, high.context->quantTables, sizeof low.context->quantTables));
}

TEST(EncoderFrameSetup, SamplingGivesMcuGeometryAndSelectors) {
    // The manifest's encodes pin the samplings it uses; these two it does not.
    const struct {
        uint32_t sampling;
        uint16_t components, width, height;
        std::vector<uint32_t> geometry;  // MCU width and height, MCUs across and down, each component's blocks in an MCU
    } cases[] = {{0x112211, 3, 33, 16, {16, 16, 3, 1, 1, 4, 1}}, {0x22, 1, 100, 75, {16, 16, 7, 5, 4}}};
    for (const auto& g : cases) {
        Built b(g.sampling, g.components, 75, JPEG_OPT_ENCODE, g.width, g.height, 7);
        const EncoderState& enc = b.context->enc;
        std::vector<uint32_t> geometry = {enc.mcuWidth, enc.mcuHeight, enc.mcusPerRow, enc.mcusPerColumn};
        for (uint32_t c = 0; c < g.components; ++c) geometry.push_back(b.context->components[c].blocksInMcu);
        EXPECT_EQ(geometry, g.geometry) << std::hex << g.sampling;
        EXPECT_EQ(enc.samplingSignature, g.sampling);
        EXPECT_EQ(enc.restartInterval, 7u);
    }
}

#if defined(KELJPEG_HAVE_LIBJPEG)
// The tables of all DQT (0xDB) or DHT (0xC4) segments keyed by their
// identifier byte, whichever way the writer grouped them into segments.
std::map<uint8_t, std::vector<uint8_t>> tablesIn(const std::vector<uint8_t>& stream, uint8_t marker) {
    std::map<uint8_t, std::vector<uint8_t>> tables;
    for (const Segment& s : segmentsOf(stream, true)) {
        if (s.marker != marker) continue;
        for (size_t pos = s.offset + 4, end = s.offset + 2 + s.length; pos < end;) {
            size_t size = 64;
            if (marker == 0xC4) {
                size = 16;
                for (int i = 0; i < 16; ++i) size += stream[pos + 1 + i];
            }
            tables[stream[pos]] = std::vector<uint8_t>(stream.begin() + pos + 1, stream.begin() + pos + 1 + size);
            pos += 1 + size;
        }
    }
    return tables;
}

// The peer scales the same base tables by the same rule and writes the same
// standard Huffman tables: its DQT and DHT bytes must equal ours.
TEST(EncoderPeerTables, DqtAndDhtMatchThePeerAtEveryTestedQuality) {
    Picture image = photoLikeImage(8, 8);
    for (int quality : {1, 10, 25, 49, 50, 75, 90, 95, 100}) {
        PeerRecipe recipe;
        recipe.width = recipe.height = 8;
        recipe.quality = quality;
        const std::vector<uint8_t> peer = peerEncode(recipe);
        std::vector<uint8_t> ours = encodeImage(image, paramsFor(image, 0x221111, static_cast<uint16_t>(quality)));
        ASSERT_FALSE(ours.empty());
        EXPECT_EQ(tablesIn(ours, 0xDB), tablesIn(peer, 0xDB)) << "quality " << quality;
        EXPECT_EQ(tablesIn(ours, 0xC4), tablesIn(peer, 0xC4)) << "quality " << quality;
        EXPECT_EQ(tablesIn(ours, 0xC4).size(), 4u);
    }
}
#endif

}  // namespace
