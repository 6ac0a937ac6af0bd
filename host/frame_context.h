// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/frame_request.h"
#include "host/ledger.h"
#include "sdk/pf_effect.h"

namespace quorvel::host {

class Surface;

/// The layers that a pre-render requested: parameter index by checkout id.
using LayerRequests = std::map<A_long, PF_ParamIndex>;

/// An event while the module handles it. The addresses of its members are the references that the module draws with.
struct DrawEvent {
    PF_ContextH context = nullptr;  ///< the panel's own
    bool drawing = false;           ///< only draw events may draw
    Surface* surface = nullptr;     ///< null: a panel without a surface
    char supplier = 0;
};

/// The frame or the panel that a command works on, and what the module has checked out of it.
struct FrameContext {
    const FrameRequest* request = nullptr;  ///< null for a panel
    const ParameterValues* values = nullptr;
    LayerRequests* requests = nullptr;     ///< pre-render fills it, smart render reads it
    std::set<A_long> layersTaken;          ///< checkout ids whose pixels were handed out in this command
    std::multiset<std::string> layersOut;  ///< ids not checked in yet, as the ledger names them
    std::multiset<std::string> paramsOut;  ///< parameters not checked in yet, as the ledger names them
    bool inputTaken = false;
    DrawEvent* event = nullptr;                          ///< set for events
    std::vector<PF_ParamUIFlags>* shownFlags = nullptr;  ///< by index; what PF_UpdateParamUI changes
    std::deque<PF_LayerDef> worlds;                      ///< the records handed out; the pixels are the request's

    /// A record of its own for the module; valid while this context lives.
    PF_EffectWorld* handOut(const World& world);
    /// The same for the request's output, which must not be null: the only world that the module may write to.
    PF_EffectWorld* handOutOutput();
    /// Checks in what a command left checked out, as the real hosts do.
    void settle(Ledger& ledger);
};

}  // namespace quorvel::host
