// SPDX-License-Identifier: MIT
#include "host/handles.h"

#include <exception>
#include <string>
#include <thread>

namespace quorvel::host {

namespace {

/// Fills new memory, so that a module that relies on zeros fails.
constexpr std::byte kFreshByte{0xCD};

std::string sizeName(std::size_t size) {
    return std::to_string(size) + " bytes";
}

}  // namespace

struct HandleTable::Block {
    void* master = nullptr;  ///< a handle is this member's address
    std::vector<std::byte> bytes;
    std::size_t createdSize = 0;  ///< names the loan in the ledger
    std::int64_t locks = 0;
    std::uint64_t serial = 0;
    std::thread::id maker;

    /// False when memory is short.
    bool resize(std::size_t size) {
        try {
            bytes.resize(size, kFreshByte);
        } catch (const std::exception&) {
            return false;
        }
        master = bytes.data();
        return true;
    }
};

HandleTable::HandleTable(Ledger& ledger) : ledger_(ledger) {}

HandleTable::~HandleTable() = default;

PF_Handle HandleTable::create(std::size_t size, bool nullBlock) {
    auto block = std::make_unique<Block>();
    if (!nullBlock && !block->resize(size)) {
        return nullptr;
    }
    block->createdSize = size;
    block->maker = std::this_thread::get_id();
    ledger_.lend(Loan::Handle, sizeName(size));
    const std::lock_guard lock(mutex_);
    block->serial = nextSerial_++;
    const PF_Handle handle = &block->master;
    blocks_.emplace(handle, std::move(block));
    return handle;
}

HandleTable::Block* HandleTable::find(PF_Handle handle, const char* call) {
    const auto found = blocks_.find(handle);
    if (found == blocks_.end()) {
        ledger_.breach(std::string(call) + ": not a handle of this host");
        return nullptr;
    }
    return found->second.get();
}

void* HandleTable::lock(PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    Block* block = find(handle, "host_lock_handle");
    if (block == nullptr || block->master == nullptr) {
        return nullptr;
    }
    ++block->locks;
    ledger_.lend(Loan::HandleLock, sizeName(block->createdSize));
    return block->master;
}

void HandleTable::unlock(PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    if (Block* block = find(handle, "host_unlock_handle")) {
        if (block->locks == 0) {
            ledger_.breach("host_unlock_handle: the handle is not locked");
            return;
        }
        --block->locks;
        ledger_.takeBack(Loan::HandleLock, sizeName(block->createdSize));
    }
}

void HandleTable::dispose(PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    if (Block* block = find(handle, "host_dispose_handle")) {
        if (block->locks > 0) {
            ledger_.breach("host_dispose_handle: the handle is locked");
            ledger_.forgive(Loan::HandleLock, sizeName(block->createdSize), block->locks);
        }
        ledger_.takeBack(Loan::Handle, sizeName(block->createdSize));
        blocks_.erase(handle);
    }
}

std::size_t HandleTable::size(PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    const Block* block = find(handle, "host_get_handle_size");
    return block != nullptr ? block->bytes.size() : 0;
}

bool HandleTable::resize(std::size_t size, PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    Block* block = find(handle, "host_resize_handle");
    if (block == nullptr) {
        return false;
    }
    if (block->locks > 0) {
        ledger_.breach("host_resize_handle: the handle is locked");
        return false;
    }
    return block->resize(size);
}

void HandleTable::discard(PF_Handle handle) {
    const std::lock_guard guard(mutex_);
    discard(blocks_.find(handle));
}

void HandleTable::discard(const Made& made) {
    const std::lock_guard guard(mutex_);
    const auto found = blocks_.find(made.handle);
    if (found != blocks_.end() && found->second->serial == made.serial) {
        discard(found);
    }
}

void HandleTable::discard(Blocks::iterator entry) {
    if (entry == blocks_.end()) {
        return;
    }
    const Block& block = *entry->second;
    if (block.locks > 0) {
        ledger_.forgive(Loan::HandleLock, sizeName(block.createdSize), block.locks);
    }
    ledger_.forgive(Loan::Handle, sizeName(block.createdSize), 1);
    blocks_.erase(entry);
}

bool HandleTable::knows(PF_Handle handle) const {
    const std::lock_guard guard(mutex_);
    return blocks_.contains(handle);
}

std::uint64_t HandleTable::mark() const {
    const std::lock_guard guard(mutex_);
    return nextSerial_;
}

std::vector<HandleTable::Made> HandleTable::madeSince(std::uint64_t mark) const {
    const std::lock_guard guard(mutex_);
    std::vector<Made> made;
    for (const auto& [handle, block] : blocks_) {
        if (block->serial >= mark && block->maker == std::this_thread::get_id()) {
            made.push_back({handle, block->serial});
        }
    }
    return made;
}

}  // namespace quorvel::host
