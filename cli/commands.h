// SPDX-License-Identifier: MIT
// The program's commands. Each adds itself to the program and runs inside the parsing of the command line.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace quorvel::cli {

/// These need all arguments beforehand, because the module that they name decides which options there are.
void addRenderCommand(CLI::App& program, const std::vector<std::string>& arguments);
void addPanelCommand(CLI::App& program, const std::vector<std::string>& arguments);
void addSettingsCommand(CLI::App& program, const std::vector<std::string>& arguments);

void addAboutCommand(CLI::App& program);
void addParamsCommand(CLI::App& program);
void addInspectCommand(CLI::App& program);

void addCompletionCommand(CLI::App& program);
/// Not listed in the help: the build makes the manual page with this command.
void addManualCommand(CLI::App& program);

}  // namespace quorvel::cli
