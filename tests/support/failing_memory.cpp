// SPDX-License-Identifier: MIT
#include "tests/support/failing_memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace quorvel::test {

namespace {

thread_local FailingMemory* watcher = nullptr;

}  // namespace

FailingMemory::FailingMemory(std::size_t size, int granted) : size_(size), granted_(granted) {
    blocks_.reserve(16);  // nothing is allocated while memory is watched
    watcher = this;
}

FailingMemory::~FailingMemory() {
    watcher = nullptr;
}

void* FailingMemory::allocate(std::size_t size) {
    if (size == size_ && granted_-- == 0) {
        refused_ = true;
        return nullptr;
    }
    void* block = std::malloc(size);
    if (size == size_) {
        blocks_.push_back(block);
    }
    return block;
}

void FailingMemory::noteRelease(void* block) {
    std::erase(blocks_, block);
}

int FailingMemory::takeLeftBlocks() {
    const auto count = static_cast<int>(blocks_.size());
    std::for_each(blocks_.begin(), blocks_.end(), std::free);
    blocks_.clear();
    return count;
}

}  // namespace quorvel::test

// These replace the library's own, for this program and every module it loads.

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    using quorvel::test::watcher;
    return watcher != nullptr ? watcher->allocate(size) : std::malloc(size);
}

void* operator new[](std::size_t size) {
    if (void* block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete[](void* block) noexcept {
    if (quorvel::test::watcher != nullptr) {
        quorvel::test::watcher->noteRelease(block);
    }
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    operator delete[](block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
    operator delete[](block);
}
