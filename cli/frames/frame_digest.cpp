// SPDX-License-Identifier: MIT
#include "cli/frames/frame_digest.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace quorvel::cli {

static_assert(std::endian::native == std::endian::little, "rows are hashed as they lie in memory");

std::string frameDigest(const host::World& world) {
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(), &XXH3_freeState);
    if (!state) {
        throw std::bad_alloc();
    }
    XXH3_128bits_reset(state.get());
    const std::array<std::uint32_t, 3> head{static_cast<std::uint32_t>(world.width()),
                                            static_cast<std::uint32_t>(world.height()),
                                            static_cast<std::uint32_t>(world.bitsPerChannel())};
    XXH3_128bits_update(state.get(), head.data(), sizeof head);
    const auto rowBytes =
        static_cast<std::size_t>(world.width()) * static_cast<std::size_t>(host::pixelBytes(world.depth()));
    for (int y = 0; y < world.height(); ++y) {
        XXH3_128bits_update(state.get(), world.row(y), rowBytes);
    }
    const XXH128_hash_t hash = XXH3_128bits_digest(state.get());
    return fmt::format("{:016x}{:016x}", hash.high64, hash.low64);
}

}  // namespace quorvel::cli
