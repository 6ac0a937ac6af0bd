// SPDX-License-Identifier: MIT
#include "host/draw_images.h"

#include <utility>

namespace quorvel::host {

namespace {

/// What the ledger calls a reference to an image.
constexpr char kImageLoan[] = "image";

}  // namespace

DRAWBOT_ImageRef DrawImages::create(DrawImage image) {
    auto shared = std::make_shared<const DrawImage>(std::move(image));
    const auto reference = reinterpret_cast<DRAWBOT_ImageRef>(const_cast<DrawImage*>(shared.get()));
    ledger_.lend(Loan::DrawObject, kImageLoan);
    const std::lock_guard lock(mutex_);
    entries_.emplace(reference, Entry{std::move(shared)});
    return reference;
}

bool DrawImages::retain(DRAWBOT_ObjectRef object) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(object);
    if (found == entries_.end()) {
        return false;
    }
    ++found->second.references;
    ledger_.lend(Loan::DrawObject, kImageLoan);
    return true;
}

bool DrawImages::release(DRAWBOT_ObjectRef object) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(object);
    if (found == entries_.end()) {
        return false;
    }
    ledger_.takeBack(Loan::DrawObject, kImageLoan);
    if (--found->second.references == 0) {
        entries_.erase(found);
    }
    return true;
}

std::shared_ptr<const DrawImage> DrawImages::find(DRAWBOT_ImageRef image) const {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(image);
    return found == entries_.end() ? nullptr : found->second.image;
}

}  // namespace quorvel::host
