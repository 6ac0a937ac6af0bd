// SPDX-License-Identifier: MIT
// The resource description (PiPL) of an effect, and whether it tells the same as the effect itself.
#pragma once

#include <bit>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/pf_base.h"

namespace quorvel::host {

struct Identity;
struct Capabilities;

/// Under which type and id hosts look for it.
inline constexpr char kPiplType[] = "PiPL";
inline constexpr char kWindowsPiplType[] = "PIPL";
inline constexpr int kPiplId = 16000;

/// The properties that describe an effect. What the resource leaves out is empty.
struct ResourceDescription {
    bool windows = false;           ///< in the form for Windows; else in that for macOS
    std::vector<std::string> keys;  ///< of all properties in their order, letters in reading order
    std::optional<A_long> kind;
    std::optional<std::string> name;
    std::optional<std::string> matchName;
    std::optional<std::string> category;
    std::map<std::string, std::string> entryPoints;  ///< by key: "8664" Windows, "mi64" and "ma64" macOS
    std::optional<std::pair<A_long, A_long>> apiVersion;
    std::optional<A_u_long> version;
    std::optional<A_long> outFlags;
    std::optional<A_long> outFlags2;
    std::optional<A_long> reservedInfo;
};

/// Little-endian is the Windows form, big-endian the macOS one. Throws FormatError naming the property that is wrong.
ResourceDescription decodePipl(std::span<const std::byte> bytes, std::endian order);

/// One property beside what the running module says.
struct Agreement {
    std::string what;
    std::string described;  ///< in the resource; "(missing)" when it is not there
    std::string reported;   ///< by the identification record or global set-up
    bool agree() const { return described == reported; }
};

/// Compares everything that both sides state.
std::vector<Agreement> compare(const ResourceDescription& description, const Identity& identity,
                               const Capabilities& capabilities);

}  // namespace quorvel::host
