// Byte input and output of the keljpeg commands: a named file, or "-" for
// standard input or output; and the library's reports on standard error,
// each line naming the file its worker was busy with.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

// "-" stands for standard input (reading) or standard output (writing).
bool isStandardStream(const std::string& name);

// Reads the whole file, or all of standard input for "-". On failure returns
// false with a message in error.
bool readAllBytes(const std::string& name, std::vector<uint8_t>& bytes, std::string& error);

// Writes bytes to the file, or to standard output for "-".
bool writeAllBytes(const std::string& name, const std::vector<uint8_t>& bytes, std::string& error);

// Routes the library's reports to standard error as
// "keljpeg COMMAND: FILE: library: TEXT" lines.
void installReportPrinter(const char* command);

// Held while writing to standard error, so that the lines of workers, the
// library's reports and the progress line do not mix.
std::mutex& standardErrorLock();

// Set while a progress line stands on the terminal: a report clears it first.
void setProgressLineShown(bool shown);

// Names the file the calling thread works on, for its reports ("" for none).
void setReportFile(const std::string& name);

// The last path element without its extension: "dir/a.b.jpg" -> "a.b".
std::string fileStem(const std::string& path);

// dir/name, with a separator only when dir needs one.
std::string joinPath(const std::string& dir, const std::string& name);
