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
int runTranscode(const Args& args);

struct Command {
    const char* name;
    const char* summary;
    int (*run)(const Args& args);
};
