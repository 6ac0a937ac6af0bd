// SPDX-License-Identifier: MIT
// One frame's parameter values.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/settings.h"
#include "sdk/pf_effect.h"

namespace quorvel {

/// A plain record, handed to the renderer by value. Owned by whoever renders.
struct ParamValues {
    Settings settings;
    PF_LayerDef* intensityLayer;      ///< the "Intensity Source" pixels; null, or a null `data`, for none
    PF_ParamDef intensityLayerParam;  ///< the plain render's own check-out, which intensityLayer points into
};
static_assert(sizeof(ParamValues) == 240 && offsetof(ParamValues, intensityLayer) == 56 &&
              offsetof(ParamValues, intensityLayerParam) == 64);
static_assert(offsetof(Settings, mosaicIntensity) == 8 && offsetof(Settings, gridWidth) == 16 &&
              offsetof(Settings, curveType) == 28 && offsetof(Settings, curvePhase) == 32 &&
              offsetof(Settings, curveSmoothness) == 40 && offsetof(Settings, curvePhaseSplit) == 48);

/// Zeroes and fills the record with the values at the current time.
/// Smart pre-render: `params` null, `extra` given; requests the intensity layer, whose pixels come later.
/// Plain render: `params` given, `extra` null; checks the intensity layer out into the record itself, which has to
/// outlive the render. Throws host errors as int.
void LoadParamValues(PF_InData* in_data, PF_ParamDef* params[], PF_PreRenderExtra* extra, ParamValues* values);

/// Smart render: checks out the pixels of the intensity layer; null when none is chosen. Throws host errors as int,
/// after storing the world that the host returned.
void LoadLayerParamsAE(PF_InData* in_data, PF_SmartRenderExtra* extra, ParamValues* values);

/// Checks the intensity layer in; a null `extra` means the plain render.
PF_Err CleanupLayerParams(PF_InData* in_data, PF_ParamDef* params[], PF_SmartRenderExtra* extra, ParamValues* values);

}  // namespace quorvel
