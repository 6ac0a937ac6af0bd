// SPDX-License-Identifier: MIT
#include "effect/ui/header_pixels.h"

namespace quorvel {

const unsigned char headerImagePixels[kHeaderWidth * kHeaderHeight * 4] = {};

}  // namespace quorvel
