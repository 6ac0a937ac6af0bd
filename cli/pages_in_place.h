// SPDX-License-Identifier: MIT
#pragma once

#include "host/base/zeroed_memory.h"

#if defined(__linux__)
#include <sys/mman.h>

#include <cstddef>
#include <memory>

#include "cli/pictures/parallel.h"
#endif

namespace quorvel::cli {

/// Has all processors of the machine put the pages of `memory` in place, which is about to be written by one. Changes
/// nothing but time: what an older system refuses is done page by page on first use.
inline void putPagesInPlace([[maybe_unused]] host::ZeroedMemory& memory) {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    constexpr std::size_t kPage = 4096;
    constexpr int kWorthwhile = 1024;
    void* begin = memory.data();
    std::size_t size = memory.size();
    if (std::align(kPage, kPage, begin, size) == nullptr) {
        return;
    }
    const auto pages = static_cast<int>(size / kPage);
    if (pages >= kWorthwhile) {
        inParallelRuns(pages, [begin](int first, int last) {
            madvise(static_cast<std::byte*>(begin) + static_cast<std::size_t>(first) * kPage,
                    static_cast<std::size_t>(last - first) * kPage, MADV_POPULATE_WRITE);
        });
    }
#endif
}

}  // namespace quorvel::cli
