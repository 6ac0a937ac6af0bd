// SPDX-License-Identifier: MIT
#include "cli/staged_names.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>

namespace quorvel::cli {

/// Static memory: a handler may read a name while the thread that registered it is on its way to take it back.
struct StagedNames {
    struct Slot {
        std::atomic<bool> taken = false;
        std::atomic<bool> complete = false;  ///< `name` may be read
        char name[4096];
    };
    std::array<Slot, 64> slots;
};

namespace {

using Slot = StagedNames::Slot;
static_assert(std::atomic<bool>::is_always_lock_free, "read by a signal handler");
StagedNames own;
StagedNames* used = &own;

/// Every signal whose default action ends the program, but for SIGKILL, which nobody can handle, and SIGXFSZ.
constexpr int kEndingSignals[] = {SIGHUP,  SIGINT,    SIGQUIT, SIGILL,  SIGTRAP, SIGABRT, SIGBUS,
                                  SIGFPE,  SIGUSR1,   SIGSEGV, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM,
                                  SIGXCPU, SIGVTALRM, SIGPROF, SIGPOLL, SIGSYS,  SIGPWR,  SIGSTKFLT};

/// Two signals may arrive at once, on two threads: each handler removes what is there itself, and a file that is
/// already gone is no error.
extern "C" void removeStagedFilesAndEnd(int signal) {
    for (Slot& slot : used->slots) {
        if (slot.complete.load()) {
            ::unlink(slot.name);
        }
    }
    // The handler is reset to the default by now, so this ends the program as soon as the handler returns.
    ::raise(signal);
}

}  // namespace

StagedNames& stagedNames() {
    return *used;
}

void useStagedNames(StagedNames& names) {
    used = &names;
}

StagedName::StagedName(std::string_view name) : slot_(used->slots.size()) {
    auto& slots = used->slots;
    if (name.size() >= sizeof Slot::name) {
        return;
    }
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (!slots[i].taken.exchange(true)) {
            slot_ = i;
            *std::copy(name.begin(), name.end(), slots[i].name) = '\0';
            slots[i].complete = true;
            return;
        }
    }
}

StagedName::~StagedName() {
    auto& slots = used->slots;
    if (slot_ < slots.size()) {
        slots[slot_].complete = false;
        slots[slot_].taken = false;
    }
}

void removeStagedFilesOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeStagedFilesAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    // None of the others may end this thread in the middle of removing.
    sigemptyset(&action.sa_mask);
    for (const int signal : kEndingSignals) {
        sigaddset(&action.sa_mask, signal);
    }
    for (const int signal : kEndingSignals) {
        struct sigaction before {};
        // A program started with a signal ignored (nohup, a background job) leaves it so; a sanitizer keeps its own.
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
            ::sigaction(signal, &action, nullptr);
        }
    }
    (void)::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace quorvel::cli
