// Win32 implementation of the platform seam.
#if defined(_WIN32)

#include "runtime/platform.h"

#include <windows.h>

namespace platform {

File const kInvalidFile = INVALID_HANDLE_VALUE;

File createFile(const KelChar16* name) {
    return CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
}

File openFile(const KelChar16* name, OpenMode mode) {
    DWORD access = 0, share = 0;
    switch (mode) {
        case OpenMode::Read: access = GENERIC_READ; share = FILE_SHARE_READ; break;
        case OpenMode::Write: access = GENERIC_WRITE; break;
        case OpenMode::ReadWrite: access = GENERIC_READ | GENERIC_WRITE; break;
        default: return kInvalidFile;
    }
    return CreateFileW(name, access, share, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
}

int64_t fileSize(File file) {
    DWORD size = GetFileSize(file, nullptr);
    return size == INVALID_FILE_SIZE ? -1 : static_cast<int64_t>(size);
}

int64_t readFile(File file, void* buffer, uint32_t count) {
    DWORD done = 0;
    if (!ReadFile(file, buffer, count, &done, nullptr)) return -1;
    return done;
}

int64_t writeFile(File file, const void* buffer, uint32_t count) {
    DWORD done = 0;
    if (!WriteFile(file, buffer, count, &done, nullptr)) return -1;
    return done;
}

int64_t seekFile(File file, int32_t offset, int origin) {
    if (origin < 0 || origin > 2) return -1;
    DWORD r = SetFilePointer(file, offset, nullptr, static_cast<DWORD>(origin));
    return r == INVALID_SET_FILE_POINTER ? -1 : static_cast<int64_t>(r);
}

bool closeFile(File file) { return CloseHandle(file) != 0; }

bool deleteFile(const KelChar16* name) { return DeleteFileW(name) != 0; }

void* heapAlloc(size_t size) { return HeapAlloc(GetProcessHeap(), 0, size ? size : 1); }
void* heapRealloc(void* block, size_t size) { return HeapReAlloc(GetProcessHeap(), 0, block, size ? size : 1); }
bool heapFree(void* block) { return HeapFree(GetProcessHeap(), 0, block) != 0; }

std::u16string lastErrorText() {
    std::u16string out;
    wchar_t* text = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, GetLastError(),
                             MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0,
                             nullptr);
    if (n && text) out.assign(reinterpret_cast<const char16_t*>(text), n);
    if (text) LocalFree(text);
    return out;
}

void presentReport(const KelChar16* caption, const KelChar16* line, uint32_t iconStyle) {
    MessageBoxW(nullptr, line, caption, iconStyle);
}

static_assert(sizeof(SRWLOCK) <= 64, "Lock::storage_ holds an SRWLOCK");
Lock::Lock() { InitializeSRWLock(reinterpret_cast<SRWLOCK*>(storage_)); }
Lock::~Lock() = default;  // a slim lock holds no resources
void Lock::lock() { AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(storage_)); }
void Lock::unlock() { ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(storage_)); }

}  // namespace platform

#endif
