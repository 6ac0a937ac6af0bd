// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

#include "host/ledger.h"
#include "host/surface.h"
#include "sdk/drawbot.h"

namespace quorvel::host {

/// The drawing images of one host, each with its count of references. Safe to use from several threads.
class DrawImages {
public:
    explicit DrawImages(Ledger& ledger) : ledger_(ledger) {}
    DrawImages(const DrawImages&) = delete;
    DrawImages& operator=(const DrawImages&) = delete;

    /// A new object with one reference, which the module has to release.
    DRAWBOT_ImageRef create(DrawImage image);
    /// Adds or drops one reference. False when there is no such object.
    bool retain(DRAWBOT_ObjectRef object);
    bool release(DRAWBOT_ObjectRef object);
    /// Null when there is no such object.
    std::shared_ptr<const DrawImage> find(DRAWBOT_ImageRef image) const;

private:
    struct Entry {
        std::shared_ptr<const DrawImage> image;
        int references = 1;
    };
    Ledger& ledger_;
    mutable std::mutex mutex_;
    std::unordered_map<const void*, Entry> entries_;
};

}  // namespace quorvel::host
