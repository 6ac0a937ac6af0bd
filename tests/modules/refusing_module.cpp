// SPDX-License-Identifier: MIT
// A module that declares a slider and a layer, and refuses to render, or whatever QUORVEL_REFUSED_COMMAND says instead.
// Its message says what it was asked for.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sdk/pf_effect.h"

namespace {

const A_u_char* bytes(const char* text) {
    return reinterpret_cast<const A_u_char*>(text);
}

PF_Err declareParameters(PF_InData* in_data, PF_OutData* out_data) {
    PF_ParamDef tiles{};
    tiles.uu.id = 1;
    tiles.param_type = PF_Param_FIX_SLIDER;
    std::strcpy(tiles.name, "Tile Count (rough)");
    tiles.u.fd.valid_min = tiles.u.fd.slider_min = 3 << 16;
    tiles.u.fd.valid_max = tiles.u.fd.slider_max = 7 << 16;
    tiles.u.fd.value = tiles.u.fd.dephault = 5 << 16;
    PF_ParamDef guide{};
    guide.uu.id = 2;
    guide.param_type = PF_Param_LAYER;
    std::strcpy(guide.name, "Guide");
    guide.u.ld.dephault = PF_LayerDefault_NONE;
    out_data->num_params = 3;
    const PF_Err error = in_data->inter.add_param(in_data->effect_ref, -1, &tiles);
    return error != PF_Err_NONE ? error : in_data->inter.add_param(in_data->effect_ref, -1, &guide);
}

PF_LRect areaOf(const PF_LayerDef& world) {
    return {world.origin_x, world.origin_y, world.origin_x + world.width, world.origin_y + world.height};
}

/// What the host wants to have rendered, and what it has of the input, as the command says it.
struct Areas {
    PF_LRect output{}, input{};
};

Areas areasOf(PF_Cmd cmd, const PF_InData& in, PF_ParamDef* const params[], const PF_LayerDef* output, void* extra) {
    if (cmd == PF_Cmd_SMART_PRE_RENDER) {
        const auto& preRender = *static_cast<PF_PreRenderExtra*>(extra);
        const PF_RenderRequest& request = preRender.input->output_request;
        PF_CheckoutResult input{};
        preRender.cb->checkout_layer(in.effect_ref, 0, 1, &request, in.current_time, in.time_step, in.time_scale,
                                     &input);
        return {request.rect, input.max_result_rect};
    }
    return cmd == PF_Cmd_RENDER ? Areas{areaOf(*output), areaOf(params[0]->u.ld)} : Areas{};
}

}  // namespace

PF_EXPORT PF_Err PluginDataEntryFunction(PF_PluginDataPtr host, PF_PluginDataCB callback, SPBasicSuite*, const char*,
                                         const char*) {
    return callback(host, bytes("Refusing"), bytes("Refusing"), bytes("Tests"), bytes("EffectMain"),
                    PF_FourCharCode("eFKT"), 13, 27, 8);
}

PF_EXPORT PF_Err EffectMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            PF_LayerDef* output, void* extra) {
    const char* chosen = std::getenv("QUORVEL_REFUSED_COMMAND");
    const bool refused =
        chosen != nullptr ? std::atoi(chosen) == cmd : cmd == PF_Cmd_RENDER || cmd == PF_Cmd_SMART_PRE_RENDER;
    if (refused) {
        out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        const auto [area, input] = areasOf(cmd, *in_data, params, output, extra);
        std::snprintf(out_data->return_msg, sizeof out_data->return_msg,
                      "No wish to draw %d,%d to %d,%d of %d,%d to %d,%d at 1/%u by 1/%u", area.left, area.top,
                      area.right, area.bottom, input.left, input.top, input.right, input.bottom,
                      in_data->downsample_x.den, in_data->downsample_y.den);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    return cmd == PF_Cmd_PARAMS_SETUP ? declareParameters(in_data, out_data) : PF_Err_NONE;
}
