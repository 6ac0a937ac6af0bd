// SPDX-License-Identifier: MIT
#include "plugins/after_effects/parameters/param_table.h"

#include "effect/parameters.h"
#include "effect/pictures/curve_graph.h"
#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/parameters/custom_controls.h"
#include "plugins/after_effects/parameters/param_index.h"

namespace quorvel {

namespace {

constexpr PF_Fixed fixed(double value) {
    return static_cast<PF_Fixed>(value * 65536.0);
}

/// The host's definition of one ordinary parameter; its name is not in it yet.
PF_ParamDef definitionOf(const Parameter& parameter) {
    PF_ParamDef def{};
    def.uu.id = static_cast<A_long>(parameter.id);
    switch (parameter.kind) {
        case ParameterKind::Choice:
            def.param_type = PF_Param_POPUP;
            def.u.pd.value = def.u.pd.dephault = static_cast<A_short>(parameter.defaultValue + 1);
            def.u.pd.num_choices = static_cast<A_short>(choiceCount(parameter));
            def.u.pd.u.namesptr = parameter.choices;
            break;
        case ParameterKind::Layer:
            def.param_type = PF_Param_LAYER;
            def.u.ld.dephault = PF_LayerDefault_NONE;
            break;
        case ParameterKind::Slider: {
            def.param_type = PF_Param_FLOAT_SLIDER;
            PF_FloatSliderDef& slider = def.u.fs_d;
            slider.valid_min = slider.slider_min = static_cast<float>(parameter.minimum);
            slider.valid_max = slider.slider_max = static_cast<float>(parameter.maximum);
            slider.value = parameter.defaultValue;
            slider.dephault = static_cast<float>(parameter.defaultValue);
            slider.precision = 3;
            slider.display_flags =
                parameter.unit == ParameterUnit::Fraction ? PF_ValueDisplayFlag_PERCENT : PF_ValueDisplayFlag_NONE;
            slider.curve_tolerance = 0.05F;
            break;
        }
        case ParameterKind::Count: {
            def.param_type = PF_Param_FIX_SLIDER;
            PF_FixedSliderDef& slider = def.u.fd;
            slider.valid_min = slider.slider_min = fixed(parameter.minimum);
            slider.valid_max = slider.slider_max = fixed(parameter.maximum);
            slider.value = slider.dephault = fixed(parameter.defaultValue);
            break;
        }
        case ParameterKind::Angle:
            def.param_type = PF_Param_ANGLE;
            def.flags = PF_ParamFlag_START_COLLAPSED;  // its dial is folded at first
            def.u.ad.value = def.u.ad.dephault = fixed(parameter.defaultValue);
            break;
    }
    return def;
}

/// Declares the ordinary parameters one after the other, up to the first that the host refuses; returns its error.
PF_Err declareParameters(PF_InData* in_data) {
    for (const Parameter& parameter : parameters()) {
        PF_ParamDef def = definitionOf(parameter);
        in_data->utils->ansi.strcpy(def.name, parameter.name);
        const PF_Err error = in_data->inter.add_param(in_data->effect_ref, -1, &def);
        if (error != PF_Err_NONE) {
            return error;
        }
        addParam(static_cast<int>(parameter.id));  // not the record's id: the host may have changed it
    }
    return PF_Err_NONE;
}

}  // namespace

PF_Err UIInitParams(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]) {
    int skipped = 0;

    // The custom controls count as declared whatever the host answers: the indices of the others follow from it.
    if (!isPremierePro(in_data) && hasCustomUI(in_data)) {
        AddUIHeaderImage(in_data, out_data, params, PARAM_HEADER_IMAGE);
        addParam(PARAM_HEADER_IMAGE);
    } else {
        ++skipped;
    }

    if (const PF_Err error = declareParameters(in_data)) {
        return error;
    }

    if (isPremierePro(in_data) || hasCustomUI(in_data)) {
        AddUICustomParam(in_data, out_data, params, PARAM_CURVE_GRAPH, "Curve Graph", kCurveGraphWidth,
                         kCurveGraphHeight, PF_ParamFlag_CANNOT_TIME_VARY);
        addParam(PARAM_CURVE_GRAPH);
    } else {
        ++skipped;
    }

    out_data->num_params = PARAM_COUNT - skipped;
    verifyNumParams(out_data->num_params);
    return PF_Err_NONE;
}

}  // namespace quorvel
