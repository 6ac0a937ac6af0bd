// SPDX-License-Identifier: MIT
// Pictures whose memory ends, or begins, at a page that nobody may touch.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/pixels.h"

namespace quorvel::test {

/// Memory with an inaccessible page right after it or right before it, where the system has such pages.
class GuardedMemory {
public:
    enum class Guard { Before, After };
    GuardedMemory(std::size_t bytes, Guard guard);
    ~GuardedMemory();
    GuardedMemory(GuardedMemory&& other) noexcept;
    GuardedMemory& operator=(GuardedMemory&& other) noexcept;

    std::byte* data() { return data_; }
    const std::byte* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    std::byte* pages_ = nullptr;
    std::size_t pageBytes_ = 0;
    std::byte* data_ = nullptr;
    std::size_t size_ = 0;
};

/// A picture whose first or last byte is the first or last that may be touched. Padding is part of the memory.
template <typename T>
class GuardedPicture {
public:
    /// `stride` in channels, either sign. All memory holds 77 at first.
    GuardedPicture(std::int32_t width, std::int32_t height, std::ptrdiff_t stride, GuardedMemory::Guard guard);
    /// The same layout and content.
    GuardedPicture clone() const;

    PixelView<T> writableView() { return {first(memory()), width_, height_, stride_}; }
    PixelView<const T> view() const { return {first(memory()), width_, height_, stride_}; }
    T* memory() { return reinterpret_cast<T*>(memory_.data()); }
    const T* memory() const { return reinterpret_cast<const T*>(memory_.data()); }
    std::size_t channels() const { return memory_.size() / sizeof(T); }

    static constexpr T kPadding = 77;

private:
    template <typename Pointer>
    Pointer first(Pointer memory) const {
        return memory + (stride_ < 0 ? -stride_ * (height_ - 1) : 0);
    }

    std::int32_t width_;
    std::int32_t height_;
    std::ptrdiff_t stride_;
    GuardedMemory::Guard guard_;
    GuardedMemory memory_;
};

}  // namespace quorvel::test
