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

/// Owns every handle of one host, including those that are never given back. A handle that is not (or no longer) alive
/// is recorded as a breach and never touched. Safe to use from several threads.
class HandleTable {
public:
    explicit HandleTable(Ledger& ledger);
    ~HandleTable();
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    /// A block that holds no zeros by accident, or none at all with a null master pointer. Null when memory is short.
    PF_Handle create(std::size_t size, bool nullBlock = false);
    /// The block's address; null for an unknown handle, which is a breach.
    void* lock(PF_Handle handle);
    void unlock(PF_Handle handle);
    void dispose(PF_Handle handle);
    std::size_t size(PF_Handle handle);
    /// Keeps the handle and what fits of its content. False, and nothing changed, when memory is short or the handle is
    /// locked (a breach).
    bool resize(std::size_t size, PF_Handle handle);

    /// The host's own disposal, with locks still on it or not. Does nothing with null or unknown handles.
    void discard(PF_Handle handle);
    bool knows(PF_Handle handle) const;
    /// A handle and when it was made. Another one may get the same address later, but never the same serial.
    struct Made {
        PF_Handle handle;
        std::uint64_t serial;
    };
    /// Serials rise: every living handle made since `mark` by the calling thread.
    std::uint64_t mark() const;
    std::vector<Made> madeSince(std::uint64_t mark) const;
    /// As above, if it is still this one.
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
