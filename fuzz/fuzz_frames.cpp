// SPDX-License-Identifier: MIT
// Holds the fast kernel against the plain one on any number of random frames; exit status 1 at the first difference.
//   fuzz_frames [--frames N] [--isa baseline|avx2|avx512|all] [--seed S]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "effect/depth.h"
#include "tests/random_frame.h"

namespace {

using quorvel::fast::InstructionSet;

struct NamedSet {
    const char* name;
    InstructionSet set;
};
constexpr NamedSet kSets[] = {
    {"baseline", InstructionSet::Baseline}, {"avx2", InstructionSet::Avx2}, {"avx512", InstructionSet::Avx512}};

template <typename Depth>
std::optional<std::string> compareOne(std::uint64_t seed, InstructionSet set) {
    return quorvel::test::RandomFrame<Depth>(seed).compare(set);
}

bool compareFrames(const NamedSet& set, std::uint64_t frames, std::uint64_t seed) {
    for (std::uint64_t i = 0; i < frames; ++i) {
        const std::uint64_t frameSeed = seed + i;
        const auto difference = i % 3 == 0   ? compareOne<quorvel::Depth8>(frameSeed, set.set)
                                : i % 3 == 1 ? compareOne<quorvel::Depth16>(frameSeed, set.set)
                                             : compareOne<quorvel::DepthFloat>(frameSeed, set.set);
        if (difference) {
            std::fprintf(stderr, "%s: %s\n", set.name, difference->c_str());
            return false;
        }
    }
    std::printf("%s: %llu frames are the same\n", set.name, static_cast<unsigned long long>(frames));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t frames = 3000;
    std::uint64_t seed = 1;
    std::string_view wanted = "all";
    for (int i = 1; i < argc; i += 2) {
        const std::string_view option = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : "";
        if (option == "--frames") {
            frames = std::strtoull(value, nullptr, 10);
        } else if (option == "--seed") {
            seed = std::strtoull(value, nullptr, 10);
        } else if (option == "--isa") {
            wanted = value;
        } else {
            std::fprintf(stderr, "usage: fuzz_frames [--frames N] [--isa baseline|avx2|avx512|all] [--seed S]\n");
            return 2;
        }
    }
    bool any = false;
    for (const NamedSet& set : kSets) {
        if (wanted != "all" && wanted != set.name) {
            continue;
        }
        if (set.set > quorvel::fast::supportedInstructionSet()) {
            std::printf("%s: this machine has none\n", set.name);
            continue;
        }
        any = true;
        if (!compareFrames(set, frames, seed)) {
            return 1;
        }
    }
    if (!any) {
        std::fprintf(stderr, "no instruction set \"%s\" to compare\n", argc > 1 ? wanted.data() : "");
        return 2;
    }
    return 0;
}
