// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "sdk/pf_base.h"

namespace quorvel::host {

/// The module's answer to one command.
struct [[nodiscard]] CommandResult {
    PF_Err error = PF_Err_NONE;
    std::string message;          ///< the module's return_msg
    bool messageIsError = false;  ///< the module asked for it to be shown as an error
    std::string exception;        ///< what() of an exception that left the module; then `error` is meaningless

    bool ok() const { return error == PF_Err_NONE && exception.empty(); }
};

/// A failed command's answer, for a message: "error 512: Internal Error".
std::string describe(const CommandResult& result);

}  // namespace quorvel::host
