#include "cli_io.h"

#include <cstdio>
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

bool readStream(FILE* f, std::vector<uint8_t>& bytes) {
    bytes.clear();
    uint8_t chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + got);
    return !std::ferror(f);
}

const char* gCommand = "keljpeg";
thread_local std::string tReportFile;
bool gProgressLineShown = false;  // guarded by standardErrorLock()

void KELJPEG_CALL printReport(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16* line, uint32_t) {
    std::string text = std::string("keljpeg ") + gCommand + ": ";
    if (!tReportFile.empty()) text += (tReportFile == "-" ? std::string("standard input") : tReportFile) + ": ";
    text += "library: ";
    for (int i = 0; line[i]; ++i) text += line[i] < 0x80 ? static_cast<char>(line[i]) : '?';
    text += '\n';
    std::lock_guard<std::mutex> guard(standardErrorLock());
    if (gProgressLineShown) std::fputs("\r\033[K", stderr);
    std::fputs(text.c_str(), stderr);
}

}  // namespace

bool isStandardStream(const std::string& name) { return name == "-"; }

bool readAllBytes(const std::string& name, std::vector<uint8_t>& bytes, std::string& error) {
    if (isStandardStream(name)) {
        makeBinary(stdin);
        if (readStream(stdin, bytes)) return true;
        error = "cannot read standard input";
        return false;
    }
    File f(std::fopen(name.c_str(), "rb"));
    if (f && readStream(f.get(), bytes)) return true;
    error = "cannot read '" + name + "'";
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
    if (!ok) error = "cannot write '" + name + "'";
    return ok;
}

void installReportPrinter(const char* command) {
    gCommand = command;
    jpegSetReportHandler(printReport, nullptr);
}

void setReportFile(const std::string& name) { tReportFile = name; }

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
