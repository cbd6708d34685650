// Report composition and the host-installable report handler.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "runtime/report_texts.h"

// Composes "<SEVERITY><source><text><system message>" (no separators), bounded
// at kReportLineUnits code units, and hands it to the installed handler.
void complibReportError(const KelChar16* source, int32_t severity, const KelChar16* text);

constexpr int kReportLineUnits = 384;


// Shorthand for the codec-level reports, which all use source "JPEG", severity 2.
inline void reportJpegError(const KelChar16* text) { complibReportError(report_text::kJpeg, JPEG_SEVERITY_ERROR, text); }
// Standard mode's reports of damage it reads past: severity 1.
inline void reportJpegWarning(const KelChar16* text) {
    complibReportError(report_text::kJpeg, JPEG_SEVERITY_WARNING, text);
}
