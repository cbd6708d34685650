// The demo's own small progressive JPEG writer. The library encodes baseline
// only; to show its progressive decoding on the built-in sample, the demo
// writes the same picture as a progressive stream: one interleaved DC scan,
// then two spectral bands per component (7 scans in all), 4:4:4, with flat
// Huffman codes (every symbol one length). Plain and slow, not for real use.
#pragma once

#include <cstdint>
#include <vector>

// pixels: blue-green-red, width * height, rows top-down and packed.
std::vector<uint8_t> writeProgressiveSample(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height,
                                            uint32_t quality);
