// Inputs that once broke the library, replayed through the fuzz harness that
// found them. Each file in tests/regressions/ is named after its harness
// (decode-..., progressive-..., partial-..., lossless-..., bitmap_decode-...,
// encode-..., bitmap_encode-...) and holds the input as hex byte pairs;
// whitespace and lines starting with # are ignored. The sanitizer builds make
// "no crash" meaningful: any access outside a buffer, leak or undefined
// operation fails the run.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/harnesses.h"

namespace {

namespace fs = std::filesystem;

fs::path regressionDirectory() { return fs::path(__FILE__).parent_path() / "regressions"; }

using Harness = std::function<void(const uint8_t*, size_t)>;

const std::map<std::string, Harness> kHarnesses = {
    {"decode", fuzz_harness::decodeStrips},
    {"progressive", fuzz_harness::decodeProgressivePasses},
    {"partial", fuzz_harness::decodePieces},
    {"lossless", fuzz_harness::decodeLossless},
    {"bitmap_decode", fuzz_harness::decodeToBitmap},
    {"encode", fuzz_harness::encodeRects},
    {"bitmap_encode", fuzz_harness::encodeBitmaps},
};

}  // namespace

TEST(RegressionReplay, EveryStoredInputRunsThroughItsHarness) {
    ASSERT_TRUE(fs::is_directory(regressionDirectory())) << regressionDirectory();
    int replayed = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(regressionDirectory())) {
        if (entry.path().extension() != ".hex") continue;
        const std::string name = entry.path().stem().string();
        const auto harness = kHarnesses.find(name.substr(0, name.find('-')));
        ASSERT_NE(harness, kHarnesses.end()) << "no harness for " << name;
        std::ifstream in(entry.path());
        std::vector<uint8_t> bytes;
        for (std::string line; std::getline(in, line);) {
            if (!line.empty() && line[0] == '#') continue;
            std::string digits;
            for (char c : line)
                if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
            for (size_t i = 0; i + 1 < digits.size(); i += 2)
                bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
        }
        SCOPED_TRACE(name);
        harness->second(bytes.data(), bytes.size());
        ++replayed;
    }
    EXPECT_GT(replayed, 0);
}

TEST(RegressionReplay, HarnessesLeaveTheDefaultsBehind) {
    const std::vector<uint8_t> notJpeg = {0x00, 0x01, 0x02};
    for (const auto& [name, harness] : kHarnesses) harness(notJpeg.data(), notJpeg.size());
    JpegLimits limits{};
    jpegGetLimits(&limits);
    EXPECT_EQ(limits.maxScans, 3584u);
    EXPECT_EQ(limits.maxMemoryBytes, UINT64_MAX);
}
