// SPDX-License-Identifier: MIT
// The callbacks that come with every command: parameters, handles and strings.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "host/session.h"

namespace quorvel::host {

namespace {

/// Enters a callback that is given the effect's reference. On success `call` is set; otherwise the error says why.
PF_Err enter(PF_ProgPtr effectRef, std::string_view name, std::string_view detail, CurrentCall*& call) {
    call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (effectRef != &call->host) {
        call->host.ledger.breach(std::string(name) + " with a foreign effect_ref");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return enterCall(call->host, name, detail).value_or(PF_Err_NONE);
}

PF_Err checkoutParam(PF_ProgPtr effectRef, PF_ParamIndex index, A_long time, A_long timeStep, A_u_long timeScale,
                     PF_ParamDef* param) {
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(index);
    if (const PF_Err error = enter(effectRef, "checkout_param", name, call)) {
        return error;
    }
    if (param == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    FrameContext* frame = call->frame;
    if (frame == nullptr || frame->values == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (index < 0 || index >= frame->values->count()) {
        return PF_Err_INVALID_INDEX;
    }
    if (const FrameRequest* request = frame->request;
        request != nullptr &&
        (time != request->time || timeStep != request->timeStep || timeScale != request->timeScale)) {
        call->host.ledger.breach("checkout_param " + name + " at another time than the frame's");
    }
    *param = frame->values->at(index);
    if (index == 0 && frame->request != nullptr) {
        param->u.ld = frame->request->input != nullptr ? frame->request->input->def() : PF_LayerDef{};
    }
    call->host.ledger.lend(Loan::Parameter, name);
    frame->paramsOut.insert(name);
    return PF_Err_NONE;
}

/// The definition says nothing of its index; its id does.
PF_ParamIndex indexOf(const FrameContext& frame, const PF_ParamDef& param) {
    for (PF_ParamIndex index = 0; index < frame.values->count(); ++index) {
        if (frame.values->at(index).uu.id == param.uu.id) {
            return index;
        }
    }
    return -1;
}

PF_Err checkinParam(PF_ProgPtr effectRef, PF_ParamDef* param) {
    CurrentCall* call = CurrentCall::get();
    FrameContext* frame = call != nullptr ? call->frame : nullptr;
    const std::string name = frame != nullptr && frame->values != nullptr && param != nullptr
                                 ? std::to_string(indexOf(*frame, *param))
                                 : std::string("?");
    const PF_Err error = enter(effectRef, "checkin_param", name, call);
    if (frame != nullptr) {
        // Given back all the same when the call is refused: a refusal must not look like a leak of the module's.
        call->host.ledger.takeBack(Loan::Parameter, name);
        if (const auto out = frame->paramsOut.find(name); out != frame->paramsOut.end()) {
            frame->paramsOut.erase(out);
        }
    }
    return error;
}

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
    CurrentCall* call = nullptr;
    const std::string name = def != nullptr ? std::string(def->name, strnlen(def->name, sizeof def->name)) : "null";
    if (const PF_Err error = enter(effectRef, "add_param", name, call)) {
        return error;
    }
    if (def == nullptr || index != -1) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    std::vector<Parameter>& parameters = call->host.parameters;
    Parameter& parameter = parameters.emplace_back();
    parameter.index = static_cast<PF_ParamIndex>(parameters.size()) - 1;
    parameter.def = *def;
    parameter.def.name[sizeof parameter.def.name - 1] = '\0';
    if (def->param_type == PF_Param_POPUP) {
        parameter.choices = splitChoices(def->u.pd.u.namesptr);
        if (static_cast<int>(parameter.choices.size()) != def->u.pd.num_choices) {
            call->host.ledger.breach("add_param " + name + ": the number of choices is not that of its texts");
        }
        // The module's text is copied; nobody reads it from the definition again.
        parameter.def.u.pd.u.namesptr = nullptr;
    }
    return PF_Err_NONE;
}

PF_Err registerUI(PF_ProgPtr effectRef, PF_CustomUIInfo* info) {
    CurrentCall* call = nullptr;
    if (const PF_Err error = enter(effectRef, "register_ui", {}, call)) {
        return error;
    }
    if (info == nullptr || call->host.parameters.size() < 2) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    call->host.parameters.back().customUI = *info;
    return PF_Err_NONE;
}

PF_Err neverAborts(PF_ProgPtr) {
    return PF_Err_NONE;
}

PF_Err ignoresProgress(PF_ProgPtr, A_long, A_long) {
    return PF_Err_NONE;
}

/// The handle functions stand in two tables, the utility callbacks and the handle suite; the names tell them apart.
struct UtilNames {
    static constexpr char kPrefix[] = "utils.";
};
struct SuiteNames {
    static constexpr char kPrefix[] = "PF Handle Suite.";
};

template <typename Names>
std::string handleCall(const char* function) {
    return std::string(Names::kPrefix) + function;
}

template <typename Names>
PF_Handle newHandle(A_HandleSize size) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr || enterCall(call->host, handleCall<Names>("host_new_handle"), std::to_string(size))) {
        return nullptr;
    }
    return call->host.handles.create(size);
}

template <typename Names>
void* lockHandle(PF_Handle handle) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr || enterCall(call->host, handleCall<Names>("host_lock_handle"))) {
        return nullptr;
    }
    return call->host.handles.lock(handle);
}

template <typename Names>
void unlockHandle(PF_Handle handle) {
    if (CurrentCall* call = CurrentCall::get()) {
        enterCall(call->host, handleCall<Names>("host_unlock_handle"));
        call->host.handles.unlock(handle);
    }
}

template <typename Names>
void disposeHandle(PF_Handle handle) {
    if (CurrentCall* call = CurrentCall::get()) {
        enterCall(call->host, handleCall<Names>("host_dispose_handle"));
        call->host.handles.dispose(handle);
    }
}

template <typename Names>
A_HandleSize handleSize(PF_Handle handle) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr || enterCall(call->host, handleCall<Names>("host_get_handle_size"))) {
        return 0;
    }
    return call->host.handles.size(handle);
}

template <typename Names>
PF_Err resizeHandle(A_HandleSize size, PF_Handle* handle) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (const auto refused = enterCall(call->host, handleCall<Names>("host_resize_handle"), std::to_string(size))) {
        return *refused;
    }
    return handle != nullptr && call->host.handles.resize(size, *handle) ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

int hostSprintf(A_char* out, const A_char* format, ...) {
    if (CurrentCall* call = CurrentCall::get()) {
        enterCall(call->host, "utils.ansi.sprintf");
    }
    std::va_list arguments;
    va_start(arguments, format);
    // The interface gives no size; every text that the effect writes goes into return_msg.
    const int length = std::vsnprintf(out, sizeof PF_OutData::return_msg, format, arguments);
    va_end(arguments);
    return length;
}

A_char* hostStrcpy(A_char* out, const A_char* in) {
    if (CurrentCall* call = CurrentCall::get()) {
        enterCall(call->host, "utils.ansi.strcpy");
    }
    return std::strcpy(out, in);
}

}  // namespace

void installInteractCallbacks(PF_InteractCallbacks& callbacks) {
    callbacks.checkout_param = checkoutParam;
    callbacks.checkin_param = checkinParam;
    callbacks.add_param = addParam;
    callbacks.register_ui = registerUI;
    callbacks.abort = neverAborts;
    callbacks.progress = ignoresProgress;
}

void installUtilCallbacks(PF_UtilCallbacks& callbacks) {
    callbacks.host_new_handle = newHandle<UtilNames>;
    callbacks.host_lock_handle = lockHandle<UtilNames>;
    callbacks.host_unlock_handle = unlockHandle<UtilNames>;
    callbacks.host_dispose_handle = disposeHandle<UtilNames>;
    callbacks.host_get_handle_size = handleSize<UtilNames>;
    callbacks.host_resize_handle = resizeHandle<UtilNames>;
    callbacks.ansi.sprintf = hostSprintf;
    callbacks.ansi.strcpy = hostStrcpy;
}

const PF_HandleSuite& handleSuite() {
    static constexpr PF_HandleSuite suite{newHandle<SuiteNames>,     lockHandle<SuiteNames>, unlockHandle<SuiteNames>,
                                          disposeHandle<SuiteNames>, handleSize<SuiteNames>, resizeHandle<SuiteNames>};
    return suite;
}

}  // namespace quorvel::host
