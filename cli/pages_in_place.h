// SPDX-License-Identifier: MIT
#pragma once

#include "host/base/zeroed_memory.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include "cli/pictures/parallel.h"
#endif

namespace quorvel::cli {

/// Has all processors of the machine put the pages of `memory` in place, which is about to be written by one. Changes
/// nothing but time: what an older system refuses is done page by page on first use.
inline void putPagesInPlace([[maybe_unused]] host::ZeroedMemory& memory) {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    constexpr std::uintptr_t kPage = 4096;
    const auto begin = (reinterpret_cast<std::uintptr_t>(memory.begin()) + kPage - 1) / kPage;
    const auto end = reinterpret_cast<std::uintptr_t>(memory.end()) / kPage;
    constexpr std::uintptr_t kWorthwhile = 1024;
    if (begin + kWorthwhile < end) {
        inParallelRuns(static_cast<int>(end - begin), [&](int first, int last) {
            madvise(reinterpret_cast<void*>((begin + static_cast<std::uintptr_t>(first)) * kPage),
                    static_cast<std::size_t>(last - first) * kPage, MADV_POPULATE_WRITE);
        });
    }
#endif
}

}  // namespace quorvel::cli
