// SPDX-License-Identifier: MIT
#include "cli/custom_controls.h"

namespace quorvel::cli {

const host::Parameter* findGraph(const host::Host& host) {
    const host::Parameter* named = host.findParameter("Curve Graph");
    return named != nullptr && named->customUI ? named : nullptr;
}

const host::Parameter* findBanner(const host::Host& host) {
    const host::Parameter* graph = findGraph(host);
    for (const host::Parameter& parameter : host.parameters()) {
        if (parameter.customUI && &parameter != graph) {
            return &parameter;
        }
    }
    return nullptr;
}

PF_EffectArea areaOf(const host::Parameter& control) {
    return (control.def.ui_flags & PF_PUI_TOPIC) != 0 ? PF_EA_PARAM_TITLE : PF_EA_CONTROL;
}

}  // namespace quorvel::cli
