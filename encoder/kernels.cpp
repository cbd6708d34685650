// Chooses the encoder's inner loops once per process, by processor, and
// holds the plain twins the vector kernels are measured against.
#include "encoder/kernels.h"

#include <array>
#include <cstring>

#include "encoder/block_coder.h"
#include "encoder/forward_dct.h"
#include "runtime/bit_scan.h"

namespace encoder {

namespace {

const EncoderKernels kScalar = {"scalar",          codeMcuBlocksPlain,         transformQuantiseScalar, quantiseScalar,
                                yccPixels16Scalar, yccEven16Scalar, luma16Scalar,          levelShiftBlockScalar};
#if KELJPEG_X86_KERNELS
const EncoderKernels kSse2 = {"sse2",          codeMcuBlocksQuick,         transformQuantiseSse2, quantiseSse2,
                              yccPixels16Sse2, yccEven16Sse2, luma16Sse2,            levelShiftBlockSse2};
const EncoderKernels kAvx2 = {"avx2",          codeMcuBlocksQuick,         transformQuantiseAvx2, quantiseAvx2,
                              yccPixels16Avx2, yccEven16Avx2, luma16Avx2,            levelShiftBlockSse2};
#endif
#if KELJPEG_NEON_KERNELS
const EncoderKernels kNeon = {"neon",          codeMcuBlocksQuick,         transformQuantiseNeon, quantiseNeon,
                              yccPixels16Neon, yccEven16Neon, luma16Neon,            levelShiftBlockNeon};
#endif

#if KELJPEG_X86_KERNELS
const KernelSets<EncoderKernels> kSets = {&kScalar, &kSse2, &kAvx2, nullptr, {nullptr}};
#elif KELJPEG_NEON_KERNELS
const KernelSets<EncoderKernels> kSets = {&kScalar, nullptr, nullptr, &kNeon, {nullptr}};
#else
const KernelSets<EncoderKernels> kSets = {&kScalar, nullptr, nullptr, nullptr, {nullptr}};
#endif

// For each nibble of a column-order mask (bits 4i..4i+3) and each of its
// 16 values, the same coefficients' bits in zig-zag order.
using NibbleTables = std::array<std::array<uint64_t, 16>, 16>;
constexpr NibbleTables buildNibbleTables() {
    uint8_t zigzagOf[64] = {};
    for (int k = 0; k < 64; ++k) zigzagOf[kZigzagColumnOrder.position[k]] = static_cast<uint8_t>(k);
    NibbleTables tables{};
    for (int i = 0; i < 16; ++i)
        for (int v = 0; v < 16; ++v)
            for (int b = 0; b < 4; ++b)
                if (v & (1 << b)) tables[i][v] |= uint64_t{1} << zigzagOf[4 * i + b];
    return tables;
}
constexpr NibbleTables kNibbleTables = buildNibbleTables();

inline void yccInto(const uint8_t* bgr, int16_t* y, int16_t* cb, int16_t* cr) {
    YccSample s = yccOf(bgr);
    *y = s.y;
    *cb = s.cb;
    *cr = s.cr;
}

}  // namespace

const EncoderKernels& encoderKernels() { return chosenSet(kSets); }

std::vector<const EncoderKernels*> runnableEncoderKernels() { return runnableSets(kSets); }

void forceScalarEncoderKernels(bool scalar) { forcePlainSet(kSets, scalar); }

void prepareQuantPlan(const int32_t zigzagDivisors[64], QuantPlan& plan) {
    for (int k = 0; k < 64; ++k) {
        const uint32_t p = kZigzagColumnOrder.position[k];
        const uint32_t d = static_cast<uint32_t>(zigzagDivisors[k]);
        const uint32_t l = bitLength(d) - 1;
        const uint32_t power = uint32_t{1} << (16 + l);
        const uint32_t up = (power + d - 1) / d;
        uint32_t reciprocal = up, increment = 0;
        if (up > 0xFFFF || up * d - power > (uint32_t{1} << l)) {
            reciprocal = power / d > 0xFFFF ? 0xFFFF : power / d;  // 0xFFFF only for powers of two
            increment = 1;
        }
        plan.divisors[p] = static_cast<int32_t>(d);
        plan.bias[p] = static_cast<uint16_t>(d / 2 + increment);
        plan.reciprocal[p] = static_cast<uint16_t>(reciprocal);
        plan.scale[p] = static_cast<uint16_t>(uint32_t{1} << (16 - l));
    }
}

uint64_t zigzagMaskOf(uint64_t columnOrderMask) {
    uint64_t mask = 0;
    for (int i = 0; i < 16; ++i) mask |= kNibbleTables[i][(columnOrderMask >> (4 * i)) & 15];
    return mask;
}

uint64_t quantiseScalar(const int16_t coefficients[64], const QuantPlan& plan, int16_t q[64]) {
    for (int p = 0; p < 64; ++p) {
        int32_t v = quantizeAc(coefficients[p], plan.divisors[p]);  // the same rounding as quantizeDc
        if (p != 0) v = v > kLargestAc ? kLargestAc : (v < -kLargestAc ? -kLargestAc : v);
        q[p] = static_cast<int16_t>(v);
    }
    uint64_t nonZero = 0;
    for (int k = 0; k < 64; ++k)
        if (q[kZigzagColumnOrder.position[k]] != 0) nonZero |= uint64_t{1} << k;
    return nonZero;
}

uint64_t transformQuantiseScalar(const int16_t samples[64], const QuantPlan& plan, int16_t q[64]) {
    int16_t block[64], columns[64];
    std::memcpy(block, samples, sizeof block);
    forwardDct(block);
    for (uint32_t n = 0; n < 64; ++n) columns[columnOrderOf(n)] = block[n];
    return quantiseScalar(columns, plan, q);
}

void yccPixels16Scalar(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    for (int p = 0; p < 8; ++p) {
        yccInto(a + 3 * p, out.yA + p, out.cbA + p, out.crA + p);
        yccInto(b + 3 * p, out.yB + p, out.cbB + p, out.crB + p);
    }
}

void yccEven16Scalar(const uint8_t* bgr, const YccRowOut& out) {
    for (int p = 0; p < 16; ++p) {
        int16_t* y = p < 8 ? out.yA + p : out.yB + (p - 8);
        if (p % 2 == 0)
            yccInto(bgr + 3 * p, y, out.cbA + p / 2, out.crA + p / 2);
        else
            *y = yccOf(bgr + 3 * p).y;
    }
}

void luma16Scalar(const uint8_t* a, const uint8_t* b, const YccRowOut& out) {
    for (int p = 0; p < 8; ++p) {
        out.yA[p] = yccOf(a + 3 * p).y;
        out.yB[p] = yccOf(b + 3 * p).y;
    }
}

void levelShiftBlockScalar(const uint8_t* bytes, intptr_t stride, int16_t block[64]) {
    for (int y = 0; y < 8; ++y, bytes += stride)
        for (int x = 0; x < 8; ++x) block[8 * y + x] = static_cast<int16_t>(bytes[x] - 128);
}

}  // namespace encoder
