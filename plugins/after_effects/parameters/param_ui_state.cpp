// SPDX-License-Identifier: MIT
#include "plugins/after_effects/parameters/param_ui_state.h"

#include "effect/channel_plan.h"
#include "effect/numeric.h"
#include "plugins/after_effects/host_access/suite_handler.h"
#include "plugins/after_effects/parameters/param_index.h"

namespace quorvel {

namespace {

int splitsFor(A_long channelsChoice) {
    return curveSplits(wrappingAdd(channelsChoice, -1));
}

}  // namespace

PF_Err UIOnParamsUpdated(PF_InData* in_data, PF_OutData*, PF_ParamDef* params[]) {
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    PF_ParamDef scratch{};
    const A_long channels = getParam(in_data, params, PARAM_CHANNELS, &scratch)->u.pd.value;
    const PF_ParamUIFlags wanted = splitsFor(channels) != 0 ? PF_PUI_NONE : PF_PUI_DISABLED;

    const int index = getParamIndexFromId(PARAM_CURVE_PHASE_SPLIT);
    PF_ParamDef* split = params[index];
    if (split->ui_flags == wanted) {
        return PF_Err_NONE;
    }
    split->ui_flags = wanted;
    return suites.ParamUtilsSuite3()->PF_UpdateParamUI(in_data->effect_ref, index, split);
}

PF_Err UIOnUserChangedParam(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            const PF_UserChangedParamExtra*) {
    return UIOnParamsUpdated(in_data, out_data, params);
}

int curveSplitsEnabled(PF_InData* in_data, PF_ParamDef* params[], int) {
    PF_ParamDef scratch{};
    return splitsFor(getParam(in_data, params, PARAM_CHANNELS, &scratch)->u.pd.value);
}

}  // namespace quorvel
