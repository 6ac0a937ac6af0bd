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

namespace quorvel::cli {

/// Calls `work(i)` once for each i below `count`, on as many threads as the machine has processors. Rethrows the first
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
    const std::size_t wanted = std::min<std::size_t>(std::max(1u, std::thread::hardware_concurrency()), count);
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

}  // namespace quorvel::cli
