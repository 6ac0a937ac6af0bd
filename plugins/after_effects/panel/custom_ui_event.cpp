// SPDX-License-Identifier: MIT
#include "plugins/after_effects/panel/custom_ui_event.h"

#include <cstddef>
#include <memory>
#include <new>

#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/panel/drawing.h"
#include "plugins/after_effects/panel/header_image.h"

namespace quorvel {

namespace {

constexpr A_u_long kDoubleClickTicks = 31;
constexpr A_u_long kNoClick = 0xFFFFFFFF;

/// When the banner was last clicked, in any instance. Ticks wrap around, and so does the difference: a first click at
/// 30 ticks or fewer counts as a second one.
A_u_long lastHeaderClick = kNoClick;

/// Notes a click on the banner; true when it completes a double click, after which a new pair starts.
bool completesDoubleClick(A_u_long when) {
    if (when - lastHeaderClick > kDoubleClickTicks) {
        lastHeaderClick = when;
        return false;
    }
    lastHeaderClick = kNoClick;
    return true;
}

PF_Err drawControl(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_EventExtra* extra,
                   drawControlData* control) {
    Drawing drawing(in_data, out_data, extra);
    const std::size_t size = static_cast<std::size_t>(control->width) * static_cast<std::size_t>(control->height) * 4;
    std::unique_ptr<std::uint8_t[]> pixels(new (std::nothrow) std::uint8_t[size]);
    if (pixels != nullptr) {
        if (control->drawFn(pixels.get(), in_data, params, control)) {
            const PF_UnionableRect& frame = extra->effect_win.current_frame;
            drawing.drawImage(pixels.get(), control->width, control->height, frame.left, frame.top);
        } else {
            // Deliberate leak, one buffer per failed draw: a drawing function that failed may still hold its address.
            static_cast<void>(pixels.release());
        }
    }
    return drawing.finish();
}

drawControlData* findControl(int index, int count, drawControlData* const controls[]) {
    for (int i = 0; i < count; ++i) {
        if (controls[i]->paramIndex == index) {
            return controls[i];
        }
    }
    return nullptr;
}

}  // namespace

PF_Err handleCustomUIEvent(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], const void*,
                           PF_EventExtra* extra, int headerIndex, const std::uint8_t* headerPixels, int* aboutRequested,
                           int controlCount, drawControlData* const controls[]) {
    const int index = extra->effect_win.index;
    const PF_EffectArea area = extra->effect_win.area;
    const bool onHeader = index == headerIndex;

    if (extra->e_type == PF_Event_DO_CLICK) {
        if (onHeader && completesDoubleClick(extra->u.do_click.when) && aboutRequested != nullptr) {
            *aboutRequested = 1;
        }
        return PF_Err_NONE;
    }
    if (extra->e_type != PF_Event_DRAW) {
        return PF_Err_NONE;
    }

    const bool headerIsControl = isVersion13_23(in_data);
    if (onHeader && area == PF_EA_PARAM_TITLE) {
        return headerIsControl ? PF_Err_NONE : drawHeaderImage(in_data, out_data, extra, headerPixels);
    }
    if (area != PF_EA_CONTROL) {
        return PF_Err_NONE;
    }

    PF_Err error = PF_Err_NONE;
    if (drawControlData* control = findControl(index, controlCount, controls)) {
        error = drawControl(in_data, out_data, params, extra, control);
    }
    return onHeader && headerIsControl ? drawHeaderImage(in_data, out_data, extra, headerPixels) : error;
}

}  // namespace quorvel
