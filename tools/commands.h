// Subcommands of the keljpeg program. Each lives in its own cmd_*.cpp file
// and takes the arguments that follow its name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Args = std::vector<std::string>;

int runDemo(const Args& args);
int runEncode(const Args& args);
int runDecode(const Args& args);
int runInfo(const Args& args);

// Lines given by the last DNL segment of a JPEG file, or 0 (for frames whose
// header says 0 lines).
uint32_t heightFromDnl(const std::string& path);

struct Command {
    const char* name;
    const char* summary;
    int (*run)(const Args& args);
};
