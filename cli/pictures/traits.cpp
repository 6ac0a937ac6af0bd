// SPDX-License-Identifier: MIT
#include "cli/pictures/traits.h"

namespace quorvel::cli {

OIIO::TypeDesc sampleType(host::Depth depth) {
    OIIO::TypeDesc type = OIIO::TypeDesc::FLOAT;
    withTypeOf(depth, [&](auto tag) { type = OIIO::BaseTypeFromC<decltype(tag)>::value; });
    return type;
}

std::shared_ptr<const PictureTraits> plainTraits(const host::World& world) {
    auto traits = std::make_shared<PictureTraits>();
    traits->spec = OIIO::ImageSpec(world.width(), world.height(), 4, sampleType(world.depth()));
    traits->depth = world.depth();
    return traits;
}

}  // namespace quorvel::cli
