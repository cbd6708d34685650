// Converter selection shared by the rectangle and planar entry points: for
// each component, how its blocks are taken from one MCU of pixels.
#pragma once

#include <cstdint>

struct JpegContext;

namespace encoder {

// One component's blocks of an MCU: blocksAcross x blocksDown blocks in
// raster order, each sample taken from every stepX-th pixel of every
// stepY-th row (the top-left sample of each group: no averaging), with
// `offset` subtracted (128 where the samples are not level-shifted yet).
struct GatherPlan {
    uint32_t blocksAcross, blocksDown;
    uint32_t stepX, stepY;
    int32_t offset;
};

// Chooses the plans for the context's components. Returns false for a
// configuration the encoder cannot convert: two components, one component
// with an uncoded sampling byte, four components not all 1x1.
[[nodiscard]] bool selectGatherPlans(const JpegContext* context, GatherPlan plans[4]);

}  // namespace encoder
