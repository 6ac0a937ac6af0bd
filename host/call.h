// SPDX-License-Identifier: MIT
// The command that runs on a thread right now, and how the host's functions find it when the module calls them.
#pragma once

#include <string_view>

#include "host/frame_context.h"
#include "host/state.h"

namespace quorvel::host {

/// The command that runs on this thread. Most of the functions that a module calls get no context, so they find their
/// host here. Commands of several hosts may be nested.
class CurrentCall {
public:
    CurrentCall(HostState& host, FrameContext* frame, PF_Cmd command, PF_ParamDef** params, PF_OutData& out);
    ~CurrentCall();
    CurrentCall(const CurrentCall&) = delete;
    CurrentCall& operator=(const CurrentCall&) = delete;

    /// Null outside a command.
    static CurrentCall* get();

    HostState& host;
    FrameContext* frame;
    PF_Cmd command;
    PF_ParamDef** params;
    PF_OutData& out;

private:
    CurrentCall* outer_;
};

/// The outcome of entering one of the host's functions.
struct [[nodiscard]] EnteredCall {
    /// The command that the function belongs to. Null when there is none; set together with an error when the function
    /// is refused, or given a wrong argument.
    CurrentCall* call = nullptr;
    PF_Err error = PF_Err_NONE;  ///< what to answer with, unless PF_Err_NONE

    explicit operator bool() const { return error == PF_Err_NONE; }
};

/// Enters a function of this thread's command: the ledger records it, and Faults may refuse it. `name` is the
/// function's name in Faults; `detail` follows it in the recording, and Faults may refuse the two together.
/// Outside a command the error is PF_Err_INVALID_CALLBACK.
EnteredCall enterCall(std::string_view name, std::string_view detail = {});

/// The same for a function that gets the effect's reference. A reference of another host is a breach.
EnteredCall enterEffectCall(PF_ProgPtr effectRef, std::string_view name, std::string_view detail = {});

/// Whether Faults wants that function to succeed with a null object.
bool answersNull(const HostState& host, std::string_view name, std::string_view detail = {});

/// Records a breach by the module as "name: what", and returns the error to answer with.
PF_Err breach(const CurrentCall& call, std::string_view name, std::string_view what,
              PF_Err answer = PF_Err_BAD_CALLBACK_PARAM);

}  // namespace quorvel::host
