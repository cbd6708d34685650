// Byte input and output of the keljpeg commands: a named file, or "-" for
// standard input or output; and the library's reports on standard error,
// each line naming the file its worker was busy with.
#pragma once

#include "KelJPEG.h"

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

// Limits a decode obeys, set in the library for the whole process. The
// defaults are far above any ordinary photograph (a 100-megapixel camera
// picture decodes in about 300 MiB, a progressive file has about ten scans)
// and stop crafted files early: a 65535 x 65535 frame, or thousands of
// scans in a few bytes. 0 lifts a limit (the library's own bounds remain).
struct DecodeLimits {
    uint64_t memoryMiB = 1024;  // frame buffers of one decode
    uint64_t megapixels = 400;  // width x height of a frame, e.g. 20000 x 20000
    uint32_t scans = 256;       // scans of one frame
};

// Takes --max-memory MIB, --max-pixels MEGAPIXELS or --max-scans N at
// args[i]: 1 when taken, 0 when args[i] is none of them, -1 for a bad value.
int takeLimitOption(const std::vector<std::string>& args, size_t& i, DecodeLimits& limits);

// Hands the limits to the library.
void applyLimits(const DecodeLimits& limits);

// The help lines of the options above.
extern const char kLimitsHelp[];

// "-" stands for standard input (reading) or standard output (writing).
bool isStandardStream(const std::string& name);

// Reads the whole file, or all of standard input for "-". On failure returns
// false with a message in error.
bool readAllBytes(const std::string& name, std::vector<uint8_t>& bytes, std::string& error);

// Writes bytes to the file, or to standard output for "-".
bool writeAllBytes(const std::string& name, const std::vector<uint8_t>& bytes, std::string& error);

// An output file written as the picture is produced: a named file, or
// standard output for "-". A file that is not finished (finish) is removed
// when the object goes, so a failed conversion leaves no partial picture.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();
    bool open(const std::string& name, std::string& error);
    // False once any write failed.
    bool write(const void* bytes, size_t count);
    // Named files can be written out of order; standard output cannot.
    bool seekable() const { return seekable_; }
    bool writeAt(uint64_t offset, const void* bytes, size_t count);
    bool finish(std::string& error);

private:
    FILE* file_ = nullptr;
    std::string name_;
    bool seekable_ = false;
    bool ok_ = true;
};

// Installs the program's report handler. A failure shows as one line,
// "keljpeg COMMAND: FILE: TEXT", when its file is finished (finishFile):
// TEXT is the library's own report text (the first of a failure: later ones
// such as "Prolog failed." only follow from it), else the program's error.
// The composed legacy line ("ERRORJPEGtoo many scansSuccess") is for message
// boxes and is not shown.
void installReportPrinter(const char* command);

// The exit status of a picture written from a damaged file (data cut short,
// corrupt or out of place), as a viewer would show it.
constexpr int kExitDamaged = 3;

// Prints the one line of a finished file: its error (or the library report
// behind it), or a report the library made on a conversion that still
// succeeded (the warning that names the damage). Returns the exit status:
// 1 when error is not empty, kExitDamaged when the decode noted damage, else 0.
int finishFile(const std::string& file, const std::string& error);

// Notes the damage a decode met (jpegDecodeQueryDamage) for the calling
// thread's file; call it before the epilog.
void noteDamage(JpegHandle handle);

// Prints "keljpeg COMMAND: FILE: TEXT" at once (a warning or note).
void printFileNote(const std::string& file, const std::string& text);

// Held while writing to standard error, so that the lines of workers, the
// library's reports and the progress line do not mix.
std::mutex& standardErrorLock();

// Set while a progress line stands on the terminal: a report clears it first.
void setProgressLineShown(bool shown);

// Names the file the calling thread works on and forgets its earlier reports.
void beginFile();

// The last path element without its extension: "dir/a.b.jpg" -> "a.b".
std::string fileStem(const std::string& path);

// dir/name, with a separator only when dir needs one.
std::string joinPath(const std::string& dir, const std::string& name);
