// Standard mode: a progressive picture shown before its last scan. Its
// blocks have their DC, often coarse, and few or none of their AC
// coefficients, so drawn as coded each block is flat and the picture a
// mosaic. Seen from the DC terms of a block and its eight neighbours, the
// picture is smooth there, and a smooth surface has known low frequencies:
// those still missing are estimated from it, so an early pass shows a
// blurred picture. Coefficients the scans have given exactly are never
// touched, and an estimate stays within what the scans said of its
// coefficient (below the step of its point transform), so the complete
// picture is the coded one.
//
// The surface: across three blocks side by side with DC means mL, mC, mR
// (DC = 8 x the mean), the quadratic with those block means is
// f(x) = a + b x + c x^2 with b = (mR - mL) / 16 and c = (mL + mR - 2 mC) / 128
// (x in samples from the centre block's middle; a block's mean of x^2 is
// 5.25, of the neighbours' 69.25). Its DCT terms over the centre block:
//   F(1,0) = sqrt2 * b * S1,  S1 = sum (x - 3.5) cos((2x + 1) pi / 16) = -12.8847
//   F(2,0) = sqrt2 * c * S2,  S2 = sum (x - 3.5)^2 cos((2x + 1) pi / 8) = 25.2345
// and the saddle d x y through the four corner blocks (their means +-64 d)
// gives F(1,1) = d S1^2 / 4. In DC units: F(1,0) = 0.142357 (DCL - DCR),
// F(2,0) = 0.034851 (DCL + DCR - 2 DCC), F(1,1) = 0.020265 (DCUL - DCUR - DCDL
// + DCDR), the same down the columns. A left neighbour 8 levels brighter
// than the right one (DC terms 64 apart) gives F(1,0) = 9.1.
#include <cstring>

#include "decoder/standard/standard_decode.h"

namespace {

// The estimates' factors with 16 fraction bits.
constexpr int64_t kSlope = 9330;      // 0.142357
constexpr int64_t kCurve = 2284;      // 0.034851
constexpr int64_t kSaddle = 1328;     // 0.020265

// Zigzag positions 0..5 in natural order: DC, then (0,1), (1,0), (2,0), (1,1), (0,2) as row, column.
constexpr uint32_t kNatural[6] = {0, 1, 8, 16, 9, 2};

// The point transform to which the scans have given the coefficient at
// zigzag position k of block (bx, by): 0 exact, kNeverCoded not at all.
uint8_t bitsKnown(const StandardDecode* sd, uint32_t c, uint32_t bx, uint32_t by, uint32_t k) {
    const StandardCoverage& coverage = sd->coverage[c];
    uint8_t known = coverage.knownBits[k];
    if (coverage.partial && k >= coverage.ss && k <= coverage.se) {
        const StandardComponent& component = sd->components[c];
        const uint64_t unit = coverage.interleaved
                                  ? uint64_t{by / component.v} * sd->mcusPerRow + bx / component.h
                                  : uint64_t{by} * coverage.unitsAcross + bx;
        if (unit < coverage.firstLost || unit >= coverage.lostEnd) known = coverage.al;
    }
    return known;
}

// value / divisor, rounded half away from zero; divisor > 0.
int64_t divideRounded(int64_t value, int64_t divisor) {
    return value >= 0 ? (value + divisor / 2) / divisor : -((-value + divisor / 2) / divisor);
}

uint32_t clampIndex(int64_t i, uint32_t count) { return i < 0 ? 0 : (i >= count ? count - 1 : static_cast<uint32_t>(i)); }

}  // namespace

bool estimateMissingCoefficients(const StandardDecode* sd, uint32_t c, uint32_t bx, uint32_t by, int16_t* out) {
    const StandardComponent& component = sd->components[c];
    uint8_t known[6];
    bool missing = false;
    for (uint32_t k = 0; k < 6; ++k) {
        known[k] = bitsKnown(sd, c, bx, by, k);
        missing = missing || known[k] != 0;
    }
    // Without its DC a block has nothing to go on.
    if (!missing || known[0] == kNeverCoded) return false;
    const int16_t* block = component.coefficients + (size_t{by} * component.blocksWide + bx) * 64;
    std::memcpy(out, block, 64 * sizeof(int16_t));
    // The neighbours' DC terms, the edge blocks standing in for those beyond the picture.
    const uint32_t across = (component.width + 7) / 8, down = (component.height + 7) / 8;
    int64_t dc[3][3];
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const uint32_t nx = clampIndex(int64_t{bx} + dx, across), ny = clampIndex(int64_t{by} + dy, down);
            dc[dy + 1][dx + 1] = component.coefficients[(size_t{ny} * component.blocksWide + nx) * 64];
        }
    if (known[0] != 0) {
        // A coarse DC lies in [v, v + step - 1]: the neighbourhood's mean, kept in that range.
        int64_t sum = 0;
        for (const auto& row : dc)
            for (int64_t value : row) sum += value;
        const int64_t low = block[0], high = low + (int64_t{1} << known[0]) - 1;
        const int64_t mean = divideRounded(sum, 9);
        out[0] = static_cast<int16_t>(mean < low ? low : (mean > high ? high : mean));
    }
    const int64_t q0 = component.quant[0];
    auto dq = [&dc, q0](int row, int column) { return dc[row][column] * q0; };
    const int64_t estimates[6] = {0,
                                  kSlope * (dq(1, 0) - dq(1, 2)),
                                  kSlope * (dq(0, 1) - dq(2, 1)),
                                  kCurve * (dq(0, 1) + dq(2, 1) - 2 * dq(1, 1)),
                                  kSaddle * (dq(0, 0) - dq(0, 2) - dq(2, 0) + dq(2, 2)),
                                  kCurve * (dq(1, 0) + dq(1, 2) - 2 * dq(1, 1))};
    for (uint32_t k = 1; k < 6; ++k) {
        const uint32_t position = kNatural[k];
        const int64_t step = component.quant[position];
        // Given exactly, or non-zero at some precision: the scans' value stands.
        if (known[k] == 0 || block[position] != 0 || step == 0) continue;
        int64_t value = divideRounded(estimates[k], step << 16);
        // Coded as zero at point transform al: its magnitude is below 2^al.
        if (known[k] != kNeverCoded) {
            const int64_t limit = (int64_t{1} << known[k]) - 1;
            value = value < -limit ? -limit : (value > limit ? limit : value);
        }
        out[position] = static_cast<int16_t>(value < -32768 ? -32768 : (value > 32767 ? 32767 : value));
    }
    return true;
}
