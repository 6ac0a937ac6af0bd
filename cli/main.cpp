// SPDX-License-Identifier: MIT
// The program `quorvel`: parses the command line, runs a command, and turns whatever goes wrong into one line and an
// exit status.
#include <CLI/CLI.hpp>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/exit_status.h"
#include "cli/program_file.h"
#include "cli/standard_streams.h"

namespace quorvel::cli {
namespace {

/// The parser's own words speak of types; they begin with the option's name.
UsageError missingValue(const CLI::ArgumentMismatch& error) {
    const std::string words = error.what();
    return {"{}: needs a value", words.substr(0, words.find(':'))};
}

int run(const std::vector<std::string>& arguments) {
    CLI::App program;
    defineProgram(program, arguments);
    try {
        program.parse(forParser(arguments));
    } catch (const CLI::Success& wanted) {  // help or version
        program.exit(wanted);
    } catch (const CLI::ArgumentMismatch& error) {
        throw missingValue(error);
    } catch (const CLI::ParseError& error) {
        throw refusal(program, error);
    }
    return std::cout.flush() ? kExitSuccess : fail(kExitFailure, "standard output: cannot be written");
}

}  // namespace
}  // namespace quorvel::cli

int main(int count, char** arguments) {
    using namespace quorvel::cli;
    openMissingStandardStreams();
    const Utf8Console console;
    try {
        return run(programArguments(count, arguments));
    } catch (const UsageError& error) {
        return fail(kExitUsage, error.what());
    } catch (const Interrupted& end) {
        return fail(end.status(), end.what());
    } catch (const std::bad_alloc&) {
        return fail(kExitFailure, "not enough memory");
    } catch (const std::exception& error) {
        return fail(kExitFailure, error.what());
    }
}
