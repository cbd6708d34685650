// keljpeg: command-line front end of the KelJPEG library. It calls only the
// library's exported interface, as any host would.
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace {

const Command kCommands[] = {
    {"demo", "show the library at work on the built-in sample", runDemo},
    {"encode", "encode PNG, BMP, PPM, PGM or planar YUV 4:2:0 files to JPEG", runEncode},
    {"decode", "decode JPEG files to BMP, PNG, PPM or PGM", runDecode},
    {"transcode", "re-encode JPEG files at another quality, sampling or restart interval", runTranscode},
    {"info", "show the frame, sampling, restart interval and JFIF values of JPEG files", runInfo},
};

void printUsage(FILE* out) {
    std::fprintf(out, "usage: keljpeg COMMAND [ARGS...]\n\ncommands:\n");
    for (const Command& c : kCommands) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fprintf(out, "\nkeljpeg COMMAND --help describes one command. A file name \"-\" stands for\n"
                      "standard input or output; --out-dir DIR converts many files at once.\n"
                      "Pictures stream strip by strip between the files and the library; PNG is\n"
                      "read (every type; alpha dropped or blended over --background) and written\n"
                      "(8-bit grey or RGB). decode, transcode and info limit each decode to 1 GiB,\n"
                      "400 megapixels and 256 scans unless --max-memory, --max-pixels or\n"
                      "--max-scans say otherwise. A failure is one line: \"keljpeg decode: FILE:\n"
                      "REASON\". A damaged or incomplete file is decoded as far as its data\n"
                      "goes, with one warning line naming the damage. Exit status: 0 on success,\n"
                      "1 when a file cannot be read, converted or written, 2 for unusable\n"
                      "arguments, 3 when a picture was written from a damaged file.\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        printUsage(stderr);
        return 2;
    }
    if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
        printUsage(stdout);
        return 0;
    }
    for (const Command& c : kCommands) {
        if (!std::strcmp(argv[1], c.name)) return c.run(Args(argv + 2, argv + argc));
    }
    std::fprintf(stderr, "keljpeg: unknown command '%s'\n\n", argv[1]);
    printUsage(stderr);
    return 2;
}
