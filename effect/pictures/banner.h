// SPDX-License-Identifier: MIT
#pragma once

namespace quorvel {

inline constexpr int kBannerWidth = 320;  ///< pixels
inline constexpr int kBannerHeight = 17;

/// The banner: rows from the top, pixels as blue, green, red, alpha bytes, straight alpha.
extern const unsigned char bannerPixels[kBannerWidth * kBannerHeight * 4];

}  // namespace quorvel
