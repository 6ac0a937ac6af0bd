// SPDX-License-Identifier: MIT
// The module's two exported functions.
#include "plugins/after_effects/description/identity.h"
#include "plugins/after_effects/entry/about.h"
#include "plugins/after_effects/entry/global_setup.h"
#include "plugins/after_effects/entry/sequence_data.h"
#include "plugins/after_effects/entry/ui_event.h"
#include "plugins/after_effects/frames/frame.h"
#include "plugins/after_effects/parameters/param_table.h"
#include "plugins/after_effects/parameters/param_ui_state.h"
#include "sdk/pf_effect.h"

namespace quorvel {

namespace {

PF_Err dispatch(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output,
                void* extra) {
    switch (cmd) {
        case PF_Cmd_ABOUT:
            showAbout(in_data, out_data);
            return PF_Err_NONE;
        case PF_Cmd_GLOBAL_SETUP:
            GlobalSetup(in_data, out_data, params, output, identity::kOutFlags, identity::kOutFlags2);
            return PF_Err_NONE;
        case PF_Cmd_PARAMS_SETUP:
            return UIInitParams(in_data, out_data, params);
        case PF_Cmd_SEQUENCE_SETUP:
            return sequenceSetup(in_data, out_data);
        case PF_Cmd_SEQUENCE_RESETUP:
            return sequenceResetup(in_data, out_data);
        case PF_Cmd_SEQUENCE_FLATTEN:
            return sequenceFlatten(in_data, out_data);
        case PF_Cmd_SEQUENCE_SETDOWN:
            return sequenceSetdown(in_data, out_data);
        case PF_Cmd_GET_FLATTENED_SEQUENCE_DATA:
            return getFlattenedSequenceData(in_data, out_data);
        case PF_Cmd_RENDER:
            return render(in_data, out_data, params, output);
        case PF_Cmd_USER_CHANGED_PARAM:
            return UIOnUserChangedParam(in_data, out_data, params, static_cast<PF_UserChangedParamExtra*>(extra));
        case PF_Cmd_UPDATE_PARAMS_UI:
            return UIOnParamsUpdated(in_data, out_data, params);
        case PF_Cmd_EVENT:
            return uiEvent(in_data, out_data, params, static_cast<PF_EventExtra*>(extra));
        case PF_Cmd_SMART_PRE_RENDER:
            return smartPreRender(in_data, out_data, static_cast<PF_PreRenderExtra*>(extra));
        case PF_Cmd_SMART_RENDER:
            return smartRender(in_data, out_data, params, static_cast<PF_SmartRenderExtra*>(extra));
        default:
            return PF_Err_NONE;
    }
}

const A_u_char* text(const char* string) {
    return reinterpret_cast<const A_u_char*>(string);
}

}  // namespace

}  // namespace quorvel

/// The host's one way to send commands. Render commands may come on several threads at once, all others come on the
/// user-interface thread. A host error that a helper throws as an int becomes the result; no other exception is
/// caught, so a broken parameter table is noticed.
PF_EXPORT PF_Err EffectMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            PF_LayerDef* output, void* extra) {
    try {
        return quorvel::dispatch(cmd, in_data, out_data, params, output, extra);
    } catch (int error) {
        return error;
    }
}

/// Called once when the host looks for effects in the module.
PF_EXPORT PF_Err PluginDataEntryFunction(PF_PluginDataPtr inPtr, PF_PluginDataCB callback, SPBasicSuite*, const char*,
                                         const char*) {
    namespace identity = quorvel::identity;
    using quorvel::text;
    return callback(inPtr, text(identity::kName), text(identity::kMatchName), text(identity::kCategory),
                    text(identity::kEntryPoint), identity::kKind, identity::kApiMajor, identity::kApiMinor,
                    identity::kReservedInfo);
}
