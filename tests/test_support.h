// Shared helpers for the tests: report capture, UTF-16 names, temp files.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "KelJPEG.h"

namespace testing_support {

struct CapturedReport {
    std::string source;
    int32_t severity;
    std::string text;
    std::string line;
    uint32_t icon;
};

inline std::string narrow(const KelChar16* s) {
    std::string out;
    for (size_t i = 0; s && s[i]; ++i) out += s[i] < 0x80 ? static_cast<char>(s[i]) : '?';
    return out;
}

// Installs itself as the report handler for its lifetime and records every report.
class ReportCapture {
public:
    ReportCapture() { jpegSetReportHandler(&ReportCapture::onReport, this); }
    ~ReportCapture() { jpegSetReportHandler(nullptr, nullptr); }
    ReportCapture(const ReportCapture&) = delete;
    ReportCapture& operator=(const ReportCapture&) = delete;

    const std::vector<CapturedReport>& reports() const { return reports_; }
    std::vector<std::string> texts() const {
        std::vector<std::string> out;
        for (const auto& r : reports_) out.push_back(r.text);
        return out;
    }
    bool saw(const std::string& text) const {
        for (const auto& r : reports_) if (r.text == text) return true;
        return false;
    }
    void clear() { reports_.clear(); }

private:
    static void KELJPEG_CALL onReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                      const KelChar16* line, uint32_t icon) {
        static_cast<ReportCapture*>(user)->reports_.push_back(
            {narrow(source), severity, narrow(text), narrow(line), icon});
    }
    std::vector<CapturedReport> reports_;
};

inline std::u16string widen(const std::string& s) { return std::u16string(s.begin(), s.end()); }

// The library's UTF-16 character type as a string.
using WideName = std::basic_string<KelChar16>;
inline WideName wideName(const std::string& s) { return WideName(s.begin(), s.end()); }

inline std::string tempPath(const std::string& name) {
    std::filesystem::path dir = KELJPEG_TEST_TMPDIR;
    std::filesystem::create_directories(dir);
    return (dir / name).string();
}

inline void writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<uint8_t> readFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace testing_support
