// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace quorvel::host {

/// Any failure on the host's side. The message is one line for the user, in UTF-8.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace quorvel::host
