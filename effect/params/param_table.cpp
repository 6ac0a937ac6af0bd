// SPDX-License-Identifier: MIT
#include "effect/params/param_table.h"

#include "effect/entry/host_query.h"
#include "effect/params/custom_controls.h"
#include "effect/params/param_index.h"

namespace quorvel {

namespace {

constexpr char kChannelChoices[] = "Luminosity|RGB|Blue|Green|Red|Alpha";
constexpr char kCurveChoices[] = "Linear Ramp Up|Linear Ramp Down|Triangle Wave|Sine Wave|Exp Up|Exp Down";

constexpr PF_Fixed fixed(int whole) {
    return whole * 65536;
}

/// Declares ordinary parameters one after the other and stops at the first that the host refuses.
class Declaration {
public:
    explicit Declaration(PF_InData* in_data) : in_data_(in_data) {}

    void popup(int id, const char* name, A_short choices, const char* texts) {
        PF_ParamDef def = definition(id, PF_Param_POPUP);
        def.u.pd.value = 1;
        def.u.pd.dephault = 1;
        def.u.pd.num_choices = choices;
        def.u.pd.u.namesptr = texts;
        add(def, name);
    }

    void layer(int id, const char* name) {
        PF_ParamDef def = definition(id, PF_Param_LAYER);
        def.u.ld.dephault = PF_LayerDefault_NONE;
        add(def, name);
    }

    void floatSlider(int id, const char* name, float maximum, float value, PF_ValueDisplayFlags display) {
        PF_ParamDef def = definition(id, PF_Param_FLOAT_SLIDER);
        PF_FloatSliderDef& slider = def.u.fs_d;
        slider.valid_max = slider.slider_max = maximum;
        slider.value = static_cast<double>(value);
        slider.dephault = value;
        slider.precision = 3;
        slider.display_flags = display;
        slider.curve_tolerance = 0.05F;
        add(def, name);
    }

    /// Whole numbers from 1 to 32 on a fixed-point slider.
    void countSlider(int id, const char* name, int value) {
        PF_ParamDef def = definition(id, PF_Param_FIX_SLIDER);
        PF_FixedSliderDef& slider = def.u.fd;
        slider.valid_min = slider.slider_min = fixed(1);
        slider.valid_max = slider.slider_max = fixed(32);
        slider.value = slider.dephault = fixed(value);
        add(def, name);
    }

    /// 0 degrees, its dial folded at first.
    void angle(int id, const char* name) {
        PF_ParamDef def = definition(id, PF_Param_ANGLE);
        def.flags = PF_ParamFlag_START_COLLAPSED;
        add(def, name);
    }

    PF_Err error() const { return error_; }

private:
    static PF_ParamDef definition(int id, PF_ParamType type) {
        PF_ParamDef def{};
        def.param_type = type;
        def.uu.id = id;
        return def;
    }

    void add(PF_ParamDef& def, const char* name) {
        if (error_ == PF_Err_NONE) {
            in_data_->utils->ansi.strcpy(def.name, name);
            error_ = in_data_->inter.add_param(in_data_->effect_ref, -1, &def);
            if (error_ == PF_Err_NONE) {
                addParam(def.uu.id);
            }
        }
    }

    PF_InData* in_data_;
    PF_Err error_ = PF_Err_NONE;
};

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

    Declaration declare(in_data);
    declare.popup(PARAM_CHANNELS, "Channels", 6, kChannelChoices);
    declare.layer(PARAM_INTENSITY_SOURCE, "Intensity Source");
    declare.floatSlider(PARAM_MOSAIC_INTENSITY, "Mosaic Intensity", 1.0F, 0.25F, PF_ValueDisplayFlag_PERCENT);
    declare.countSlider(PARAM_GRID_WIDTH, "Grid Width", 16);
    declare.countSlider(PARAM_GRID_HEIGHT, "Grid Height", 9);
    declare.countSlider(PARAM_MAX_ITERATIONS, "Maximum Iterations", 32);
    declare.popup(PARAM_CURVE, "Curve", 6, kCurveChoices);
    declare.angle(PARAM_CURVE_PHASE, "Curve Phase");
    declare.floatSlider(PARAM_CURVE_SMOOTHNESS, "Curve Smoothness", 16.0F, 0.0F, PF_ValueDisplayFlag_NONE);
    declare.angle(PARAM_CURVE_PHASE_SPLIT, "Curve Phase Split (RGB)");
    if (declare.error() != PF_Err_NONE) {
        return declare.error();
    }

    if (isPremierePro(in_data) || hasCustomUI(in_data)) {
        AddUICustomParam(in_data, out_data, params, PARAM_CURVE_GRAPH, "Curve Graph", kGraphWidth, kGraphHeight,
                         PF_ParamFlag_CANNOT_TIME_VARY);
        addParam(PARAM_CURVE_GRAPH);
    } else {
        ++skipped;
    }

    out_data->num_params = PARAM_COUNT - skipped;
    verifyNumParams(out_data->num_params);
    return PF_Err_NONE;
}

}  // namespace quorvel
