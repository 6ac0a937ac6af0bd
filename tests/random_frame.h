// SPDX-License-Identifier: MIT
// Random frames for holding the fast kernel against the plain one, the same again for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include "effect/fast/render.h"
#include "effect/pixels.h"
#include "effect/settings.h"

namespace quorvel::test {

/// Memory with an inaccessible page right behind it or right before it, where the system has such pages.
class GuardedMemory {
public:
    enum class Guard { Before, Behind };
    GuardedMemory(std::size_t bytes, Guard guard);
    ~GuardedMemory();
    GuardedMemory(GuardedMemory&& other) noexcept;
    GuardedMemory& operator=(GuardedMemory&&) = delete;

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
    /// `stride` in channels, either sign.
    GuardedPicture(std::int32_t width, std::int32_t height, std::ptrdiff_t stride, GuardedMemory::Guard guard);
    /// The same layout and content.
    GuardedPicture clone() const;

    PixelView<T> view();
    PixelView<const T> view() const;
    T* memory() { return reinterpret_cast<T*>(memory_.data()); }
    const T* memory() const { return reinterpret_cast<const T*>(memory_.data()); }
    std::size_t channels() const { return memory_.size() / sizeof(T); }

private:
    std::int32_t width_;
    std::int32_t height_;
    std::ptrdiff_t stride_;
    GuardedMemory::Guard guard_;
    GuardedMemory memory_;
};

/// One frame's source, settings and intensity layer, and how the output lies.
template <typename Depth>
class RandomFrame {
public:
    using T = typename Depth::Channel;

    explicit RandomFrame(std::uint64_t seed);
    /// One cell, no intensity layer, everything else random.
    RandomFrame(std::uint64_t seed, std::int32_t width, std::int32_t height);

    /// Renders with both kernels; nothing when they agree, otherwise what differs, with the frame's description.
    std::optional<std::string> compare(fast::InstructionSet set);
    std::string description() const;

private:
    std::uint64_t seed_;
    std::mt19937_64 random_;
    Settings values_{};
    bool inPlace_ = false;
    std::int32_t originX_ = 0;
    std::int32_t originY_ = 0;
    std::optional<GuardedPicture<T>> source_;
    std::optional<GuardedPicture<T>> output_;  ///< what lies there before, unless rendered in place
    std::optional<GuardedPicture<T>> intensity_;

    std::int64_t between(std::int64_t low, std::int64_t high);
    bool chance(double probability);
    double uniform(double low, double high);
    GuardedPicture<T> randomPicture(std::int32_t width, std::int32_t height);
    void paint(PixelView<T> picture);
    T randomChannel();
    T oddChannel();
    void chooseSettings(std::int32_t width, std::int32_t height);
};

}  // namespace quorvel::test
