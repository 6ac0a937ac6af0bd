// SPDX-License-Identifier: MIT
#include "plugins/after_effects/panel/curve_graph.h"

#include "effect/numeric.h"
#include "effect/pictures/curve_graph.h"
#include "plugins/after_effects/parameters/param_index.h"

namespace quorvel {

bool CurveGraphDraw(std::uint8_t* pixels, PF_InData* in_data, PF_ParamDef* params[], drawControlData* control) {
    PF_ParamDef scratch{};
    const auto read = [&](int id) -> const PF_ParamDefUnion& { return getParam(in_data, params, id, &scratch)->u; };
    // The order of these reads is what hosts see; one scratch definition serves them all.
    CurveGraph graph{};
    graph.curveType = wrappingAdd(read(control->curveTypeId).pd.value, -1);
    graph.phase = read(control->phaseId).ad.value;
    graph.raise = control->raiseId == -1 ? 0.0F : static_cast<float>(read(control->raiseId).fs_d.value);
    graph.smoothness = static_cast<float>(read(control->smoothnessId).fs_d.value);
    graph.splits = control->splitsFn != nullptr ? control->splitsFn(in_data, params, 4) : 0;
    if (graph.splits != 0) {
        graph.split = read(control->splitId).ad.value;
    }
    return drawCurveGraph(pixels, graph);
}

}  // namespace quorvel
