// SPDX-License-Identifier: MIT
// Parameters by their stable ids: which index the host gave each, and its current value.
#pragma once

#include "effect/parameters.h"
#include "sdk/pf_effect.h"

namespace quorvel {

/// Saved in projects; never renumbered. Not in order of declaration.
enum ParamId : int {
    PARAM_CHANNELS = static_cast<int>(ParameterId::Channels),
    PARAM_MOSAIC_INTENSITY = static_cast<int>(ParameterId::MosaicIntensity),
    PARAM_GRID_WIDTH = static_cast<int>(ParameterId::GridWidth),
    PARAM_GRID_HEIGHT = static_cast<int>(ParameterId::GridHeight),
    PARAM_MAX_ITERATIONS = static_cast<int>(ParameterId::MaxIterations),
    PARAM_INTENSITY_SOURCE = static_cast<int>(ParameterId::IntensitySource),
    PARAM_HEADER_IMAGE = 7,
    PARAM_CURVE = static_cast<int>(ParameterId::Curve),
    PARAM_CURVE_PHASE = static_cast<int>(ParameterId::CurvePhase),
    PARAM_CURVE_SMOOTHNESS = static_cast<int>(ParameterId::CurveSmoothness),
    PARAM_CURVE_GRAPH = 11,
    PARAM_CURVE_PHASE_SPLIT = static_cast<int>(ParameterId::CurvePhaseSplit),
};

/// The parameters including the input layer, when both custom controls are declared: the ids from 1 have no gaps.
inline constexpr int PARAM_COUNT = PARAM_CURVE_PHASE_SPLIT + 1;

/// Records that `id` has just been declared: it gets the next host index. After a second declaration of the
/// same id, its index is the number of known ids plus one. Called at parameter set-up only, before any render.
void addParam(int id);

/// The host index of `id`, one of ParamId. One that was never declared is entered with index 0 (the input layer) and
/// counts as known from then on. Safe while other threads look up theirs.
int getParamIndexFromId(int id);

/// Throws std::logic_error when not exactly numParams - 1 ids are known: the host would then read values from the
/// wrong parameters, so this is not a mere host error.
void verifyNumParams(int numParams);

/// The parameter `id` at the current time: the host's own definition when `params` is given, otherwise checked out
/// into `scratch` (and not checked in again). Throws the host's error as an int.
PF_ParamDef* getParam(PF_InData* in_data, PF_ParamDef* params[], int id, PF_ParamDef* scratch);

/// Checks the parameter `id` out into `dest` at the current time; the caller checks it in. Throws the host's error as
/// an int.
PF_ParamDef* getLayerParam(PF_InData* in_data, int id, PF_ParamDef* dest);

}  // namespace quorvel
