#include "cli_io.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "KelJPEG.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Binary data must pass standard streams unchanged (no CR/LF translation).
void makeBinary(FILE* stream) {
#ifdef _WIN32
    (void)_setmode(_fileno(stream), _O_BINARY);
#else
    (void)stream;
#endif
}

bool seekTo(FILE* f, uint64_t offset) {
#ifdef _WIN32
    return _fseeki64(f, static_cast<__int64>(offset), SEEK_SET) == 0;
#else
    return fseeko(f, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
}

bool readStream(FILE* f, std::vector<uint8_t>& bytes) {
    bytes.clear();
    uint8_t chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + got);
    return !std::ferror(f);
}

const char* gCommand = "keljpeg";
// The first report since the calling thread's file was named.
thread_local std::string tFirstReport;
thread_local bool tReported = false;
thread_local bool tDamaged = false;  // the decode noted damage (noteDamage)
bool gProgressLineShown = false;  // guarded by standardErrorLock()

void appendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::string utf8Of(const KelChar16* text) {
    std::string out;
    for (size_t i = 0; text && text[i]; ++i) {
        uint32_t c = static_cast<uint16_t>(text[i]);
        uint32_t next = static_cast<uint16_t>(text[i + 1]);
        if (c >= 0xD800 && c <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
            ++i;
        }
        appendUtf8(out, c);
    }
    return out;
}

// Keeps the first report of the file: a decode that fails on "too many scans"
// goes on to report "Prolog failed.", which says nothing new.
void KELJPEG_CALL keepReport(void*, const KelChar16*, int32_t, const KelChar16* text, const KelChar16*, uint32_t) {
    if (tReported) return;
    tReported = true;
    tFirstReport = utf8Of(text);
    // Texts such as "Prolog failed." end in a full stop; the line does not.
    while (!tFirstReport.empty() && (tFirstReport.back() == '.' || tFirstReport.back() == ' '))
        tFirstReport.pop_back();
}

}  // namespace

bool isStandardStream(const std::string& name) { return name == "-"; }

const char kLimitsHelp[] =
    "  --max-memory MIB  memory for one decode's frame buffers (default 1024 MiB)\n"
    "  --max-pixels MP   largest frame in megapixels (default 400, e.g. 20000 x 20000)\n"
    "  --max-scans N     most scans in a frame (default 256; ordinary files have about 10)\n"
    "                    0 lifts a limit; a file beyond one fails at once with a message\n";

int takeLimitOption(const std::vector<std::string>& args, size_t& i, DecodeLimits& limits) {
    const std::string& a = args[i];
    if (a != "--max-memory" && a != "--max-pixels" && a != "--max-scans") return 0;
    if (i + 1 >= args.size()) return -1;
    const std::string& v = args[++i];
    if (v.empty() || v.size() > 9 || v.find_first_not_of("0123456789") != std::string::npos) return -1;
    const uint64_t n = std::strtoull(v.c_str(), nullptr, 10);
    if (a == "--max-memory") limits.memoryMiB = n;
    else if (a == "--max-pixels") limits.megapixels = n;
    else limits.scans = static_cast<uint32_t>(n);
    return 1;
}

void applyLimits(const DecodeLimits& limits) {
    JpegLimits l{};  // 0: the library's default, which refuses no valid file
    l.maxMemoryBytes = limits.memoryMiB << 20;
    l.maxPixels = limits.megapixels * 1000000;
    l.maxScans = limits.scans;
    (void)jpegSetLimits(&l);
}

bool readAllBytes(const std::string& name, std::vector<uint8_t>& bytes, std::string& error) {
    if (isStandardStream(name)) {
        makeBinary(stdin);
        if (readStream(stdin, bytes)) return true;
        error = "cannot read standard input";
        return false;
    }
    File f(std::fopen(name.c_str(), "rb"));
    if (f && readStream(f.get(), bytes)) return true;
    error = std::strerror(errno);
    return false;
}

bool writeAllBytes(const std::string& name, const std::vector<uint8_t>& bytes, std::string& error) {
    if (isStandardStream(name)) {
        makeBinary(stdout);
        if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0)
            return true;
        error = "cannot write standard output";
        return false;
    }
    File f(std::fopen(name.c_str(), "wb"));
    bool ok = f && std::fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size();
    ok = f && std::fclose(f.release()) == 0 && ok;
    if (!ok) error = "cannot write '" + name + "': " + std::strerror(errno);
    return ok;
}

OutputFile::~OutputFile() {
    if (!file_) return;
    if (file_ != stdout) {
        std::fclose(file_);
        // Only a regular file is removed: /dev/full and the like stay.
        std::error_code ec;
        if (std::filesystem::is_regular_file(name_, ec)) std::filesystem::remove(name_, ec);
    }
}

bool OutputFile::open(const std::string& name, std::string& error) {
    name_ = name;
    if (isStandardStream(name)) {
        makeBinary(stdout);
        file_ = stdout;
        return true;
    }
    file_ = std::fopen(name.c_str(), "wb");
    if (!file_) {
        error = "cannot write '" + name + "': " + std::strerror(errno);
        return false;
    }
    seekable_ = seekTo(file_, 0);
    return true;
}

bool OutputFile::write(const void* bytes, size_t count) {
    ok_ = ok_ && std::fwrite(bytes, 1, count, file_) == count;
    return ok_;
}

bool OutputFile::writeAt(uint64_t offset, const void* bytes, size_t count) {
    ok_ = ok_ && seekTo(file_, offset);
    return write(bytes, count);
}

bool OutputFile::finish(std::string& error) {
    const int saved = errno;
    bool ok = ok_ && std::fflush(file_) == 0;
    if (file_ != stdout) ok = std::fclose(file_) == 0 && ok;
    file_ = nullptr;
    if (!ok) {
        error = isStandardStream(name_) ? "cannot write standard output" : "cannot write '" + name_ + "'";
        error += std::string(": ") + std::strerror(errno ? errno : saved);
        std::error_code ec;
        if (!isStandardStream(name_) && std::filesystem::is_regular_file(name_, ec)) std::filesystem::remove(name_, ec);
    }
    return ok;
}

void installReportPrinter(const char* command) {
    gCommand = command;
    jpegSetReportHandler(keepReport, nullptr);
}

void beginFile() {
    tReported = false;
    tDamaged = false;
    tFirstReport.clear();
}

void noteDamage(JpegHandle handle) {
    if (handle && jpegDecodeQueryDamage(handle) > 0) tDamaged = true;
}

void printFileNote(const std::string& file, const std::string& text) {
    std::string line = std::string("keljpeg ") + gCommand + ": " + (isStandardStream(file) ? "standard input" : file) +
                       ": " + text + "\n";
    std::lock_guard<std::mutex> guard(standardErrorLock());
    if (gProgressLineShown) std::fputs("\r\033[K", stderr);
    std::fputs(line.c_str(), stderr);
}

int finishFile(const std::string& file, const std::string& error) {
    const bool failed = !error.empty();
    const int status = failed ? 1 : tDamaged ? kExitDamaged : 0;
    std::string text = tReported && !tFirstReport.empty() ? tFirstReport : error;
    tReported = false;
    tDamaged = false;
    if (text.empty()) return status;
    std::string line = std::string("keljpeg ") + gCommand + ": " + (isStandardStream(file) ? "standard input" : file) +
                       ": " + text + "\n";
    std::lock_guard<std::mutex> guard(standardErrorLock());
    if (gProgressLineShown) std::fputs("\r\033[K", stderr);
    std::fputs(line.c_str(), stderr);
    return status;
}

std::mutex& standardErrorLock() {
    static std::mutex lock;
    return lock;
}

void setProgressLineShown(bool shown) { gProgressLineShown = shown; }

std::string fileStem(const std::string& path) {
    size_t slash = path.find_last_of("/\\");
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    size_t dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string joinPath(const std::string& dir, const std::string& name) {
    if (dir.empty()) return name;
    char last = dir.back();
    return last == '/' || last == '\\' ? dir + name : dir + "/" + name;
}
