// Thin file wrappers over the platform's file calls, with the library's
// 32-bit result conventions.
#pragma once

#include <cstdint>

#include "KelJPEG.h"
#include "runtime/platform.h"

constexpr uint32_t kFileFailure = 0xFFFFFFFFu;

platform::File complibCreateFile(const KelChar16* name);           // kInvalidFile on failure
platform::File complibOpenFile(const KelChar16* name, uint32_t mode);  // modes 0 read, 1 write, 2 read/write
int32_t complibGetFileSize(const KelChar16* name);                 // -1 if it cannot be opened
uint32_t complibReadFile(platform::File file, void* buffer, uint32_t count);   // count or kFileFailure
uint32_t complibWriteFile(platform::File file, const void* buffer, uint32_t count);
uint32_t complibSeekFile(platform::File file, int32_t offset, uint32_t origin);  // position or kFileFailure
uint32_t complibCloseFile(platform::File file);   // 0 or 0x80000000
uint32_t complibDeleteFile(const KelChar16* name);  // 0 or 0x80000000
