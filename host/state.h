// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "host/draw_images.h"
#include "host/faults.h"
#include "host/handles.h"
#include "host/ledger.h"
#include "host/module.h"
#include "host/parameter.h"
#include "host/profile.h"
#include "sdk/pf_effect.h"
#include "sdk/premiere.h"

namespace quorvel::host {

/// Everything that one host keeps. Its address is the effect_ref that the module passes back.
struct HostState {
    /// Loads the module; throws like Module.
    HostState(const std::filesystem::path& moduleFile, Profile emulated) : profile(emulated), module(moduleFile) {}

    Profile profile;
    Ledger ledger;
    Faults faults;
    HandleTable handles{ledger};
    DrawImages images{ledger};
    Capabilities capabilities;
    std::optional<A_long> parameterCount;  ///< as the module reported it, the input layer included
    std::vector<Parameter> parameters;
    std::vector<PrPixelFormat> formats;  ///< registered for Premiere Pro, in order
    PF_UtilCallbacks utils{};
    SPBasicSuite basic{};
    PF_InData in{};
    PF_OutData out{};
    Module module;  ///< last, so that it is unloaded before anything it may still refer to
};

}  // namespace quorvel::host
