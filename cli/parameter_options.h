// SPDX-License-Identifier: MIT
// One command-line option for each parameter that the module declares.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/parameter_text.h"
#include "cli/settings_option.h"
#include "host/parameter.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quorvel::cli {

/// The parameter options of one command. Must outlive the parsing of the command line.
class ParameterOptions {
public:
    /// Adds --settings and the parameters' own options to the command. `declared` is borrowed for this object's life.
    void addTo(CLI::App& command, const std::vector<host::Parameter>& declared);

    const SettingsOption& settingsOption() const { return settings_; }

    /// The declared defaults, replaced by what the settings say at that moment, and those by what the command line
    /// gave. Layers keep their defaults. Throws UsageError naming the option, the value and what was expected, and
    /// Failure when the settings have a parameter that the module lacks.
    host::ParameterValues values(const settings::Moment& moment = {}) const;

    /// Values of the settings that have keys and that no option overrides.
    settings::SettingsFile moving() const;
    /// Sets the parameters that settings have a value for to what it is at that moment. Any number of threads at once.
    /// Throws Failure when the module lacks one of them.
    void apply(const settings::SettingsFile& settings, const settings::Moment& moment,
               host::ParameterValues& values) const;
    /// The options that were given, as settings, without layers. Throws UsageError.
    settings::SettingsFile given() const;

    /// A layer parameter that an option or the settings gave a picture file.
    struct LayerFile {
        A_long id;
        std::string file;
    };
    std::vector<LayerFile> layerFiles() const;

private:
    /// One option.
    struct Given {
        const host::Parameter* parameter;
        std::string optionName;
        std::string text;
        CLI::Option* option;
    };
    bool isGiven(ParameterId id) const;
    std::optional<ParameterValue> valueOf(const Given& given) const;

    const std::vector<host::Parameter>* declared_ = nullptr;
    SettingsOption settings_;
    std::list<Given> options_;  // a list, because the options keep pointers to the texts
};

}  // namespace quorvel::cli
