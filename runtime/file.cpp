#include "runtime/file.h"

#include "runtime/heap.h"

platform::File complibCreateFile(const KelChar16* name) { return platform::createFile(name); }

platform::File complibOpenFile(const KelChar16* name, uint32_t mode) {
    if (mode > 2) return platform::kInvalidFile;
    return platform::openFile(name, static_cast<platform::OpenMode>(mode));
}

int32_t complibGetFileSize(const KelChar16* name) {
    platform::File file = complibOpenFile(name, 0);
    if (file == platform::kInvalidFile) return -1;
    int64_t size = platform::fileSize(file);
    platform::closeFile(file);
    return size < 0 || size > INT32_MAX ? -1 : static_cast<int32_t>(size);
}

uint32_t complibReadFile(platform::File file, void* buffer, uint32_t count) {
    int64_t n = platform::readFile(file, buffer, count);
    return n < 0 ? kFileFailure : static_cast<uint32_t>(n);
}

uint32_t complibWriteFile(platform::File file, const void* buffer, uint32_t count) {
    int64_t n = platform::writeFile(file, buffer, count);
    return n < 0 ? kFileFailure : static_cast<uint32_t>(n);
}

uint32_t complibSeekFile(platform::File file, int32_t offset, uint32_t origin) {
    if (origin > 2) return kFileFailure;
    int64_t r = platform::seekFile(file, offset, static_cast<int>(origin));
    return r < 0 || r >= kFileFailure ? kFileFailure : static_cast<uint32_t>(r);
}

uint32_t complibCloseFile(platform::File file) { return platform::closeFile(file) ? 0 : kComplibFailure; }

uint32_t complibDeleteFile(const KelChar16* name) { return platform::deleteFile(name) ? 0 : kComplibFailure; }
