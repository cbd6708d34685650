// Batch mode of the keljpeg commands: many input files, one output file each
// in an output directory, converted by a worker thread per processor core.
// Each file gets its own codec context, and contexts are independent, so the
// bytes written are those of a single run on that file.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "commands.h"

struct BatchOptions {
    std::string outDir;   // empty: a single conversion IN OUT
    unsigned jobs = 0;    // worker threads; 0: one per core
    bool quiet = false;   // no progress line and no notes
};

// Takes --out-dir DIR, --jobs N and --quiet at args[i] (advancing i past a
// value). Returns 1 when taken, 0 when args[i] is none of them, -1 for a
// missing or bad value.
int takeBatchOption(const Args& args, size_t& i, BatchOptions& batch);

// Converts one input to one output; returns "" or an error text.
using ConvertFile = std::function<std::string(const std::string& input, const std::string& output)>;

// Converts every input into DIR/STEM.extension (created when missing) with
// the workers. Errors name their file on standard error; a progress line
// shows on a terminal unless quiet. Returns the exit status: 0 when every
// file converted, 1 otherwise, 2 for unusable names.
int runBatch(const char* command, const std::vector<std::string>& inputs, const std::string& extension,
             const BatchOptions& batch, const ConvertFile& convert, unsigned maxWorkers = 0);
