// SPDX-License-Identifier: MIT
// One line on the error output for each thing that goes wrong, whatever libraries print on their own.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>

namespace quorvel::cli {

/// Keeps the picture libraries from writing to the error output while it lives: some print their own line before
/// they return the error, and the user is to get one line. Several may live at once, on several threads.
class QuietLibraries {
public:
    QuietLibraries() {
        const std::lock_guard lock(mutex_);
        if (living_++ == 0) {
            (void)std::fflush(stderr);
            saved_ = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
            const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
            ::dup2(nowhere, STDERR_FILENO);
            ::close(nowhere);
        }
    }
    ~QuietLibraries() {
        const std::lock_guard lock(mutex_);
        if (--living_ == 0) {
            (void)std::fflush(stderr);
            ::dup2(saved_, STDERR_FILENO);
            ::close(saved_);
        }
    }
    QuietLibraries(const QuietLibraries&) = delete;
    QuietLibraries& operator=(const QuietLibraries&) = delete;

private:
    static inline std::mutex mutex_;
    static inline int living_ = 0;
    static inline int saved_ = -1;
};

}  // namespace quorvel::cli
