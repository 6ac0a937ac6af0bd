// SPDX-License-Identifier: MIT
#include "host/panel.h"

#include "host/frame_context.h"

namespace quorvel::host {

Panel::Panel(Instance& instance, ParameterValues& values) : instance_(instance), values_(values) {
    for (PF_ParamIndex index = 0; index < values.count(); ++index) {
        shownFlags_.push_back(values.at(index).ui_flags);
    }
    contextRecord_.w_type = PF_Window_EFFECT;
}

PF_ContextH Panel::context() {
    return &contextMaster_;
}

CommandResult Panel::update() {
    return send(PF_Cmd_UPDATE_PARAMS_UI, nullptr, nullptr, true);
}

CommandResult Panel::userChanged(PF_ParamIndex index) {
    PF_UserChangedParamExtra extra{index};
    return send(PF_Cmd_USER_CHANGED_PARAM, &extra, nullptr, true);
}

CommandResult Panel::send(PF_Cmd cmd, void* extra, DrawEvent* event, bool withParameters) {
    FrameContext frame;
    frame.values = &values_;
    frame.event = event;
    frame.shownFlags = &shownFlags_;
    return instance_.sendPanelCommand(cmd, withParameters ? &values_ : nullptr, extra, frame);
}

PF_ParamUIFlags Panel::shownFlags(PF_ParamIndex index) const {
    return shownFlags_.at(static_cast<std::size_t>(index));
}

EventResult Panel::draw(PF_ParamIndex index, PF_EffectArea area, const Frames& frames, Surface& surface) {
    PF_EventExtra extra{};
    extra.contextH = context();
    extra.e_type = PF_Event_DRAW;
    extra.effect_win.index = index;
    extra.effect_win.area = area;
    extra.effect_win.current_frame = area == PF_EA_PARAM_TITLE ? frames.title : frames.control;
    extra.effect_win.param_title_frame = frames.title;
    extra.u.draw.update_rect = extra.effect_win.current_frame;
    extra.u.draw.depth = 32;
    return sendEvent(extra, &surface);
}

EventResult Panel::click(PF_ParamIndex index, A_u_long when, PF_EffectArea area) {
    PF_EventExtra extra{};
    extra.contextH = context();
    extra.e_type = PF_Event_DO_CLICK;
    extra.effect_win.index = index;
    extra.effect_win.area = area;
    extra.u.do_click.when = when;
    extra.u.do_click.num_clicks = 1;
    return sendEvent(extra);
}

EventResult Panel::sendEvent(PF_EventExtra& extra, Surface* surface, bool withParameters) {
    DrawEvent event;
    event.context = context();
    event.drawing = extra.e_type == PF_Event_DRAW;
    event.surface = surface;
    EventResult result;
    result.command = send(PF_Cmd_EVENT, &extra, &event, withParameters);
    result.outFlags = extra.evt_out_flags;
    return result;
}

}  // namespace quorvel::host
