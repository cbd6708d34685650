// The colour-conversion tables, built at compile time with exact integer
// products (C++ division truncates toward zero, as the tables require).
#include "decoder/colour_tables.h"

#include <array>

namespace {

constexpr int32_t truncatedProduct(int32_t sample, int32_t numerator, int32_t denominator) {
    return sample * numerator / denominator;
}

constexpr std::array<ChromaOffsets, 256> makeCbTable() {
    std::array<ChromaOffsets, 256> table{};
    for (int32_t i = 0; i < 256; ++i) {
        int32_t c = i - 128;
        table[i] = ChromaOffsets{truncatedProduct(c, 1772, 1000), truncatedProduct(c, -34414, 100000)};
    }
    return table;
}

constexpr std::array<ChromaOffsets, 256> makeCrTable() {
    std::array<ChromaOffsets, 256> table{};
    for (int32_t i = 0; i < 256; ++i) {
        int32_t c = i - 128;
        table[i] = ChromaOffsets{truncatedProduct(c, -71414, 100000), truncatedProduct(c, 1402, 1000)};
    }
    return table;
}

constexpr std::array<uint8_t, 768> makeRangeLimitTable() {
    std::array<uint8_t, 768> table{};
    for (int32_t i = -384; i < 384; ++i)
        table[i + 384] = static_cast<uint8_t>(i < -128 ? 0 : (i > 127 ? 255 : i + 128));
    return table;
}

}  // namespace

const std::array<ChromaOffsets, 256> cbOffsetTable = makeCbTable();
const std::array<ChromaOffsets, 256> crOffsetTable = makeCrTable();
const std::array<uint8_t, 768> rangeLimitTable = makeRangeLimitTable();

static_assert(makeCbTable()[0].first == -226 && makeCbTable()[0].second == 44, "truncation toward zero");
static_assert(makeCrTable()[255].second == 178, "1.402 * 127 = 178.05");
