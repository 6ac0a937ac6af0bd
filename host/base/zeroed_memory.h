// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace quorvel::host {

/// Owns bytes that are zero at first, which the system hands out untouched: a large block costs nothing before it is
/// used, and then the thread that uses it. Can be moved; only `clone` copies.
class ZeroedMemory {
public:
    ZeroedMemory() = default;
    /// Throws std::bad_alloc when memory is short.
    explicit ZeroedMemory(std::size_t size)
        : bytes_(static_cast<std::byte*>(std::calloc(std::max<std::size_t>(size, 1), 1))), size_(size) {
        if (!bytes_) {
            throw std::bad_alloc();
        }
    }
    ZeroedMemory clone() const {
        ZeroedMemory copy(size_);
        std::copy(begin(), end(), copy.begin());
        return copy;
    }

    std::size_t size() const { return size_; }
    std::byte* data() { return bytes_.get(); }
    const std::byte* data() const { return bytes_.get(); }
    std::byte* begin() { return data(); }
    std::byte* end() { return data() + size(); }
    const std::byte* begin() const { return data(); }
    const std::byte* end() const { return data() + size(); }
    std::byte& operator[](std::size_t index) { return bytes_[index]; }
    std::byte operator[](std::size_t index) const { return bytes_[index]; }

    bool operator==(const ZeroedMemory& other) const { return std::equal(begin(), end(), other.begin(), other.end()); }

private:
    struct Release {
        void operator()(std::byte* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<std::byte[], Release> bytes_;
    std::size_t size_ = 0;
};

}  // namespace quorvel::host
