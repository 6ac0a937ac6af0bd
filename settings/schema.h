// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace quorvel::settings {

/// The JSON Schema of settings files, made from the parameter table: text that ends in a line break. What it cannot
/// express, parseSettings refuses all the same: keys given twice, and times beyond 1e9 seconds. Choices are read in any
/// case, but the schema has the lower case alone.
std::string settingsSchema();

}  // namespace quorvel::settings
