// SPDX-License-Identifier: MIT
// The names of a numbered sequence's files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvel::cli {

/// A file name with a place for the frame's number: `shot.####.exr` (at least as many digits as signs), `shot.@.exr`,
/// `shot.%04d.exr` or `shot.%d.exr`. The last such place of the name counts; folders have none.
class FilePattern {
public:
    /// Nothing when the name has no place for a number.
    static std::optional<FilePattern> parse(const std::filesystem::path& file);

    /// The name of a frame's file.
    std::filesystem::path file(int frame) const;

    /// The frames that have a file, ascending. Throws Failure when the folder cannot be read.
    std::vector<int> existing() const;

    /// As the user wrote it.
    const std::filesystem::path& text() const { return text_; }

private:
    std::filesystem::path text_;
    std::filesystem::path folder_;
    std::string before_, after_;
    int digits_ = 1;
};

}  // namespace quorvel::cli
