// Times KelJPEG and libjpeg-turbo (through TurboJPEG) on the same pictures in
// one run and prints megapixels per second for each and the ratio ours/theirs.
// Times are processor time of the calling thread.
//
//   keljpeg_bench CORPUS_DIR [--repeat N] [--only SUBSTRING | --only =NAME]
//
// The peer runs with the accurate integer DCT and without smooth upsampling,
// the settings closest to what this library computes. Every case is timed N
// times, the two libraries taking turns, and the median of each is reported.
// Each decode case runs twice, the second time (name ending " std") with our
// decoder in standard mode (JPEG_OPT_STANDARD), against the peer afresh, so
// that both modes are timed on the same files in the same way.
// The peak memory of one full-size decode, in each mode, is measured in a
// child process (its resident high-water mark, less that of a child that only
// loads the file and touches the output picture).
#include <algorithm>
#include <ctime>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <turbojpeg.h>

#include "KelJPEG.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return {};
    Bytes data(static_cast<size_t>(in.tellg()));
    in.seekg(0);
    in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return data;
}

// A binary PPM (P6) or PGM (P5) picture.
struct Picture {
    int width = 0, height = 0, components = 0;
    Bytes pixels;
};

Picture readPnm(const std::string& path) {
    Picture picture;
    Bytes data = readFile(path);
    if (data.size() < 2 || data[0] != 'P' || (data[1] != '5' && data[1] != '6')) return picture;
    size_t at = 2;
    int fields[3] = {0, 0, 0};
    for (int& field : fields) {
        while (at < data.size() && (data[at] == ' ' || data[at] == '\n' || data[at] == '\r' || data[at] == '\t')) ++at;
        while (at < data.size() && data[at] >= '0' && data[at] <= '9') field = field * 10 + (data[at++] - '0');
    }
    ++at;  // the single white space after the maximum value
    picture.width = fields[0];
    picture.height = fields[1];
    picture.components = data[1] == '6' ? 3 : 1;
    size_t size = static_cast<size_t>(picture.width) * picture.height * picture.components;
    if (at + size > data.size()) return Picture{};
    picture.pixels.assign(data.begin() + static_cast<ptrdiff_t>(at), data.begin() + static_cast<ptrdiff_t>(at + size));
    return picture;
}

// Processor time of this thread: on a machine shared with other work it
// varies far less than the time on the clock (both libraries run in the
// calling thread).
double threadSeconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double seconds(const std::function<bool()>& run) {
    double start = threadSeconds();
    if (!run()) {
        std::fprintf(stderr, "a timed run failed\n");
        std::exit(1);
    }
    return threadSeconds() - start;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// ---- KelJPEG ----

struct OurDecode {
    const Bytes& jpeg;
    int scale;  // 0..2: 1/8, 1/4, 1/2; 3: full size
    bool standard;
    Bytes output;

    // One call asks for the whole picture in either mode: the legacy count is
    // the end row, the standard one the rows of this call, both from the top.
    // rect.height is what standard mode bounds its rows by (the legacy mode
    // ignores it), and bitsPerPixel is the pixel written, which standard mode
    // checks.
    bool operator()() {
        JpegDecodeParams params;
        std::memset(&params, 0, sizeof params);
        params.options = static_cast<uint16_t>(JPEG_OPT_MEMORY | (standard ? JPEG_OPT_STANDARD : 0u));
        params.data = jpeg.data();
        params.dataLength = static_cast<uint32_t>(jpeg.size());
        JpegHandle handle = jpegDecodeProlog(nullptr, &params);
        if (!handle) return false;
        uint32_t width = 0, height = 0;
        bool ok = jpegDecodeGetImageSize(handle, &width, &height, scale) == 0;
        int bytes = params.componentCount >= 3 ? 3 : 1;
        ImageRect rect;
        std::memset(&rect, 0, sizeof rect);
        rect.width = static_cast<int32_t>(width);
        rect.height = static_cast<int32_t>(height);
        rect.stride = static_cast<int32_t>(width) * bytes;
        rect.bitsPerPixel = 8 * bytes;
        output.resize(static_cast<size_t>(rect.stride) * height + 16 * static_cast<size_t>(rect.stride));
        rect.bits = output.data();
        int32_t rows = scale >= 3 ? jpegDecodeToRect(handle, &rect, height)
                                  : jpegDecodeScaleOutputToRect(handle, &rect, height, scale);
        ok = ok && rows == static_cast<int32_t>(height);
        return jpegDecodeEpilog(handle) == 0 && ok;
    }
};

struct OurEncode {
    const Picture& picture;  // BGR or grey
    uint32_t sampling;
    Bytes output;

    bool operator()() {
        JpegEncodeParams params;
        std::memset(&params, 0, sizeof params);
        params.samplingFactors = sampling;
        params.width = static_cast<uint16_t>(picture.width);
        params.height = static_cast<uint16_t>(picture.height);
        params.componentCount = static_cast<uint16_t>(picture.components);
        params.quality = 75;
        params.options = JPEG_OPT_MEMORY;
        JpegHandle handle = jpegEncodeProlog(nullptr, &params);
        if (!handle) return false;
        ImageRect rect;
        std::memset(&rect, 0, sizeof rect);
        rect.width = picture.width;
        rect.height = picture.height;
        rect.stride = picture.width * picture.components;
        rect.bitsPerPixel = 8 * picture.components;
        rect.bits = const_cast<uint8_t*>(picture.pixels.data());
        bool ok = jpegEncodeFromRect(handle, &rect, static_cast<uint32_t>(picture.height)) ==
                  static_cast<uint32_t>(picture.height);
        ok = jpegEncodeEpilog(handle) == 0 && ok;
        if (params.outputBuffer) {
            output.assign(params.outputBuffer, params.outputBuffer + params.outputSize);
            jpegFreeMemory(params.outputBuffer);
        }
        return ok && !output.empty();
    }
};

// ---- libjpeg-turbo ----

constexpr int kPeerFlags = TJFLAG_ACCURATEDCT | TJFLAG_FASTUPSAMPLE;

struct PeerDecode {
    tjhandle handle;
    const Bytes& jpeg;
    int scale;
    Bytes output;

    bool operator()() {
        int width = 0, height = 0, subsampling = 0, colourspace = 0;
        if (tjDecompressHeader3(handle, jpeg.data(), static_cast<unsigned long>(jpeg.size()), &width, &height,
                                &subsampling, &colourspace) != 0)
            return false;
        int divisor = 1 << (3 - std::min(scale, 3));
        int outWidth = (width + divisor - 1) / divisor, outHeight = (height + divisor - 1) / divisor;
        int format = colourspace == TJCS_GRAY ? TJPF_GRAY : TJPF_BGR;
        output.resize(static_cast<size_t>(outWidth) * outHeight * tjPixelSize[format]);
        return tjDecompress2(handle, jpeg.data(), static_cast<unsigned long>(jpeg.size()), output.data(), outWidth, 0,
                             outHeight, format, kPeerFlags) == 0;
    }
};

struct PeerEncode {
    tjhandle handle;
    const Picture& picture;
    int subsampling;
    Bytes output;

    bool operator()() {
        unsigned char* buffer = nullptr;
        unsigned long size = 0;
        int format = picture.components == 3 ? TJPF_BGR : TJPF_GRAY;
        int result = tjCompress2(handle, picture.pixels.data(), picture.width, 0, picture.height, format, &buffer,
                                 &size, subsampling, 75, kPeerFlags);
        if (buffer) output.assign(buffer, buffer + size);
        tjFree(buffer);
        return result == 0;
    }
};

struct Case {
    std::string name;
    double megapixels;
    std::function<bool()> ours, theirs;
};

void runCase(const Case& c, int repeat) {
    std::vector<double> ours, theirs;
    // One untimed run each warms caches and allocators.
    seconds(c.ours);
    seconds(c.theirs);
    for (int i = 0; i < repeat; ++i) {
        ours.push_back(seconds(c.ours));
        theirs.push_back(seconds(c.theirs));
    }
    double a = c.megapixels / median(ours), b = c.megapixels / median(theirs);
    std::printf("%-32s %9.1f %9.1f %7.2f\n", c.name.c_str(), a, b, a / b);
    std::fflush(stdout);
}

// ---- Peak memory of one decode, in a child process ----

// The child reports its own high-water mark of resident memory (VmHWM, which
// starts afresh at exec), so that none of this process's pages count.
long childPeakKilobytes(const char* self, const std::string& file, const char* who) {
    std::string command = std::string("'") + self + "' --peak-child '" + file + "' " + who;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    long kilobytes = -1;
    if (std::fscanf(pipe, "%ld", &kilobytes) != 1) kilobytes = -1;
    return pclose(pipe) == 0 ? kilobytes : -1;
}

long ownPeakKilobytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmHWM:") == 0) return std::atol(line.c_str() + 6);
    return -1;
}

int peakChild(const std::string& file, const std::string& who) {
    Bytes jpeg = readFile(file);
    bool ok = true;
    if (who == "ours") {
        ok = OurDecode{jpeg, 3, false, {}}();
    } else if (who == "ours-std") {
        ok = OurDecode{jpeg, 3, true, {}}();
    } else if (who == "theirs") {
        tjhandle handle = tjInitDecompress();
        ok = PeerDecode{handle, jpeg, 3, {}}();
        tjDestroy(handle);
    } else {
        // Baseline: the file and an output picture of the same size, touched;
        // the size read from the frame header here, so that neither library runs.
        size_t width = 0, height = 0;
        for (size_t i = 2; i + 8 < jpeg.size(); ++i)
            if (jpeg[i] == 0xFF && jpeg[i + 1] >= 0xC0 && jpeg[i + 1] <= 0xC2) {
                height = size_t{jpeg[i + 5]} << 8 | jpeg[i + 6];
                width = size_t{jpeg[i + 7]} << 8 | jpeg[i + 8];
                break;
            }
        size_t stride = width * 3;
        Bytes output(stride * height + 16 * stride, 1);
        ok = output[output.size() / 2] == 1;
    }
    std::printf("%ld\n", ownPeakKilobytes());
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--peak-child") == 0) return peakChild(argv[2], argv[3]);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR [--repeat N] [--only SUBSTRING]\n", argv[0]);
        return 2;
    }
    std::string dir = argv[1];
    int repeat = 7;
    std::string only;
    for (int i = 2; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--repeat") == 0) repeat = std::max(1, std::atoi(argv[i + 1]));
        if (std::strcmp(argv[i], "--only") == 0) only = argv[i + 1];
    }

    tjhandle peerDecoder = tjInitDecompress(), peerEncoder = tjInitCompress();
    std::vector<std::string> names = {"420_q75", "420_q90", "422_q75", "422_q90", "444_q75",
                                      "444_q90", "grey_q75", "grey_q90"};
    std::vector<Bytes> files;
    for (const std::string& name : names) files.push_back(readFile(dir + "/" + name + ".jpg"));
    Bytes progressive = readFile(dir + "/420_q75_progressive.jpg");
    Picture colour = readPnm(dir + "/photo.ppm"), grey = readPnm(dir + "/photo.pgm");
    if (colour.width == 0 || grey.width == 0 || progressive.empty()) {
        std::fprintf(stderr, "corpus incomplete in %s (run bench/make_corpus.sh)\n", dir.c_str());
        return 1;
    }
    // PPM holds red, green, blue; both encoders take blue, green, red here.
    for (size_t i = 0; i + 2 < colour.pixels.size(); i += 3) std::swap(colour.pixels[i], colour.pixels[i + 2]);
    double megapixels = colour.width * static_cast<double>(colour.height) / 1e6;

    std::vector<Case> cases;
    auto addDecode = [&](const std::string& name, const Bytes& jpeg, int scale) {
        double divisor = (1 << (3 - scale)) * (1 << (3 - scale));
        for (bool standard : {false, true}) {
            auto ours = std::make_shared<OurDecode>(OurDecode{jpeg, scale, standard, {}});
            auto theirs = std::make_shared<PeerDecode>(PeerDecode{peerDecoder, jpeg, scale, {}});
            // Scaled cases count output pixels, as the work done is per block.
            cases.push_back({standard ? name + " std" : name, megapixels / divisor, [ours] { return (*ours)(); },
                             [theirs] { return (*theirs)(); }});
        }
    };
    for (size_t i = 0; i < names.size(); ++i) addDecode("decode " + names[i], files[i], 3);
    addDecode("decode 420_q75 1/2", files[0], 2);
    addDecode("decode 420_q75 1/4", files[0], 1);
    addDecode("decode 420_q75 1/8", files[0], 0);
    addDecode("decode 444_q75 1/8", files[4], 0);
    addDecode("decode grey_q75 1/8", files[6], 0);
    addDecode("decode 420_q75 progressive", progressive, 3);
    auto addEncode = [&](const std::string& name, const Picture& picture, uint32_t sampling, int subsampling) {
        auto ours = std::make_shared<OurEncode>(OurEncode{picture, sampling, {}});
        auto theirs = std::make_shared<PeerEncode>(PeerEncode{peerEncoder, picture, subsampling, {}});
        cases.push_back({name, megapixels, [ours] { return (*ours)(); }, [theirs] { return (*theirs)(); }});
    };
    addEncode("encode 420_q75", colour, 0x221111, TJSAMP_420);
    addEncode("encode 444_q75", colour, 0x111111, TJSAMP_444);
    addEncode("encode grey_q75", grey, 0x11, TJSAMP_GRAY);

    std::printf("picture %dx%d, median of %d runs each; MP/s counts output pixels\n", colour.width, colour.height,
                repeat);
    std::printf("%-32s %9s %9s %7s\n", "case", "KelJPEG", "turbo", "ratio");
    for (const Case& c : cases)
        if (only.empty() || (only[0] == '=' ? c.name == only.substr(1) : c.name.find(only) != std::string::npos))
            runCase(c, repeat);

    if (only.empty() || only == "memory") {
        std::string file = dir + "/420_q75.jpg";
        long base = childPeakKilobytes(argv[0], file, "baseline");
        long ours = childPeakKilobytes(argv[0], file, "ours");
        long oursStandard = childPeakKilobytes(argv[0], file, "ours-std");
        long theirs = childPeakKilobytes(argv[0], file, "theirs");
        std::printf("peak memory, full decode of 420_q75 (max RSS above file + output picture): "
                    "KelJPEG %ld KiB, KelJPEG std %ld KiB, turbo %ld KiB (baseline %ld KiB)\n",
                    ours - base, oursStandard - base, theirs - base, base);
    }
    tjDestroy(peerDecoder);
    tjDestroy(peerEncoder);
    return 0;
}
