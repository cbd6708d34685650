// Chooses the encoder's inner loops once per process, by processor, and
// codes blocks through them.
#include "encoder/kernels.h"

#include <atomic>

#include "context/jpeg_context.h"
#include "encoder/bit_writer.h"
#include "encoder/encode_tables.h"
#include "encoder/forward_dct.h"
#include "runtime/bit_scan.h"

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

// The block's coefficients in zig-zag order, one move each. (GCC would
// otherwise assemble vectors from the 64 known positions lane by lane and
// store them through the stack, at several times the cost.)
#if defined(__GNUC__) && !defined(__clang__)
__attribute__((optimize("no-tree-slp-vectorize")))
#endif
void gatherZigzag(const int16_t* block, int16_t* zigzag) {
    for (int k = 0; k < 64; ++k) zigzag[k] = block[zigzagToNatural[k]];
}

// The bit writer's accumulator held in locals for one block, in 64 bits, so
// that the codes go in without a trip through memory; every 32 bits leave as
// the word putBits would write at that point, so the bytes are the same.
struct LocalWriter {
    BitstreamFile* bf;
    uint64_t pending;  // bits not written yet, at the low end
    uint32_t count;    // how many: 0..31 between puts

    explicit LocalWriter(BitstreamFile* writer)
        : bf(writer), pending(writer->bitBuffer), count(32 - writer->bitCount) {}
    // The low `length` bits of value (1..32, nothing above them set).
    void put(uint32_t value, uint32_t length) {
        pending = (pending << length) | value;
        count += length;
        if (count >= 32) {
            count -= 32;
            bf->bitBuffer = static_cast<uint32_t>(pending >> count);
            writeWord(bf);
            pending &= (uint64_t{1} << count) - 1;
        }
    }
    void save() const {
        bf->bitBuffer = static_cast<uint32_t>(pending);
        bf->bitCount = 32 - count;
    }
};

// Size category and appended bits, as the magnitude table holds them.
inline void putValue(LocalWriter& out, const HuffmanCode& entry, int32_t v) {
    if (v > kLimit) v = kLimit;
    if (v < -kLimit) v = -kLimit;
    uint32_t size = bitLength(static_cast<uint32_t>(v < 0 ? -v : v));
    uint32_t bits = v >= 0 ? static_cast<uint32_t>(v) : static_cast<uint32_t>(v - 1) & ((1u << size) - 1);
    out.put((entry.code << size) | bits, entry.length + size);
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
    gatherZigzag(block, zigzag);
    uint64_t nonZero = kernels.quantise(zigzag, record.quant, q) & ~uint64_t{1};

    LocalWriter out(bf);
    const int32_t diff = q[0] - record.dcPredictor;
    record.dcPredictor = q[0];
    const int32_t clamped = diff > kLimit ? kLimit : (diff < -kLimit ? -kLimit : diff);
    putValue(out, record.dcCodeTable[bitLength(static_cast<uint32_t>(clamped < 0 ? -clamped : clamped))], diff);

    const HuffmanCode* ac = record.acCodeTable;
    uint32_t last = 0;
    while (nonZero) {
        const uint32_t k = lowestSetBit(nonZero);
        nonZero &= nonZero - 1;
        uint32_t run = k - last - 1;
        for (; run > 15; run -= 16) out.put(ac[kZeroRunLength].code, ac[kZeroRunLength].length);
        const int32_t v = q[k];
        const int32_t c = v > kLimit ? kLimit : (v < -kLimit ? -kLimit : v);
        putValue(out, ac[(run << 4) | bitLength(static_cast<uint32_t>(c < 0 ? -c : c))], v);
        last = k;
    }
    if (last != 63) out.put(ac[kEndOfBlock].code, ac[kEndOfBlock].length);
    out.save();
}

}  // namespace encoder
