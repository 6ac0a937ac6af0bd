// SPDX-License-Identifier: MIT
// Parameters by their stable ids: which index the host gave each, and its current value.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Saved in projects; never renumbered. Not in order of declaration.
enum ParamId : int {
    PARAM_CHANNELS = 1,
    PARAM_MOSAIC_INTENSITY = 2,
    PARAM_GRID_WIDTH = 3,
    PARAM_GRID_HEIGHT = 4,
    PARAM_MAX_ITERATIONS = 5,
    PARAM_INTENSITY_SOURCE = 6,
    PARAM_HEADER_IMAGE = 7,
    PARAM_CURVE = 8,
    PARAM_CURVE_PHASE = 9,
    PARAM_CURVE_SMOOTHNESS = 10,
    PARAM_CURVE_GRAPH = 11,
    PARAM_CURVE_PHASE_SPLIT = 12,
};

/// Records that `id` has just been declared: it gets the next host index. A second declaration of the same id moves
/// it one past the entries there are. Called at parameter set-up only, before any render.
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
