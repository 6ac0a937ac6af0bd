// SPDX-License-Identifier: MIT
// Decodes the resource description (PiPL) of an effect.
#pragma once

#include <bit>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/pipl.h"

namespace quorvel::host {

/// An effect's properties. A property that the resource lacks is empty.
struct ResourceDescription {
    bool windows = false;           ///< in the form for Windows, otherwise the form for macOS
    std::vector<std::string> keys;  ///< of all properties, in the resource's order
    std::optional<A_long> kind;
    std::optional<std::string> name;
    std::optional<std::string> matchName;
    std::optional<std::string> category;
    std::map<std::string, std::string> entryPoints;  ///< by key, see kPiPL_EntryWindows and others
    std::optional<std::pair<A_long, A_long>> apiVersion;
    std::optional<A_u_long> version;
    std::optional<A_long> outFlags;
    std::optional<A_long> outFlags2;
    std::optional<A_long> reservedInfo;
};

/// Little-endian is the form for Windows, big-endian the form for macOS. Throws FormatError naming the damaged
/// property.
ResourceDescription decodePipl(std::span<const std::byte> bytes, std::endian order);

}  // namespace quorvel::host
