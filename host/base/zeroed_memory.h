// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

namespace quorvel::host {

/// Hands out memory that is zero, and takes elements made without a value as made already. Large blocks come from the
/// system as zeros, so nothing is touched before it is used, and then by the thread that uses it.
struct ZeroedAllocator {
    using value_type = std::byte;
    template <typename>
    struct rebind {
        using other = ZeroedAllocator;
    };

    std::byte* allocate(std::size_t count) {
        if (void* const block = std::calloc(count, 1)) {
            return static_cast<std::byte*>(block);
        }
        throw std::bad_alloc();
    }
    void deallocate(std::byte* block, std::size_t) noexcept { std::free(block); }

    void construct(std::byte*) noexcept {}
    template <typename... Value>
    void construct(std::byte* at, Value&&... value) {
        ::new (static_cast<void*>(at)) std::byte{std::forward<Value>(value)...};
    }

    bool operator==(const ZeroedAllocator&) const { return true; }
};

/// Bytes that are zero at first. Never made larger after they were made smaller: what is dropped is not zeroed again.
using ZeroedMemory = std::vector<std::byte, ZeroedAllocator>;

}  // namespace quorvel::host
