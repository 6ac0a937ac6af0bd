// SPDX-License-Identifier: MIT
// The Effect Controls panel as a dark host draws it; the only place that knows Cairo and Pango.
#pragma once

#include <map>
#include <string>

#include "cli/panel_layout.h"
#include "host/surface.h"

namespace quorvel::cli {

/// What the controls lie on.
inline constexpr PF_Pixel8 kPanelGrey{255, 38, 38, 38};

/// What the panel shows besides the layout. Everything is borrowed for the drawing.
struct PanelContent {
    std::string effectName;
    std::string hostName;  ///< in the strip at the top
    const host::ParameterValues& values;
    const host::Panel& panel;                     ///< which controls are enabled
    std::map<PF_ParamIndex, std::string> layers;  ///< names of the layers chosen; without one it is "None"
};

/// Draws everything that is the host's own, opaque, with `scale` pixels to the layout's one. What the effect draws is
/// left free. Throws Failure when memory is short.
host::Surface drawPanel(const PanelLayout& layout, const PanelContent& content, int scale);

}  // namespace quorvel::cli
