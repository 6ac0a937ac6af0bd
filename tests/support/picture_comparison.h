// SPDX-License-Identifier: MIT
// Holds two pictures against each other; a difference is named by its place, and both pictures are saved to be looked
// at.
#pragma once

#include <string>

#include "effect/pixels.h"

namespace quorvel::test {

/// Empty when both pictures have the same bits in every channel (any NaN equals any other, for compilers may swap the
/// summands that it comes from). Otherwise how many channels differ, x, y, channel and values of the first, and the
/// folder with expected and actual picture: in the build's "differing-pictures", called after `name`; eight at most.
/// Both pictures have the same size. `T` is std::uint8_t, std::uint16_t or float; safe to call on several threads.
template <typename T>
std::string difference(PixelView<const T> expected, PixelView<const T> actual, const std::string& name);

}  // namespace quorvel::test
