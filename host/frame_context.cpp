// SPDX-License-Identifier: MIT
#include "host/frame_context.h"

namespace quorvel::host {

PF_EffectWorld* FrameContext::handOut(const World& world) {
    return &worlds.emplace_back(world.def());
}

PF_EffectWorld* FrameContext::handOutOutput() {
    PF_EffectWorld* world = handOut(*request->output);
    world->world_flags |= PF_WorldFlag_WRITEABLE;
    return world;
}

void FrameContext::settle(Ledger& ledger) {
    for (const std::string& name : paramsOut) {
        ledger.forgive(Loan::Parameter, name, 1);
    }
    for (const std::string& name : layersOut) {
        ledger.forgive(Loan::LayerPixels, name, 1);
    }
    paramsOut.clear();
    layersOut.clear();
}

}  // namespace quorvel::host
