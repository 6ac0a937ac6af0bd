// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <thread>

#ifdef __linux__
#include <sched.h>
#endif

namespace quorvel::cli {

/// The number of processors that this process may use, at least 1: a job script or `taskset` may have left it fewer
/// than the machine has.
inline int availableProcessors() {
#ifdef __linux__
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
        return std::max(1, CPU_COUNT(&allowed));
    }
    // Fails on machines with more processors than the set holds.
#endif
    return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

}  // namespace quorvel::cli
