// Prints the manifest: one line of hashes for every decode of every corpus
// file (and of damaged copies made here) in each mode, scale, strip height
// and output kind, and for every encode of a set of pictures and options.
// The exact output is the library's contract, so any change to a line is a
// change a host would see; scripts/check-manifest.sh compares the lines with
// the committed tests/manifest/manifest.txt. The report texts of the
// library's catalogue close it, one line each.
//
//   keljpeg_manifest CORPUS_DIR
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "runtime/report_texts.h"

namespace {

// FNV-1a, 64 bits.
struct Hash {
    uint64_t value = 1469598103934665603ull;
    void add(const void* data, size_t size) {
        const auto* p = static_cast<const uint8_t*>(data);
        for (size_t i = 0; i < size; ++i) value = (value ^ p[i]) * 1099511628211ull;
    }
    void add(int64_t v) { add(&v, sizeof v); }
};

// The reports of the current call, as the handler receives them.
Hash reports;

void KELJPEG_CALL recordReport(void*, const KelChar16* source, int32_t severity, const KelChar16* text,
                               const KelChar16* line, uint32_t) {
    for (const KelChar16* s : {source, text, line}) {
        for (; s && *s; ++s) reports.add(static_cast<int64_t>(*s));
        reports.add(int64_t{-1});
    }
    reports.add(severity);
}

std::string hex(uint64_t v) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
    return text;
}

// What one set of calls produced: the bytes written, every return value and
// every report (those from its creation on).
struct Outcome {
    Hash pixels, returns;
    Outcome() { reports = Hash{}; }
};

// Twelve hex digits for the bytes, the return values and the reports
// together.
std::string digest(const Outcome& outcome) {
    Hash all;
    all.add(static_cast<int64_t>(outcome.pixels.value));
    all.add(static_cast<int64_t>(outcome.returns.value));
    all.add(static_cast<int64_t>(reports.value));
    return hex(all.value).substr(4);
}

void printLine(const std::string& what, const Outcome& outcome) {
    std::printf("%s %s\n", what.c_str(), digest(outcome).c_str());
}

const char* const kScaleNames[] = {"1/8", "1/4", "1/2", "1/1"};

// A memory decode of `data`, its success counted among the return values.
JpegHandle openDecode(const std::vector<uint8_t>& data, uint16_t options, JpegDecodeParams& params, Outcome& outcome) {
    params.options = static_cast<uint16_t>(JPEG_OPT_MEMORY | options);
    params.data = data.data();
    params.dataLength = static_cast<uint32_t>(data.size());
    JpegHandle handle = jpegDecodeProlog(nullptr, &params);
    outcome.returns.add(handle ? 1 : 0);
    return handle;
}

// Decodes `data` in strips of `strip` rows (0: all at once) into a buffer
// with room for whole bands, as the header asks of a legacy caller.
void decodeInStrips(const std::vector<uint8_t>& data, uint16_t options, int32_t scale, uint32_t strip,
                    Outcome& outcome) {
    JpegDecodeParams params{};
    JpegHandle handle = openDecode(data, options, params, outcome);
    if (!handle) return;
    uint32_t width = 0, height = 0;
    outcome.returns.add(jpegDecodeGetImageSize(handle, &width, &height, scale));
    const bool standard = (options & JPEG_OPT_STANDARD) != 0;
    const int32_t bytes = (options & JPEG_OPT_RAW_COMPONENTS) ? params.componentCount : (params.componentCount >= 3 ? 3 : 1);
    const uint32_t rows = height != 0 ? height : 64;
    const int32_t stride = static_cast<int32_t>(width + 8) * bytes;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride) * (rows + 64) + 64, 0xA5);
    uint32_t done = 0;
    for (int call = 0; call < 400 && done < rows; ++call) {
        ImageRect rect{static_cast<int32_t>(width), standard ? static_cast<int32_t>(rows - done) : 1, stride, 8 * bytes, 0, 0,
                       pixels.data() + static_cast<size_t>(done) * static_cast<size_t>(stride), 0};
        const uint32_t step = strip != 0 ? strip : rows;
        // Standard mode counts rows per call; legacy mode asks for the rows
        // delivered so far plus this strip.
        const uint32_t ask = standard || call == 0 ? std::min(step, rows) : std::min(done + step, rows);
        const int32_t got = scale == 3 ? jpegDecodeToRect(handle, &rect, ask)
                                       : jpegDecodeScaleOutputToRect(handle, &rect, ask, scale);
        outcome.returns.add(got);
        if (got <= 0) break;
        done += static_cast<uint32_t>(got);
    }
    outcome.returns.add(jpegDecodeQueryDamage(handle));
    outcome.returns.add(jpegDecodeEpilog(handle));
    outcome.pixels.add(pixels.data(), pixels.size());
}

// Every pass of a progressive frame delivered one scan at a time.
void decodeByPasses(const std::vector<uint8_t>& data, uint16_t options, Outcome& outcome) {
    JpegDecodeParams params{};
    JpegHandle handle = openDecode(data, options, params, outcome);
    if (!handle) return;
    outcome.returns.add(jpegDecodeSetProgressiveMode(handle, 1));
    const int32_t bytes = params.componentCount >= 3 ? 3 : 1;
    const int32_t stride = (params.width + 8) * bytes;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride) * (params.height + 64u) + 64, 0xA5);
    for (int pass = 0; pass < 20; ++pass) {
        ImageRect rect{params.width, params.height, stride, 8 * bytes, 0, 0, pixels.data(), 0};
        const int32_t got = jpegDecodeToRect(handle, &rect, params.height);
        outcome.returns.add(got);
        outcome.pixels.add(pixels.data(), pixels.size());
        const int32_t complete = jpegDecodeQueryProgressiveComplete(handle);
        outcome.returns.add(complete);
        if (got <= 0 || complete != 0) break;
    }
    outcome.returns.add(jpegDecodeEpilog(handle));
}

// A bottom-up 24-bit bitmap of the picture at each scale.
void decodeToBitmap(const std::vector<uint8_t>& data, int32_t scale, Outcome& outcome) {
    JpegDecodeParams params{};
    JpegHandle handle = openDecode(data, 0, params, outcome);
    if (!handle) return;
    BITMAPINFOHEADER header{sizeof(BITMAPINFOHEADER), 0, 0, 0, 24, 0, 0, 0, 0, 0, 0};
    outcome.returns.add(jpegDecodeScaleOutputToWinDIBits(handle, 0, nullptr, &header, scale));
    const int32_t rows = header.biHeight < 0 ? -header.biHeight : header.biHeight;
    const size_t stride = (static_cast<size_t>(header.biWidth) * 3 + 3) & ~size_t{3};
    std::vector<uint8_t> bits(stride * static_cast<size_t>(rows + 16) + 64, 0xA5);
    outcome.returns.add(jpegDecodeScaleOutputToWinDIBits(handle, static_cast<uint32_t>(rows), bits.data(), &header, scale));
    outcome.returns.add(jpegDecodeEpilog(handle));
    outcome.pixels.add(&header, sizeof header);
    outcome.pixels.add(bits.data(), bits.size());
}

// The damaged copies every corpus file is decoded as, besides itself.
std::vector<std::pair<std::string, std::vector<uint8_t>>> withDamage(const std::vector<uint8_t>& clean) {
    std::vector<std::pair<std::string, std::vector<uint8_t>>> copies = {{"clean", clean}};
    copies.emplace_back("cut60", std::vector<uint8_t>(clean.begin(), clean.begin() + clean.size() * 6 / 10));
    copies.emplace_back("cut95", std::vector<uint8_t>(clean.begin(), clean.begin() + clean.size() * 95 / 100));
    std::vector<uint8_t> flipped = clean;
    flipped[flipped.size() * 7 / 10] ^= 0x5A;
    copies.emplace_back("flip70", flipped);
    return copies;
}

void decodeFile(const std::string& name, const std::vector<uint8_t>& clean) {
    const bool progressive = name.find("progressive") != std::string::npos;
    for (const auto& [variant, data] : withDamage(clean)) {
        for (const uint16_t mode : {uint16_t{0}, uint16_t{JPEG_OPT_STANDARD}}) {
            for (const uint16_t raw : {uint16_t{0}, uint16_t{JPEG_OPT_RAW_COMPONENTS}}) {
                // One line per output kind, a digest per scale.
                std::string line = name + " " + variant + (mode ? " standard" : " legacy") + (raw ? " raw" : " colour");
                for (int32_t scale = 0; scale <= 3; ++scale) {
                    Outcome outcome;
                    for (const uint32_t strip : {1u, 3u, 8u, 13u, 16u, 0u})
                        decodeInStrips(data, static_cast<uint16_t>(mode | raw), scale, strip, outcome);
                    line += std::string(" ") + kScaleNames[scale] + ":" + digest(outcome);
                }
                std::printf("%s\n", line.c_str());
            }
            if (progressive) {
                Outcome outcome;
                decodeByPasses(data, mode, outcome);
                printLine(name + " " + variant + (mode ? " standard" : " legacy") + " passes", outcome);
            }
        }
        Outcome outcome;
        for (int32_t scale = 0; scale <= 3; ++scale) decodeToBitmap(data, scale, outcome);
        printLine(name + " " + variant + " bitmap", outcome);
    }
}

// ---- Encoding ----

struct Picture {
    int32_t width, height, components;
    std::vector<uint8_t> samples;
};

// Gradients, a texture and noise from a fixed seed.
Picture makePicture(int32_t width, int32_t height, int32_t components, uint32_t seed) {
    Picture picture{width, height, components, std::vector<uint8_t>(static_cast<size_t>(width) * height * components)};
    std::mt19937 rng(seed);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (int32_t c = 0; c < components; ++c) {
                int32_t v = (x * (3 + c) + y * 2) % 256;
                if ((x / 13 + y / 11) % 3 == 0) v = static_cast<int32_t>(rng() % 256);
                picture.samples[(static_cast<size_t>(y) * width + x) * components + c] = static_cast<uint8_t>(v);
            }
    return picture;
}

JpegHandle openEncoder(JpegEncodeParams& params, const Picture& picture, uint32_t sampling, uint16_t quality,
                       uint16_t restart, uint16_t options) {
    params = JpegEncodeParams{sampling, static_cast<uint16_t>(picture.width), static_cast<uint16_t>(picture.height), restart,
                              static_cast<uint16_t>(picture.components), quality, static_cast<uint16_t>(JPEG_OPT_MEMORY | options),
                              0, nullptr, nullptr, 0};
    return jpegEncodeProlog(nullptr, &params);
}

void finishEncode(JpegHandle handle, JpegEncodeParams& params, Outcome& outcome) {
    outcome.returns.add(jpegEncodeEpilog(handle));
    outcome.returns.add(params.outputSize);
    if (params.outputBuffer) outcome.pixels.add(params.outputBuffer, params.outputSize);
    (void)jpegFreeMemory(params.outputBuffer);
}

// The rectangle in strips of `strip` rows (whole MCU rows but the last).
void encodeRect(const Picture& picture, uint32_t sampling, uint16_t quality, uint16_t restart, uint16_t options,
                int32_t strip) {
    Outcome outcome;
    JpegEncodeParams params;
    JpegHandle handle = openEncoder(params, picture, sampling, quality, restart, options);
    outcome.returns.add(handle ? 1 : 0);
    if (handle) {
        for (int32_t top = 0; top < picture.height; top += strip) {
            ImageRect rect{picture.width, std::min(strip, picture.height - top), picture.width * picture.components,
                           8 * picture.components, 0, 0,
                           const_cast<uint8_t*>(picture.samples.data()) + static_cast<size_t>(top) * picture.width * picture.components, 0};
            outcome.returns.add(jpegEncodeFromRect(handle, &rect, static_cast<uint32_t>(rect.height)));
        }
        finishEncode(handle, params, outcome);
    }
    char what[96];
    std::snprintf(what, sizeof what, "encode rect %dx%dx%d s%06x q%u r%u o%04x t%d", picture.width, picture.height,
                  picture.components, sampling, quality, restart, options, strip);
    printLine(what, outcome);
}

void encodeOthers(const Picture& colour) {
    // Planar 4:2:0 from the picture's first channel and two halved planes.
    for (const bool swapped : {false, true}) {
        Outcome outcome;
        const int32_t w = colour.width, h = colour.height;
        std::vector<uint8_t> planes(static_cast<size_t>(w) * h * 3 / 2 + 16);
        for (size_t i = 0; i < planes.size(); ++i) planes[i] = colour.samples[(i * 7) % colour.samples.size()];
        JpegEncodeParams params;
        JpegHandle handle = openEncoder(params, colour, 0x221111, 80, 0, 0);
        if (handle) {
            outcome.returns.add(swapped ? jpegEncodeFromYVU411(handle, planes.data(), w, h)
                                        : jpegEncodeFromYUV411(handle, planes.data(), w, h));
            finishEncode(handle, params, outcome);
        }
        printLine(swapped ? "encode yvu411" : "encode yuv411", outcome);
    }
    // A 24-bit bottom-up bitmap, and TWAIN rows with even padding.
    for (const bool twain : {false, true}) {
        Outcome outcome;
        const size_t stride = twain ? (colour.width * 3 + 1) & ~1 : (colour.width * 3 + 3) & ~3;
        std::vector<uint8_t> rows(stride * colour.height);
        for (int32_t y = 0; y < colour.height; ++y)
            std::memcpy(rows.data() + y * stride, colour.samples.data() + static_cast<size_t>(y) * colour.width * 3,
                        static_cast<size_t>(colour.width) * 3);
        JpegEncodeParams params;
        JpegHandle handle = openEncoder(params, colour, 0x211111, 70, 2, JPEG_OPT_JFIF);
        if (handle) {
            if (twain) {
                outcome.returns.add(jpegEncodeFromWinTWAIN(handle, rows.data(), colour.width, colour.height));
            } else {
                BITMAPINFOHEADER header{sizeof(BITMAPINFOHEADER), colour.width, colour.height, 1, 24, 0, 0, 0, 0, 0, 0};
                outcome.returns.add(jpegEncodeFromWinDIBits(handle, colour.height, rows.data(), &header));
            }
            finishEncode(handle, params, outcome);
        }
        printLine(twain ? "encode twain" : "encode bitmap", outcome);
    }
}

void encodeAll() {
    for (const auto& [width, height] : {std::pair{17, 9}, std::pair{130, 77}}) {
        for (const uint32_t sampling : {0x221111u, 0x211111u, 0x121111u, 0x111111u, 0x11u}) {
            const int32_t components = sampling == 0x11 ? 1 : 3;
            const Picture picture = makePicture(width, height, components, sampling + static_cast<uint32_t>(width));
            for (const uint16_t quality : {1, 10, 50, 75, 90, 100})
                for (const uint16_t restart : {0, 1, 7})
                    encodeRect(picture, sampling, quality, restart, 0, picture.height);
            for (const uint16_t options : {JPEG_OPT_JFIF, JPEG_OPT_FINE_TABLES, JPEG_OPT_RAW_COMPONENTS})
                encodeRect(picture, sampling, 80, 0, options, 16);
        }
    }
    encodeOthers(makePicture(130, 77, 3, 7));
}

// A catalogue entry as its name and text, quotes, backslashes and control
// characters escaped as in C.
void printText(const char* name, const KelChar16* text) {
    std::string out;
    for (; *text; ++text) {
        char escaped[8] = {static_cast<char>(*text), 0};
        if (*text == '\n') std::snprintf(escaped, sizeof escaped, "\\n");
        else if (*text == '"' || *text == '\\') std::snprintf(escaped, sizeof escaped, "\\%c", static_cast<char>(*text));
        else if (*text < 0x20 || *text > 0x7E) std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(*text));
        out += escaped;
    }
    std::printf("text %s \"%s\"\n", name, out.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    jpegSetReportHandler(recordReport, nullptr);
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1]))
        if (entry.path().extension() == ".jpg") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "%s: no .jpg files in %s\n", argv[0], argv[1]);
        return 2;
    }
    for (const auto& path : files) {
        std::ifstream in(path, std::ios::binary);
        const std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        decodeFile(path.filename().string(), data);
    }
    encodeAll();
#define KJ_PRINT_TEXT(name, text) printText(#name, report_text::name);
    KJ_REPORT_TEXTS(KJ_PRINT_TEXT)
#undef KJ_PRINT_TEXT
    return 0;
}
