// SPDX-License-Identifier: MIT
// The names of files that are being written, where a signal handler can find them.
#pragma once

#include <cstddef>
#include <string_view>

namespace quorvel::cli {

/// The names of one process. Each shared object has its own until it is told to use another's.
struct StagedNames;
StagedNames& stagedNames();
/// From now on this copy of the code registers names there. Called once, before the first name.
void useStagedNames(StagedNames& names);

/// Registers one file's name for as long as this lives. Any number may live at once, on any threads; a name that finds
/// no place (64 are kept) or is longer than any path is not registered.
class StagedName {
public:
    explicit StagedName(std::string_view name);
    ~StagedName();
    StagedName(const StagedName&) = delete;
    StagedName& operator=(const StagedName&) = delete;

private:
    std::size_t slot_;
};

/// From now on every signal that ends the program, a crash included, removes the files registered here first. The
/// program then ends with that signal's own status. Signals that were ignored or handled before stay so. Going over a
/// file-size limit becomes an error of the write instead of a signal. Called once, from the main thread.
void removeStagedFilesOnSignals();

}  // namespace quorvel::cli
