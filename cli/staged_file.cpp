// SPDX-License-Identifier: MIT
#include "cli/staged_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "cli/exit_status.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

/// As many links as the system follows before it gives up.
constexpr int kMaximumLinks = 40;

Failure failureOf(const fs::path& target, const std::string& reason) {
    return Failure(target.string() + ": " + reason);
}

std::string systemReason(int error) {
    return std::strerror(error);
}

fs::path folderOf(const fs::path& target) {
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

/// Where the file will really be: a symbolic link's end, whether or not there is a file yet.
fs::path followed(const fs::path& shown) {
    fs::path target = shown;
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(target, error)); ++links) {
        if (links == kMaximumLinks) {
            throw failureOf(shown, systemReason(ELOOP));
        }
        const fs::path next = fs::read_symlink(target, error);
        if (error) {
            throw failureOf(shown, error.message());
        }
        target = next.is_absolute() ? next : folderOf(target) / next;
    }
    return target;
}

bool isReadOnly(const fs::path& file, const fs::file_status& status) {
    constexpr fs::perms kAnyWrite = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    // The administrator may write anything; a file that nobody may write is meant to stay all the same.
    return (status.permissions() & kAnyWrite) == fs::perms::none || ::access(file.c_str(), W_OK) != 0;
}

Failure alreadyThere(const fs::path& shown) {
    return failureOf(shown, "already exists, and --no-clobber was given");
}

void check(const fs::path& shown, const fs::path& target, Existing existing) {
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status)) {
        throw failureOf(shown, "is a folder");
    }
    if (fs::exists(status)) {
        if (!fs::is_regular_file(status)) {
            throw failureOf(shown, "is not a regular file");
        }
        if (existing == Existing::Keep) {
            throw alreadyThere(shown);
        }
        if (isReadOnly(target, status)) {
            throw failureOf(shown, "is read-only");
        }
    }
    const fs::path folder = folderOf(target);
    if (!fs::is_directory(folder, error)) {
        throw failureOf(shown, "no such folder: " + folder.string());
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw failureOf(shown, "cannot write into the folder " + folder.string() + ": " + systemReason(errno));
    }
}

/// Gives the file its name unless something has it by now; false, with errno set, when it cannot.
bool renameWithoutReplacing(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    // Some file systems cannot rename that way, network ones among them; they have hard links instead.
    return errno == EINVAL && ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

/// Signals wait while this lives, so that no file is made that a handler does not know of.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

private:
    sigset_t before_;
};

}  // namespace

StagedFile::StagedFile(const fs::path& target, Existing existing)
    : shownTarget_(target), target_(followed(target)), existing_(existing) {
    check(shownTarget_, target_, existing_);
    const SignalsHeldBack heldBack;
    for (int attempt = 0; descriptor_ < 0; ++attempt) {
        temporary_ = folderOf(target_) / (".quorvel-" + std::to_string(::getpid()) + "-" + std::to_string(attempt));
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) {
            throw failureOf(shownTarget_, systemReason(errno));
        }
    }
    registered_.emplace(temporary_.native());
    takeOverOwnerAndMode();
}

/// At once, so that a private file's successor is never readable for others. The owner before the mode, because a
/// change of owner clears bits of the mode; without the right to change owners the writer stays the owner.
void StagedFile::takeOverOwnerAndMode() {
    struct stat old {};
    if (::stat(target_.c_str(), &old) != 0) {
        return;
    }
    mode_t mode = old.st_mode & mode_t{07777};
    if (::fchown(descriptor_, old.st_uid, old.st_gid) != 0 &&
        ::fchown(descriptor_, static_cast<uid_t>(-1), old.st_gid) != 0) {
        mode &= mode_t{0777};  // set-user and set-group bits are for the old owner alone
    }
    (void)::fchmod(descriptor_, mode);
}

StagedFile::~StagedFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void StagedFile::write(std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            throw failureOf(shownTarget_, "cannot be written: " + systemReason(errno));
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void StagedFile::commit() {
    // Some file systems report a full disk only here.
    if (::fsync(descriptor_) != 0 || ::close(std::exchange(descriptor_, -1)) != 0) {
        throw failureOf(shownTarget_, "cannot be written: " + systemReason(errno));
    }
    check(shownTarget_, target_, existing_);
    const bool renamed = existing_ == Existing::Replace ? ::rename(temporary_.c_str(), target_.c_str()) == 0
                                                        : renameWithoutReplacing(temporary_, target_);
    if (!renamed) {
        throw errno == EEXIST ? alreadyThere(shownTarget_) : failureOf(shownTarget_, systemReason(errno));
    }
    temporary_.clear();
    registered_.reset();
}

void checkTarget(const fs::path& target, Existing existing) {
    check(target, followed(target), existing);
}

}  // namespace quorvel::cli
