// SPDX-License-Identifier: MIT
#include "tests/support/guarded_picture.h"

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace quorvel::test {

#if defined(__unix__)

GuardedMemory::GuardedMemory(std::size_t bytes, Guard guard) : size_(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inside = (bytes + page - 1) / page * page;
    pageBytes_ = inside + page;
    void* pages = mmap(nullptr, pageBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    pages_ = static_cast<std::byte*>(pages);
    data_ = guard == Guard::Before ? pages_ + page : pages_ + inside - bytes;
    mprotect(guard == Guard::Before ? pages_ : pages_ + inside, page, PROT_NONE);
}

GuardedMemory::~GuardedMemory() {
    if (pages_ != nullptr) {
        munmap(pages_, pageBytes_);
    }
}

#else

GuardedMemory::GuardedMemory(std::size_t bytes, Guard) : pages_(new std::byte[bytes]), data_(pages_), size_(bytes) {}

GuardedMemory::~GuardedMemory() {
    delete[] pages_;
}

#endif

GuardedMemory::GuardedMemory(GuardedMemory&& other) noexcept
    : pages_(std::exchange(other.pages_, nullptr)),
      pageBytes_(other.pageBytes_),
      data_(other.data_),
      size_(other.size_) {}

GuardedMemory& GuardedMemory::operator=(GuardedMemory&& other) noexcept {
    std::swap(pages_, other.pages_);
    std::swap(pageBytes_, other.pageBytes_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

namespace {

template <typename T>
std::size_t bytesOf(std::int32_t width, std::int32_t height, std::ptrdiff_t stride) {
    const std::size_t between = static_cast<std::size_t>(std::abs(stride)) * static_cast<std::size_t>(height - 1);
    return (between + static_cast<std::size_t>(width) * kChannelsPerPixel) * sizeof(T);
}

}  // namespace

template <typename T>
GuardedPicture<T>::GuardedPicture(std::int32_t width, std::int32_t height, std::ptrdiff_t stride,
                                  GuardedMemory::Guard guard)
    : width_(width),
      height_(height),
      stride_(stride),
      guard_(guard),
      memory_(bytesOf<T>(width, height, stride), guard) {
    std::fill_n(memory(), channels(), kPadding);
}

template <typename T>
GuardedPicture<T> GuardedPicture<T>::clone() const {
    GuardedPicture copy(width_, height_, stride_, guard_);
    std::memcpy(copy.memory_.data(), memory_.data(), memory_.size());
    return copy;
}

template class GuardedPicture<std::uint8_t>;
template class GuardedPicture<std::uint16_t>;
template class GuardedPicture<float>;

}  // namespace quorvel::test
