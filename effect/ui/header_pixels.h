// SPDX-License-Identifier: MIT
// The picture at the top of the effect's controls.
#pragma once

namespace quorvel {

inline constexpr int kHeaderImageWidth = 320;
inline constexpr int kHeaderImageHeight = 17;

/// B, G, R, A with straight alpha, rows from the top without padding.
extern const unsigned char headerImagePixels[kHeaderImageWidth * kHeaderImageHeight * 4];

}  // namespace quorvel
