// SPDX-License-Identifier: MIT
#include "host/host.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "host/base/error.h"
#include "host/base/path_text.h"
#include "host/command.h"
#include "host/interact_callbacks.h"
#include "host/state.h"
#include "host/suites.h"
#include "host/util_callbacks.h"

namespace quorvel::host {

namespace {

const char* commandName(PF_Cmd cmd) {
    switch (cmd) {
        case PF_Cmd_GLOBAL_SETUP:
            return "global set-up";
        case PF_Cmd_PARAMS_SETUP:
            return "parameter set-up";
        default:
            return "command";
    }
}

/// Throws HostError for a failed set-up command.
void require(const CommandResult& result, PF_Cmd cmd, const Module& module) {
    if (result.ok()) {
        return;
    }
    throw HostError(pathText(module.file()) + ": " + commandName(cmd) + ": " + describe(result));
}

/// The state of a host that has sent no command: the function tables are set, and there is the input layer.
std::unique_ptr<HostState> makeState(const std::filesystem::path& moduleFile, Profile profile) {
    auto state = std::make_unique<HostState>(moduleFile, profile);
    state->utils = utilCallbacks();
    state->basic = basicSuite();
    PF_InData& in = state->in;
    in.inter = interactCallbacks();
    in.utils = &state->utils;
    in.pica_basicP = &state->basic;
    in.effect_ref = state.get();
    in.quality = PF_Quality_HI;
    in.version = profile.apiVersion;
    in.appl_id = profile.application == Application::PremierePro ? kAppID_Premiere : kAppID_AfterEffects;
    in.time_step = in.local_time_step = in.total_time = 1;
    in.time_scale = 24;
    in.downsample_x = in.downsample_y = in.pixel_aspect_ratio = {1, 1};
    Parameter& input = state->parameters.emplace_back();
    input.def.param_type = PF_Param_LAYER;
    return state;
}

}  // namespace

Host::Host(const std::filesystem::path& moduleFile, Profile profile) : state_(makeState(moduleFile, profile)) {}

Host::~Host() = default;

const Profile& Host::profile() const {
    return state_->profile;
}

const Module& Host::module() const {
    return state_->module;
}

Ledger& Host::ledger() {
    return state_->ledger;
}

Faults& Host::faults() {
    return state_->faults;
}

CommandResult Host::send(PF_Cmd cmd, PF_ParamDef** params, PF_LayerDef* output, void* extra) {
    return sendCommand(*state_, cmd, state_->in, state_->out, params, output, extra, nullptr);
}

CommandResult Host::globalSetup() {
    const CommandResult result = send(PF_Cmd_GLOBAL_SETUP, nullptr, nullptr, nullptr);
    const PF_OutData& out = state_->out;
    state_->capabilities = {out.my_version, out.out_flags & ~PF_OutFlag_DISPLAY_ERROR_MESSAGE, out.out_flags2};
    return result;
}

CommandResult Host::paramsSetup() {
    constexpr A_long kUnset = -1;
    state_->out.num_params = kUnset;
    state_->parameters.resize(1);
    const CommandResult result = send(PF_Cmd_PARAMS_SETUP, nullptr, nullptr, nullptr);
    state_->parameterCount =
        state_->out.num_params == kUnset ? std::nullopt : std::optional<A_long>(state_->out.num_params);
    return result;
}

CommandResult Host::globalSetdown() {
    return send(PF_Cmd_GLOBAL_SETDOWN, nullptr, nullptr, nullptr);
}

CommandResult Host::about() {
    return send(PF_Cmd_ABOUT, nullptr, nullptr, nullptr);
}

void Host::start() {
    require(globalSetup(), PF_Cmd_GLOBAL_SETUP, module());
    require(paramsSetup(), PF_Cmd_PARAMS_SETUP, module());
    const auto added = static_cast<A_long>(parameters().size());
    if (reportedParameterCount() != added) {
        throw HostError(pathText(module().file()) + ": parameter set-up added " + std::to_string(added - 1) +
                        " parameters, but reported " +
                        (reportedParameterCount() ? std::to_string(*reportedParameterCount() - 1) : "no count"));
    }
}

const Capabilities& Host::capabilities() const {
    return state_->capabilities;
}

std::optional<A_long> Host::reportedParameterCount() const {
    return state_->parameterCount;
}

const std::vector<Parameter>& Host::parameters() const {
    return state_->parameters;
}

const Parameter* Host::findParameter(std::string_view name) const {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    for (const Parameter& parameter : state_->parameters) {
        const std::string_view its = parameter.def.name;
        if (!its.empty() && std::equal(its.begin(), its.end(), name.begin(), name.end(), same)) {
            return &parameter;
        }
    }
    return nullptr;
}

const std::vector<PrPixelFormat>& Host::registeredFormats() const {
    return state_->formats;
}

PF_InData& Host::inData() {
    return state_->in;
}

PF_OutData& Host::outData() {
    return state_->out;
}

}  // namespace quorvel::host
