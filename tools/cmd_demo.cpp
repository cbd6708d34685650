// keljpeg demo: the library at work on a built-in sample, all in memory. A
// synthetic picture is encoded at several qualities and samplings and decoded
// back (sizes, PSNR, timings), decoded at reduced sizes, shown pass by pass
// from a progressive copy, and taken through the bitmap and planar entries.
// `keljpeg demo FILE.jpg` shows a file instead.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "commands.h"
#include "image_write.h"
#include "jpeg_input.h"
#include "progressive_sample.h"

namespace {

const char kDemoUsage[] =
    "usage: keljpeg demo [FILE.jpg]\n"
    "\n"
    "Without a file: encodes a built-in 320 x 240 picture in memory at several\n"
    "qualities and samplings and decodes it back (sizes, PSNR, timings), decodes\n"
    "it at 1/2, 1/4 and 1/8 size, shows a progressive copy pass by pass, and\n"
    "goes through the bitmap and planar YUV entries. Takes about a second.\n"
    "With FILE.jpg: its headers and a 1/8-size preview.\n";

void KELJPEG_CALL printReport(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16* line, uint32_t) {
    std::printf("  report: ");
    for (int i = 0; line[i]; ++i) std::putchar(line[i] < 0x80 ? static_cast<char>(line[i]) : '?');
    std::printf("\n");
}

constexpr uint32_t kWidth = 320, kHeight = 240;

// A sky gradient, a bright sun, hills, a checkerboard and fine stripes: flat
// areas, smooth ramps, hard edges and detail, blue-green-red.
std::vector<uint8_t> makeSample() {
    std::vector<uint8_t> bgr(size_t{kWidth} * kHeight * 3);
    for (uint32_t y = 0; y < kHeight; ++y)
        for (uint32_t x = 0; x < kWidth; ++x) {
            int r = 60 + static_cast<int>(y) / 3, g = 110 + static_cast<int>(y) / 3, b = 230;
            int dx = static_cast<int>(x) - 240, dy = static_cast<int>(y) - 60;
            double hill = 150 + 25 * std::sin(x / 30.0);
            if (dx * dx + dy * dy < 30 * 30) r = 255, g = 220, b = 80;
            if (y > hill) r = 40 + static_cast<int>(x % 7) * 3, g = 140 - static_cast<int>(y - hill) / 2, b = 50;
            if (x >= 24 && x < 104 && y >= 40 && y < 120) {
                bool dark = ((x - 24) / 10 + (y - 40) / 10) % 2;
                r = g = b = dark ? 20 : 235;
            }
            if (x >= 130 && x < 200 && y >= 30 && y < 100 && (x + y) % 6 < 3) r = g = b = 30;
            uint8_t* p = &bgr[(size_t{y} * kWidth + x) * 3];
            p[0] = static_cast<uint8_t>(b);
            p[1] = static_cast<uint8_t>(std::max(0, g));
            p[2] = static_cast<uint8_t>(r);
        }
    return bgr;
}

ImageRect rectOver(std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, uint32_t bytesPerPixel) {
    ImageRect rect{};
    rect.width = static_cast<int32_t>(width);
    rect.height = static_cast<int32_t>(height);
    rect.stride = static_cast<int32_t>(width * bytesPerPixel);
    rect.bitsPerPixel = static_cast<int32_t>(bytesPerPixel * 8);
    rect.bits = pixels.data();
    rect.size = static_cast<uint32_t>(pixels.size());
    return rect;
}

// Average milliseconds of work, repeated for at least 20 ms (at most 100 times).
double millisecondsOf(const std::function<bool()>& work, bool& ok) {
    using Clock = std::chrono::steady_clock;
    auto start = Clock::now();
    int runs = 0;
    double elapsed = 0;
    ok = true;
    do {
        ok = work() && ok;
        ++runs;
        elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    } while (ok && elapsed < 20 && runs < 100);
    return elapsed / runs;
}

// Encodes through one of the encode entries into memory.
enum class Entry { Rect, Bitmap, Planar };

bool encodeMemory(const std::vector<uint8_t>& bgr, uint32_t quality, uint32_t sampling, Entry entry,
                  std::vector<uint8_t>& jpeg) {
    JpegEncodeParams params{};
    params.samplingFactors = entry == Entry::Planar ? 0x221111 : (sampling << 16) | 0x1111;
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 3;
    params.quality = static_cast<uint16_t>(quality);
    params.options = JPEG_OPT_MEMORY;
    JpegHandle h = jpegEncodeProlog(nullptr, &params);
    if (!h) return false;
    std::vector<uint8_t> input = bgr;
    bool ok = false;
    if (entry == Entry::Rect) {
        ImageRect rect = rectOver(input, kWidth, kHeight, 3);
        ok = jpegEncodeFromRect(h, &rect, kHeight) == kHeight;
    } else if (entry == Entry::Bitmap) {
        // A 24-bit bitmap holds the same pixels, bottom row first.
        std::vector<uint8_t> bits(input.size());
        for (uint32_t y = 0; y < kHeight; ++y)
            std::memcpy(&bits[size_t{kHeight - 1 - y} * kWidth * 3], &input[size_t{y} * kWidth * 3], kWidth * 3);
        BITMAPINFOHEADER header{};
        header.biSize = 40;
        header.biWidth = kWidth;
        header.biHeight = kHeight;
        header.biPlanes = 1;
        header.biBitCount = 24;
        ok = jpegEncodeFromWinDIBits(h, kHeight, bits.data(), &header) == kHeight;
    } else {
        // Planar 4:2:0: full-size luma, then Cb and Cr averaged over 2 x 2.
        std::vector<uint8_t> planes(kWidth * kHeight * 3 / 2);
        uint8_t* cb = &planes[kWidth * kHeight];
        uint8_t* cr = cb + kWidth * kHeight / 4;
        for (uint32_t y = 0; y < kHeight; ++y)
            for (uint32_t x = 0; x < kWidth; ++x) {
                const uint8_t* p = &input[(size_t{y} * kWidth + x) * 3];
                planes[y * kWidth + x] = static_cast<uint8_t>(std::lround(0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2]));
            }
        for (uint32_t y = 0; y < kHeight; y += 2)
            for (uint32_t x = 0; x < kWidth; x += 2) {
                double b = 0, g = 0, r = 0;
                for (uint32_t k = 0; k < 4; ++k) {
                    const uint8_t* p = &input[(size_t{y + k / 2} * kWidth + x + k % 2) * 3];
                    b += p[0] / 4.0, g += p[1] / 4.0, r += p[2] / 4.0;
                }
                size_t at = (y / 2) * (kWidth / 2) + x / 2;
                cb[at] = static_cast<uint8_t>(std::lround(128 - 0.168736 * r - 0.331264 * g + 0.5 * b));
                cr[at] = static_cast<uint8_t>(std::lround(128 + 0.5 * r - 0.418688 * g - 0.081312 * b));
            }
        ok = jpegEncodeFromYUV411(h, planes.data(), kWidth, kHeight) == kHeight;
    }
    ok = jpegEncodeEpilog(h) == 0 && ok && params.outputBuffer;
    if (params.outputBuffer) {
        jpeg.assign(params.outputBuffer, params.outputBuffer + params.outputSize);
        jpegFreeMemory(params.outputBuffer);
    }
    return ok;
}

JpegHandle openMemory(const std::vector<uint8_t>& jpeg, JpegDecodeParams& params) {
    params.options = JPEG_OPT_MEMORY | JPEG_OPT_STANDARD;
    params.data = jpeg.data();
    params.dataLength = static_cast<uint32_t>(jpeg.size());
    return jpegDecodeProlog(nullptr, &params);
}

// Decodes a memory stream at a scale (3 = full size) into packed pixels.
bool decodeMemory(const std::vector<uint8_t>& jpeg, int32_t scale, std::vector<uint8_t>& pixels, uint32_t& width,
                  uint32_t& height) {
    JpegDecodeParams params{};
    JpegHandle h = openMemory(jpeg, params);
    if (!h) return false;
    (void)jpegDecodeGetImageSize(h, &width, &height, scale);
    uint32_t bytesPerPixel = params.componentCount < 3 ? 1 : 3;
    pixels.assign(size_t{width} * (height + 32) * bytesPerPixel, 0);  // room for a last whole MCU row
    ImageRect rect = rectOver(pixels, width, height, bytesPerPixel);
    int32_t rows = scale >= 3 ? jpegDecodeToRect(h, &rect, height) : jpegDecodeScaleOutputToRect(h, &rect, height, scale);
    (void)jpegDecodeEpilog(h);
    pixels.resize(size_t{width} * height * bytesPerPixel);
    return rows == static_cast<int32_t>(height);
}

double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double squared = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) squared += double(int(a[i]) - int(b[i])) * (int(a[i]) - int(b[i]));
    if (squared == 0) return 99.0;
    return 10 * std::log10(255.0 * 255.0 / (squared / double(a.size())));
}

// A full-size picture averaged over factor x factor squares: the reference for
// reduced decodes, and what the eye makes of dithered pixels.
std::vector<uint8_t> boxReduceOf(const std::vector<uint8_t>& bgr, uint32_t factor) {
    uint32_t w = kWidth / factor, h = kHeight / factor;
    std::vector<uint8_t> out(size_t{w} * h * 3);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < 3; ++c) {
                uint32_t sum = 0;
                for (uint32_t j = 0; j < factor; ++j)
                    for (uint32_t i = 0; i < factor; ++i) sum += bgr[((size_t{y} * factor + j) * kWidth + x * factor + i) * 3 + c];
                out[(size_t{y} * w + x) * 3 + c] = static_cast<uint8_t>((sum + factor * factor / 2) / (factor * factor));
            }
    return out;
}

std::vector<uint8_t> boxReduce(const std::vector<uint8_t>& bgr, uint32_t factor) { return boxReduceOf(bgr, factor); }

void printPreview(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, uint32_t bytesPerPixel = 3) {
    const char* shades = " .:-=+*#%@";
    for (uint32_t y = 0; y + 1 < height; y += 2) {  // characters are about twice as tall as wide
        std::printf("    ");
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t* p = &pixels[(size_t(y) * width + x) * bytesPerPixel];
            int luma = bytesPerPixel == 1 ? p[0] : (114 * p[0] + 587 * p[1] + 299 * p[2]) / 1000;
            std::putchar(shades[luma * 9 / 255]);
        }
        std::printf("\n");
    }
}

const char* samplingName(uint32_t sampling) {
    return sampling == 0x11 ? "4:4:4" : sampling == 0x21 ? "4:2:2" : sampling == 0x12 ? "4:4:0" : "4:2:0";
}

bool showQualities(const std::vector<uint8_t>& sample, std::vector<uint8_t>& reference) {
    std::printf("\nEncode (jpegEncodeFromRect) and decode back (jpegDecodeToRect), in memory:\n");
    std::printf("  quality  sampling    bytes  bits/pixel  PSNR dB  encode ms  decode ms\n");
    const struct {
        uint32_t quality, sampling;
    } kRuns[] = {{10, 0x22}, {25, 0x22}, {50, 0x22}, {75, 0x22}, {90, 0x22}, {100, 0x22}, {75, 0x21}, {75, 0x11}, {95, 0x11}};
    for (const auto& run : kRuns) {
        std::vector<uint8_t> jpeg, decoded;
        uint32_t w = 0, h = 0;
        bool encoded = false, decodedOk = false;
        double encodeMs = millisecondsOf([&] { return encodeMemory(sample, run.quality, run.sampling, Entry::Rect, jpeg); }, encoded);
        double decodeMs = millisecondsOf([&] { return decodeMemory(jpeg, 3, decoded, w, h); }, decodedOk);
        if (!encoded || !decodedOk) return false;
        std::printf("  %7u  %-8s  %7zu  %10.2f  %7.1f  %9.2f  %9.2f\n", run.quality, samplingName(run.sampling),
                    jpeg.size(), 8.0 * jpeg.size() / (kWidth * kHeight), psnr(sample, decoded), encodeMs, decodeMs);
        if (run.quality == 75 && run.sampling == 0x22) reference = jpeg;
    }
    std::printf("  (4:2:0 and 4:2:2 keep chroma at half resolution: the sample's sharp colour edges cost\n"
                "  PSNR that no quality setting buys back. Times are wall-clock averages.)\n");
    return true;
}

bool showHeaders(const std::vector<uint8_t>& jpeg) {
    JpegDecodeParams params{};
    JpegHandle h = openMemory(jpeg, params);
    if (!h) return false;
    FrameHeader frame{};
    (void)jpegGetFrameHeader(h, &frame);
    (void)jpegDecodeEpilog(h);
    std::printf("\nHeaders of the quality-75 stream (jpegDecodeProlog, jpegGetFrameHeader):\n");
    std::printf("  frame 0x%04X, %u-bit, %u x %u, %u components, sampling", frame.sofMarker, frame.precision,
                params.width, params.height, params.componentCount);
    for (uint32_t c = 0; c < params.componentCount && c < 4; ++c)
        std::printf(" %ux%u", frame.components[c].horizontalSampling, frame.components[c].verticalSampling);
    std::printf(", restart interval %u\n", params.restartInterval);
    return true;
}

bool showScaled(const std::vector<uint8_t>& sample, const std::vector<uint8_t>& jpeg) {
    std::printf("\nReduced decodes inside the inverse DCT (jpegDecodeScaleOutputToRect), quality 75:\n");
    std::vector<uint8_t> pixels;
    uint32_t w = 0, h = 0;
    for (int32_t scale = 2; scale >= 0; --scale) {
        uint32_t factor = 1u << (3 - scale);
        bool ok = false;
        double ms = millisecondsOf([&] { return decodeMemory(jpeg, scale, pixels, w, h); }, ok);
        if (!ok) return false;
        std::printf("  1/%u: %3u x %3u  %.2f ms  PSNR %.1f dB against the averaged original\n", factor, w, h, ms,
                    psnr(boxReduce(sample, factor), pixels));
    }
    std::printf("  The 1/8 picture, from the DC coefficients alone:\n");
    printPreview(pixels, w, h);
    return true;
}

bool showPasses(const std::vector<uint8_t>& sample) {
    std::vector<uint8_t> jpeg = writeProgressiveSample(sample, kWidth, kHeight, 75);
    std::printf("\nProgressive passes (jpegDecodeSetProgressiveMode): the library encodes baseline only, so the\n"
                "demo writes its own progressive copy (%zu bytes; DC, then AC 1-5 and 6-63 per component):\n",
                jpeg.size());
    JpegDecodeParams params{};
    JpegHandle h = openMemory(jpeg, params);
    if (!h) return false;
    std::vector<uint8_t> pixels(size_t{kWidth} * (kHeight + 16) * 3);
    ImageRect rect = rectOver(pixels, kWidth, kHeight, 3);
    (void)jpegDecodeSetProgressiveMode(h, 1);
    bool ok = (params.options & JPEG_OPT_PROGRESSIVE) != 0;
    for (int pass = 1; ok && !jpegDecodeQueryProgressiveComplete(h) && pass <= 64; ++pass) {
        ok = jpegDecodeToRect(h, &rect, kHeight) == static_cast<int32_t>(kHeight);
        std::vector<uint8_t> picture(pixels.begin(), pixels.begin() + kWidth * kHeight * 3);
        if (ok) std::printf("  pass %d: PSNR %.1f dB\n", pass, psnr(sample, picture));
    }
    (void)jpegDecodeEpilog(h);
    return ok;
}

bool showOtherEntries(const std::vector<uint8_t>& sample, const std::vector<uint8_t>& reference) {
    std::printf("\nOther entries:\n");
    std::vector<uint8_t> fromBitmap, fromPlanes, decoded;
    if (!encodeMemory(sample, 75, 0x22, Entry::Bitmap, fromBitmap)) return false;
    std::printf("  jpegEncodeFromWinDIBits, 24-bit bitmap: %zu bytes, %s the rectangle's stream\n", fromBitmap.size(),
                fromBitmap == reference ? "the same bytes as" : "differs from");
    if (!encodeMemory(sample, 75, 0x22, Entry::Planar, fromPlanes)) return false;
    uint32_t w = 0, h = 0;
    if (!decodeMemory(fromPlanes, 3, decoded, w, h)) return false;
    std::printf("  jpegEncodeFromYUV411, planar 4:2:0 frame: %zu bytes, PSNR %.1f dB\n", fromPlanes.size(),
                psnr(sample, decoded));

    // An 8-bit bitmap: the decoder dithers into its 202-colour palette.
    JpegDecodeParams params{};
    JpegHandle handle = openMemory(reference, params);
    if (!handle) return false;
    std::vector<uint8_t> info(40 + 256 * 4, 0);
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(info.data());
    header->biBitCount = 8;
    (void)jpegDecodeScaleOutputToWinDIBits(handle, 0, nullptr, header, 3);
    std::vector<uint8_t> bits(size_t{kWidth} * kHeight);
    bool ok = jpegDecodeScaleOutputToWinDIBits(handle, kHeight, bits.data(), header, 3) == static_cast<int32_t>(kHeight);
    (void)jpegDecodeEpilog(handle);
    if (!ok) return false;
    std::vector<uint8_t> expanded(size_t{kWidth} * kHeight * 3);
    for (uint32_t y = 0; y < kHeight; ++y)
        for (uint32_t x = 0; x < kWidth; ++x)
            std::memcpy(&expanded[(size_t{y} * kWidth + x) * 3], &info[40 + 4 * bits[size_t{kHeight - 1 - y} * kWidth + x]], 3);
    // Dither noise is meant to average out over neighbouring pixels.
    std::vector<uint8_t> original = boxReduce(sample, 4), seen = boxReduceOf(expanded, 4);
    std::printf("  jpegDecodeScaleOutputToWinDIBits, 8-bit dithered bitmap: PSNR %.1f dB per pixel,\n"
                "    %.1f dB over 4 x 4 averages\n", psnr(sample, expanded), psnr(original, seen));
    return true;
}

int demoBuiltIn() {
    std::vector<uint8_t> sample = makeSample(), reference;
    std::printf("A built-in %u x %u colour picture (%zu bytes of pixels).\n", kWidth, kHeight, sample.size());
    bool ok = showQualities(sample, reference) && showHeaders(reference) && showScaled(sample, reference) &&
              showPasses(sample) && showOtherEntries(sample, reference);
    return ok ? 0 : 1;
}

int demoFile(const std::string& path) {
    std::printf("Decoding %s\n", path.c_str());
    if (runInfo(Args{path}) != 0) return 1;
    jpegSetReportHandler(printReport, nullptr);  // info installed its own
    JpegInput input;
    std::string error;
    if (!openJpegInput(path, input, error)) return 1;
    JpegDecodeParams params{};
    params.options = JPEG_OPT_STANDARD;
    JpegHandle h = startJpegDecode(input, params);
    if (!h) return 1;
    uint32_t w = 0, height = 0;
    (void)jpegDecodeGetImageSize(h, &w, &height, 0);
    uint32_t bytesPerPixel = params.componentCount < 3 ? 1 : 3;
    std::vector<uint8_t> pixels(size_t{w} * (height + 32) * bytesPerPixel, 0);
    ImageRect rect = rectOver(pixels, w, height, bytesPerPixel);
    int32_t rows = jpegDecodeScaleOutputToRect(h, &rect, height, 0);
    (void)jpegDecodeEpilog(h);
    std::printf("1/8-size preview: %d of %u rows decoded\n", rows, height);
    if (rows > 0 && w <= 100) printPreview(pixels, w, static_cast<uint32_t>(rows), bytesPerPixel);
    return rows == static_cast<int32_t>(height) ? 0 : 1;
}

}  // namespace

int runDemo(const Args& args) {
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        std::fputs(kDemoUsage, stdout);
        return 0;
    }
    if (args.size() > 1 || (!args.empty() && args[0].size() > 1 && args[0][0] == '-')) {
        std::fprintf(stderr, "keljpeg demo: unexpected arguments\n\n%s", kDemoUsage);
        return 2;
    }
    std::printf("KelJPEG demo\n");
    jpegSetReportHandler(printReport, nullptr);
    int result = args.empty() ? demoBuiltIn() : demoFile(args[0]);
    jpegSetReportHandler(nullptr, nullptr);
    if (result != 0) std::fprintf(stderr, "keljpeg demo: failed\n");
    return result;
}
