// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/world.h"

namespace quorvel::cli {

/// A frame's fingerprint: 32 hexadecimal digits, the same for the same frame on every platform. It is the 128-bit XXH3
/// hash of width, height and bits a channel (each 32 bits, lowest byte first) and then of all rows from the top: the
/// channels A, R, G and B of each pixel, lowest byte first, without padding.
std::string frameDigest(const host::World& world);

}  // namespace quorvel::cli
