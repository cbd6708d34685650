// A tiny greyscale stream generator for hostile-input tests: every block (or
// lossless sample) codes a difference of 0, so the picture is flat mid-grey.
#pragma once

#include <cstdint>
#include <vector>

namespace flat_stream {

inline void put16(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

// SOI, one-code tables, a frame header and `scans` scans of a flat picture
// (one 0 bit per code), then EOI. A progressive frame with thousands
// of such scans is a few bytes per scan, yet each scan walks every block.
inline std::vector<uint8_t> flatGreyStream(uint8_t frameMarker, uint16_t width, uint16_t height, int scans) {
    std::vector<uint8_t> out = {0xFF, 0xD8, 0xFF, 0xDB};
    put16(out, 67);
    out.push_back(0);
    out.insert(out.end(), 64, 1);
    // Two one-code tables: DC (category 0) and AC (end of block).
    out.insert(out.end(), {0xFF, 0xC4});
    put16(out, 2 + 2 * (17 + 1));
    for (uint8_t tableByte : {0x00, 0x10}) {
        out.push_back(tableByte);
        out.push_back(1);
        out.insert(out.end(), 15, 0);
        out.push_back(0);  // symbol 0: category 0, or end of block
    }
    out.insert(out.end(), {0xFF, frameMarker});
    put16(out, 11);
    out.push_back(8);
    put16(out, height);
    put16(out, width);
    out.insert(out.end(), {1, 1, 0x11, 0});
    // Lossless frames code one difference per sample (predictor 1), progressive
    // DC scans one DC per block, sequential scans a DC and an end of block.
    const bool lossless = frameMarker == 0xC3;
    const uint32_t perBlock = frameMarker == 0xC2 ? 1 : 2;
    const uint32_t codes = lossless ? uint32_t{width} * height
                                     : perBlock * ((width + 7u) / 8u) * ((height + 7u) / 8u);
    for (int scan = 0; scan < scans; ++scan) {
        out.insert(out.end(), {0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, static_cast<uint8_t>(lossless ? 1 : 0), 0x00,
                               0x00});
        // One 0 bit per code, padded with 1 bits.
        for (uint32_t bits = 0; bits < codes; bits += 8)
            out.push_back(codes - bits >= 8 ? 0x00 : static_cast<uint8_t>(0xFF >> (codes - bits)));
    }
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

}  // namespace flat_stream
