#include "encoder/gather.h"

#include "context/jpeg_context.h"

namespace encoder {

namespace {

constexpr uint32_t kMcuRowPixels = 16;

bool isCodedSampling(uint32_t s) { return s == 0x11 || s == 0x12 || s == 0x21 || s == 0x22; }

GatherPlan planFor(const EncoderState& enc, uint32_t sampling, int32_t offset) {
    uint32_t h = sampling >> 4, v = sampling & 15;
    return GatherPlan{h, v, enc.maxH / h, enc.maxV / v, offset};
}

}  // namespace

bool selectGatherPlans(const JpegContext* context, GatherPlan plans[4]) {
    const EncoderState& enc = context->enc;
    switch (enc.componentCount) {
        case 1:
            // Samples arrive as bytes; the gather level-shifts them.
            if (!isCodedSampling(context->components[0].sampling)) return false;
            plans[0] = planFor(enc, context->components[0].sampling, 128);
            return true;
        case 3: {
            // Colour conversion (or the raw copy) has level-shifted already.
            uint32_t shape = enc.maxH + 2 * enc.maxV;  // 3: 8x8, 4: 16x8, 5: 8x16, 6: 16x16
            if (shape < 3 || shape > 6) return false;
            for (int c = 0; c < 3; ++c) {
                uint32_t s = context->components[c].sampling;
                if (!isCodedSampling(s) || (s >> 4) > enc.maxH || (s & 15) > enc.maxV) return false;
                plans[c] = planFor(enc, shape == 3 ? 0x11 : s, 0);
            }
            return true;
        }
        case 4:
            if (enc.samplingSignature != 0x11111111u) return false;
            for (int c = 0; c < 4; ++c) plans[c] = planFor(enc, 0x11, 128);
            return true;
        default:
            return false;
    }
}

int16_t* gatherBlocks(const GatherPlan& plan, const int16_t* mcu, uint32_t components, uint32_t component,
                      int16_t* out) {
    for (uint32_t by = 0; by < plan.blocksDown; ++by) {
        for (uint32_t bx = 0; bx < plan.blocksAcross; ++bx) {
            for (uint32_t y = 0; y < 8; ++y) {
                const int16_t* row = mcu + ((by * 8 + y) * plan.stepY * kMcuRowPixels) * components + component;
                for (uint32_t x = 0; x < 8; ++x)
                    *out++ = static_cast<int16_t>(row[(bx * 8 + x) * plan.stepX * components] - plan.offset);
            }
        }
    }
    return out;
}

}  // namespace encoder
