// SPDX-License-Identifier: MIT
// Independent pieces of work, side by side.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "cli/processors.h"

namespace quorvel::cli {

/// The most threads that work is spread over; at first as many as there are processors to use. The program and its
/// picture library have a number each.
inline std::atomic<std::size_t>& parallelThreads() {
    static std::atomic<std::size_t> threads = static_cast<std::size_t>(availableProcessors());
    return threads;
}

/// Calls `work(i)` once for each i below `count`, on up to `parallelThreads()` threads. Rethrows the first
/// exception when all threads have ended.
template <typename Work>
void inParallel(std::size_t count, const Work& work) {
    std::atomic<std::size_t> next = 0;
    std::exception_ptr failure;
    std::mutex mutex;
    const auto run = [&] {
        try {
            for (std::size_t i = next++; i < count; i = next++) {
                work(i);
            }
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = failure ? failure : std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> threads;
    const std::size_t wanted = std::min<std::size_t>(parallelThreads(), count);
    try {
        while (threads.size() + 1 < wanted) {
            threads.emplace_back(run);
        }
    } catch (const std::system_error&) {
        // Fewer threads do the same work.
    }
    run();
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/// Calls `work(begin, end)` for runs of about equal length that together are 0 up to `count`, one for each thread.
template <typename Work>
void inParallelRuns(int count, const Work& work) {
    const int runs = std::clamp(static_cast<int>(parallelThreads()), 1, std::max(count, 1));
    const auto begin = [&](std::size_t run) {
        return static_cast<int>(static_cast<std::size_t>(count) * run / static_cast<std::size_t>(runs));
    };
    inParallel(static_cast<std::size_t>(runs), [&](std::size_t run) { work(begin(run), begin(run + 1)); });
}

}  // namespace quorvel::cli
