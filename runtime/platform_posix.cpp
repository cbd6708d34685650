// POSIX implementation of the platform seam.
#if !defined(_WIN32)

#include "runtime/platform.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// File descriptors are stored as fd + 1 so that a valid handle is never null.
File fromFd(int fd) { return reinterpret_cast<File>(static_cast<intptr_t>(fd) + 1); }
int toFd(File file) { return static_cast<int>(reinterpret_cast<intptr_t>(file) - 1); }

std::string toUtf8(const KelChar16* name) {
    std::string out;
    for (size_t i = 0; name && name[i]; ++i) {
        uint32_t c = name[i];
        if (c >= 0xD800 && c <= 0xDBFF && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (name[i + 1] - 0xDC00);
            ++i;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

File openWith(const KelChar16* name, int flags) {
    if (!name) return kInvalidFile;
    int fd = ::open(toUtf8(name).c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) return kInvalidFile;
#if defined(POSIX_FADV_SEQUENTIAL)
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    return fromFd(fd);
}

}  // namespace

File const kInvalidFile = reinterpret_cast<File>(static_cast<intptr_t>(-1));

File createFile(const KelChar16* name) { return openWith(name, O_WRONLY | O_CREAT | O_TRUNC); }

File openFile(const KelChar16* name, OpenMode mode) {
    switch (mode) {
        case OpenMode::Read: return openWith(name, O_RDONLY);
        case OpenMode::Write: return openWith(name, O_WRONLY);
        case OpenMode::ReadWrite: return openWith(name, O_RDWR);
    }
    return kInvalidFile;
}

int64_t fileSize(File file) {
    struct stat st;
    if (fstat(toFd(file), &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

int64_t readFile(File file, void* buffer, uint32_t count) {
    for (;;) {
        ssize_t n = ::read(toFd(file), buffer, count);
        if (n >= 0) return n;
        if (errno != EINTR) return -1;
    }
}

int64_t writeFile(File file, const void* buffer, uint32_t count) {
    const char* p = static_cast<const char*>(buffer);
    uint32_t done = 0;
    while (done < count) {
        ssize_t n = ::write(toFd(file), p + done, count - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return done ? static_cast<int64_t>(done) : -1;
        }
        if (n == 0) break;
        done += static_cast<uint32_t>(n);
    }
    return done;
}

int64_t seekFile(File file, int32_t offset, int origin) {
    int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : -1;
    if (whence < 0) return -1;
    off_t r = ::lseek(toFd(file), static_cast<off_t>(offset), whence);
    return r < 0 ? -1 : static_cast<int64_t>(r);
}

bool closeFile(File file) { return ::close(toFd(file)) == 0; }

bool deleteFile(const KelChar16* name) { return name && ::unlink(toUtf8(name).c_str()) == 0; }

void* heapAlloc(size_t size) { return std::malloc(size ? size : 1); }
void* heapRealloc(void* block, size_t size) { return std::realloc(block, size ? size : 1); }
bool heapFree(void* block) {
    std::free(block);
    return true;
}

std::u16string lastErrorText() {
    std::u16string out;
    const char* text = std::strerror(errno);
    for (size_t i = 0; text && text[i]; ++i) out += static_cast<char16_t>(static_cast<unsigned char>(text[i]));
    return out;
}

void presentReport(const KelChar16*, const KelChar16* line, uint32_t) {
    std::string utf8 = toUtf8(line);
    std::fprintf(stderr, "%s\n", utf8.c_str());
}

static_assert(sizeof(pthread_mutex_t) <= 64, "Lock::storage_ holds a pthread mutex");
Lock::Lock() { (void)pthread_mutex_init(reinterpret_cast<pthread_mutex_t*>(storage_), nullptr); }
Lock::~Lock() { (void)pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(storage_)); }
void Lock::lock() { (void)pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(storage_)); }
void Lock::unlock() { (void)pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(storage_)); }

}  // namespace platform

#endif
