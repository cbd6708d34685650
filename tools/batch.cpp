#include "batch.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "cli_io.h"

#ifdef _WIN32
#include <io.h>
#define KELJPEG_ISATTY _isatty
#define KELJPEG_FILENO _fileno
#else
#include <unistd.h>
#define KELJPEG_ISATTY isatty
#define KELJPEG_FILENO fileno
#endif

namespace {

// Shared by the workers: the next file to take and what became of the others.
struct BatchState {
    const std::vector<std::string>* inputs;
    const std::vector<std::string>* outputs;
    const ConvertFile* convert;
    const char* command;
    bool progress;
    std::atomic<size_t> next{0};
    size_t done = 0, failed = 0, damaged = 0;  // guarded by standardErrorLock()
};

void showProgress(const BatchState& s) {
    std::fprintf(stderr, "\rkeljpeg %s: %zu of %zu files", s.command, s.done, s.inputs->size());
    if (s.failed) std::fprintf(stderr, ", %zu failed", s.failed);
    std::fflush(stderr);
}

void work(BatchState& s) {
    for (size_t k; (k = s.next++) < s.inputs->size();) {
        const std::string& input = (*s.inputs)[k];
        beginFile();
        std::string error = (*s.convert)(input, (*s.outputs)[k]);
        const int status = finishFile(input, error);
        std::lock_guard<std::mutex> guard(standardErrorLock());
        ++s.done;
        if (status == 1) ++s.failed;
        if (status == kExitDamaged) ++s.damaged;
        if (s.progress) showProgress(s);
        setProgressLineShown(s.progress);
    }
}

// One output name per input; two inputs of one stem would overwrite each other.
bool outputNames(const char* command, const std::vector<std::string>& inputs, const std::string& dir,
                 const std::string& extension, std::vector<std::string>& outputs) {
    std::map<std::string, std::string> taken;
    for (const std::string& input : inputs) {
        if (isStandardStream(input)) {
            std::fprintf(stderr, "keljpeg %s: standard input cannot be one of several files\n", command);
            return false;
        }
        std::string output = joinPath(dir, fileStem(input) + extension);
        auto seen = taken.emplace(output, input);
        if (!seen.second) {
            std::fprintf(stderr, "keljpeg %s: '%s' and '%s' would both be written to '%s'\n", command,
                         seen.first->second.c_str(), input.c_str(), output.c_str());
            return false;
        }
        std::error_code ec;
        if (std::filesystem::equivalent(input, output, ec)) {
            std::fprintf(stderr, "keljpeg %s: '%s' would overwrite its own input\n", command, input.c_str());
            return false;
        }
        outputs.push_back(output);
    }
    return true;
}

}  // namespace

int takeBatchOption(const Args& args, size_t& i, BatchOptions& batch) {
    const std::string& a = args[i];
    if (a == "--quiet" || a == "-q") {
        batch.quiet = true;
        return 1;
    }
    if (a != "--out-dir" && a != "--jobs") return 0;
    if (i + 1 >= args.size() || args[i + 1].empty()) return -1;
    const std::string& v = args[++i];
    if (a == "--out-dir") {
        batch.outDir = v;
        return 1;
    }
    if (v.size() > 4 || v.find_first_not_of("0123456789") != std::string::npos) return -1;
    batch.jobs = static_cast<unsigned>(std::atoi(v.c_str()));
    return batch.jobs >= 1 ? 1 : -1;
}

int runBatch(const char* command, const std::vector<std::string>& inputs, const std::string& extension,
             const BatchOptions& batch, const ConvertFile& convert, unsigned maxWorkers) {
    std::vector<std::string> outputs;
    if (!outputNames(command, inputs, batch.outDir, extension, outputs)) return 2;
    std::error_code ec;
    std::filesystem::create_directories(batch.outDir, ec);
    if (ec || !std::filesystem::is_directory(batch.outDir)) {
        std::fprintf(stderr, "keljpeg %s: cannot create the directory '%s'\n", command, batch.outDir.c_str());
        return 1;
    }
    unsigned workers = batch.jobs ? batch.jobs : std::max(1u, std::thread::hardware_concurrency());
    if (maxWorkers) workers = std::min(workers, maxWorkers);
    workers = static_cast<unsigned>(std::min<size_t>(workers, inputs.size()));

    BatchState state;
    state.inputs = &inputs;
    state.outputs = &outputs;
    state.convert = &convert;
    state.command = command;
    state.progress = !batch.quiet && KELJPEG_ISATTY(KELJPEG_FILENO(stderr));
    std::vector<std::thread> threads;
    for (unsigned t = 1; t < workers; ++t) threads.emplace_back(work, std::ref(state));
    work(state);  // the main thread is a worker too
    for (std::thread& t : threads) t.join();
    if (state.progress) std::fputc('\n', stderr);
    setProgressLineShown(false);
    if (state.failed)
        std::fprintf(stderr, "keljpeg %s: %zu of %zu files failed\n", command, state.failed, inputs.size());
    return state.failed ? 1 : state.damaged ? kExitDamaged : 0;
}
