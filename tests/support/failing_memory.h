// SPDX-License-Identifier: MIT
// Memory that runs short on demand: allocations that ask for a null pointer instead of an exception, in the test
// program and in the modules it loads.
#pragma once

#include <cstddef>
#include <vector>

namespace quorvel::test {

/// While this lives, watches this thread's allocations of `size` bytes with std::nothrow, and refuses the one after the
/// first `granted`.
class FailingMemory {
public:
    FailingMemory(std::size_t size, int granted);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Blocks that were granted and not given back yet; they are given back now.
    int takeLeftBlocks();
    bool refused() const { return refused_; }

    void* allocate(std::size_t size);
    void noteRelease(void* block);

private:
    std::size_t size_;
    int granted_;
    bool refused_ = false;
    std::vector<void*> blocks_;
};

}  // namespace quorvel::test
