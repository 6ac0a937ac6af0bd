// SPDX-License-Identifier: MIT
#include "effect/ui/curve_graph.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "effect/params/param_index.h"
#include "effect/params/param_ui_state.h"
#include "effect/render/curve.h"
#include "effect/render/numeric.h"

namespace quorvel {

namespace {

constexpr int kSamples = 96;
constexpr float kTop = 95.0F;                                                ///< the highest sample value
constexpr float kSamplesPerFixedDegree = std::bit_cast<float>(0x36888889U);  // 96 / (360 * 65536)

constexpr int kCanvasSize = 100;  ///< twice the resolution of the picture, with a margin
constexpr std::uint8_t kInk = 7;
constexpr int kPictureSize = 48;
constexpr int kPictureRow = 50;  ///< pixels from one row of the picture to the next

/// Where one ink cell of weight w adds 7 * w: grey level and alpha of a pixel by its weighted ink.
constexpr std::array<std::uint8_t, 256> makeGraphLevels() {
    constexpr std::uint8_t kEverySeventh[] = {64,  70,  77,  84,  91,  98,  104, 111, 117, 124, 130,
                                              136, 142, 148, 154, 159, 165, 170, 175, 180, 184, 189,
                                              193, 197, 200, 204, 207, 210, 212, 214, 216, 218, 220};
    std::array<std::uint8_t, 256> levels{};
    for (int i = 0; i < 256; ++i) {
        int level = 0;
        if (i < 224) {
            const int low = kEverySeventh[i / 7];
            level = low + (kEverySeventh[i / 7 + 1] - low) * (i % 7) / 7;
        } else if (i < 237) {
            level = 220 + 2 * (i - 224) / 13;
        } else {
            level = i < 255 ? 222 : 223;
        }
        levels[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(level);
    }
    return levels;
}
constexpr std::array<std::uint8_t, 256> graphLevels = makeGraphLevels();

constexpr int kWeights[4][4] = {{1, 2, 2, 1}, {2, 3, 3, 2}, {2, 3, 3, 2}, {1, 2, 2, 1}};

/// The angle as a shift of samples, in [0, 96).
int phaseToSample(PF_Fixed angle) {
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

bool CurveGraphDraw(std::uint8_t* pixels, PF_InData* in_data, PF_ParamDef* params[], drawControlData* control) {
    PF_ParamDef scratch{};
    const auto read = [&](int id) -> const PF_ParamDefUnion& { return getParam(in_data, params, id, &scratch)->u; };
    const int curveType = wrappingAdd(read(control->curveTypeId).pd.value, -1);
    const int phaseOffset = phaseToSample(read(control->phaseId).ad.value);
    const float raise = control->raiseId == -1 ? 0.0F : static_cast<float>(read(control->raiseId).fs_d.value);
    const auto smoothness = static_cast<float>(read(control->smoothnessId).fs_d.value);

    const int splits = control->splitsFn != nullptr ? control->splitsFn(in_data, params, 4) : 0;
    int plusOffset = 0;
    int minusOffset = 0;
    if (splits != 0) {
        const PF_Fixed split = read(control->splitId).ad.value;
        plusOffset = phaseToSample(split);
        minusOffset = phaseToSample(wrappingNegate(split));
    }

    const std::unique_ptr<std::uint8_t[]> cells(
        new (std::nothrow) std::uint8_t[static_cast<std::size_t>(kCanvasSize) * kCanvasSize]());
    if (cells == nullptr) {
        return false;
    }
    Canvas canvas(cells.get());

    // Twice in a row, so that a shifted curve needs no wrap.
    int samples[2 * kSamples];
    for (int i = 0; i < kSamples; ++i) {
        const float value = std::round(getCurveVal(curveType, i, kSamples, kTop, 0.0F, smoothness, 0));
        const int y = truncateToInt(std::round(value + (kTop - value) * raise));
        const int k = (phaseOffset + i) % kSamples;
        // Every curve stays in this range; a host's odd values must not leave the canvas either.
        samples[k] = samples[k + kSamples] = std::clamp(y, 0, kSamples - 1);
    }

    if (splits == 0) {
        canvas.trace(samples);
    } else {
        if ((splits & kSplitRed) != 0) {
            canvas.trace(samples + plusOffset);
        }
        if ((splits & kSplitGreen) != 0) {
            canvas.trace(samples);
        }
        if ((splits & kSplitBlue) != 0) {
            canvas.trace(samples + minusOffset);
        }
    }

    std::memset(pixels, 0, static_cast<std::size_t>(control->width) * static_cast<std::size_t>(control->height) * 4);
    for (int y = 0; y < kPictureSize; ++y) {
        for (int x = 0; x < kPictureSize; ++x) {
            std::memset(pixels + (y * kPictureRow + x) * 4,
                        graphLevels[static_cast<std::size_t>(canvas.weightedInk(x, y))], 4);
        }
    }
    return true;
}

}  // namespace quorvel
