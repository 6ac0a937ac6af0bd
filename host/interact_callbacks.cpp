// SPDX-License-Identifier: MIT
#include "host/interact_callbacks.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "host/call.h"
#include "host/unused_slot.h"

namespace quorvel::host {

namespace {

std::string noParameter(PF_ParamIndex index) {
    return "no parameter has the index " + std::to_string(index);
}

PF_Err checkoutParam(PF_ProgPtr effectRef, PF_ParamIndex index, A_long time, A_long timeStep, A_u_long timeScale,
                     PF_ParamDef* param) {
    constexpr std::string_view kName = "checkout_param";
    const std::string name = std::to_string(index);
    const EnteredCall entered = enterEffectCall(effectRef, kName, name);
    if (!entered) {
        return entered.error;
    }
    CurrentCall& call = *entered.call;
    FrameContext* frame = call.frame;
    if (frame == nullptr || frame->values == nullptr || call.command == PF_Cmd_UPDATE_PARAMS_UI) {
        return breach(call, kName, "no parameter can be checked out in this command", PF_Err_INVALID_CALLBACK);
    }
    if (index < 0 || index >= frame->values->count()) {
        return breach(call, kName, noParameter(index), PF_Err_INVALID_INDEX);
    }
    if (param == nullptr) {
        return breach(call, kName, "null output pointer");
    }
    if (const FrameRequest* request = frame->request;
        request != nullptr &&
        (time != request->time || timeStep != request->timeStep || timeScale != request->timeScale)) {
        static_cast<void>(breach(call, kName, "the time of parameter " + name + " differs from the frame's"));
    }
    *param = frame->values->at(index);
    if (index == 0 && frame->request != nullptr) {
        param->u.ld = frame->request->input != nullptr ? frame->request->input->def() : PF_LayerDef{};
    }
    call.host.ledger.lend(Loan::Parameter, name);
    frame->paramsOut.insert(name);
    return PF_Err_NONE;
}

/// A definition does not contain its index, but the id identifies it. -1 when no parameter has that id.
PF_ParamIndex indexOf(const FrameContext& frame, const PF_ParamDef& param) {
    for (PF_ParamIndex index = 0; index < frame.values->count(); ++index) {
        if (frame.values->at(index).uu.id == param.uu.id) {
            return index;
        }
    }
    return -1;
}

PF_Err checkinParam(PF_ProgPtr effectRef, PF_ParamDef* param) {
    const CurrentCall* current = CurrentCall::get();
    FrameContext* frame = current != nullptr ? current->frame : nullptr;
    const std::string name = frame != nullptr && frame->values != nullptr && param != nullptr
                                 ? std::to_string(indexOf(*frame, *param))
                                 : std::string("?");
    const EnteredCall entered = enterEffectCall(effectRef, "checkin_param", name);
    if (frame != nullptr) {
        // A refused call checks the parameter in too: a refusal must not look like a leak by the module.
        current->host.ledger.takeBack(Loan::Parameter, name);
        if (const auto out = frame->paramsOut.find(name); out != frame->paramsOut.end()) {
            frame->paramsOut.erase(out);
        }
    }
    return entered.error;
}

/// The choices of a popup: one text with "|" between them.
std::vector<std::string> splitChoices(const char* texts) {
    std::vector<std::string> choices(1);
    for (const char* c = texts; c != nullptr && *c != '\0'; ++c) {
        if (*c == '|') {
            choices.emplace_back();
        } else {
            choices.back() += *c;
        }
    }
    return choices;
}

PF_Err addParam(PF_ProgPtr effectRef, PF_ParamIndex index, PF_ParamDef* def) {
    constexpr std::string_view kName = "add_param";
    const std::string name = def != nullptr ? std::string(def->name, strnlen(def->name, sizeof def->name)) : "null";
    const EnteredCall entered = enterEffectCall(effectRef, kName, name);
    if (!entered) {
        return entered.error;
    }
    CurrentCall& call = *entered.call;
    std::vector<Parameter>& parameters = call.host.parameters;
    const auto end = static_cast<PF_ParamIndex>(parameters.size());
    if (call.command != PF_Cmd_PARAMS_SETUP) {
        return breach(call, kName, "called outside parameter set-up", PF_Err_INVALID_CALLBACK);
    }
    if (def == nullptr) {
        return breach(call, kName, "null definition");
    }
    if (index != -1 && index != end) {
        return breach(call, kName,
                      "index " + std::to_string(index) + ": expected -1 or the next index, " + std::to_string(end));
    }
    Parameter& parameter = parameters.emplace_back();
    parameter.index = end;
    parameter.def = *def;
    parameter.def.name[sizeof parameter.def.name - 1] = '\0';
    if (def->param_type == PF_Param_POPUP) {
        parameter.choices = splitChoices(def->u.pd.u.namesptr);
        if (static_cast<int>(parameter.choices.size()) != def->u.pd.num_choices) {
            static_cast<void>(breach(call, kName,
                                     "popup \"" + name + "\" has num_choices " + std::to_string(def->u.pd.num_choices) +
                                         ", but " + std::to_string(parameter.choices.size()) + " texts"));
        }
        // The module's text is copied above; nobody reads it from the definition again.
        parameter.def.u.pd.u.namesptr = nullptr;
    }
    return PF_Err_NONE;
}

PF_Err registerUI(PF_ProgPtr effectRef, PF_CustomUIInfo* info) {
    constexpr std::string_view kName = "register_ui";
    const EnteredCall entered = enterEffectCall(effectRef, kName);
    if (!entered) {
        return entered.error;
    }
    CurrentCall& call = *entered.call;
    if (call.command != PF_Cmd_PARAMS_SETUP) {
        return breach(call, kName, "called outside parameter set-up");
    }
    if (info == nullptr) {
        return breach(call, kName, "null description");
    }
    if (call.host.parameters.size() < 2) {
        return breach(call, kName, "called before any parameter was added");
    }
    call.host.parameters.back().customUI = *info;
    return PF_Err_NONE;
}

PF_Err neverAborts(PF_ProgPtr effectRef) {
    return enterEffectCall(effectRef, "abort").error;
}

PF_Err ignoresProgress(PF_ProgPtr effectRef, A_long current, A_long total) {
    return enterEffectCall(effectRef, "progress", std::to_string(current) + " of " + std::to_string(total)).error;
}

}  // namespace

PF_InteractCallbacks interactCallbacks() {
    auto callbacks = tableOfUnusedSlots<PF_InteractCallbacks>();
    std::fill(std::begin(callbacks.reserved_str), std::end(callbacks.reserved_str), nullptr);
    std::fill(std::begin(callbacks.reserved), std::end(callbacks.reserved), nullptr);
    callbacks.checkout_param = checkoutParam;
    callbacks.checkin_param = checkinParam;
    callbacks.add_param = addParam;
    callbacks.register_ui = registerUI;
    callbacks.abort = neverAborts;
    callbacks.progress = ignoresProgress;
    return callbacks;
}

}  // namespace quorvel::host
