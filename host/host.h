// SPDX-License-Identifier: MIT
// The reference host: emulates After Effects or Premiere Pro for a loaded module.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/command_result.h"
#include "host/faults.h"
#include "host/ledger.h"
#include "host/module.h"
#include "host/parameter.h"
#include "host/profile.h"
#include "sdk/pf_effect.h"
#include "sdk/premiere.h"

namespace quorvel::host {

struct HostState;

/// One host process with one module. The constructor loads a fresh copy of the module and asks for its identity, but
/// sends no command. Set-up commands belong on one thread; rendering may use many.
class Host {
public:
    /// Throws HostError when the module cannot be loaded, see Module.
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
    /// Global and parameter set-up. Throws HostError with the command, the code and the module's message when either
    /// fails, or when the reported number of parameters differs from those added.
    void start();

    const Capabilities& capabilities() const;
    /// PF_OutData::num_params after parameter set-up, the input layer included; empty when the module did not set it.
    std::optional<A_long> reportedParameterCount() const;
    /// The declared parameters, the input layer first.
    const std::vector<Parameter>& parameters() const;
    /// The declared parameter of that name, whatever its case; null when there is none.
    const Parameter* findParameter(std::string_view name) const;
    /// The Premiere Pro pixel formats that the module registered, in order.
    const std::vector<PrPixelFormat>& registeredFormats() const;

    /// Sends a command with exactly these arguments, for tests of the protocol itself.
    CommandResult send(PF_Cmd cmd, PF_ParamDef** params, PF_LayerDef* output, void* extra);

    /// The records that set-up commands, sequence commands and `send` pass to the module, with all callbacks set. Each
    /// frame gets a copy.
    PF_InData& inData();
    PF_OutData& outData();

private:
    friend class Instance;
    std::unique_ptr<HostState> state_;
};

}  // namespace quorvel::host
