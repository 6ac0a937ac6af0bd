// SPDX-License-Identifier: MIT
#include "effect/pictures/curve_graph.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "effect/channel_plan.h"
#include "effect/curve.h"
#include "effect/numeric.h"

namespace quorvel {

namespace {

constexpr int kSamples = 96;
constexpr float kTop = 95.0F;                                                ///< the highest sample value
constexpr float kSamplesPerFixedDegree = std::bit_cast<float>(0x36888889U);  // 96 / (360 * 65536)

constexpr int kCanvasSize = 100;  ///< twice the resolution of the picture, with a margin
constexpr std::uint8_t kInk = 7;
constexpr int kPictureSize = 48;

/// Grey and alpha of a pixel by its weighted ink, which is a multiple of kInk up to kInk * 32.
constexpr std::uint8_t kInkGreys[] = {64,  70,  77,  84,  91,  98,  104, 111, 117, 124, 130,
                                      136, 142, 148, 154, 159, 165, 170, 175, 180, 184, 189,
                                      193, 197, 200, 204, 207, 210, 212, 214, 216, 218, 220};

constexpr int kWeights[4][4] = {{1, 2, 2, 1}, {2, 3, 3, 2}, {2, 3, 3, 2}, {1, 2, 2, 1}};

/// The angle as a shift of samples, in [0, 96).
int phaseToSample(std::int32_t angle) {
    return wrapShift(truncateToInt(static_cast<float>(angle) * kSamplesPerFixedDegree), kSamples);
}

class Canvas {
public:
    /// `cells` are kCanvasSize rows of kCanvasSize.
    explicit Canvas(std::uint8_t* cells) : cells_(cells) {}

    /// Draws the samples' line, one column a sample from the third on. Each sample is two cells tall; connectors
    /// stand in the column before, from one cell above the higher sample down.
    void trace(const int* samples) {
        int previous = 0;
        for (int i = 0; i < kSamples; ++i) {
            const int column = i + 2;
            const int y = samples[i];
            ink(98 - y, column);
            ink(97 - y, column);
            if (i > 0) {
                for (int row = 96 - std::max(previous, y); row <= 97 - std::min(previous, y); ++row) {
                    ink(row, column - 1);
                }
            }
            previous = y;
        }
    }

    /// The weighted ink of the 4 x 4 cells under picture pixel (x, y): at most 224.
    int weightedInk(int x, int y) const {
        int sum = 0;
        for (int j = 0; j < 4; ++j) {
            for (int i = 0; i < 4; ++i) {
                sum += kWeights[j][i] * cells_[(2 * y + 1 + j) * kCanvasSize + 2 * x + 1 + i];
            }
        }
        return sum;
    }

private:
    void ink(int row, int column) { cells_[row * kCanvasSize + column] = kInk; }

    std::uint8_t* cells_;
};

}  // namespace

bool drawCurveGraph(std::uint8_t* pixels, const CurveGraph& graph) {
    const std::unique_ptr<std::uint8_t[]> cells(
        new (std::nothrow) std::uint8_t[static_cast<std::size_t>(kCanvasSize) * kCanvasSize]());
    if (cells == nullptr) {
        return false;
    }
    Canvas canvas(cells.get());

    // Twice in a row, so that a shifted curve needs no wrap.
    const int phase = phaseToSample(graph.phase);
    int samples[2 * kSamples];
    for (int i = 0; i < kSamples; ++i) {
        const float value = std::round(curveValue(graph.curveType, i, kSamples, kTop, 0.0F, graph.smoothness, 0));
        const int y = truncateToInt(std::round(value + (kTop - value) * graph.raise));
        const int k = (phase + i) % kSamples;
        // Every curve stays in this range; a host's odd values must not leave the canvas either.
        samples[k] = samples[k + kSamples] = std::clamp(y, 0, kSamples - 1);
    }

    if (graph.splits == 0) {
        canvas.trace(samples);
    }
    if ((graph.splits & kSplitRed) != 0) {
        canvas.trace(samples + phaseToSample(graph.split));
    }
    if ((graph.splits & kSplitGreen) != 0) {
        canvas.trace(samples);
    }
    if ((graph.splits & kSplitBlue) != 0) {
        canvas.trace(samples + phaseToSample(wrappingNegate(graph.split)));
    }

    std::memset(pixels, 0, static_cast<std::size_t>(kCurveGraphWidth) * kCurveGraphHeight * 4);
    for (int y = 0; y < kPictureSize; ++y) {
        for (int x = 0; x < kPictureSize; ++x) {
            std::memset(pixels + (y * kCurveGraphWidth + x) * 4, kInkGreys[canvas.weightedInk(x, y) / kInk], 4);
        }
    }
    return true;
}

}  // namespace quorvel
