// SPDX-License-Identifier: MIT
// One command-line option for each parameter that the module declares.
#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "host/parameter.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quorvel::cli {

/// The parameter options of one command. Must outlive the parsing of the command line.
class ParameterOptions {
public:
    /// Adds the options to the command. `declared` is borrowed for this object's life.
    void addTo(CLI::App& command, const std::vector<host::Parameter>& declared);

    /// The declared defaults, replaced by what the command line gave. Layers keep their defaults. Throws UsageError
    /// naming the option, the value and what was expected.
    host::ParameterValues values() const;

    /// A layer parameter that was given a picture file.
    struct LayerFile {
        A_long id;
        std::string file;
    };
    std::vector<LayerFile> layerFiles() const;

private:
    struct Given {
        const host::Parameter* parameter;
        std::string optionName;
        std::string text;
        CLI::Option* option;
    };
    const std::vector<host::Parameter>* declared_ = nullptr;
    std::list<Given> options_;  // a list, because the options keep pointers to the texts
};

}  // namespace quorvel::cli
