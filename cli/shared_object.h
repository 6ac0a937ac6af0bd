// SPDX-License-Identifier: MIT
// The parts of the program that are loaded when they are needed.
#pragma once

#include <string>

namespace quorvel::cli {

/// The function `symbol` of a shared object that belongs to the program, loaded until the program ends. Throws Failure
/// beginning with `complaint` when that is impossible.
void* loadCompanion(const std::string& file, const char* symbol, const char* complaint);

}  // namespace quorvel::cli
