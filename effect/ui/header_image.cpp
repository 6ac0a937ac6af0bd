// SPDX-License-Identifier: MIT
#include "effect/ui/header_image.h"

#include "effect/entry/host_query.h"
#include "effect/params/custom_controls.h"
#include "effect/ui/drawing.h"

namespace quorvel {

PF_Err drawHeaderImage(PF_InData* in_data, PF_OutData* out_data, PF_EventExtra* extra, const std::uint8_t* pixels) {
    Drawing drawing(in_data, out_data, extra);
    const PF_EffectWindowInfo& window = extra->effect_win;
    const PF_EffectArea home = isVersion13_23(in_data) ? PF_EA_CONTROL : PF_EA_PARAM_TITLE;
    if (window.area == home) {
        const PF_UnionableRect& frame = home == PF_EA_CONTROL ? window.current_frame : window.param_title_frame;
        drawing.drawImage(pixels, kHeaderWidth, kHeaderHeight, frame.left, frame.top);
    }
    return drawing.finish();
}

}  // namespace quorvel
