// SPDX-License-Identifier: MIT
#pragma once

#include "effect/params/custom_controls.h"

namespace quorvel {

/// The banner: kHeaderWidth x kHeaderHeight pixels, straight-alpha BGRA.
extern const unsigned char headerImagePixels[kHeaderWidth * kHeaderHeight * 4];

}  // namespace quorvel
