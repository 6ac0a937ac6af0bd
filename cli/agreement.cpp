// SPDX-License-Identifier: MIT
#include "cli/agreement.h"

#include <optional>
#include <utility>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

std::string same(const std::string& text) {
    return text;
}

std::string decimal(A_long value) {
    return std::to_string(value);
}

std::string flagsText(A_long word) {
    return hexText(static_cast<A_u_long>(word));
}

std::string apiText(const std::pair<A_long, A_long>& version) {
    return std::to_string(version.first) + "." + std::to_string(version.second);
}

template <typename Value, typename Format>
Agreement agreement(std::string what, const std::optional<Value>& described, const Value& reported, Format format) {
    return {std::move(what), described ? format(*described) : "(missing)", format(reported)};
}

}  // namespace

std::vector<Agreement> compare(const host::ResourceDescription& description, const host::Identity& identity,
                               const host::Capabilities& capabilities) {
    std::vector<Agreement> all;
    all.push_back(agreement("kind", description.kind, identity.kind, codeText));
    all.push_back(agreement("name", description.name, identity.name, same));
    all.push_back(agreement("match name", description.matchName, identity.matchName, same));
    all.push_back(agreement("category", description.category, identity.category, same));
    // A host looks for the entry point of its own platform.
    const auto& entryPoints = description.entryPoints;
    const bool found = description.windows
                           ? entryPoints.contains(kPiPL_EntryWindows)
                           : entryPoints.contains(kPiPL_EntryMacIntel) || entryPoints.contains(kPiPL_EntryMacArm);
    if (!found) {
        const std::string what = description.windows ? std::string("entry point ") + kPiPL_EntryWindows : "entry point";
        all.push_back(agreement(what, std::optional<std::string>{}, identity.entryPoint, same));
    }
    for (const auto& [key, entryPoint] : entryPoints) {
        all.push_back(agreement("entry point " + key, std::optional(entryPoint), identity.entryPoint, same));
    }
    all.push_back(
        agreement("API version", description.apiVersion, std::pair(identity.apiMajor, identity.apiMinor), apiText));
    all.push_back(agreement("reserved info", description.reservedInfo, identity.reservedInfo, decimal));
    all.push_back(agreement("version", description.version, capabilities.version, hexText));
    all.push_back(agreement("out flags", description.outFlags, capabilities.outFlags, flagsText));
    all.push_back(agreement("out flags 2", description.outFlags2, capabilities.outFlags2, flagsText));
    return all;
}

}  // namespace quorvel::cli
