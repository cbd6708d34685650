// Interoperability: JPEG files made by libjpeg-turbo (a black-box peer) for
// every sampling, odd sizes, restart intervals, optimised Huffman tables and
// 16-bit quantisation tables, decoded here and by the peer (integer DCT, no
// fancy upsampling) and compared. The two differ only by rounding in the
// inverse DCT and the colour conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "KelJPEG.h"

#if defined(KELJPEG_HAVE_LIBJPEG)
#include <csetjmp>
// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>
#endif

namespace {

#if defined(KELJPEG_HAVE_LIBJPEG)

struct PeerError {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
};

void onPeerError(j_common_ptr cinfo) { std::longjmp(reinterpret_cast<PeerError*>(cinfo->err)->jump, 1); }
void onPeerMessage(j_common_ptr) {}  // the peer's warnings (coarse tables on purpose) are not ours

enum class Kind { Colour, Grey, Cmyk };

struct PeerCase {
    const char* name;
    Kind kind;
    int h, v;  // luma sampling
    uint16_t width, height;
    int restartRows = 0;
    unsigned restartMcus = 0;
    bool optimise = false;
    int quality = 90;
    bool extended = false;  // 16-bit quantisation tables: an SOF1 frame
};

int componentsOf(Kind kind) { return kind == Kind::Colour ? 3 : kind == Kind::Grey ? 1 : 4; }

// A picture with smooth regions, fine texture and sharp edges.
std::vector<uint8_t> makeSource(const PeerCase& c) {
    const int n = componentsOf(c.kind);
    std::vector<uint8_t> pixels(size_t{c.width} * c.height * n);
    for (int y = 0; y < c.height; ++y)
        for (int x = 0; x < c.width; ++x)
            for (int k = 0; k < n; ++k) {
                double v = 128 + 90 * std::sin(x * (0.05 + 0.02 * k) + y * 0.03) * std::cos(y * 0.07 - k);
                v += ((x / 13 + y / 7) % 2) ? 25 : -25;
                v += ((x * 7 + y * 3 + k * 11) % 17) - 8;
                pixels[(size_t(y) * c.width + x) * n + k] = static_cast<uint8_t>(std::max(0.0, std::min(255.0, v)));
            }
    return pixels;
}

bool peerEncode(const PeerCase& c, const std::vector<uint8_t>& source, std::vector<uint8_t>& jpeg) {
    jpeg_compress_struct cinfo;
    PeerError error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = onPeerError;
    error.manager.output_message = onPeerMessage;
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    if (setjmp(error.jump)) {
        jpeg_destroy_compress(&cinfo);
        std::free(buffer);
        return false;
    }
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = c.width;
    cinfo.image_height = c.height;
    cinfo.input_components = componentsOf(c.kind);
    cinfo.in_color_space = c.kind == Kind::Colour ? JCS_RGB : c.kind == Kind::Grey ? JCS_GRAYSCALE : JCS_CMYK;
    jpeg_set_defaults(&cinfo);
    if (c.kind == Kind::Cmyk) jpeg_set_colorspace(&cinfo, JCS_CMYK);
    jpeg_set_quality(&cinfo, c.quality, c.extended ? FALSE : TRUE);
    cinfo.comp_info[0].h_samp_factor = c.h;
    cinfo.comp_info[0].v_samp_factor = c.v;
    for (int k = 1; k < cinfo.num_components; ++k) cinfo.comp_info[k].h_samp_factor = cinfo.comp_info[k].v_samp_factor = 1;
    cinfo.restart_in_rows = c.restartRows;
    cinfo.restart_interval = c.restartMcus;
    cinfo.optimize_coding = c.optimise ? TRUE : FALSE;
    cinfo.dct_method = JDCT_ISLOW;
    jpeg_start_compress(&cinfo, TRUE);
    const int stride = c.width * cinfo.input_components;
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&source[size_t(cinfo.next_scanline) * stride]);
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg.assign(buffer, buffer + size);
    jpeg_destroy_compress(&cinfo);
    std::free(buffer);
    return true;
}

// The peer's decode: RGB, grey or CMYK samples, packed.
bool peerDecode(const PeerCase& c, const std::vector<uint8_t>& jpeg, std::vector<uint8_t>& pixels) {
    jpeg_decompress_struct cinfo;
    PeerError error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = onPeerError;
    if (setjmp(error.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&cinfo, TRUE);
    cinfo.dct_method = JDCT_ISLOW;
    cinfo.do_fancy_upsampling = FALSE;
    cinfo.do_block_smoothing = FALSE;
    cinfo.out_color_space = c.kind == Kind::Colour ? JCS_RGB : c.kind == Kind::Grey ? JCS_GRAYSCALE : JCS_CMYK;
    jpeg_start_decompress(&cinfo);
    const size_t stride = size_t{cinfo.output_width} * cinfo.output_components;
    pixels.assign(stride * cinfo.output_height, 0);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = &pixels[size_t(cinfo.output_scanline) * stride];
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

// Ours, from memory, in the peer's sample order (RGB rather than BGR).
bool ourDecode(const PeerCase& c, const std::vector<uint8_t>& jpeg, std::vector<uint8_t>& pixels, uint16_t& sof) {
    const int n = componentsOf(c.kind);
    JpegDecodeParams params{};
    params.options = static_cast<uint16_t>(JPEG_OPT_MEMORY | (c.kind == Kind::Cmyk ? JPEG_OPT_RAW_COMPONENTS : 0));
    params.data = jpeg.data();
    params.dataLength = static_cast<uint32_t>(jpeg.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    if (!h) return false;
    FrameHeader frame{};
    jpegGetFrameHeader(h, &frame);
    sof = frame.sofMarker;
    pixels.assign(size_t{c.width} * c.height * n, 0);
    ImageRect rect{};
    rect.width = c.width;
    rect.height = c.height;
    rect.stride = c.width * n;
    rect.bitsPerPixel = 8 * n;
    rect.bits = pixels.data();
    int32_t rows = jpegDecodeToRect(h, &rect, c.height);
    jpegDecodeEpilog(h);
    if (c.kind == Kind::Colour)
        for (size_t i = 0; i + 2 < pixels.size(); i += 3) std::swap(pixels[i], pixels[i + 2]);
    return rows == c.height;
}

class DecoderInterop : public ::testing::TestWithParam<PeerCase> {};

TEST_P(DecoderInterop, MatchesThePeerWithinRounding) {
    const PeerCase& c = GetParam();
    std::vector<uint8_t> jpeg, expected, actual;
    ASSERT_TRUE(peerEncode(c, makeSource(c), jpeg));
    ASSERT_TRUE(peerDecode(c, jpeg, expected));
    uint16_t sof = 0;
    ASSERT_TRUE(ourDecode(c, jpeg, actual, sof));
    EXPECT_EQ(sof, c.extended ? 0xFFC1 : 0xFFC0);
    ASSERT_EQ(actual.size(), expected.size());
    int largest = 0;
    double squared = 0;
    for (size_t i = 0; i < actual.size(); ++i) {
        int d = std::abs(int(actual[i]) - int(expected[i]));
        largest = std::max(largest, d);
        squared += double(d) * d;
    }
    double psnr = squared == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * double(actual.size()) / squared);
    RecordProperty("largest_difference", largest);
    RecordProperty("psnr_db", std::to_string(psnr));
    std::printf("    %-26s %6zu bytes: largest difference %d, PSNR %.1f dB\n", c.name, jpeg.size(), largest, psnr);
    EXPECT_LE(largest, 6);
    EXPECT_GT(psnr, 45.0);
}

const PeerCase kCases[] = {
    {"444_641x481", Kind::Colour, 1, 1, 641, 481},
    {"422_641x481", Kind::Colour, 2, 1, 641, 481},
    {"440_641x481", Kind::Colour, 1, 2, 641, 481},
    {"420_641x481", Kind::Colour, 2, 2, 641, 481},
    {"grey_641x481", Kind::Grey, 1, 1, 641, 481},
    {"cmyk_641x481", Kind::Cmyk, 1, 1, 641, 481},
    {"420_1x1", Kind::Colour, 2, 2, 1, 1},
    {"444_1x1", Kind::Colour, 1, 1, 1, 1},
    {"grey_1x1", Kind::Grey, 1, 1, 1, 1},
    {"420_17x9", Kind::Colour, 2, 2, 17, 9},
    {"422_17x9", Kind::Colour, 2, 1, 17, 9},
    {"440_17x9", Kind::Colour, 1, 2, 17, 9},
    {"cmyk_17x9", Kind::Cmyk, 1, 1, 17, 9},
    {"420_restart_rows", Kind::Colour, 2, 2, 641, 481, 2},
    {"422_restart_5_optimised", Kind::Colour, 2, 1, 333, 200, 0, 5, true},
    {"grey_restart_1_optimised", Kind::Grey, 1, 1, 100, 75, 0, 1, true},
    {"cmyk_restart_7", Kind::Cmyk, 1, 1, 120, 90, 0, 7},
    {"420_optimised_q100", Kind::Colour, 2, 2, 257, 129, 0, 0, true, 100},
    {"420_extended_q3", Kind::Colour, 2, 2, 200, 150, 0, 0, false, 3, true},
    {"grey_extended_q2", Kind::Grey, 1, 1, 64, 64, 0, 0, true, 2, true},
};

INSTANTIATE_TEST_SUITE_P(PeerFiles, DecoderInterop, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<PeerCase>& info) { return std::string(info.param.name); });

#else

TEST(DecoderInterop, NeedsThePeerLibrary) { GTEST_SKIP() << "libjpeg not found at configure time"; }

#endif

}  // namespace
