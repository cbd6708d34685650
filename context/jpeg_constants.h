// What every reader and the writer of JPEG streams agree on: the marker codes
// and the zig-zag order of a block's coefficients.
#pragma once

#include <cstdint>

// The byte after 0xFF that names a marker.
enum MarkerCode : uint8_t {
    kTem = 0x01,
    kSof0 = 0xC0, kSof1 = 0xC1, kSof2 = 0xC2, kSof3 = 0xC3, kDht = 0xC4, kDac = 0xCC,
    kRst0 = 0xD0, kRst7 = 0xD7,
    kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kDqt = 0xDB, kDnl = 0xDC, kDri = 0xDD,
    kApp0 = 0xE0, kApp14 = 0xEE,
};

// A marker as its two bytes read most significant first: 0xFFD8 for SOI.
constexpr uint16_t markerWord(MarkerCode code) { return static_cast<uint16_t>(0xFF00 | code); }
constexpr uint16_t kMarkerSof0 = markerWord(kSof0), kMarkerSof1 = markerWord(kSof1), kMarkerDht = markerWord(kDht),
                   kMarkerDac = markerWord(kDac), kMarkerRst0 = markerWord(kRst0), kMarkerSoi = markerWord(kSoi),
                   kMarkerEoi = markerWord(kEoi), kMarkerSos = markerWord(kSos), kMarkerDqt = markerWord(kDqt),
                   kMarkerDnl = markerWord(kDnl), kMarkerDri = markerWord(kDri), kMarkerApp0 = markerWord(kApp0);

// Entry k: the natural (row-major) position of the k-th coefficient in
// zig-zag order; the 4th coefficient sent (k = 3) sits at row 2, column 0.
inline constexpr uint8_t zigzagToNatural[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

// Entry n: the zig-zag index of natural position n, the inverse of the above.
inline constexpr uint8_t naturalToZigzag[64] = {
    0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42, 3,  8,  12, 17, 25, 30,
    41, 43, 9,  11, 18, 24, 31, 40, 44, 53, 10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38,
    46, 51, 55, 60, 21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63,
};
