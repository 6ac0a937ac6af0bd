// SPDX-License-Identifier: MIT
// The mosaic as the effect renders it: the reference renderer's bits at close to the cost of copying the frame.
#pragma once

#include "effect/fast/instruction_set.h"
#include "effect/intensity.h"
#include "effect/pixels.h"
#include "effect/settings.h"

namespace quorvel::fast {

/// Renders one frame. Arguments and result are those of plain::render(). Allocates nothing and uses at most 256 KiB of
/// stack. May run for many frames at once. The processor must support `set`.
template <typename Depth>
void render(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
            const Settings& settings, const IntensityLayer<typename Depth::Channel>& layer = {},
            InstructionSet set = chosenInstructionSet());

}  // namespace quorvel::fast
