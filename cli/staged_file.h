// SPDX-License-Identifier: MIT
// An output file that appears complete or not at all.
#pragma once

#include <filesystem>
#include <optional>
#include <span>

#include "cli/staged_names.h"

namespace quorvel::cli {

/// What to do with a file that is already there.
enum class Existing {
    Replace,  ///< the new file takes its place, its mode and, where the system allows it, its owner and group
    Keep,     ///< it stays, and writing fails
};

/// A file written under a temporary name in its target's folder. Unless `commit` succeeds nothing of it is left: not
/// after an exception, and not after a signal when `removeStagedFilesOnSignals` was called.
class StagedFile {
public:
    /// A symbolic link is followed, also when its end does not exist yet. Throws Failure naming the target when its
    /// folder does not exist or cannot be written to, or when the target is there and is no regular file, is
    /// read-only, or is to be kept.
    StagedFile(const std::filesystem::path& target, Existing existing);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    /// The temporary name, for a writer that opens files itself.
    const std::filesystem::path& path() const { return temporary_; }

    /// Appends bytes. Throws Failure, for example when the disk is full.
    void write(std::span<const unsigned char> bytes);

    /// Makes sure that every byte has reached the disk, then gives the file its name in one step: of two programs that
    /// write the same target under Existing::Keep, one fails. Throws Failure.
    void commit();

private:
    void takeOverOwnerAndMode();

    std::filesystem::path shownTarget_;  ///< as the user wrote it
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::optional<StagedName> registered_;
    Existing existing_;
    int descriptor_ = -1;
};

/// Throws what the constructor of StagedFile would throw for this target, without touching the disk: lets a command
/// refuse before it works.
void checkTarget(const std::filesystem::path& target, Existing existing);

}  // namespace quorvel::cli
