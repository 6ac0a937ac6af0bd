// SPDX-License-Identifier: MIT
// The whole command line: every command with its options, and what is said of arguments that fit none of them.
#pragma once

#include <string>
#include <vector>

#include "cli/exit_status.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace quorvel::cli {

/// Adds the program's options and commands to an empty parser. `arguments` is the whole command line.
void defineProgram(CLI::App& program, const std::vector<std::string>& arguments);

/// The arguments in the order and the spelling that the parser takes: last first, an empty value apart from its option,
/// and what follows "--" so that no file is taken for an option.
std::vector<std::string> forParser(const std::vector<std::string>& arguments);

/// After a failed parse: what is wrong with the first argument that the parser could not place, with the command or
/// option that was probably meant; if it placed them all, what is missing.
UsageError refusal(const CLI::App& program, const CLI::ParseError& error);

/// Defines the program and has it load what each command needs for all its options to be there, without running any.
void defineCompletely(CLI::App& program);

}  // namespace quorvel::cli
