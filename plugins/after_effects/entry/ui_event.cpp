// SPDX-License-Identifier: MIT
#include "plugins/after_effects/entry/ui_event.h"

#include "effect/pictures/banner.h"
#include "effect/pictures/curve_graph.h"
#include "plugins/after_effects/entry/about.h"
#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/panel/curve_graph.h"
#include "plugins/after_effects/panel/custom_ui_event.h"
#include "plugins/after_effects/parameters/param_index.h"
#include "plugins/after_effects/parameters/param_ui_state.h"

namespace quorvel {

PF_Err uiEvent(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_EventExtra* extra) {
    if (!hasCustomUI(in_data) && !isPremierePro(in_data)) {
        return PF_Err_NONE;
    }
    drawControlData graph{getParamIndexFromId(PARAM_CURVE_GRAPH),
                          kCurveGraphWidth,
                          kCurveGraphHeight,
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
    const PF_Err error = handleCustomUIEvent(in_data, out_data, params, bannerPixels, extra, headerIndex, bannerPixels,
                                             &aboutRequested, 1, controls);
    if (aboutRequested != 0) {
        showAbout(in_data, out_data);
        return PF_Err_NONE;
    }
    return error;
}

}  // namespace quorvel
