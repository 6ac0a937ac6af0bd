// SPDX-License-Identifier: MIT
#include "plugins/after_effects/entry/global_setup.h"

#include "plugins/after_effects/description/identity.h"
#include "plugins/after_effects/frames/frame.h"
#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/host_access/suite_handler.h"
#include "sdk/premiere.h"

namespace quorvel {

namespace {

/// Registers the pixel formats that the renderer supports. Returns false if the host lacks a suite. Every suite that
/// was acquired is released again.
bool registerPixelFormats(PF_InData* in_data) {
    const PF_ProgPtr effect = in_data->effect_ref;
    const ScopedSuite<PF_PixelFormatSuite> formats(in_data, kPFPixelFormatSuite, kPFPixelFormatSuiteVersion);
    if (!formats) {
        return false;
    }
    formats->ClearSupportedPixelFormats(effect);
    formats->AddSupportedPixelFormat(effect, PrPixelFormat_ARGB_4444_8u);
    formats->AddSupportedPixelFormat(effect, PrPixelFormat_ARGB_4444_16u);
    formats->AddSupportedPixelFormat(effect, PrPixelFormat_ARGB_4444_32f);
    const ScopedSuite<PF_UtilitySuite> utility(in_data, kPFUtilitySuite, kPFUtilitySuiteVersion);
    if (!utility) {
        return false;
    }
    // Without this, layers that the effect checks out come in 8-bit whatever the depth of the render.
    utility->EffectWantsCheckedOutFramesToMatchRenderPixelFormat(effect);
    return true;
}

}  // namespace

PF_Err GlobalSetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef*[], PF_LayerDef*, int outFlags,
                   int outFlags2) {
    out_data->my_version = identity::kVersion;
    out_data->out_flags = outFlags;
    out_data->out_flags2 = outFlags2;
    if (isPremierePro(in_data) && !registerPixelFormats(in_data)) {
        reportMissingSuite(in_data, out_data);
    }
    initRender(in_data, out_data);
    return PF_Err_NONE;
}

}  // namespace quorvel
