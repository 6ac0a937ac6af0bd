// SPDX-License-Identifier: MIT
#include "plugins/after_effects/parameters/param_values.h"

#include <cstring>

#include "effect/numeric.h"
#include "plugins/after_effects/parameters/param_index.h"

namespace quorvel {

namespace {

void throwIfError(PF_Err error) {
    if (error != PF_Err_NONE) {
        throw static_cast<int>(error);
    }
}

/// The whole part, rounded towards minus infinity.
constexpr std::int32_t wholePart(PF_Fixed value) {
    return value >> 16;
}

}  // namespace

void LoadParamValues(PF_InData* in_data, PF_ParamDef* params[], PF_PreRenderExtra* extra, ParamValues* values) {
    std::memset(values, 0, sizeof *values);  // the padding too: the record is a block of bytes in a host handle
    PF_ParamDef scratch{};
    const auto read = [&](int id) -> const PF_ParamDefUnion& { return getParam(in_data, params, id, &scratch)->u; };

    Settings& settings = values->settings;
    settings.channels = wrappingAdd(read(PARAM_CHANNELS).pd.value, -1);
    settings.mosaicIntensity = read(PARAM_MOSAIC_INTENSITY).fs_d.value;
    settings.gridWidth = wholePart(read(PARAM_GRID_WIDTH).fd.value);
    settings.gridHeight = wholePart(read(PARAM_GRID_HEIGHT).fd.value);
    settings.maxIterations = wholePart(read(PARAM_MAX_ITERATIONS).fd.value);
    settings.curveType = wrappingAdd(read(PARAM_CURVE).pd.value, -1);
    settings.curvePhase = read(PARAM_CURVE_PHASE).ad.value;
    settings.curveSmoothness = read(PARAM_CURVE_SMOOTHNESS).fs_d.value;
    settings.curvePhaseSplit = read(PARAM_CURVE_PHASE_SPLIT).ad.value;

    if (extra != nullptr) {
        const int index = getParamIndexFromId(PARAM_INTENSITY_SOURCE);
        PF_CheckoutResult ignored{};
        throwIfError(extra->cb->checkout_layer(in_data->effect_ref, index, index, &extra->input->output_request,
                                               in_data->current_time, in_data->time_step, in_data->time_scale,
                                               &ignored));
    } else {
        getLayerParam(in_data, PARAM_INTENSITY_SOURCE, &values->intensityLayerParam);
        values->intensityLayer = &values->intensityLayerParam.u.ld;
    }
}

void LoadLayerParamsAE(PF_InData* in_data, PF_SmartRenderExtra* extra, ParamValues* values) {
    PF_EffectWorld* world = nullptr;
    const PF_Err error =
        extra->cb->checkout_layer_pixels(in_data->effect_ref, getParamIndexFromId(PARAM_INTENSITY_SOURCE), &world);
    values->intensityLayer = world;
    throwIfError(error);
}

PF_Err CleanupLayerParams(PF_InData* in_data, PF_ParamDef*[], PF_SmartRenderExtra* extra, ParamValues* values) {
    if (extra == nullptr) {
        return in_data->inter.checkin_param(in_data->effect_ref, &values->intensityLayerParam);
    }
    return extra->cb->checkin_layer_pixels(in_data->effect_ref, getParamIndexFromId(PARAM_INTENSITY_SOURCE));
}

}  // namespace quorvel
