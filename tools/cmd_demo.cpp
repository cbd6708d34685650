// keljpeg demo: the library at work on a built-in sample.
#include <cstdio>

#include "KelJPEG.h"
#include "commands.h"

namespace {

void KELJPEG_CALL printReport(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16* line, uint32_t) {
    std::printf("  report: ");
    for (int i = 0; line[i]; ++i) std::putchar(line[i] < 0x80 ? static_cast<char>(line[i]) : '?');
    std::printf("\n");
}

}  // namespace

int runDemo(const Args&) {
    std::printf("KelJPEG demo\n");
    jpegSetReportHandler(printReport, nullptr);
    std::printf("A report composed by the library (releasing a block it does not own):\n");
    static unsigned char notOurs[64];
    int32_t result = jpegFreeMemory(notOurs + 32);
    std::printf("  jpegFreeMemory returned %d\n", result);
    jpegSetReportHandler(nullptr, nullptr);
    return 0;
}
