// SPDX-License-Identifier: MIT
#include "plugins/after_effects/parameters/custom_controls.h"

#include "effect/pictures/banner.h"
#include "plugins/after_effects/host_access/host_query.h"

namespace quorvel {

namespace {

/// Premiere Pro shows a custom control only for arbitrary data; After Effects takes a parameter without a value.
/// Premiere Pro's arbitrary data carries a 16-bit id, and both id fields must agree.
PF_ParamDef controlDefinition(const PF_InData* in_data, int id) {
    PF_ParamDef def{};
    if (isPremierePro(in_data)) {
        const auto shortId = static_cast<A_short>(id);
        def.param_type = PF_Param_ARBITRARY_DATA;
        def.uu.id = shortId;
        def.u.arb_d.id = shortId;
    } else {
        def.param_type = PF_Param_NO_DATA;
        def.uu.id = id;
    }
    return def;
}

PF_Err addWithUI(PF_InData* in_data, PF_ParamDef& def, PF_CustomUIInfo& info) {
    const PF_Err error = in_data->inter.add_param(in_data->effect_ref, -1, &def);
    return error != PF_Err_NONE ? error : in_data->inter.register_ui(in_data->effect_ref, &info);
}

}  // namespace

PF_Err AddUIHeaderImage(PF_InData* in_data, PF_OutData*, PF_ParamDef*[], int id) {
    PF_ParamDef def = controlDefinition(in_data, id);
    def.ui_width = kBannerWidth;
    def.ui_height = kBannerHeight;
    def.flags = PF_ParamFlag_CANNOT_TIME_VARY | PF_ParamFlag_SUPERVISE;
    def.ui_flags = PF_PUI_TOPIC;
    if (isPremierePro(in_data)) {
        def.flags |= PF_ParamFlag_SKIP_REVEAL_WHEN_UNHIDDEN;
        def.ui_flags = PF_PUI_TOPIC | PF_PUI_CONTROL | PF_PUI_DONT_ERASE_TOPIC;
    } else if (isVersion13_23(in_data)) {
        def.ui_flags = PF_PUI_CONTROL;
        in_data->utils->ansi.strcpy(def.name, "About");
    }

    PF_CustomUIInfo info{};
    info.events = 255;  // every kind of event
    return addWithUI(in_data, def, info);
}

PF_Err AddUICustomParam(PF_InData* in_data, PF_OutData*, PF_ParamDef*[], int id, const char* name, int width,
                        int height, int flags) {
    PF_ParamDef def = controlDefinition(in_data, id);
    def.ui_flags = PF_PUI_CONTROL;
    def.ui_width = static_cast<A_short>(width);
    def.ui_height = static_cast<A_short>(height);
    in_data->utils->ansi.strcpy(def.name, name);
    def.flags = flags;

    PF_CustomUIInfo info{};
    info.events = PF_CustomEFlag_EFFECT | PF_CustomEFlag_PREVIEW;
    info.comp_ui_width = info.layer_ui_width = info.preview_ui_width = width;
    info.comp_ui_height = info.layer_ui_height = info.preview_ui_height = height;
    info.comp_ui_alignment = info.layer_ui_alignment = PF_UIAlignment_TOP;
    return addWithUI(in_data, def, info);
}

}  // namespace quorvel
