// SPDX-License-Identifier: MIT
// One frame's parameter values.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/pf_effect.h"

namespace quorvel {

/// The "Channels" choice, from 0.
enum ChannelMode : std::int32_t {
    kLuminosity = 0,
    kRGB = 1,
    kBlue = 2,
    kGreen = 3,
    kRed = 4,
    kAlpha = 5,
};

/// A plain record, handed to the renderer by value. Owned by whoever renders.
struct ParamValues {
    std::int32_t channels;   ///< a ChannelMode
    double mosaicIntensity;  ///< 0 to 1
    std::int32_t gridWidth;  ///< cells
    std::int32_t gridHeight;
    std::int32_t maxIterations;
    std::int32_t curveType;           ///< a CurveType
    std::int32_t curvePhase;          ///< degrees in 16.16 fixed point, any number of turns
    double curveSmoothness;           ///< in samples of the curve graph
    std::int32_t curvePhaseSplit;     ///< degrees in 16.16 fixed point
    PF_LayerDef* intensityLayer;      ///< the "Intensity Source" pixels; null, or a null `data`, for none
    PF_ParamDef intensityLayerParam;  ///< the plain render's own check-out, which intensityLayer points into
};
static_assert(sizeof(ParamValues) == 240 && offsetof(ParamValues, mosaicIntensity) == 8 &&
              offsetof(ParamValues, gridWidth) == 16 && offsetof(ParamValues, curveType) == 28 &&
              offsetof(ParamValues, curvePhase) == 32 && offsetof(ParamValues, curveSmoothness) == 40 &&
              offsetof(ParamValues, curvePhaseSplit) == 48 && offsetof(ParamValues, intensityLayer) == 56 &&
              offsetof(ParamValues, intensityLayerParam) == 64);

/// Zeroes and fills the record with the values at the current time.
/// Smart pre-render: `params` null, `extra` given; requests the intensity layer, whose pixels come later.
/// Plain render: `params` given, `extra` null; checks the intensity layer out into the record itself, which has to
/// outlive the render. Throws host errors as int.
void LoadParamValues(PF_InData* in_data, PF_ParamDef* params[], PF_PreRenderExtra* extra, ParamValues* values);

/// Smart render: checks out the pixels of the intensity layer; null when none is chosen. Throws host errors as int,
/// storing what the host left all the same.
void LoadLayerParamsAE(PF_InData* in_data, PF_SmartRenderExtra* extra, ParamValues* values);

/// Gives the intensity layer back; a null `extra` means the plain render.
PF_Err CleanupLayerParams(PF_InData* in_data, PF_ParamDef* params[], PF_SmartRenderExtra* extra, ParamValues* values);

}  // namespace quorvel
