// SPDX-License-Identifier: MIT
// How the program ends, the exceptions that lead there, and what it says on the error output: one line for each thing.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace quorvel::cli {

enum ExitStatus : int {
    kExitSuccess = 0,
    kExitFailure = 1,  ///< something went wrong while working; no output was left behind
    kExitUsage = 2,    ///< the command line is wrong; nothing was tried
};

/// The command line is wrong: ends with kExitUsage.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const std::string& message) : runtime_error(message) {}
    template <typename First, typename... More>
    UsageError(fmt::format_string<First, More...> format, First&& first, More&&... more)
        : runtime_error(fmt::format(format, std::forward<First>(first), std::forward<More>(more)...)) {}
};

/// The usage error of a value, in its usual words: "--depth 10: expected 8, 16 or 32".
UsageError badValue(const std::string& option, const std::string& value, const std::string& expected);

/// The work cannot be done: ends with kExitFailure.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& message) : runtime_error(message) {}
    template <typename First, typename... More>
    Failure(fmt::format_string<First, More...> format, First&& first, More&&... more)
        : runtime_error(fmt::format(format, std::forward<First>(first), std::forward<More>(more)...)) {}
};

/// "FILE: not enough memory for WIDTH x HEIGHT pixels (1.2 GB)", or in MB below 1 GB.
Failure memoryFailure(const std::string& file, int width, int height, double bytes);

/// A signal asked for an end: ends with 128 and the signal's number, as a shell reports such an end.
class Interrupted : public Failure {
public:
    Interrupted(int signal, const std::string& message) : Failure(message), signal_(signal) {}
    ExitStatus status() const { return static_cast<ExitStatus>(128 + signal_); }

private:
    int signal_;
};

/// Prints a message as the error output's one line and returns the status. Control characters are escaped.
int fail(ExitStatus status, const std::string& message);

/// Prints something worth knowing that does not stop the work, as one line on the error output.
void note(const std::string& text);

}  // namespace quorvel::cli
