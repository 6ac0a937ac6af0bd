// SPDX-License-Identifier: MIT
// The host's handles: movable blocks behind a master pointer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "host/ledger.h"
#include "sdk/pf_base.h"

namespace quorvel::host {

/// Owns every handle of one host, including those that the module never disposes of. A call with an unknown or disposed
/// handle is recorded as a breach, and does not touch the handle. Safe to use from several threads.
class HandleTable {
public:
    explicit HandleTable(Ledger& ledger);
    ~HandleTable();
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    /// A new handle whose block is filled with a value other than zero, or one with a null master pointer and no block.
    /// Null when memory is short.
    PF_Handle create(std::size_t size, bool nullBlock = false);
    /// The block's address; null for an unknown handle and for one without a block.
    void* lock(PF_Handle handle);
    void unlock(PF_Handle handle);
    void dispose(PF_Handle handle);
    std::size_t size(PF_Handle handle);
    /// Keeps the handle, and as much of its content as fits. Returns false and changes nothing when memory is short or
    /// the handle is locked, which is a breach.
    bool resize(std::size_t size, PF_Handle handle);

    /// Disposal by the host itself, whether locked or not. Ignores null and unknown handles.
    void discard(PF_Handle handle);
    bool knows(PF_Handle handle) const;
    /// A handle and its serial number. A later handle may get the same address, but never the same serial number.
    struct Made {
        PF_Handle handle;
        std::uint64_t serial;
    };
    /// The next serial number, and every living handle that the calling thread made since then.
    std::uint64_t mark() const;
    std::vector<Made> madeSince(std::uint64_t mark) const;
    /// Disposal by the host itself, if the handle still has that serial number.
    void discard(const Made& made);

private:
    struct Block;
    /// The table's entry for a handle; records a breach when there is none.
    Block* find(PF_Handle handle, const char* call);
    using Blocks = std::unordered_map<PF_Handle, std::unique_ptr<Block>>;
    void discard(Blocks::iterator entry);

    Ledger& ledger_;
    mutable std::mutex mutex_;
    std::uint64_t nextSerial_ = 0;
    Blocks blocks_;
};

}  // namespace quorvel::host
