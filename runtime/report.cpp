#include "runtime/report.h"

#include <atomic>
#include <mutex>  // std::lock_guard
#include <string>

#include "runtime/platform.h"

namespace {

const KelChar16* const kSeverityWords[] = {report_text::kTrace, report_text::kWarning, report_text::kError,
                                           report_text::kFatal};

struct HandlerSlot {
    platform::Lock lock;
    JpegReportHandler handler = nullptr;
    void* user = nullptr;
};

HandlerSlot& handlerSlot() {
    static HandlerSlot slot;
    return slot;
}

// Appends text to line, never past the line's last unit (kept for the terminator).
void appendBounded(KelChar16* line, int& used, const KelChar16* text) {
    for (int i = 0; text && text[i] && used < kReportLineUnits - 1; ++i) line[used++] = text[i];
    line[used] = 0;
}

}  // namespace

void complibReportError(const KelChar16* source, int32_t severity, const KelChar16* text) {
    // Fetch the system message first: composing must not disturb the last error.
    std::u16string systemText = platform::lastErrorText();

    KelChar16 line[kReportLineUnits];
    int used = 0;
    line[0] = 0;
    if (severity >= JPEG_SEVERITY_TRACE && severity <= JPEG_SEVERITY_FATAL) {
        appendBounded(line, used, kSeverityWords[severity]);
    }
    appendBounded(line, used, source);
    appendBounded(line, used, text);
    appendBounded(line, used, reinterpret_cast<const KelChar16*>(systemText.c_str()));

    // Only an ERROR gets the stop icon; FATAL deliberately shows the information icon.
    uint32_t icon = severity == JPEG_SEVERITY_ERROR ? JPEG_ICON_ERROR : JPEG_ICON_INFORMATION;

    JpegReportHandler handler;
    void* user;
    {
        std::lock_guard<platform::Lock> guard(handlerSlot().lock);
        handler = handlerSlot().handler;
        user = handlerSlot().user;
    }
    if (handler) {
        handler(user, source, severity, text, line, icon);
    } else {
        platform::presentReport(source, line, icon);
    }
}

extern "C" KELJPEG_API void KELJPEG_CALL jpegSetReportHandler(JpegReportHandler handler, void* user) {
    std::lock_guard<platform::Lock> guard(handlerSlot().lock);
    handlerSlot().handler = handler;
    handlerSlot().user = user;
}
