// SPDX-License-Identifier: MIT
#include "cli/staged_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>

#include "cli/exit_status.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

/// What the signal handler removes; null when nothing is staged. Points into the StagedFile's own path.
std::atomic<const char*> stagedName = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free, "read by a signal handler");

extern "C" void removeStagedFileAndEnd(int signal) {
    if (const char* name = stagedName.exchange(nullptr)) {
        ::unlink(name);
    }
    // The handler was installed for one delivery only, so this ends the program with the signal's own status.
    ::raise(signal);
}

Failure failureOf(const fs::path& target, const std::string& reason) {
    return Failure(target.string() + ": " + reason);
}

std::string systemReason(int error) {
    return std::strerror(error);
}

/// Where the file will really be: a symbolic link's end.
fs::path followed(const fs::path& target) {
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(target, error))) {
        fs::path end = fs::weakly_canonical(target, error);
        if (!error) {
            return end;
        }
    }
    return target;
}

fs::path folderOf(const fs::path& target) {
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

void check(const fs::path& shown, const fs::path& target, bool clobber) {
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status)) {
        throw failureOf(shown, "is a folder");
    }
    if (fs::exists(status)) {
        if (!fs::is_regular_file(status)) {
            throw failureOf(shown, "is not a regular file");
        }
        if (!clobber) {
            throw failureOf(shown, "exists already, and --no-clobber was given");
        }
    }
    const fs::path folder = folderOf(target);
    if (!fs::is_directory(folder, error)) {
        throw failureOf(shown, "there is no folder " + folder.string());
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw failureOf(shown, "cannot write into the folder " + folder.string() + ": " + systemReason(errno));
    }
}

}  // namespace

StagedFile::StagedFile(const fs::path& target, bool clobber)
    : shownTarget_(target), target_(followed(target)), clobber_(clobber) {
    check(shownTarget_, target_, clobber_);
    for (int attempt = 0; descriptor_ < 0; ++attempt) {
        temporary_ = folderOf(target_) / (".quorvel-" + std::to_string(::getpid()) + "-" + std::to_string(attempt));
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) {
            throw failureOf(shownTarget_, systemReason(errno));
        }
    }
    stagedName = temporary_.c_str();
}

StagedFile::~StagedFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
        stagedName = nullptr;
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
    check(shownTarget_, target_, clobber_);
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        throw failureOf(shownTarget_, systemReason(errno));
    }
    stagedName = nullptr;
    temporary_.clear();
}

void checkTarget(const fs::path& target, bool clobber) {
    check(target, followed(target), clobber);
}

void removeStagedFilesOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeStagedFileAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        // A program started with a signal ignored (nohup, a background job) leaves it so.
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
    (void)::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace quorvel::cli
