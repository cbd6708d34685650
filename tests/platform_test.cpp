// The platform seam under the file wrappers and the reporter: UTF-16 names,
// open modes, seeks, report composition and the system's error text. The
// same cases run on every target (native, ARM under qemu, Windows under wine).
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

#include "runtime/file.h"
#include "runtime/heap.h"
#include "runtime/platform.h"
#include "runtime/report.h"
#include "test_support.h"

using namespace testing_support;

namespace {

std::string narrowSystemText(const std::u16string& text) {
    std::string out;
    for (char16_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
}

void clearLastError() {
    errno = 0;
#if defined(_WIN32)
    SetLastError(0);
#endif
}

}  // namespace

TEST(PlatformFiles, Utf16NamesReachTheFileSystemUnchanged) {
    std::string dir = std::filesystem::path(tempPath("platform_names")).string();
    std::filesystem::create_directories(dir);
    // A name with a Latin, a CJK and a supplementary-plane character (a
    // surrogate pair) in UTF-16 code units, and as the file system spells it.
    WideName name = wideName(dir + "/k");
    for (char16_t unit : {char16_t(0x00E9), char16_t(0x6F22), char16_t(0xD83D), char16_t(0xDE00)}) name += KelChar16(unit);
    name += wideName(".jpg");
    const std::filesystem::path path = std::filesystem::u8path(dir + "/k\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80.jpg");
    std::filesystem::remove(path);

    platform::File out = complibCreateFile(name.c_str());
    ASSERT_NE(out, platform::kInvalidFile);
    EXPECT_EQ(complibWriteFile(out, "JPEG", 4), 4u);
    EXPECT_EQ(complibCloseFile(out), 0u);

    // Created under exactly that name, not a mangled one.
    ASSERT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(complibGetFileSize(name.c_str()), 4);

    platform::File in = complibOpenFile(name.c_str(), 0);
    ASSERT_NE(in, platform::kInvalidFile);
    char got[8] = {};
    EXPECT_EQ(complibReadFile(in, got, sizeof got), 4u);
    EXPECT_EQ(std::string(got, 4), "JPEG");
    EXPECT_EQ(complibCloseFile(in), 0u);

    EXPECT_EQ(complibDeleteFile(name.c_str()), 0u);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(complibGetFileSize(name.c_str()), -1);
    EXPECT_EQ(complibDeleteFile(name.c_str()), kComplibFailure);
}

TEST(PlatformFiles, OpenModesSeeksAndFailureValues) {
    std::string path = tempPath("platform_modes.bin");
    writeFileBytes(path, std::vector<uint8_t>(100, 0x5A));
    WideName name = wideName(path);

    EXPECT_EQ(complibOpenFile(name.c_str(), 3), platform::kInvalidFile);

    // Mode 0 reads only: a write through it fails.
    platform::File in = complibOpenFile(name.c_str(), 0);
    ASSERT_NE(in, platform::kInvalidFile);
    EXPECT_EQ(complibWriteFile(in, "x", 1), kFileFailure);
    EXPECT_EQ(complibSeekFile(in, 10, 0), 10u);
    EXPECT_EQ(complibSeekFile(in, -1, 2), 99u);
    EXPECT_EQ(complibSeekFile(in, 50, 2), 150u);  // past the end is allowed; reading then finds nothing
    uint8_t b = 0;
    EXPECT_EQ(complibReadFile(in, &b, 1), 0u);
    EXPECT_EQ(complibSeekFile(in, -200, 0), kFileFailure);
    EXPECT_EQ(complibSeekFile(in, 0, 3), kFileFailure);
    EXPECT_EQ(complibCloseFile(in), 0u);

    // Mode 1 writes only, in place, without truncating.
    platform::File out = complibOpenFile(name.c_str(), 1);
    ASSERT_NE(out, platform::kInvalidFile);
    EXPECT_EQ(complibReadFile(out, &b, 1), kFileFailure);
    EXPECT_EQ(complibWriteFile(out, "ab", 2), 2u);
#if defined(_WIN32)
    // Modes 1 and 2 keep the file to themselves.
    EXPECT_EQ(complibOpenFile(name.c_str(), 0), platform::kInvalidFile);
#endif
    EXPECT_EQ(complibCloseFile(out), 0u);

    // Mode 2 reads and writes.
    platform::File both = complibOpenFile(name.c_str(), 2);
    ASSERT_NE(both, platform::kInvalidFile);
    char head[3] = {};
    EXPECT_EQ(complibReadFile(both, head, 3), 3u);
    EXPECT_EQ(std::string(head, 3), "abZ");
    EXPECT_EQ(complibSeekFile(both, 0, 2), 100u);
    EXPECT_EQ(complibWriteFile(both, "!", 1), 1u);
    EXPECT_EQ(complibCloseFile(both), 0u);
    EXPECT_EQ(complibGetFileSize(name.c_str()), 101);

    // Creating truncates an existing file.
    platform::File again = complibCreateFile(name.c_str());
    ASSERT_NE(again, platform::kInvalidFile);
    EXPECT_EQ(complibCloseFile(again), 0u);
    EXPECT_EQ(complibGetFileSize(name.c_str()), 0);
    std::remove(path.c_str());
}

TEST(PlatformReports, LineIsSeveritySourceTextAndTheSystemsTextWithoutSeparators) {
    clearLastError();
    std::string noError = narrowSystemText(platform::lastErrorText());
    ReportCapture capture;
    struct Case { int severity; const KelChar16* prefix; int icon; };
    const Case cases[] = {{2, report_text::kError, JPEG_ICON_ERROR}, {0, report_text::kTrace, JPEG_ICON_INFORMATION},
                          {1, report_text::kWarning, -1},            {3, report_text::kFatal, JPEG_ICON_INFORMATION},
                          {4, KJ_TEXT(""), JPEG_ICON_INFORMATION},   {-1, KJ_TEXT(""), -1}};
    for (const Case& c : cases) {
        clearLastError();
        complibReportError(KJ_TEXT("src"), c.severity, KJ_TEXT("t"));
        ASSERT_FALSE(capture.reports().empty());
        EXPECT_EQ(capture.reports().back().line, text(c.prefix) + "srct" + noError) << c.severity;
        int icon = capture.reports().back().icon;
        EXPECT_TRUE(c.icon >= 0 ? icon == c.icon : icon != JPEG_ICON_ERROR) << c.severity << " icon " << icon;
    }
    EXPECT_EQ(capture.reports()[0].source, "src");
    // Bounded at kReportLineUnits, terminator included.
    capture.clear();
    std::basic_string<KelChar16> longText(1000, KelChar16('x'));
    complibReportError(report_text::kJpeg, 2, longText.c_str());
    EXPECT_EQ(capture.reports()[0].line.size(), static_cast<size_t>(kReportLineUnits - 1));
    EXPECT_EQ(capture.reports()[0].line.substr(0, 10), "ERRORJPEGx");

    // A failed call's own explanation, still intact when the report is composed.
    capture.clear();
    clearLastError();
    ASSERT_EQ(complibOpenFile(wideName(tempPath("platform_absent.bin")).c_str(), 0), platform::kInvalidFile);
    std::string failure = narrowSystemText(platform::lastErrorText());
    complibReportError(KJ_TEXT("src"), JPEG_SEVERITY_ERROR, KJ_TEXT("t"));
    EXPECT_FALSE(failure.empty());
    EXPECT_NE(failure, noError);
    EXPECT_EQ(capture.reports()[0].line, "ERRORsrct" + failure);
}

#if !defined(_WIN32)
TEST(PlatformReports, WithoutAHandlerTheLineGoesToStandardError) {
    jpegSetReportHandler(nullptr, nullptr);
    clearLastError();
    testing::internal::CaptureStderr();
    complibReportError(KJ_TEXT("src"), JPEG_SEVERITY_ERROR, KJ_TEXT("shown"));
    std::string shown = testing::internal::GetCapturedStderr();
    EXPECT_EQ(shown.rfind("ERRORsrcshown", 0), 0u) << shown;
    EXPECT_EQ(shown.back(), '\n');
}
#endif
