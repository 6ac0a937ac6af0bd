// SPDX-License-Identifier: MIT
// Where the stored pixels of a file belong in the picture as shown.
#pragma once

#include <optional>

namespace quorvel::cli {

/// Consecutive pixels of a stored row that the world takes, each `sourceStep` from the last, and where they go.
struct PixelRun {
    int sourceX = 0, sourceStep = 1, count = 0;
    int worldX = 0, worldY = 0;  ///< of the first
    int stepX = 1, stepY = 0;    ///< from one to the next; one of them is 0
};

/// A stored picture's way into the world: moved into a window, turned by an orientation, every N-th pixel of every
/// N-th row taken. Coordinates of the window count from its own corner.
class Placement {
public:
    struct Window {
        int width = 0, height = 0;  ///< of what is shown, before it is turned
        int left = 0, top = 0;      ///< of the stored picture within it
    };
    /// `orientation` is 1 to 8 as in Exif; anything else counts as 1. `downsample` is at least 1.
    Placement(const Window& window, int storedWidth, int storedHeight, int orientation, int downsample);

    int worldWidth() const { return (turnedWidth() + downsample_ - 1) / downsample_; }
    int worldHeight() const { return (turnedHeight() + downsample_ - 1) / downsample_; }
    /// Of the picture as shown, in full resolution.
    int turnedWidth() const { return swapsSides() ? window_.height : window_.width; }
    int turnedHeight() const { return swapsSides() ? window_.width : window_.height; }
    bool swapsSides() const { return orientation_ >= 5; }
    bool isTurned() const { return orientation_ != 1; }
    /// Whether the stored picture leaves pixels of the window empty, or reaches beyond it.
    bool leavesGaps() const;
    bool exceedsWindow() const;

    /// What the world takes of stored row `y`, or nothing.
    std::optional<PixelRun> run(int y) const;

private:
    struct Point {
        int x, y;
    };
    Point turned(int x, int y) const;

    Window window_;
    int storedWidth_, storedHeight_;
    int orientation_;
    int downsample_;
};

}  // namespace quorvel::cli
