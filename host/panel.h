// SPDX-License-Identifier: MIT
// The host's panel with the effect's controls: the state that it shows, and the events that it sends.
#pragma once

#include <vector>

#include "host/instance.h"
#include "host/surface.h"

namespace quorvel::host {

struct DrawEvent;

/// The module's answer to one event.
struct [[nodiscard]] EventResult {
    CommandResult command;
    A_long outFlags = PF_EO_NONE;  ///< evt_out_flags as the module left them

    bool handled() const { return command.ok() && (outFlags & PF_EO_HANDLED_EVENT) != 0; }
};

/// One instance's controls. Belongs to one thread; frames may render on others meanwhile.
class Panel {
public:
    /// Borrows both for the panel's life. Sends no command: to open a panel, a host calls `update` next.
    Panel(Instance& instance, ParameterValues& values);
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    /// PF_Cmd_UPDATE_PARAMS_UI and PF_Cmd_USER_CHANGED_PARAM. The panel then shows what the module passed to
    /// PF_UpdateParamUI.
    CommandResult update();
    CommandResult userChanged(PF_ParamIndex index);

    /// The user-interface flags that the panel shows: the declared ones until the module calls PF_UpdateParamUI. Flags
    /// that it writes into a definition show only after that call.
    PF_ParamUIFlags shownFlags(PF_ParamIndex index) const;
    bool enabled(PF_ParamIndex index) const { return (shownFlags(index) & PF_PUI_DISABLED) == 0; }

    /// The place of a parameter on the panel, in pixels of the surface.
    struct Frames {
        PF_LRect title;
        PF_LRect control;
    };
    /// Makes the module draw one area of a parameter.
    EventResult draw(PF_ParamIndex index, PF_EffectArea area, const Frames& frames, Surface& surface);
    /// Clicks on a parameter at a time in ticks.
    EventResult click(PF_ParamIndex index, A_u_long when, PF_EffectArea area = PF_EA_PARAM_TITLE);

    /// Sends an event with exactly these fields, for tests of the protocol itself; afterwards `evt_out_flags` is as the
    /// module left it. Draw events draw on `surface`, which may be null. Without `withParameters` the module gets null
    /// for its parameters.
    EventResult sendEvent(PF_EventExtra& extra, Surface* surface = nullptr, bool withParameters = true);
    /// The context of this panel's events: an effect window.
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
