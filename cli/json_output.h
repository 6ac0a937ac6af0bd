// SPDX-License-Identifier: MIT
// JSON on the standard output.
#pragma once

#include <iostream>
#include <nlohmann/json.hpp>

namespace quorvel::cli {

/// Prints a value over several lines, in ASCII alone: whatever a module's texts hold, nothing in it steers a terminal.
inline void printJson(const nlohmann::ordered_json& value) {
    std::cout << value.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

}  // namespace quorvel::cli
