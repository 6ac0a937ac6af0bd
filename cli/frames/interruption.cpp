// SPDX-License-Identifier: MIT
#include "cli/frames/interruption.h"

#include <atomic>
#include <cstddef>

namespace quorvel::cli {
namespace {

std::atomic<int> asked = 0;
static_assert(std::atomic<int>::is_always_lock_free, "written by a signal handler");
/// What each signal did before, where the handler can reach it.
std::array<struct sigaction, 2> earlier{};

extern "C" void askForEnd(int signal) {
    int none = 0;
    if (asked.compare_exchange_strong(none, signal)) {
        return;
    }
    // Takes effect when this handler returns, because the signal is held back until then.
    ::sigaction(signal, &earlier[signal == SIGINT ? 0 : 1], nullptr);
    ::raise(signal);
}

}  // namespace

Interruption::Interruption() {
    asked = 0;
    struct sigaction action {};
    action.sa_handler = askForEnd;
    action.sa_flags = static_cast<int>(SA_RESTART);
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &before_[i]);
        earlier[i] = before_[i];
        // A program started with the signal ignored (nohup, a background job) leaves it so.
        if (before_[i].sa_handler != SIG_IGN) {
            ::sigaction(kSignals[i], &action, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &before_[i], nullptr);
    }
}

int Interruption::signal() {
    return asked;
}

}  // namespace quorvel::cli
