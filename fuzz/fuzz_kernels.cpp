// Differential fuzzing of the kernel sets: every kernel of every set this
// processor runs against the plain set's twin, on blocks and pixels the
// fuzzer chooses within each kernel's stated domain. Any difference in the
// bytes written (sentinels around them included) aborts.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "decoder/kernels.h"
#include "encoder/kernels.h"
#include "fuzz_input.h"

namespace {

constexpr uint8_t kSentinel = 0xA5;

// The payload as 16-bit values, or as samples of -128..127, cycling.
struct Payload {
    const uint8_t* data;
    size_t size;
    int16_t word(size_t i) const {
        if (size < 2) return 0;
        const size_t at = (2 * i) % (size - 1);
        return static_cast<int16_t>(data[at] | data[at + 1] << 8);
    }
    int16_t sample(size_t i) const { return size == 0 ? 0 : static_cast<int16_t>(static_cast<int8_t>(data[i % size])); }
    uint8_t byte(size_t i) const { return size == 0 ? 0 : data[i % size]; }
};

void mustMatch(const void* a, const void* b, size_t n) {
    if (std::memcmp(a, b, n) != 0) std::abort();
}

// Runs `run(set, out)` for the plain set and every other, comparing outputs.
template <typename Set, typename Run>
void compareSets(const std::vector<const Set*>& sets, size_t bytes, Run run) {
    std::vector<uint8_t> expected(bytes, kSentinel), actual(bytes);
    run(*sets.front(), expected.data());
    for (size_t s = 1; s < sets.size(); ++s) {
        std::memset(actual.data(), kSentinel, bytes);
        run(*sets[s], actual.data());
        mustMatch(expected.data(), actual.data(), bytes);
    }
}

void decoderKernel(uint8_t which, int32_t rows, bool tall, const Payload& p) {
    const std::vector<const DecoderKernels*> sets = runnableDecoderKernels();
    // Luma any 16-bit value (its low byte counts), chroma and the rounded
    // conversion's samples within -128..127, as the decoder hands them over.
    int16_t block[64], y[64], cb[64], cr[64], small[64];
    for (size_t i = 0; i < 64; ++i) {
        block[i] = p.word(i);
        y[i] = p.word(64 + i);
        cb[i] = p.sample(i);
        cr[i] = p.sample(64 + i);
        small[i] = p.sample(128 + i);
    }
    constexpr ptrdiff_t kStride = 27;
    const size_t pixels = 8 * kStride;
    switch (which % 8) {
        case 0:
        case 1:
            compareSets(sets, sizeof block, [&](const DecoderKernels& k, uint8_t* out) {
                std::memcpy(out, block, sizeof block);
                auto* samples = reinterpret_cast<int16_t*>(out);
                (which % 8 == 0 ? k.inverseDctClamp : k.inverseDct4x4Clamp)(samples);
            });
            break;
        case 2:
            compareSets(sets, pixels, [&](const DecoderKernels& k, uint8_t* out) { k.colourBlock(y, cb, cr, out, kStride, rows); });
            break;
        case 3:
            compareSets(sets, pixels, [&](const DecoderKernels& k, uint8_t* out) {
                k.roundedColourBlock(small, cb, cr, out, kStride, rows);
            });
            break;
        case 4:
            compareSets(sets, pixels, [&](const DecoderKernels& k, uint8_t* out) {
                k.colourBlockHalved(y, cb, cr, out, kStride, rows, tall);
            });
            break;
        case 5:
            compareSets(sets, pixels, [&](const DecoderKernels& k, uint8_t* out) {
                k.roundedColourBlockHalved(small, cb, cr, out, kStride, rows, tall);
            });
            break;
        case 6:
            compareSets(sets, 48, [&](const DecoderKernels& k, uint8_t* out) {
                k.colourRow8(y, cb, cr, out);
                k.colourRow8Wide(y, cb, cr, out + 24);
            });
            break;
        default:
            compareSets(sets, pixels, [&](const DecoderKernels& k, uint8_t* out) { k.greyBlock(y, out, kStride, rows); });
            break;
    }
}

void encoderKernel(uint8_t which, const Payload& p) {
    using namespace encoder;
    const std::vector<const EncoderKernels*> sets = runnableEncoderKernels();
    // Divisors 8 x 1..255, as the tables make them; samples level-shifted
    // bytes (-128..128); coefficients any 16-bit value.
    int32_t divisors[64];
    int16_t samples[64], coefficients[64];
    for (size_t i = 0; i < 64; ++i) {
        divisors[i] = 8 * (1 + p.byte(300 + i) % 255);
        samples[i] = static_cast<int16_t>(p.byte(i) == 255 && (p.byte(i + 1) & 1) ? 128 : p.byte(i) - 128);
        coefficients[i] = p.word(i);
    }
    QuantPlan plan;
    prepareQuantPlan(divisors, plan);
    uint8_t pixels[24 * 16];
    for (size_t i = 0; i < sizeof pixels; ++i) pixels[i] = p.byte(i);
    switch (which % 3) {
        case 0:
            compareSets(sets, 2 * 64 * 2 + 16, [&](const EncoderKernels& k, uint8_t* out) {
                int16_t q[64];
                uint64_t masks[2];
                masks[0] = k.transformQuantise(samples, plan, q);
                std::memcpy(out, q, sizeof q);
                masks[1] = k.quantise(coefficients, plan, q);
                std::memcpy(out + sizeof q, q, sizeof q);
                std::memcpy(out + 2 * sizeof q, masks, sizeof masks);
            });
            break;
        case 1:
            compareSets(sets, 6 * 16 * 2 * 3, [&](const EncoderKernels& k, uint8_t* out) {
                auto* s = reinterpret_cast<int16_t*>(out);
                // Sentinel bytes between the destinations stay as they are.
                const YccRowOut rows = {s, s + 16, s + 32, s + 48, s + 64, s + 80};
                k.yccPixels16(pixels, pixels + 24, rows);
                const YccRowOut even = {s + 96, s + 112, s + 128, s + 144, s + 160, s + 176};
                k.yccEven16(pixels + 48, even);
                const YccRowOut luma = {s + 192, s + 208, s + 224, s + 240, s + 256, s + 272};
                k.luma16(pixels + 96, pixels + 120, luma);
            });
            break;
        default:
            compareSets(sets, 128, [&](const EncoderKernels& k, uint8_t* out) {
                int16_t block[64];
                k.levelShiftBlock(pixels, 11, block);
                std::memcpy(out, block, sizeof block);
            });
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const uint8_t which = input.takeByte();
    const uint8_t shape = input.takeByte();
    const Payload payload{input.data(), input.size()};
    if (which & 0x80) {
        encoderKernel(which, payload);
    } else {
        decoderKernel(which, 1 + shape % 8, (shape & 0x80) != 0, payload);
    }
    return 0;
}
