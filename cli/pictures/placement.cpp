// SPDX-License-Identifier: MIT
#include "cli/pictures/placement.h"

#include <algorithm>

namespace quorvel::cli {

Placement::Placement(const Window& window, int storedWidth, int storedHeight, int orientation, int downsample)
    : window_(window),
      storedWidth_(storedWidth),
      storedHeight_(storedHeight),
      orientation_(orientation >= 1 && orientation <= 8 ? orientation : 1),
      downsample_(downsample) {}

bool Placement::leavesGaps() const {
    return window_.left > 0 || window_.top > 0 || window_.left + storedWidth_ < window_.width ||
           window_.top + storedHeight_ < window_.height;
}

bool Placement::exceedsWindow() const {
    return window_.left < 0 || window_.top < 0 || window_.left + storedWidth_ > window_.width ||
           window_.top + storedHeight_ > window_.height;
}

Placement::Point Placement::turned(int x, int y) const {
    const int right = window_.width - 1 - x;
    const int bottom = window_.height - 1 - y;
    switch (orientation_) {
        case 2:
            return {right, y};
        case 3:
            return {right, bottom};
        case 4:
            return {x, bottom};
        case 5:
            return {y, x};
        case 6:
            return {bottom, x};
        case 7:
            return {bottom, right};
        case 8:
            return {y, right};
        default:
            return {x, y};
    }
}

std::optional<PixelRun> Placement::run(int y) const {
    const int row = y + window_.top;
    const int begin = std::max(0, window_.left);
    const int end = std::min(window_.width, window_.left + storedWidth_);
    if (row < 0 || row >= window_.height || begin >= end) {
        return std::nullopt;
    }
    const Point first = turned(begin, row);
    const Point next = turned(begin + 1, row);
    const int stepX = next.x - first.x;
    const int stepY = next.y - first.y;
    // Along the row one coordinate moves by one pixel, the other stays.
    const int fixed = stepX == 0 ? first.x : first.y;
    const int moving = stepX == 0 ? first.y : first.x;
    if (fixed % downsample_ != 0) {
        return std::nullopt;
    }
    const int ahead = stepX + stepY > 0 ? (downsample_ - moving % downsample_) % downsample_ : moving % downsample_;
    const int x = begin + ahead;
    if (x >= end) {
        return std::nullopt;
    }
    const Point start = turned(x, row);
    PixelRun run;
    run.sourceX = x - window_.left;
    run.sourceStep = downsample_;
    run.count = (end - x + downsample_ - 1) / downsample_;
    run.worldX = start.x / downsample_;
    run.worldY = start.y / downsample_;
    run.stepX = stepX;
    run.stepY = stepY;
    return run;
}

}  // namespace quorvel::cli
