// SPDX-License-Identifier: MIT
#include "effect/entry/ui_event.h"

#include "effect/entry/about.h"
#include "effect/entry/host_query.h"
#include "effect/params/param_index.h"
#include "effect/params/param_ui_state.h"
#include "effect/ui/curve_graph.h"
#include "effect/ui/custom_ui_event.h"
#include "effect/ui/header_pixels.h"

namespace quorvel {

PF_Err uiEvent(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_EventExtra* extra) {
    if (!hasCustomUI(in_data) && !isPremierePro(in_data)) {
        return PF_Err_NONE;
    }
    drawControlData graph{getParamIndexFromId(PARAM_CURVE_GRAPH),
                          kGraphWidth,
                          kGraphHeight,
                          CurveGraphDraw,
                          curveSplitsEnabled,
                          PARAM_CURVE,
                          PARAM_CURVE_PHASE,
                          -1,
                          PARAM_CURVE_SMOOTHNESS,
                          PARAM_CURVE_PHASE_SPLIT};
    drawControlData* const controls[] = {&graph};
    const int headerIndex = getParamIndexFromId(PARAM_HEADER_IMAGE);
    int aboutRequested = 0;
    const PF_Err error = handleCustomUIEvent(in_data, out_data, params, headerImagePixels, extra, headerIndex,
                                             headerImagePixels, &aboutRequested, 1, controls);
    if (aboutRequested != 0) {
        showAbout(in_data, out_data);
        return PF_Err_NONE;
    }
    return error;
}

}  // namespace quorvel
