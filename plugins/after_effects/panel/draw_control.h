// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "sdk/pf_effect.h"

namespace quorvel {

/// One custom-drawn control. Made anew for every event; the ids name parameters by their stable ids, so that one
/// drawing routine can serve controls bound to different parameters.
struct drawControlData {
    std::int32_t paramIndex;  ///< the control's current host index
    std::int32_t width;       ///< of the picture that drawFn fills, in pixels
    std::int32_t height;
    /// Fills width x height straight-alpha BGRA pixels; false when it could not draw.
    bool (*drawFn)(std::uint8_t* pixels, PF_InData* in_data, PF_ParamDef* params[], drawControlData* control);
    /// Which of the three shifted curves to draw; null for a control without them.
    std::int32_t (*splitsFn)(PF_InData* in_data, PF_ParamDef* params[], int unused);
    std::int32_t curveTypeId;
    std::int32_t phaseId;
    std::int32_t raiseId;  ///< a slider that lifts the curve towards the top; -1 for none
    std::int32_t smoothnessId;
    std::int32_t splitId;
};

}  // namespace quorvel
