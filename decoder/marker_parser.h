// The marker parser: SOI, the table and miscellaneous segments, the frame and
// scan headers, and the markers met between entropy-coded segments.
#pragma once

#include <cstdint>

struct JpegContext;

// The whole header walk from SOI to the first scan. Returns 0 or -1 (reported).
[[nodiscard]] int32_t parseFrameHeaders(JpegContext* context);

// Table segments up to and including SOS, then the scan set-up (component
// records, first block offset, scan pass). Used between the scans of a
// progressive frame. Returns 0 or -1 (reported).
[[nodiscard]] int32_t parseScanHeaders(JpegContext* context);

// Called by the entropy decoders at a restart point or at the end of a scan.
// Consumes RSTn markers (resetting the MCU counter, the end-of-band run and
// the DC predictors), reads DNL and new scan headers, and returns the next 16
// bits at the byte boundary when they are not a marker, or 0xFFD9 at EOI
// (lastMarker is then set). A marker it cannot get past (the data ended, an
// unknown or malformed segment) ends the image: it reports, sets lastMarker to
// 0xFFD9 and returns 0xFFD9.
uint16_t processRestart(JpegContext* context);

// The DNL segment (after its marker was peeked): sets imageHeight when it is
// still 0. The MCU geometry is not recomputed.
void readDnlSegment(JpegContext* context);
