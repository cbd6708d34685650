// keljpeg demo: the library at work on a built-in sample. A synthetic picture
// is encoded into memory, decoded back at full size and at 1/8 size, and the
// round trip is measured; `keljpeg demo FILE.jpg` decodes a file instead.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "commands.h"
#include "image_write.h"

namespace {

void KELJPEG_CALL printReport(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16* line, uint32_t) {
    std::printf("  report: ");
    for (int i = 0; line[i]; ++i) std::putchar(line[i] < 0x80 ? static_cast<char>(line[i]) : '?');
    std::printf("\n");
}

constexpr int32_t kWidth = 96, kHeight = 64;

// Blue-green-red gradients with a bright disc in the middle.
std::vector<uint8_t> makeSample() {
    std::vector<uint8_t> bgr(size_t{kWidth} * kHeight * 3);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) {
            uint8_t* p = &bgr[(size_t(y) * kWidth + x) * 3];
            int dx = x - kWidth / 2, dy = y - kHeight / 2;
            bool disc = dx * dx + dy * dy < 18 * 18;
            p[0] = static_cast<uint8_t>(disc ? 240 : 255 * y / kHeight);
            p[1] = static_cast<uint8_t>(disc ? 230 : 128);
            p[2] = static_cast<uint8_t>(disc ? 60 : 255 * x / kWidth);
        }
    return bgr;
}

ImageRect rectOver(std::vector<uint8_t>& pixels, int32_t width, int32_t height, int32_t bytesPerPixel) {
    ImageRect rect{};
    rect.width = width;
    rect.height = height;
    rect.stride = width * bytesPerPixel;
    rect.bitsPerPixel = bytesPerPixel * 8;
    rect.bits = pixels.data();
    rect.size = static_cast<uint32_t>(pixels.size());
    return rect;
}

bool encodeSample(const std::vector<uint8_t>& bgr, std::vector<uint8_t>& jpeg) {
    JpegEncodeParams params{};
    params.samplingFactors = 0x111111;
    params.width = kWidth;
    params.height = kHeight;
    params.componentCount = 3;
    params.quality = 90;
    params.options = JPEG_OPT_MEMORY;
    JpegHandle h = jpegEncodeProlog(nullptr, &params);
    if (!h) return false;
    std::vector<uint8_t> input = bgr;
    ImageRect rect = rectOver(input, kWidth, kHeight, 3);
    bool ok = jpegEncodeFromRect(h, &rect, kHeight) == static_cast<uint32_t>(kHeight);
    ok = jpegEncodeEpilog(h) == 0 && ok && params.outputBuffer;
    if (params.outputBuffer) {
        jpeg.assign(params.outputBuffer, params.outputBuffer + params.outputSize);
        jpegFreeMemory(params.outputBuffer);
    }
    return ok;
}

// Decodes a memory stream at a scale (3 = full size) into packed pixels.
bool decodeMemory(const std::vector<uint8_t>& jpeg, int32_t scale, std::vector<uint8_t>& pixels, uint32_t& width,
                  uint32_t& height) {
    JpegDecodeParams params{};
    params.options = JPEG_OPT_MEMORY;
    params.data = jpeg.data();
    params.dataLength = static_cast<uint32_t>(jpeg.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    if (!h) return false;
    jpegDecodeGetImageSize(h, &width, &height, scale);
    int32_t bytesPerPixel = params.componentCount < 3 ? 1 : 3;
    pixels.assign(size_t{width} * (height + 16) * bytesPerPixel, 0);
    ImageRect rect = rectOver(pixels, static_cast<int32_t>(width), static_cast<int32_t>(height), bytesPerPixel);
    int32_t rows = scale >= 3 ? jpegDecodeToRect(h, &rect, height) : jpegDecodeScaleOutputToRect(h, &rect, height, scale);
    jpegDecodeEpilog(h);
    pixels.resize(size_t{width} * height * bytesPerPixel);
    return rows == static_cast<int32_t>(height);
}

void printPreview(const std::vector<uint8_t>& bgr, uint32_t width, uint32_t height) {
    const char* shades = " .:-=+*#%@";
    for (uint32_t y = 0; y < height; ++y) {
        std::printf("    ");
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t* p = &bgr[(size_t(y) * width + x) * 3];
            int luma = (114 * p[0] + 587 * p[1] + 299 * p[2]) / 1000;
            std::putchar(shades[luma * 9 / 255]);
            std::putchar(shades[luma * 9 / 255]);
        }
        std::printf("\n");
    }
}

int demoBuiltIn() {
    std::vector<uint8_t> sample = makeSample(), jpeg, decoded, preview;
    std::printf("Encoding a %d x %d colour sample (4:4:4, quality 90) into memory...\n", kWidth, kHeight);
    if (!encodeSample(sample, jpeg)) return 1;
    std::printf("  %zu bytes of JPEG (from %zu bytes of pixels)\n", jpeg.size(), sample.size());
    uint32_t w = 0, h = 0;
    if (!decodeMemory(jpeg, 3, decoded, w, h)) return 1;
    double squared = 0;
    int worst = 0;
    for (size_t i = 0; i < sample.size(); ++i) {
        int d = std::abs(int(sample[i]) - int(decoded[i]));
        worst = std::max(worst, d);
        squared += double(d) * d;
    }
    double psnr = 10 * std::log10(255.0 * 255.0 / (squared / double(sample.size())));
    std::printf("Decoded back to %u x %u: largest difference %d levels, PSNR %.1f dB\n", w, h, worst, psnr);
    if (!decodeMemory(jpeg, 0, preview, w, h)) return 1;
    std::printf("At 1/8 size (%u x %u), straight from the DC coefficients:\n", w, h);
    printPreview(preview, w, h);
    return 0;
}

int demoFile(const std::string& path) {
    std::printf("Decoding %s\n", path.c_str());
    Args infoArgs{path};
    if (runInfo(infoArgs) != 0) return 1;
    JpegDecodeParams params{};
    auto name = libraryPath(path);
    JpegHandle h = jpegDecodeProlog(name.c_str(), &params);
    if (!h) return 1;
    uint32_t w = 0, height = 0;
    bool sequential = !(params.options & JPEG_OPT_PROGRESSIVE);
    jpegDecodeGetImageSize(h, &w, &height, sequential ? 0 : 3);
    std::vector<uint8_t> pixels(size_t{w} * (height + 16) * 3, 0);
    ImageRect rect = rectOver(pixels, static_cast<int32_t>(w), static_cast<int32_t>(height), params.componentCount < 3 ? 1 : 3);
    int32_t rows = sequential ? jpegDecodeScaleOutputToRect(h, &rect, height, 0) : jpegDecodeToRect(h, &rect, height);
    jpegDecodeEpilog(h);
    std::printf("%s: %d of %u rows decoded\n", sequential ? "1/8-size preview" : "full-size decode", rows, height);
    if (rows > 0 && params.componentCount >= 3 && w <= 80) printPreview(pixels, w, static_cast<uint32_t>(rows));
    return rows == static_cast<int32_t>(height) ? 0 : 1;
}

}  // namespace

int runDemo(const Args& args) {
    std::printf("KelJPEG demo\n");
    jpegSetReportHandler(printReport, nullptr);
    int result = args.empty() ? demoBuiltIn() : demoFile(args[0]);
    jpegSetReportHandler(nullptr, nullptr);
    if (result != 0) std::fprintf(stderr, "keljpeg demo: failed\n");
    return result;
}
