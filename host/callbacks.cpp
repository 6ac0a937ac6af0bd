// SPDX-License-Identifier: MIT
// The callbacks that come with every command: parameters, handles and strings.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "host/session.h"
#include "host/suite_tables.h"

namespace quorvel::host {

namespace {

PF_Err checkoutParam(PF_ProgPtr effectRef, PF_ParamIndex index, A_long time, A_long timeStep, A_u_long timeScale,
                     PF_ParamDef* param) {
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(index);
    const std::string function = "checkout_param " + name;
    if (const PF_Err error = enterEffectCall(effectRef, "checkout_param", name, call)) {
        return error;
    }
    FrameContext* frame = call->frame;
    if (frame == nullptr || frame->values == nullptr || call->command == PF_Cmd_UPDATE_PARAMS_UI) {
        return breach(*call, function, "no parameter can be checked out in this command", PF_Err_INVALID_CALLBACK);
    }
    if (index < 0 || index >= frame->values->count()) {
        return breach(*call, function, "there is no such parameter", PF_Err_INVALID_INDEX);
    }
    if (param == nullptr) {
        return breach(*call, function, "given nothing to fill");
    }
    if (const FrameRequest* request = frame->request;
        request != nullptr &&
        (time != request->time || timeStep != request->timeStep || timeScale != request->timeScale)) {
        static_cast<void>(breach(*call, function, "asked for another time than the frame's"));
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
    const PF_Err error = enterEffectCall(effectRef, "checkin_param", name, call);
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
    if (const PF_Err error = enterEffectCall(effectRef, "add_param", name, call)) {
        return error;
    }
    std::vector<Parameter>& parameters = call->host.parameters;
    if (call->command != PF_Cmd_PARAMS_SETUP) {
        return breach(*call, "add_param", "called outside parameter set-up", PF_Err_INVALID_CALLBACK);
    }
    if (def == nullptr || (index != -1 && index != static_cast<PF_ParamIndex>(parameters.size()))) {
        return breach(*call, "add_param", "given no definition, or another place than the end");
    }
    Parameter& parameter = parameters.emplace_back();
    parameter.index = static_cast<PF_ParamIndex>(parameters.size()) - 1;
    parameter.def = *def;
    parameter.def.name[sizeof parameter.def.name - 1] = '\0';
    if (def->param_type == PF_Param_POPUP) {
        parameter.choices = splitChoices(def->u.pd.u.namesptr);
        if (static_cast<int>(parameter.choices.size()) != def->u.pd.num_choices) {
            static_cast<void>(breach(*call, "add_param " + name, "the number of choices is not that of its texts"));
        }
        // The module's text is copied; nobody reads it from the definition again.
        parameter.def.u.pd.u.namesptr = nullptr;
    }
    return PF_Err_NONE;
}

PF_Err registerUI(PF_ProgPtr effectRef, PF_CustomUIInfo* info) {
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterEffectCall(effectRef, "register_ui", {}, call)) {
        return error;
    }
    if (info == nullptr || call->command != PF_Cmd_PARAMS_SETUP || call->host.parameters.size() < 2) {
        return breach(*call, "register_ui", "there is no parameter that it could belong to, or no description");
    }
    call->host.parameters.back().customUI = *info;
    return PF_Err_NONE;
}

PF_Err neverAborts(PF_ProgPtr effectRef) {
    CurrentCall* call = nullptr;
    return enterEffectCall(effectRef, "abort", {}, call);
}

PF_Err ignoresProgress(PF_ProgPtr effectRef, A_long current, A_long total) {
    CurrentCall* call = nullptr;
    return enterEffectCall(effectRef, "progress", std::to_string(current) + " of " + std::to_string(total), call);
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

/// Writes a text and its end to where the module wants it. The interface gives no size: only the room of return_msg is
/// known, and a text too long for it is cut.
void store(const CurrentCall& call, std::string_view function, A_char* place, std::string_view text) {
    A_char* const message = std::begin(call.out.return_msg);
    A_char* const end = std::end(call.out.return_msg);
    if (place >= message && place < end) {
        const auto room = static_cast<std::size_t>(end - place);
        if (text.size() >= room) {
            static_cast<void>(breach(call, function, "the text is longer than return_msg"));
            text = text.substr(0, room - 1);
        }
    }
    std::copy(text.begin(), text.end(), place);
    place[text.size()] = '\0';
}

int hostSprintf(A_char* out, const A_char* format, ...) {
    constexpr std::string_view kName = "utils.ansi.sprintf";
    const CurrentCall* call = CurrentCall::get();
    if (call == nullptr || enterCall(call->host, kName) || out == nullptr || format == nullptr) {
        return -1;
    }
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length >= 0) {
        std::vector<char> text(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, again);
        store(*call, kName, out, {text.data(), text.size() - 1});
    }
    va_end(again);
    return length;
}

A_char* hostStrcpy(A_char* out, const A_char* in) {
    constexpr std::string_view kName = "utils.ansi.strcpy";
    const CurrentCall* call = CurrentCall::get();
    if (call == nullptr || enterCall(call->host, kName) || out == nullptr || in == nullptr) {
        return nullptr;
    }
    store(*call, kName, out, in);
    return out;
}

}  // namespace

void installInteractCallbacks(PF_InteractCallbacks& callbacks) {
    callbacks = filledWith<PF_InteractCallbacks>(unusedSlot);
    std::fill(std::begin(callbacks.reserved_str), std::end(callbacks.reserved_str), nullptr);
    std::fill(std::begin(callbacks.reserved), std::end(callbacks.reserved), nullptr);
    callbacks.checkout_param = checkoutParam;
    callbacks.checkin_param = checkinParam;
    callbacks.add_param = addParam;
    callbacks.register_ui = registerUI;
    callbacks.abort = neverAborts;
    callbacks.progress = ignoresProgress;
}

void installUtilCallbacks(PF_UtilCallbacks& callbacks) {
    callbacks = filledWith<PF_UtilCallbacks>(unusedSlot);
    callbacks.get_batch_func_is_deprecated = nullptr;
    callbacks.ansi.ansi_procs = 0;
    callbacks.reserved = 0;
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
