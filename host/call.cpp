// SPDX-License-Identifier: MIT
#include "host/call.h"

#include <optional>
#include <string>

namespace quorvel::host {

namespace {

thread_local CurrentCall* currentCall = nullptr;

std::string withDetail(std::string_view name, std::string_view detail) {
    return detail.empty() ? std::string(name) : std::string(name).append(" ").append(detail);
}

}  // namespace

CurrentCall::CurrentCall(HostState& state, FrameContext* context, PF_Cmd cmd, PF_ParamDef** definitions,
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

EnteredCall enterCall(std::string_view name, std::string_view detail) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr) {
        return {nullptr, PF_Err_INVALID_CALLBACK};
    }
    const std::string full = withDetail(name, detail);
    call->host.ledger.note(full);
    std::optional<PF_Err> refused = call->host.faults.refusal(name);
    if (!refused && !detail.empty()) {
        refused = call->host.faults.refusal(full);
    }
    return {call, refused.value_or(PF_Err_NONE)};
}

EnteredCall enterEffectCall(PF_ProgPtr effectRef, std::string_view name, std::string_view detail) {
    const EnteredCall entered = enterCall(name, detail);
    if (entered.call != nullptr && effectRef != &entered.call->host) {
        return {entered.call, breach(*entered.call, name, "effect_ref is not this host's")};
    }
    return entered;
}

bool answersNull(const HostState& host, std::string_view name, std::string_view detail) {
    return host.faults.answersNull(name) || host.faults.answersNull(withDetail(name, detail));
}

PF_Err breach(const CurrentCall& call, std::string_view name, std::string_view what, PF_Err answer) {
    call.host.ledger.breach(std::string(name).append(": ").append(what));
    return answer;
}

}  // namespace quorvel::host
