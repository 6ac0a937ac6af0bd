// SPDX-License-Identifier: MIT
// An output file that appears complete or not at all.
#pragma once

#include <filesystem>
#include <span>

namespace quorvel::cli {

/// A file written under a temporary name in its target's folder. Unless `commit` succeeds nothing of it is left:
/// not after an exception, and not after SIGINT or SIGTERM when `removeStagedFilesOnSignals` was called.
/// One may be open at a time.
class StagedFile {
public:
    /// Throws Failure naming the target when its folder is missing or cannot be written to, when the target is there
    /// but not a regular file, or when it is there and `clobber` is false. A symbolic link is followed.
    StagedFile(const std::filesystem::path& target, bool clobber);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    /// The temporary name, for a writer that opens files itself.
    const std::filesystem::path& path() const { return temporary_; }

    /// Appends bytes. Throws Failure, for example when the disk is full.
    void write(std::span<const unsigned char> bytes);

    /// Makes sure that every byte has reached the disk, then gives the file its name. Throws Failure.
    void commit();

private:
    std::filesystem::path shownTarget_;  ///< as the user wrote it
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    bool clobber_;
    int descriptor_ = -1;
};

/// Throws what the constructor of StagedFile would throw for this target, without touching the disk: lets a command
/// refuse before it works.
void checkTarget(const std::filesystem::path& target, bool clobber);

/// From now on SIGINT, SIGTERM and SIGHUP remove the staged file before they end the program, and a file-size limit
/// is an error of the write instead of a signal.
void removeStagedFilesOnSignals();

}  // namespace quorvel::cli
