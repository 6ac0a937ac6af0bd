// SPDX-License-Identifier: MIT
#include "effect/params/param_ui_state.h"

#include <cstddef>
#include <iterator>

#include "effect/entry/suite_handler.h"
#include "effect/params/param_index.h"

namespace quorvel {

namespace {

/// By "Channels" from its second choice on: RGB, Blue, Green, Red.
constexpr int kSplitsByChannels[] = {kSplitRed | kSplitGreen | kSplitBlue, kSplitBlue, kSplitGreen, kSplitRed};

int splitsFor(A_long channelsChoice) {
    const auto k = static_cast<std::size_t>(static_cast<A_u_long>(channelsChoice) - 2U);
    return k < std::size(kSplitsByChannels) ? kSplitsByChannels[k] : 0;
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
