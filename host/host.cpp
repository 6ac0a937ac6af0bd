// SPDX-License-Identifier: MIT
#include "host/host.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "host/session.h"

namespace quorvel::host {

namespace {

thread_local CurrentCall* currentCall = nullptr;

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

/// Throws what a failed set-up command came to.
void require(const CommandResult& result, PF_Cmd cmd, const Module& module) {
    if (result.ok()) {
        return;
    }
    throw HostError(module.file().string() + ": " + commandName(cmd) + ": " + describe(result));
}

}  // namespace

std::string describe(const CommandResult& result) {
    if (!result.exception.empty()) {
        return "exception: " + result.exception;
    }
    return "error " + std::to_string(result.error) + (result.message.empty() ? "" : ": " + result.message);
}

CurrentCall::CurrentCall(Host::State& state, FrameContext* context, PF_Cmd cmd, PF_ParamDef** definitions,
                         PF_OutData& outData)
    : host(state), frame(context), command(cmd), params(definitions), out(outData), outer_(currentCall) {
    currentCall = this;
}

CurrentCall::~CurrentCall() {
    currentCall = outer_;
}

CurrentCall* CurrentCall::get() {
    return currentCall;
}

namespace {

std::string withDetail(std::string_view name, std::string_view detail) {
    return detail.empty() ? std::string(name) : std::string(name).append(" ").append(detail);
}

}  // namespace

std::optional<PF_Err> enterCall(Host::State& host, std::string_view name, std::string_view detail) {
    const std::string full = withDetail(name, detail);
    host.ledger.note(full);
    std::optional<PF_Err> error = host.faults.refusal(name);
    if (!error && !detail.empty()) {
        error = host.faults.refusal(full);
    }
    return error;
}

bool answersNull(const Host::State& host, std::string_view name, std::string_view detail) {
    return host.faults.answersNull(name) || host.faults.answersNull(withDetail(name, detail));
}

PF_Err enterEffectCall(PF_ProgPtr effectRef, std::string_view name, std::string_view detail, CurrentCall*& call) {
    call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    const std::optional<PF_Err> refused = enterCall(call->host, name, detail);
    if (effectRef != &call->host) {
        return breach(*call, name, "given a foreign effect_ref");
    }
    return refused.value_or(PF_Err_NONE);
}

PF_Err breach(const CurrentCall& call, std::string_view name, std::string_view what, PF_Err answer) {
    call.host.ledger.breach(std::string(name).append(": ").append(what));
    return answer;
}

Profile Profile::afterEffects(A_short major, A_short minor) {
    return {Application::AfterEffects, {major, minor}};
}

Profile Profile::premierePro(A_short major, A_short minor) {
    return {Application::PremierePro, {major, minor}};
}

Host::State::State(const std::filesystem::path& moduleFile, Profile played) : profile(played), module(moduleFile) {
    installUtilCallbacks(utils);
    installBasicSuite(basic);
    installInteractCallbacks(in.inter);
    in.utils = &utils;
    in.pica_basicP = &basic;
    in.effect_ref = this;
    in.quality = PF_Quality_HI;
    in.version = profile.apiVersion;
    in.appl_id = profile.application == Application::PremierePro ? kAppID_Premiere : kAppID_AfterEffects;
    in.time_step = in.local_time_step = in.total_time = 1;
    in.time_scale = 24;
    in.downsample_x = in.downsample_y = in.pixel_aspect_ratio = {1, 1};
    Parameter& input = parameters.emplace_back();  // the implicit one
    input.def.param_type = PF_Param_LAYER;
}

CommandResult Host::State::send(PF_Cmd cmd, PF_InData& inData, PF_OutData& outData, PF_ParamDef** params,
                                PF_LayerDef* output, void* extra, FrameContext* frame) {
    inData.num_params = static_cast<A_long>(parameters.size());
    outData.return_msg[0] = '\0';
    outData.out_flags &= ~PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    outData.sequence_data = inData.sequence_data;
    outData.global_data = inData.global_data;
    outData.frame_data = inData.frame_data;

    CommandResult result;
    {
        const CurrentCall call(*this, frame, cmd, params, outData);
        try {
            result.error = module.effectMain()(cmd, &inData, &outData, params, output, extra);
        } catch (const std::exception& exception) {
            result.exception = exception.what();
        } catch (...) {
            result.exception = "unknown exception";
        }
    }
    const char* message = outData.return_msg;
    result.message.assign(message, std::find(message, message + sizeof outData.return_msg, '\0'));
    result.messageIsError = (outData.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE) != 0;
    return result;
}

Host::Host(const std::filesystem::path& moduleFile, Profile profile)
    : state_(std::make_unique<State>(moduleFile, profile)) {}

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
    return state_->send(cmd, state_->in, state_->out, params, output, extra, nullptr);
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
        throw HostError(module().file().string() + ": parameter set-up added " + std::to_string(added - 1) +
                        " parameters, but reported " +
                        (reportedParameterCount() ? std::to_string(*reportedParameterCount() - 1) : "none"));
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
