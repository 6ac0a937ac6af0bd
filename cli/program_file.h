// SPDX-License-Identifier: MIT
// What differs between systems: where this program is, what its parts are called, and how arguments arrive.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel::cli {

#if defined(_WIN32)
inline constexpr char kModuleName[] = "Quorvel.aex";
#else
inline constexpr char kModuleName[] = "Quorvel.so";
#endif

/// The running program's own file, links followed. Throws Failure if the system cannot name it.
std::filesystem::path programFile();

/// A file that came with the program: beside it, or in ../lib/quorvel once installed.
std::filesystem::path companionFile(const std::string& name);

/// The command line without the program's name, in UTF-8 whatever the system's code page is.
std::vector<std::string> programArguments(int count, char** arguments);

/// The path that a UTF-8 argument names.
std::filesystem::path pathFrom(const std::string& argument);

/// Lets a Windows console show UTF-8 while it lives; elsewhere terminals do so anyway.
class Utf8Console {
public:
#if defined(_WIN32)
    Utf8Console();
    ~Utf8Console();
#else
    Utf8Console() {}  // not trivial, so that nobody takes an object of it for unused
#endif
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

#if defined(_WIN32)
private:
    unsigned codePageBefore_ = 0;
#endif
};

}  // namespace quorvel::cli
