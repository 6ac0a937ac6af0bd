// SPDX-License-Identifier: MIT
// How the program ends, and the exceptions that lead there. Each becomes one line on the error output.
#pragma once

#include <stdexcept>
#include <string>

namespace quorvel::cli {

enum ExitStatus : int {
    kExitSuccess = 0,
    kExitFailure = 1,  ///< something went wrong while working; no output was left behind
    kExitUsage = 2,    ///< the command line is wrong; nothing was tried
};

/// The command line is wrong: ends with kExitUsage.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The usage error in its usual words: "OPTION VALUE: accepted is ACCEPTED".
UsageError badValue(const std::string& option, const std::string& value, const std::string& accepted);

/// The work cannot be done: ends with kExitFailure.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Tells the user something worth knowing that does not stop the work, on the error output.
void note(const std::string& text);

}  // namespace quorvel::cli
