// SPDX-License-Identifier: MIT
// What the host's parts share: its state, and the command that runs on a thread right now.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/drawbot.h"
#include "host/handles.h"
#include "host/host.h"

namespace quorvel::host {

/// Which layers a pre-render asked for: parameter index by checkout id.
using LayerRequests = std::map<A_long, PF_ParamIndex>;

/// An event on its way to the module. The addresses of the members are the references that the module draws with.
struct DrawEvent {
    PF_ContextH context = nullptr;  ///< the panel's own
    bool drawing = false;           ///< only draw events may draw
    Surface* surface = nullptr;     ///< null: a panel that has nothing to draw on
    char supplier = 0;
};

/// The frame or the panel that a command works on.
struct FrameContext {
    const FrameRequest* request = nullptr;
    const ParameterValues* values = nullptr;
    LayerRequests* requests = nullptr;     ///< pre-render fills it, smart render reads it
    std::set<A_long> layersTaken;          ///< checkout ids whose pixels were handed out in this command
    std::multiset<std::string> layersOut;  ///< ids not checked in yet, as the ledger names them
    std::multiset<std::string> paramsOut;  ///< checked-out parameters, as the ledger names them
    bool inputTaken = false;
    DrawEvent* event = nullptr;                          ///< set for events
    std::vector<PF_ParamUIFlags>* shownFlags = nullptr;  ///< by index; what PF_UpdateParamUI changes
    std::deque<PF_LayerDef> worlds;                      ///< the records handed out; the pixels are the request's
};

struct Host::State {
    State(const std::filesystem::path& moduleFile, Profile profile);

    Profile profile;
    Ledger ledger;
    Faults faults;
    HandleTable handles{ledger};
    DrawImages images{ledger};
    Capabilities capabilities;
    std::optional<A_long> parameterCount;
    std::vector<Parameter> parameters;
    std::vector<PrPixelFormat> formats;
    PF_UtilCallbacks utils{};
    SPBasicSuite basic{};
    PF_InData in{};
    PF_OutData out{};
    Module module;  ///< last: unloaded before what it may still refer to goes

    /// Sends one command with these records, inside a handler for whatever it throws.
    CommandResult send(PF_Cmd cmd, PF_InData& inData, PF_OutData& outData, PF_ParamDef** params, PF_LayerDef* output,
                       void* extra, FrameContext* frame);
};

/// The command that runs on this thread. Callbacks find their host here: most of them are given no context.
class CurrentCall {
public:
    CurrentCall(Host::State& host, FrameContext* frame, PF_Cmd command, PF_ParamDef** params, PF_OutData& out);
    ~CurrentCall();
    CurrentCall(const CurrentCall&) = delete;
    CurrentCall& operator=(const CurrentCall&) = delete;

    /// Null outside a command.
    static CurrentCall* get();

    Host::State& host;
    FrameContext* frame;
    PF_Cmd command;
    PF_ParamDef** params;
    PF_OutData& out;

private:
    CurrentCall* outer_;
};

/// Notes a call in the ledger's recording and asks whether it is to be refused. `name` is what Faults knows it by;
/// `detail` follows it in the recording, and Faults may mean the two together.
std::optional<PF_Err> enterCall(Host::State& host, std::string_view name, std::string_view detail = {});
/// Whether that call is to succeed with a null object.
bool answersNull(const Host::State& host, std::string_view name, std::string_view detail = {});

/// Enters a callback that is given the effect's reference. On success `call` is the current one; otherwise the error
/// says why, and `call` is null when there is nobody whom the callback could be for.
PF_Err enterEffectCall(PF_ProgPtr effectRef, std::string_view name, std::string_view detail, CurrentCall*& call);

/// Records what the module did wrong in a call, and returns the error that answers it.
PF_Err breach(const CurrentCall& call, std::string_view name, std::string_view what,
              PF_Err answer = PF_Err_BAD_CALLBACK_PARAM);

/// Fill in the tables that the module gets.
void installInteractCallbacks(PF_InteractCallbacks& callbacks);
void installUtilCallbacks(PF_UtilCallbacks& callbacks);
void installBasicSuite(SPBasicSuite& basic);
PF_PreRenderCallbacks preRenderCallbacks();
PF_SmartRenderCallbacks smartRenderCallbacks();

/// One of the host's suites; null when this host has none of that name and version.
const void* findSuite(const Host::State& host, std::string_view name, int version);

}  // namespace quorvel::host
