// Our streams decoded by independent decoders: libjpeg-turbo's TurboJPEG API
// (a black-box peer, when installed) and this library's own decoder. The
// reconstruction is compared with the source by PSNR.
#include <gtest/gtest.h>

#include <string>

#include "decoder_test_support.h"
#include "encoder_test_support.h"

#if defined(KELJPEG_HAVE_TURBOJPEG)
#include <turbojpeg.h>
#endif

using namespace encoder_testing;

namespace {

struct Decoded {
    bool ok = false;
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> pixels;  // blue-green-red or grey, packed rows
};

#if defined(KELJPEG_HAVE_TURBOJPEG)
// Accurate upsampling and IDCT: the comparison is about our stream. With
// `planes`, the raw Y, U, V planes instead of pixels.
Decoded peerDecode(const std::vector<uint8_t>& stream, uint32_t components, bool planes = false) {
    Decoded d;
    tjhandle tj = tjInitDecompress();
    int w = 0, h = 0, subsampling = 0, colourspace = 0;
    auto* data = const_cast<unsigned char*>(stream.data());
    auto size = static_cast<unsigned long>(stream.size());
    if (tj && tjDecompressHeader3(tj, data, size, &w, &h, &subsampling, &colourspace) == 0) {
        d.width = static_cast<uint32_t>(w);
        d.height = static_cast<uint32_t>(h);
        if (planes) {
            d.pixels.resize(tjBufSizeYUV2(w, 1, h, subsampling));
            d.ok = tjDecompressToYUV2(tj, data, size, d.pixels.data(), w, 1, h, 0) == 0;
        } else {
            d.pixels.resize(static_cast<size_t>(w) * h * components);
            d.ok = tjDecompress2(tj, data, size, d.pixels.data(), w, 0, h, components == 1 ? TJPF_GRAY : TJPF_BGR,
                                 TJFLAG_ACCURATEDCT) == 0;
        }
    }
    if (tj) tjDestroy(tj);
    return d;
}
#define REQUIRE_PEER()
#else
Decoded peerDecode(const std::vector<uint8_t>&, uint32_t, bool = false) { return {}; }
#define REQUIRE_PEER() GTEST_SKIP() << "libjpeg-turbo (turbojpeg.h) not available"
#endif

std::string describe(uint32_t components, uint32_t luma) {
    const char* name = luma == 0x11 ? "4:4:4" : luma == 0x21 ? "4:2:2" : luma == 0x12 ? "4:4:0" : "4:2:0";
    return std::string(components == 1 ? "grey " : "") + name;
}

// Lowest PSNR accepted on the photograph-like test images (100x75 and
// larger; measured values sit 1.5 to 3 dB above). Subsampled chroma keeps
// each group's top-left sample, not an average, which caps it near 42 dB.
double minimumPsnr(uint32_t quality, uint32_t luma, uint32_t components) {
    bool subsampled = components == 3 && luma != 0x11;
    switch (quality) {
        case 1: return 21.0;
        case 50: return 34.0;
        case 75: return subsampled ? 36.0 : 37.0;
        default: return subsampled ? 40.0 : 46.0;
    }
}

TEST(EncoderInterop, PeerDecodesEverySamplingSizeAndQuality) {
    REQUIRE_PEER();
    struct Size { uint32_t w, h; };
    for (Size size : {Size{1, 1}, Size{17, 9}, Size{100, 75}, Size{256, 192}})
        for (uint32_t components : {1u, 3u}) {
            TestImage image = photoLikeImage(size.w, size.h, components);
            for (uint32_t luma : {0x11u, 0x21u, 0x12u, 0x22u}) {
                if (components == 1 && luma != 0x11) continue;  // other decoders misread those
                for (uint16_t quality : {1, 50, 75, 100}) {
                    uint32_t sampling = components == 1 ? luma : colourSampling(luma);
                    Decoded d = peerDecode(encodeImage(image, paramsFor(image, sampling, quality)), components);
                    std::string what = std::to_string(size.w) + "x" + std::to_string(size.h) + " " +
                                       describe(components, luma) + " q" + std::to_string(quality);
                    ASSERT_TRUE(d.ok) << what;
                    ASSERT_EQ(d.width, size.w) << what;
                    ASSERT_EQ(d.height, size.h) << what;
                    // Tiny images are mostly edge: only the large ones are held to the bounds.
                    if (size.w >= 100) {
                        EXPECT_GT(psnr(d.pixels, image.pixels), minimumPsnr(quality, luma, components)) << what;
                    }
                }
            }
        }
    // The fine tables at any quality come close to quality 100.
    TestImage image = photoLikeImage(256, 192);
    Decoded fine = peerDecode(encodeImage(image, paramsFor(image, 0x111111, 5, JPEG_OPT_FINE_TABLES)), 3);
    ASSERT_TRUE(fine.ok);
    EXPECT_GT(psnr(fine.pixels, image.pixels), 40.0);
}

TEST(EncoderInterop, PlanarFramesDecodeToTheirPlanes) {
    REQUIRE_PEER();
    const uint32_t w = 96, h = 64;
    std::vector<uint8_t> planes = photoLikeImage(w, h, 1, 4).pixels;
    planes.resize(w * h + 2 * (w / 2) * (h / 2));
    for (uint32_t y = 0; y < h / 2; ++y)
        for (uint32_t x = 0; x < w / 2; ++x) {
            planes[w * h + y * (w / 2) + x] = static_cast<uint8_t>(100 + x);
            planes[w * h + (w / 2) * (h / 2) + y * (w / 2) + x] = static_cast<uint8_t>(150 - y);
        }
    Decoded d = peerDecode(encodePlanar(jpegEncodeFromYUV411, planes, w, h), 3, true);
    ASSERT_TRUE(d.ok);
    EXPECT_GT(psnr(d.pixels, planes), 38.0);
}

TEST(EncoderInterop, OwnDecoderReadsOurStreams) {
    for (uint32_t components : {1u, 3u})
        for (uint32_t luma : {0x11u, 0x21u, 0x12u, 0x22u}) {
            // Grey sampled other than 1x1 is coded in interleaved block order,
            // which this library's decoder reads back the same way.
            TestImage image = photoLikeImage(100, 75, components);
            JpegEncodeParams p = paramsFor(image, components == 1 ? luma : colourSampling(luma), 75);
            p.restartInterval = 5;
            std::vector<uint8_t> stream = encodeImage(image, p);
            const std::vector<uint8_t> own = decoder_testing::decodeWhole(stream);
            ASSERT_FALSE(own.empty()) << describe(components, luma);
            EXPECT_GT(psnr(own, image.pixels), minimumPsnr(75, luma, components) - 1.0) << describe(components, luma);
#if defined(KELJPEG_HAVE_TURBOJPEG)
            // Both decoders see the same coefficients, restart markers
            // included; they differ only in IDCT rounding and chroma upsampling.
            if (components == 1 && luma != 0x11) continue;  // the peer misreads those
            Decoded peer = peerDecode(stream, components);
            ASSERT_TRUE(peer.ok);
            EXPECT_GT(psnr(own, peer.pixels), luma == 0x11 ? 40.0 : 30.0) << describe(components, luma);
#endif
        }
}

}  // namespace
