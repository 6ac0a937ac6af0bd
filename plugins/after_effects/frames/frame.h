// SPDX-License-Identifier: MIT
// The render commands: from a host's request to one call of the renderer in the right depth.
// All of these may run on several threads at once, each for its own frame; they share nothing.
#pragma once

#include "plugins/after_effects/parameters/param_values.h"
#include "sdk/pf_effect.h"

namespace quorvel {

/// Hooks at global set-up and at the end; there is nothing to prepare.
void initRender(PF_InData* in_data, PF_OutData* out_data);
void cleanUpRender(PF_InData* in_data, PF_OutData* out_data);

/// After Effects asks what a frame needs: the parameter values go into a host handle (the pre-render data, which the
/// host keeps from then on), and the input and intensity layers are requested with the output's own rectangle.
PF_Err smartPreRender(PF_InData* in_data, PF_OutData* out_data, PF_PreRenderExtra* extra);

/// After Effects wants the frame of an earlier pre-render. The first error wins; an input or output without a world
/// ends the command with nothing written.
PF_Err smartRender(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_SmartRenderExtra* extra);

/// Premiere Pro wants a frame in `output`. Any other host renders through the commands above, and this does nothing.
PF_Err render(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output);

/// One frame in one depth. Worlds without pixels are left alone; without an intensity layer the output's origin
/// counts as 0, 0.
void renderARGB8(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, float downsample);
void renderARGB16(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, float downsample);
void renderARGB32(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, float downsample);

}  // namespace quorvel
