// SPDX-License-Identifier: MIT
#include "plugins/after_effects/panel/header_image.h"

#include "effect/pictures/banner.h"
#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/panel/drawing.h"

namespace quorvel {

PF_Err drawHeaderImage(PF_InData* in_data, PF_OutData* out_data, PF_EventExtra* extra, const std::uint8_t* pixels) {
    Drawing drawing(in_data, out_data, extra);
    const PF_EffectWindowInfo& window = extra->effect_win;
    const PF_EffectArea home = isVersion13_23(in_data) ? PF_EA_CONTROL : PF_EA_PARAM_TITLE;
    if (window.area == home) {
        const PF_UnionableRect& frame = home == PF_EA_CONTROL ? window.current_frame : window.param_title_frame;
        drawing.drawImage(pixels, kBannerWidth, kBannerHeight, frame.left, frame.top);
    }
    return drawing.finish();
}

}  // namespace quorvel
