// SPDX-License-Identifier: MIT
// Holds the fast renderer against the plain one on any number of random frames. The first difference ends the run with
// exit status 1, after the command that renders this frame again.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "effect/depth.h"
#include "tests/support/frame_renders.h"

namespace quorvel::test {
namespace {

using fast::InstructionSet;

constexpr char kUsage[] =
    "Usage: fuzz_frames [--frames N] [--depth 8|16|32|all] [--isa baseline|avx2|avx512|all] [--seed S]\n"
    "Renders N random frames (default 3000), of the seeds S (default 1), S + 1 and so on, with the plain and the fast\n"
    "renderer. With all depths, they take turns. Exit status: 0 all frames are the same, 1 a difference or a failure,\n"
    "2 a usage error.\n";

struct Options {
    std::uint64_t frames = 3000;
    std::uint64_t seed = 1;
    std::string depth = "all";
    std::string set = "all";
};

struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

[[noreturn]] void refuse(std::string_view option, std::string_view value, std::string_view expected) {
    throw UsageError(std::string(option) + " " + std::string(value) + ": expected " + std::string(expected));
}

std::uint64_t parseNumber(std::string_view option, std::string_view value, std::uint64_t least) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size() || number < least) {
        refuse(option, value, "a whole number from " + std::to_string(least) + " to 18446744073709551615");
    }
    return number;
}

std::string parseChoice(std::string_view option, std::string_view value, std::initializer_list<std::string_view> all) {
    if (std::find(all.begin(), all.end(), value) == all.end()) {
        std::string expected;
        for (const std::string_view choice : all) {
            expected += (expected.empty() ? "" : choice == *(all.end() - 1) ? " or " : ", ") + std::string(choice);
        }
        refuse(option, value, expected);
    }
    return std::string(value);
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view option = argv[i];
        if (option != "--frames" && option != "--seed" && option != "--depth" && option != "--isa") {
            throw UsageError("unexpected argument " + std::string(option) + "; see fuzz_frames --help");
        }
        if (i + 1 == argc) {
            throw UsageError(std::string(option) + " needs a value");
        }
        const std::string_view value = argv[i + 1];
        if (option == "--frames") {
            options.frames = parseNumber(option, value, 1);
        } else if (option == "--seed") {
            options.seed = parseNumber(option, value, 0);
        } else if (option == "--depth") {
            options.depth = parseChoice(option, value, {"8", "16", "32", "all"});
        } else {
            options.set = parseChoice(option, value, {"baseline", "avx2", "avx512", "all"});
        }
    }
    return options;
}

std::string compareOne(std::string_view depth, std::uint64_t seed, InstructionSet set) {
    constexpr char kName[] = "fuzz_frames";
    return depth == "8"    ? compareRenderers(randomFrame<Depth8>(seed), set, kName)
           : depth == "16" ? compareRenderers(randomFrame<Depth16>(seed), set, kName)
                           : compareRenderers(randomFrame<DepthFloat>(seed), set, kName);
}

bool compareFrames(const Options& options, InstructionSet set, const char* program) {
    constexpr const char* kDepths[] = {"8", "16", "32"};
    for (std::uint64_t i = 0; i < options.frames; ++i) {
        const std::string depth = options.depth == "all" ? kDepths[i % 3] : options.depth;
        const std::string text = compareOne(depth, options.seed + i, set);
        if (!text.empty()) {
            std::fprintf(stderr, "%s: %s\nTo render this frame again: %s --frames 1 --depth %s --isa %s --seed %llu\n",
                         fast::nameOf(set), text.c_str(), program, depth.c_str(), fast::nameOf(set),
                         static_cast<unsigned long long>(options.seed + i));
            return false;
        }
    }
    std::printf("%s: %llu frames are the same\n", fast::nameOf(set), static_cast<unsigned long long>(options.frames));
    return true;
}

int run(const Options& options, const char* program) {
    bool any = false;
    for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
        if (options.set != "all" && options.set != fast::nameOf(set)) {
            continue;
        }
        if (set > fast::supportedInstructionSet()) {
            std::fprintf(stderr, "%s: not supported by this machine\n", fast::nameOf(set));
            continue;
        }
        any = true;
        if (!compareFrames(options, set, program)) {
            return 1;
        }
    }
    return any ? 0 : 1;
}

}  // namespace
}  // namespace quorvel::test

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(quorvel::test::kUsage, stdout);
        return 0;
    }
    try {
        return quorvel::test::run(quorvel::test::parse(argc, argv), argv[0]);
    } catch (const quorvel::test::UsageError& error) {
        std::fprintf(stderr, "fuzz_frames: %s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fuzz_frames: %s\n", error.what());
        return 1;
    }
}
