// SPDX-License-Identifier: MIT
// The quadtree: one block of the output is measured, and then split into four, filled with its average, or copied.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "effect/depth.h"
#include "effect/intensity.h"
#include "effect/numeric.h"
#include "effect/pixels.h"

namespace quorvel::plain {

/// What stays the same for all blocks of a channel (or of R, G and B together) in one frame.
template <typename Depth>
struct BlockContext {
    using T = typename Depth::Channel;
    T threshold;
    std::int32_t maximumLevel;
    std::ptrdiff_t outputStride;  ///< in channels
    std::ptrdiff_t sourceStride;
    IntensitySampling<T> intensity;
    const T* table;  ///< Depth::kSamples curve values
};

/// One block: where it is, how large, and its level in the quadtree (0 for a grid cell).
template <typename T>
struct Block {
    T* output;
    const T* source;
    std::int32_t width;
    std::int32_t height;
    std::int32_t level;
    std::int32_t intensityX;  ///< 16.16 position of the first pixel in the intensity layer
    std::int32_t intensityY;
};

/// Which channels a block handles, relative to its pointers.
/// R, G and B measured together and each averaged by itself; pointers stand at pixel starts.
struct JointRGB {
    static constexpr int kFirst = kChannelR;
    static constexpr int kCount = 3;
};
/// A single channel; pointers stand at that channel.
struct SingleChannel {
    static constexpr int kFirst = 0;
    static constexpr int kCount = 1;
};

/// The spread and the sums of a block. The minimum starts at white and the maximum at black, so channels above white
/// cannot raise the minimum above it.
template <typename Depth, typename Form>
struct BlockMeasure {
    typename Depth::Channel minimum = Depth::kWhite;
    typename Depth::Channel maximum = Depth::kBlack;
    typename Depth::Sum sums[Form::kCount] = {};

    /// Widens the spread by one pixel. Comparisons with NaN are false, so a NaN widens nothing.
    void fold(const typename Depth::Channel* pixel) {
        for (int c = Form::kFirst; c < Form::kFirst + Form::kCount; ++c) {
            if (pixel[c] < minimum) {
                minimum = pixel[c];
            }
            if (pixel[c] > maximum) {
                maximum = pixel[c];
            }
        }
    }
    void add(const typename Depth::Channel* pixel) {
        for (int c = 0; c < Form::kCount; ++c) {
            sums[c] += pixel[Form::kFirst + c];
        }
    }
};

/// Sums of the source and the spread of whatever decides, row by row from left to right.
template <typename Depth, typename Form>
BlockMeasure<Depth, Form> measureBlock(const BlockContext<Depth>& context,
                                       const Block<typename Depth::Channel>& block) {
    BlockMeasure<Depth, Form> measure;
    const auto& intensity = context.intensity;
    std::int32_t y = block.intensityY;
    for (std::int32_t j = 0; j < block.height; ++j) {
        const auto* source = block.source + j * context.sourceStride;
        std::int32_t x = block.intensityX;
        for (std::int32_t i = 0; i < block.width; ++i, source += kChannelsPerPixel) {
            measure.add(source);
            if (intensity.pixels == nullptr) {
                measure.fold(source);
            } else {
                std::int32_t column = x >> 16;
                std::int32_t row = y >> 16;
                if (intensity.clamped) {
                    column = std::clamp(column, 0, intensity.width - 1);
                    row = std::clamp(row, 0, intensity.height - 1);
                }
                measure.fold(intensity.pixels + row * intensity.stride +
                             static_cast<std::ptrdiff_t>(column) * kChannelsPerPixel);
                x = wrappingAdd(x, intensity.stepX);
            }
        }
        y = wrappingAdd(y, intensity.stepY);
    }
    return measure;
}

template <typename Depth, typename Form>
void copyBlock(const BlockContext<Depth>& context, const Block<typename Depth::Channel>& block) {
    for (std::int32_t j = 0; j < block.height; ++j) {
        auto* output = block.output + j * context.outputStride;
        const auto* source = block.source + j * context.sourceStride;
        for (std::int32_t i = 0; i < block.width; ++i, output += kChannelsPerPixel, source += kChannelsPerPixel) {
            for (int c = Form::kFirst; c < Form::kFirst + Form::kCount; ++c) {
                output[c] = source[c];
            }
        }
    }
}

template <typename Depth, typename Form>
void fillBlock(const BlockContext<Depth>& context, const Block<typename Depth::Channel>& block,
               const BlockMeasure<Depth, Form>& measure) {
    const std::int32_t count = block.width * block.height;
    typename Depth::Channel average[Form::kCount];
    for (int c = 0; c < Form::kCount; ++c) {
        average[c] = Form::kCount == 1 ? Depth::singleAverage(measure.sums[c], count)
                                       : Depth::jointAverage(measure.sums[c], count);
    }
    for (std::int32_t j = 0; j < block.height; ++j) {
        auto* output = block.output + j * context.outputStride;
        for (std::int32_t i = 0; i < block.width; ++i, output += kChannelsPerPixel) {
            for (int c = 0; c < Form::kCount; ++c) {
                output[Form::kFirst + c] = average[c];
            }
        }
    }
}

/// Draws one block of at least one pixel. Calls nest at most maximumLevel deep, and the last quadrant needs no call of
/// its own. Only the form's channels inside the block are written.
template <typename Depth, typename Form>
void mosaicBlock(const BlockContext<Depth>& context, Block<typename Depth::Channel> block) {
    for (;;) {
        const auto measure = measureBlock<Depth, Form>(context, block);
        const auto value = context.table[Depth::sampleOf(measure.minimum, measure.maximum)];
        const bool busy = value > context.threshold;

        if (block.level >= context.maximumLevel || block.height < 3 || block.width < 3 || !busy) {
            // The deepest level shows the source, and so does what is busy but too small to split.
            if (block.level == context.maximumLevel || busy) {
                copyBlock<Depth, Form>(context, block);
            } else {
                fillBlock<Depth, Form>(context, block, measure);
            }
            return;
        }

        const std::int32_t left = block.width / 2;
        const std::int32_t top = block.height / 2;
        const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(left) * kChannelsPerPixel;
        const std::int32_t rightX = wrappingAdd(block.intensityX, wrappingMultiply(left, context.intensity.stepX));
        const std::int32_t bottomY = wrappingAdd(block.intensityY, wrappingMultiply(top, context.intensity.stepY));

        Block<typename Depth::Channel> topLeft = block;
        topLeft.width = left;
        topLeft.height = top;
        ++topLeft.level;

        Block<typename Depth::Channel> topRight = topLeft;
        topRight.output += across;
        topRight.source += across;
        topRight.width = block.width - left;
        topRight.intensityX = rightX;

        Block<typename Depth::Channel> bottomLeft = topLeft;
        bottomLeft.output += top * context.outputStride;
        bottomLeft.source += top * context.sourceStride;
        bottomLeft.height = block.height - top;
        bottomLeft.intensityY = bottomY;

        mosaicBlock<Depth, Form>(context, topLeft);
        mosaicBlock<Depth, Form>(context, topRight);
        mosaicBlock<Depth, Form>(context, bottomLeft);

        block = bottomLeft;
        block.output += across;
        block.source += across;
        block.width = topRight.width;
        block.intensityX = rightX;
    }
}

}  // namespace quorvel::plain
