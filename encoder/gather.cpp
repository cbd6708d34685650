#include "encoder/gather.h"

#include "context/jpeg_context.h"

namespace encoder {

namespace {

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

}  // namespace encoder
