// SPDX-License-Identifier: MIT
// Which frames a command works on.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quorvel::cli {

/// Frame numbers may be negative; these are the lowest and the highest.
inline constexpr int kLowestFrame = -99'999'999;
inline constexpr int kHighestFrame = 99'999'999;

/// A set of frame numbers, as given on a command line: "7", "1-10", "1-10x3" (1, 4, 7 and 10; also "1-10:3"), "-5--1",
/// and lists of these with commas between them.
class FrameNumbers {
public:
    /// Throws UsageError naming the option and the text.
    static FrameNumbers parse(const std::string& option, const std::string& text);
    /// Every frame.
    static FrameNumbers all();

    /// The frames of the set from `first` to `last`, each once, ascending. Throws UsageError for more than `most`.
    std::vector<int> within(int first, int last, std::size_t most) const;

    bool contains(int frame) const;
    /// The highest frame of the set.
    int last() const;

    /// As the user wrote it; empty for all.
    const std::string& text() const { return text_; }

private:
    struct Range {
        int first, last, step;
    };
    std::string option_, text_;
    std::vector<Range> ranges_;
};

/// Ascending numbers the short way: "1-3, 7, 9-12".
std::string framesText(const std::vector<int>& frames);

}  // namespace quorvel::cli
