// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace quorvel::host {

/// Anything that goes wrong on the host's side; the message is one line for the user.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace quorvel::host
