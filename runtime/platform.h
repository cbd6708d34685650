// The one seam between the library and the operating system. Everything the
// runtime services need from the platform (files by UTF-16 name, the process
// heap, the last error's text, presenting a report) goes through here; there
// is a POSIX and a Win32 implementation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "KelJPEG.h"

namespace platform {

// Opaque file handle. Null means "no file"; kInvalidFile means a failed open.
using File = void*;
extern File const kInvalidFile;

enum class OpenMode { Read = 0, Write = 1, ReadWrite = 2 };

File createFile(const KelChar16* name);  // create or truncate, write access, sequential hint
File openFile(const KelChar16* name, OpenMode mode);
int64_t fileSize(File file);  // -1 on failure
int64_t readFile(File file, void* buffer, uint32_t count);         // bytes read, -1 on failure
int64_t writeFile(File file, const void* buffer, uint32_t count);  // bytes written, -1 on failure
int64_t seekFile(File file, int32_t offset, int origin);           // new position, -1 on failure
bool closeFile(File file);
bool deleteFile(const KelChar16* name);

void* heapAlloc(size_t size);
void* heapRealloc(void* block, size_t size);
bool heapFree(void* block);

// Text of the calling thread's last system error (may be empty).
std::u16string lastErrorText();

// Default presentation of a composed report line.
void presentReport(const KelChar16* caption, const KelChar16* line, uint32_t iconStyle);

// A lock for process-wide state: a pthread mutex, or a Win32 slim lock. Not
// std::mutex, which the C++ library of MinGW's default compilers (the win32
// thread model) does not have. Takes std::lock_guard.
class Lock {
public:
    Lock();
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    void lock();
    void unlock();

private:
    // Room for either lock: a glibc mutex is 40 bytes, a slim lock a pointer.
    alignas(16) unsigned char storage_[64];
};

}  // namespace platform
