/* Collects the library's reports instead of letting them go to standard
 * error (or to a message box on Windows). */
#include <stdio.h>
#include <string.h>

#include <KelJPEG.h>

struct ReportLog {
    int count;
    char lastLine[400];
};

/* Called once per failure, in the thread that made the failing call. The
 * texts are UTF-16; this keeps the ASCII part of the composed line. */
static void KELJPEG_CALL logReport(void* user, const KelChar16* source, int32_t severity, const KelChar16* text,
                                   const KelChar16* line, uint32_t iconStyle) {
    struct ReportLog* log = user;
    size_t i;
    (void)source; (void)severity; (void)text; (void)iconStyle;
    for (i = 0; line[i] != 0 && i + 1 < sizeof log->lastLine; ++i)
        log->lastLine[i] = line[i] < 0x80 ? (char)line[i] : '?';
    log->lastLine[i] = '\0';
    log->count++;
}

int main(void) {
    static const KelChar16 missingFile[] = {'n', 'o', '-', 's', 'u', 'c', 'h', '.', 'j', 'p', 'g', 0};
    struct ReportLog log = {0, ""};
    JpegDecodeParams params;
    JpegHandle jpeg;

    jpegSetReportHandler(logReport, &log);
    memset(&params, 0, sizeof params);
    jpeg = jpegDecodeProlog(missingFile, &params); /* fails: returns 0 after one report */
    jpegSetReportHandler(NULL, NULL);              /* back to the default presentation */

    if (jpeg != NULL || log.count == 0) return 1;
    printf("%d report(s), the last: %s\n", log.count, log.lastLine);
    return 0;
}
