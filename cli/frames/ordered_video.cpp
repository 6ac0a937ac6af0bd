// SPDX-License-Identifier: MIT
#include "cli/frames/ordered_video.h"

namespace quorvel::cli {

bool OrderedVideo::put(std::size_t place, const host::World& world, const CodedFrame* source) {
    const CodedFramePtr coded = output_->coded(world);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return next_ == place || givenUp_; });
    if (givenUp_) {
        return false;
    }
    // The turn keeps the others out.
    lock.unlock();
    output_->write(*coded, source);
    lock.lock();
    ++next_;
    changed_.notify_all();
    return true;
}

void OrderedVideo::giveUp() {
    const std::lock_guard lock(mutex_);
    givenUp_ = true;
    changed_.notify_all();
}

}  // namespace quorvel::cli
