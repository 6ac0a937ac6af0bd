// SPDX-License-Identifier: MIT
// The reference host: plays After Effects or Premiere Pro towards a loaded module.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/faults.h"
#include "host/ledger.h"
#include "host/module.h"
#include "host/parameter.h"
#include "host/world.h"
#include "sdk/pf_effect.h"
#include "sdk/premiere.h"

namespace quorvel::host {

enum class Application { AfterEffects, PremierePro };

/// Who is played. Premiere Pro has reported effect API version 13.4 for years.
struct Profile {
    Application application = Application::AfterEffects;
    PF_SpecVersion apiVersion{13, 27};

    static Profile afterEffects(A_short major = 13, A_short minor = 27);
    static Profile premierePro(A_short major = 13, A_short minor = 4);
};

/// What one command came to.
struct [[nodiscard]] CommandResult {
    PF_Err error = PF_Err_NONE;
    std::string message;          ///< the module's return_msg
    bool messageIsError = false;  ///< the module asked for it to be shown as an error
    std::string exception;        ///< what() of an exception that left the module; then `error` is meaningless

    bool ok() const { return error == PF_Err_NONE && exception.empty(); }
};

/// What a failed command came to, for a message: "error 512: Internal Error".
std::string describe(const CommandResult& result);

/// What global set-up reported.
struct Capabilities {
    A_u_long version = 0;
    PF_OutFlags outFlags = 0;
    PF_OutFlags2 outFlags2 = 0;
};

class Instance;
struct FrameContext;

/// One host process with one module in it. The constructor loads a fresh copy of the module and asks its identity;
/// no command has been sent yet. Set-up commands belong on one thread; rendering may use many.
class Host {
public:
    Host(const std::filesystem::path& moduleFile, Profile profile);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    const Profile& profile() const;
    const Module& module() const;
    Ledger& ledger();
    Faults& faults();

    CommandResult globalSetup();
    CommandResult paramsSetup();
    CommandResult globalSetdown();
    CommandResult about();
    /// Global and parameter set-up; throws HostError with command, code and the module's message when either fails
    /// or the declared count disagrees with the parameters added.
    void start();

    const Capabilities& capabilities() const;
    /// PF_OutData::num_params of parameter set-up; nothing when the module left it unset.
    std::optional<A_long> reportedParameterCount() const;
    /// What was declared, the input layer first.
    const std::vector<Parameter>& parameters() const;
    /// The declared parameter of that name, ignoring case; null when there is none.
    const Parameter* findParameter(std::string_view name) const;
    /// The Premiere Pro pixel formats that the module registered, in order.
    const std::vector<PrPixelFormat>& registeredFormats() const;

    /// Any command with exactly these arguments, for tests of the protocol itself.
    CommandResult send(PF_Cmd cmd, PF_ParamDef** params, PF_LayerDef* output, void* extra);

    /// The records that set-up and sequence commands and `send` hand to the module, with all callbacks set; frames
    /// start from a copy.
    PF_InData& inData();
    PF_OutData& outData();

    struct State;

private:
    friend class Instance;
    std::unique_ptr<State> state_;
};

/// One frame's worth of request. Worlds are borrowed for the call. Input, output and the chosen layers are of one
/// depth, and the input is at least as wide and as high as the output; otherwise rendering throws HostError.
struct FrameRequest {
    const World* input = nullptr;             ///< null: a layer without pixels
    World* output = nullptr;                  ///< rendered into; null: no output world
    const ParameterValues* values = nullptr;  ///< null: every parameter at its default
    A_long time = 0;
    A_long timeStep = 1;
    A_u_long timeScale = 24;
    PF_RationalScale downsampleX{1, 1};
    PF_RationalScale downsampleY{1, 1};
    /// What the host says of the pixel format; nothing: what the worlds are.
    std::optional<PF_PixelFormat> pixelFormat;
};

/// The outcome of a pre-render, to be used for at most one smart render. Owned by the caller, gone before the host;
/// what the module left in it (its pre-render handle) is disposed of with it.
class PreRender {
public:
    ~PreRender();
    PreRender(PreRender&&) noexcept;
    PreRender& operator=(PreRender&&) noexcept;

    PF_LRect resultRect() const;
    PF_LRect maxResultRect() const;
    void*& preRenderData();

private:
    friend class Instance;
    struct State;
    explicit PreRender(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

/// The effect applied to a layer: its sequence data and its frames. `render`, `preRender` and `smartRender` may be
/// called from several threads at once on one instance, beside the panel on its own thread; everything else belongs on
/// one thread.
class Instance {
public:
    /// Sends no command yet.
    explicit Instance(Host& host);
    /// Sends sequence set-down when sequence data is still there.
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    CommandResult sequenceSetup();
    CommandResult sequenceResetup();
    CommandResult sequenceFlatten();
    /// Leaves the instance's own data alone; the copy is kept as the stored data, to be read with `storedData`.
    CommandResult getFlattenedSequenceData();
    CommandResult sequenceSetdown();

    /// The instance's sequence data; null when there is none. Settable, to play odd hosts.
    PF_Handle& sequenceData();
    /// The bytes of a handle, for looking.
    std::vector<std::byte> bytesOf(PF_Handle handle) const;
    /// A new host handle of that size, or one whose block is null.
    PF_Handle newHandle(std::size_t size, bool nullBlock = false);
    /// What getFlattenedSequenceData stored, null at first; disposed of with the instance.
    PF_Handle storedData() const;

    /// One frame the way the host played does it: pre-render and smart render in After Effects, the plain render
    /// command with frame set-up and set-down around it in Premiere Pro.
    CommandResult render(const FrameRequest& request);

    /// The two halves of a smart render. A PreRender may be thrown away unused.
    std::pair<CommandResult, PreRender> preRender(const FrameRequest& request);
    CommandResult smartRender(PreRender& preRender, const FrameRequest& request);
    /// PF_Cmd_RENDER with frame set-up and set-down around it, whoever is played.
    CommandResult plainRender(const FrameRequest& request);

private:
    friend class Panel;
    CommandResult sendSequenceCommand(PF_Cmd cmd);
    /// With the values' own definitions, which the module may write to, or none. The caller says what `frame` is for.
    CommandResult sendPanelCommand(PF_Cmd cmd, ParameterValues* values, void* extra, FrameContext& frame);

    Host& host_;
    PF_Handle sequenceData_ = nullptr;
    PF_Handle storedData_ = nullptr;
};

}  // namespace quorvel::host
