// Chooses the encoder's inner loops once per process, by processor, and
// codes blocks through them.
#include "encoder/kernels.h"

#include <atomic>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"

namespace encoder {

namespace {

const EncoderKernels kScalar = {"scalar", true, forwardDct, quantiseScalar, yccRow8Scalar};
#if KELJPEG_X86_KERNELS
const EncoderKernels kSse2 = {"sse2", false, forwardDctSse2, quantiseSse2, yccRow8Sse2};
const EncoderKernels kAvx2 = {"avx2", false, forwardDctAvx2, quantiseAvx2, yccRow8Avx2};
#endif
#if KELJPEG_NEON_KERNELS
const EncoderKernels kNeon = {"neon", false, forwardDctNeon, quantiseNeon, yccRow8Neon};
#endif

const EncoderKernels& bestForProcessor() {
    switch (bestSimdLevel()) {
#if KELJPEG_X86_KERNELS
        case SimdLevel::Avx2: return kAvx2;
        case SimdLevel::Sse2: return kSse2;
#endif
#if KELJPEG_NEON_KERNELS
        case SimdLevel::Neon: return kNeon;
#endif
        default: return kScalar;
    }
}

std::atomic<const EncoderKernels*> chosen{nullptr};

constexpr uint8_t kZeroRunLength = 0xF0;
constexpr uint8_t kEndOfBlock = 0x00;
constexpr int32_t kLimit = 2047;  // the magnitude table's range; values beyond are clamped

// Size category and appended bits, as the magnitude table holds them.
inline void putValue(BitstreamFile* bf, const HuffmanCode& entry, int32_t v) {
    if (v > kLimit) v = kLimit;
    if (v < -kLimit) v = -kLimit;
    uint32_t magnitude = static_cast<uint32_t>(v < 0 ? -v : v);
    uint32_t size = magnitude ? 32u - static_cast<uint32_t>(__builtin_clz(magnitude)) : 0u;
    uint32_t bits = v >= 0 ? static_cast<uint32_t>(v) : static_cast<uint32_t>(v - 1) & ((1u << size) - 1);
    putBits(bf, (entry.code << size) | bits, entry.length + size);
}

}  // namespace

const EncoderKernels& encoderKernels() {
    const EncoderKernels* kernels = chosen.load(std::memory_order_acquire);
    if (!kernels) {
        kernels = scalarKernelsRequested() ? &kScalar : &bestForProcessor();
        chosen.store(kernels, std::memory_order_release);
    }
    return *kernels;
}

void forceScalarEncoderKernels(bool scalar) {
    chosen.store(scalar ? &kScalar : &bestForProcessor(), std::memory_order_release);
}

uint64_t quantiseScalar(const int16_t* zigzag, const int32_t* divisors, int32_t* q) {
    uint64_t nonZero = 0;
    q[0] = quantizeDc(zigzag[0], divisors[0]);
    if (q[0] != 0) nonZero = 1;
    for (int k = 1; k < 64; ++k) {
        q[k] = quantizeAc(zigzag[k], divisors[k]);
        if (q[k] != 0) nonZero |= uint64_t{1} << k;
    }
    return nonZero;
}

void yccRow8Scalar(const uint8_t* bgr, int16_t* out) {
    for (int p = 0; p < 8; ++p, bgr += 3, out += 3) {
        int32_t b = bgr[0], g = bgr[1], r = bgr[2];
        out[0] = static_cast<int16_t>((1225 * r + 2404 * g + 467 * b - 522240) >> 12);
        out[1] = static_cast<int16_t>((2048 * b - 1357 * g - 691 * r + 2048) >> 12);
        out[2] = static_cast<int16_t>((2048 * r - 1715 * g - 333 * b + 2048) >> 12);
    }
}

void codeBlockFast(BitstreamFile* bf, ComponentRecord& record, const int16_t block[64],
                   const EncoderKernels& kernels) {
    alignas(32) int16_t zigzag[64];
    alignas(32) int32_t q[64];
    for (int k = 0; k < 64; ++k) zigzag[k] = block[zigzagToNatural[k]];
    uint64_t nonZero = kernels.quantise(zigzag, record.quant, q) & ~uint64_t{1};

    int32_t diff = q[0] - record.dcPredictor;
    record.dcPredictor = q[0];
    int32_t clamped = diff > kLimit ? kLimit : (diff < -kLimit ? -kLimit : diff);
    uint32_t dcSize = clamped ? 32u - static_cast<uint32_t>(__builtin_clz(static_cast<uint32_t>(
                                         clamped < 0 ? -clamped : clamped)))
                              : 0u;
    putValue(bf, record.dcCodeTable[dcSize], diff);

    const HuffmanCode* ac = record.acCodeTable;
    int last = 0;
    while (nonZero) {
        int k = __builtin_ctzll(nonZero);
        nonZero &= nonZero - 1;
        uint32_t run = static_cast<uint32_t>(k - last - 1);
        for (; run > 15; run -= 16) putBits(bf, ac[kZeroRunLength].code, ac[kZeroRunLength].length);
        int32_t v = q[k];
        int32_t c = v > kLimit ? kLimit : (v < -kLimit ? -kLimit : v);
        uint32_t size = 32u - static_cast<uint32_t>(__builtin_clz(static_cast<uint32_t>(c < 0 ? -c : c)));
        putValue(bf, ac[(run << 4) | size], v);
        last = k;
    }
    if (last != 63) putBits(bf, ac[kEndOfBlock].code, ac[kEndOfBlock].length);
}

}  // namespace encoder
