// SPDX-License-Identifier: MIT
// The host's panel with the effect's controls: what it shows of them and the events it sends.
#pragma once

#include <vector>

#include "host/drawbot.h"
#include "host/host.h"

namespace quorvel::host {

struct DrawEvent;

/// What one event came to.
struct [[nodiscard]] EventResult {
    CommandResult command;
    A_long outFlags = PF_EO_NONE;  ///< evt_out_flags as the module left them

    bool handled() const { return command.ok() && (outFlags & PF_EO_HANDLED_EVENT) != 0; }
};

/// One instance's controls. Lives on one thread, which sends everything; frames may render meanwhile on others.
class Panel {
public:
    /// Both are borrowed for the panel's life. Sends nothing yet: a host opens a panel with `update`.
    Panel(Instance& instance, ParameterValues& values);
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    /// PF_Cmd_UPDATE_PARAMS_UI and PF_Cmd_USER_CHANGED_PARAM. What the module passes to PF_UpdateParamUI is shown.
    CommandResult update();
    CommandResult userChanged(PF_ParamIndex index);

    /// The user-interface flags that the panel shows: those declared, until PF_UpdateParamUI changed them. The flags in
    /// the values' definitions are the module's to write, and shown only once it says so.
    PF_ParamUIFlags shownFlags(PF_ParamIndex index) const;
    bool enabled(PF_ParamIndex index) const { return (shownFlags(index) & PF_PUI_DISABLED) == 0; }

    /// Where a parameter stands on the panel, in pixels of the surface.
    struct Frames {
        PF_LRect title;
        PF_LRect control;
    };
    /// Has the module draw one area of a parameter.
    EventResult draw(PF_ParamIndex index, PF_EffectArea area, const Frames& frames, Surface& surface);
    /// A click on a parameter at a time in ticks.
    EventResult click(PF_ParamIndex index, A_u_long when, PF_EffectArea area = PF_EA_PARAM_TITLE);

    /// Any event with exactly these fields, for tests of the protocol itself; `evt_out_flags` is left as the module
    /// left it. Draw events draw on `surface`, which may be null; without `withParameters` the module gets no
    /// parameters.
    EventResult sendEvent(PF_EventExtra& extra, Surface* surface = nullptr, bool withParameters = true);
    /// The context that this panel's events carry, in an effect window.
    PF_ContextH context();

private:
    CommandResult send(PF_Cmd cmd, void* extra, DrawEvent* event, bool withParameters);

    Instance& instance_;
    ParameterValues& values_;
    std::vector<PF_ParamUIFlags> shownFlags_;
    PF_Context contextRecord_{};
    PF_Context* contextMaster_ = &contextRecord_;
};

}  // namespace quorvel::host
