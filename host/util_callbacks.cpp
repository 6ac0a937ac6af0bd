// SPDX-License-Identifier: MIT
#include "host/util_callbacks.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "host/call.h"
#include "host/unused_slot.h"

namespace quorvel::host {

namespace {

/// The handle functions appear in two tables, the utility callbacks and the handle suite; their names tell them apart.
struct UtilNames {
    static constexpr char kPrefix[] = "utils.";
};
struct SuiteNames {
    static constexpr char kPrefix[] = "PF Handle Suite.";
};

template <typename Names>
EnteredCall enterHandleCall(const char* function, const std::string& detail = {}) {
    return enterCall(std::string(Names::kPrefix) + function, detail);
}

template <typename Names>
PF_Handle newHandle(A_HandleSize size) {
    const EnteredCall entered = enterHandleCall<Names>("host_new_handle", std::to_string(size));
    return entered ? entered.call->host.handles.create(size) : nullptr;
}

template <typename Names>
void* lockHandle(PF_Handle handle) {
    const EnteredCall entered = enterHandleCall<Names>("host_lock_handle");
    return entered ? entered.call->host.handles.lock(handle) : nullptr;
}

// A refused call unlocks or disposes of the handle too: a refusal must not look like a leak by the module.
template <typename Names>
void unlockHandle(PF_Handle handle) {
    if (const EnteredCall entered = enterHandleCall<Names>("host_unlock_handle"); entered.call != nullptr) {
        entered.call->host.handles.unlock(handle);
    }
}

template <typename Names>
void disposeHandle(PF_Handle handle) {
    if (const EnteredCall entered = enterHandleCall<Names>("host_dispose_handle"); entered.call != nullptr) {
        entered.call->host.handles.dispose(handle);
    }
}

template <typename Names>
A_HandleSize handleSize(PF_Handle handle) {
    const EnteredCall entered = enterHandleCall<Names>("host_get_handle_size");
    return entered ? entered.call->host.handles.size(handle) : 0;
}

template <typename Names>
PF_Err resizeHandle(A_HandleSize size, PF_Handle* handle) {
    const EnteredCall entered = enterHandleCall<Names>("host_resize_handle", std::to_string(size));
    if (!entered) {
        return entered.error;
    }
    return handle != nullptr && entered.call->host.handles.resize(size, *handle) ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

/// Writes a text and its terminating zero to where the module wants it. The interface passes no size: only the size of
/// return_msg is known, and a text that is too long for it is cut.
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
    const EnteredCall entered = enterCall(kName);
    if (!entered || out == nullptr || format == nullptr) {
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
        store(*entered.call, kName, out, {text.data(), text.size() - 1});
    }
    va_end(again);
    return length;
}

A_char* hostStrcpy(A_char* out, const A_char* in) {
    constexpr std::string_view kName = "utils.ansi.strcpy";
    const EnteredCall entered = enterCall(kName);
    if (!entered || out == nullptr || in == nullptr) {
        return nullptr;
    }
    store(*entered.call, kName, out, in);
    return out;
}

}  // namespace

PF_UtilCallbacks utilCallbacks() {
    auto callbacks = tableOfUnusedSlots<PF_UtilCallbacks>();
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
    return callbacks;
}

const PF_HandleSuite& handleSuite() {
    static constexpr PF_HandleSuite suite{newHandle<SuiteNames>,     lockHandle<SuiteNames>, unlockHandle<SuiteNames>,
                                          disposeHandle<SuiteNames>, handleSize<SuiteNames>, resizeHandle<SuiteNames>};
    return suite;
}

}  // namespace quorvel::host
