// SPDX-License-Identifier: MIT
// The effect that a command works with: the module, the host that loads it, and an option for each parameter.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/module_options.h"
#include "cli/parameter_options.h"
#include "host/host.h"

namespace CLI {
class App;
}

namespace quorvel::cli {

/// Must outlive the parsing of the command line.
class EffectOptions {
public:
    /// Adds --host, --api-version and --module now. Once `arguments`, the whole command line, prove to be for this
    /// command, starts the module that they name and adds the options of the parameters it declares. When help is asked
    /// for with a module that cannot be loaded, help is printed without those.
    void addTo(CLI::App& command, const std::vector<std::string>& arguments);

    /// For the command's own work, after parsing.
    host::Host& host() const { return *host_; }
    const ParameterOptions& parameters() const { return parameters_; }

private:
    void load(CLI::App& command, const std::vector<std::string>& arguments);

    ModuleOptions module_;
    std::unique_ptr<host::Host> host_;
    ParameterOptions parameters_;
};

}  // namespace quorvel::cli
