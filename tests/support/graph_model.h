// SPDX-License-Identifier: MIT
// The curve graph once more, pixel by pixel: the judge of the one that the effect draws.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/model.h"

namespace quorvel::model {

/// The graph's 50 x 50 greys, each of which is blue, green, red and alpha at once.
class Graph {
public:
    static constexpr int kSize = 50;

    /// `raise` lifts the curve towards the top, by that part of what it lacks.
    explicit Graph(const Settings& settings, float raise = 0.0F) {
        const int phase = offsetOf(settings.phase);
        for (int i = 0; i < kColumns; ++i) {
            const float height =
                std::round(curveValue(settings.curve, i, kColumns, 95.0F, static_cast<float>(settings.smoothness)));
            heights_[static_cast<std::size_t>((i + phase) % kColumns)] =
                static_cast<int>(std::round(height + (95.0F - height) * raise));
        }
        const int plus = offsetOf(settings.split);
        const int minus = offsetOf(-std::int64_t{settings.split});
        switch (settings.channels) {
            case 1:
                shifts_ = {plus, 0, minus};
                break;
            case 2:
                shifts_ = {minus};
                break;
            case 4:
                shifts_ = {plus};
                break;
            default:
                shifts_ = {0};
        }
    }

    int grey(int x, int y) const {
        // Not the effect's own table: the model would not notice a wrong entry in that.
        static constexpr std::array<int, 33> kGreys = {64,  70,  77,  84,  91,  98,  104, 111, 117, 124, 130,
                                                       136, 142, 148, 154, 159, 165, 170, 175, 180, 184, 189,
                                                       193, 197, 200, 204, 207, 210, 212, 214, 216, 218, 220};
        if (x >= 48 || y >= 48) {
            return 0;
        }
        int ink = 0;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                const bool innerRow = row == 1 || row == 2;
                const bool innerColumn = column == 1 || column == 2;
                const int weight = innerRow && innerColumn ? 3 : innerRow || innerColumn ? 2 : 1;
                ink += inked(2 * x + column - 1, 97 - 2 * y - row) ? weight : 0;
            }
        }
        return kGreys[static_cast<std::size_t>(ink)];
    }

private:
    static constexpr int kColumns = 96;

    static int offsetOf(std::int64_t angle) {
        return wrapped(static_cast<std::int64_t>(static_cast<float>(angle) * 4.06901063e-6F), kColumns);
    }

    /// Whether the line of any curve covers a cell; rows count upwards from the curve's height 0, and a margin of one
    /// column stands on the left.
    bool inked(int column, int row) const {
        return std::any_of(shifts_.begin(), shifts_.end(), [&](int shift) {
            if (column < 0 || column >= kColumns) {
                return false;
            }
            const int here = heightAt(column + shift);
            if (row == here || row == here + 1) {
                return true;
            }
            if (column == kColumns - 1) {
                return false;
            }
            const int next = heightAt(column + 1 + shift);
            return row > std::min(here, next) && row <= std::max(here, next) + 2;
        });
    }

    int heightAt(int column) const { return heights_[static_cast<std::size_t>(column % kColumns)]; }

    std::array<int, kColumns> heights_{};
    std::vector<int> shifts_;
};

}  // namespace quorvel::model
