// SPDX-License-Identifier: MIT
// Times of one frame in the kernels, next to the plain kernel and to memcpy of the same frame. The names of the
// benchmarks are paths, which scripts/bench makes tables of:
//   frame/DEPTH/FORM/CONTENT/SIZE/KERNEL     growth/KIND/VALUE/KERNEL     intensity/DEPTH/LAYER table/DEPTH/SMOOTHNESS
//
//   frame_bench PHOTOGRAPH OTHER_PHOTOGRAPH [Google Benchmark's own options]
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/pictures.h"
#include "effect/depth.h"
#include "effect/fast/curve_samples.h"
#include "effect/fast/render.h"
#include "effect/parameters.h"
#include "effect/plain/render.h"

namespace {

using namespace quorvel;
using bench::Content;
using fast::InstructionSet;
using fast::supportedInstructionSet;

template <typename Depth>
struct Named;
template <>
struct Named<Depth8> {
    static constexpr const char* kName = "8";
    static constexpr host::Depth kDepth = host::Depth::Bits8;
};
template <>
struct Named<Depth16> {
    static constexpr const char* kName = "16";
    static constexpr host::Depth kDepth = host::Depth::Bits16;
};
template <>
struct Named<DepthFloat> {
    static constexpr const char* kName = "float";
    static constexpr host::Depth kDepth = host::Depth::Float32;
};

struct Size {
    const char* name;
    int width;
    int height;
};
constexpr Size kHD{"1080p", 1920, 1080};
constexpr Size kUHD{"4K", 3840, 2160};
constexpr Size kUHD2{"8K", 7680, 4320};

/// One output for all: what a host reuses, too. `slot` for benchmarks that run on several threads.
host::World& outputWorld(host::Depth depth, int width, int height) {
    static std::map<std::pair<int, int>, host::World> worlds;
    const std::pair<int, int> key{static_cast<int>(depth), width};
    auto found = worlds.find(key);
    if (found == worlds.end()) {
        found = worlds.emplace(key, host::World(depth, width, height)).first;
    }
    return found->second;
}

template <typename T>
PixelView<T> viewOf(host::World& world) {
    return {world.channels<T>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}
template <typename T>
PixelView<const T> viewOf(const host::World& world) {
    return {world.channels<T>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}

template <typename Function>
void timeIt(const std::string& name, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), [function](benchmark::State& state) {
        function();  // pictures are made, and pages touched
        for ([[maybe_unused]] auto _ : state) {
            function();
            benchmark::ClobberMemory();
        }
    })->Unit(benchmark::kMicrosecond);
}

template <typename Depth>
void addCopy(const std::string& name, Content content, Size size) {
    timeIt(name + "/memcpy", [=] {
        const host::World& source = bench::picture(content, Named<Depth>::kDepth, size.width, size.height);
        host::World& output = outputWorld(Named<Depth>::kDepth, size.width, size.height);
        std::memcpy(output.memory().data(), source.memory().data(), source.memory().size());
    });
}

template <typename Depth>
void addFast(const std::string& name, Content content, Size size, const Settings& values, InstructionSet set,
             Size layerSize = {}) {
    using T = typename Depth::Channel;
    timeIt(name, [=] {
        const host::World& source = bench::picture(content, Named<Depth>::kDepth, size.width, size.height);
        IntensityLayer<T> layer;
        if (layerSize.name != nullptr) {
            layer.view = viewOf<T>(bench::picture(content, Named<Depth>::kDepth, layerSize.width, layerSize.height));
        }
        fast::render<Depth>(viewOf<T>(outputWorld(Named<Depth>::kDepth, size.width, size.height)), viewOf<T>(source),
                            values, layer, set);
    });
}

template <typename Depth>
void addPlain(const std::string& name, Content content, Size size, const Settings& values) {
    using T = typename Depth::Channel;
    timeIt(name + "/plain", [=] {
        plain::render<Depth>(viewOf<T>(outputWorld(Named<Depth>::kDepth, size.width, size.height)),
                             viewOf<T>(bench::picture(content, Named<Depth>::kDepth, size.width, size.height)), values);
    });
}

std::vector<std::pair<const char*, InstructionSet>> instructionSets() {
    std::vector<std::pair<const char*, InstructionSet>> sets{{"baseline", InstructionSet::Baseline}};
    if (supportedInstructionSet() >= InstructionSet::Avx2) {
        sets.emplace_back("avx2", InstructionSet::Avx2);
    }
    if (supportedInstructionSet() >= InstructionSet::Avx512) {
        sets.emplace_back("avx512", InstructionSet::Avx512);
    }
    return sets;
}

template <typename Depth>
void addFrames() {
    for (const Size& size : {kHD, kUHD}) {
        for (const std::int32_t mode : {kLuminosity, kRGB, kAlpha}) {
            if (mode != kLuminosity && size.width > kHD.width) {
                continue;
            }
            const char* form = mode == kLuminosity ? "luminosity" : mode == kRGB ? "rgb" : "alpha";
            for (const Content content : bench::kContents) {
                const std::string name = std::string("frame/") + Named<Depth>::kName + "/" + form + "/" +
                                         bench::nameOf(content) + "/" + size.name;
                Settings values = defaultSettings();
                values.channels = mode;
                addCopy<Depth>(name, content, size);
                for (const auto& [isa, set] : instructionSets()) {
                    addFast<Depth>(name + "/" + isa, content, size, values, set);
                }
                addPlain<Depth>(name, content, size, values);
            }
        }
    }
    const std::string intensity = std::string("intensity/") + Named<Depth>::kName;
    addFast<Depth>(intensity + "/none", Content::Photograph, kHD, defaultSettings(), supportedInstructionSet());
    addFast<Depth>(intensity + "/1:1", Content::Photograph, kHD, defaultSettings(), supportedInstructionSet(), kHD);
    addFast<Depth>(intensity + "/stretched", Content::Photograph, kHD, defaultSettings(), supportedInstructionSet(),
                   {"layer", 1280, 720});
    for (const int smoothness : {0, 1, 4, 16}) {
        const auto samples = static_cast<float>(smoothness * Depth::kSmoothnessFactor);
        timeIt(std::string("table/") + Named<Depth>::kName + "/" + std::to_string(smoothness), [samples] {
            static float curve[Depth::kSamples];
            fast::sampleCurve(kSineWave, Depth::kSamples, Depth::kAmplitude, samples, curve);
        });
    }
}

void addGrowth() {
    const InstructionSet set = supportedInstructionSet();
    for (const Size& size : {Size{"480p", 854, 480}, Size{"720p", 1280, 720}, kHD, kUHD, kUHD2}) {
        const std::string name = std::string("growth/pixels/") + size.name;
        addFast<Depth8>(name + "/fast", Content::Photograph, size, defaultSettings(), set);
        addCopy<Depth8>(name, Content::Photograph, size);
    }
    for (const std::int32_t levels : {1, 2, 4, 8, 16, 32}) {
        Settings values = defaultSettings();
        values.maxIterations = levels;
        addFast<Depth8>("growth/levels/" + std::to_string(levels) + "/fast", Content::Photograph, kHD, values, set);
    }
    for (const auto& [columns, rows] :
         {std::pair{1, 1}, {4, 3}, {16, 9}, {64, 36}, {192, 108}, {480, 270}, {960, 540}}) {
        Settings values = defaultSettings();
        values.gridWidth = columns;
        values.gridHeight = rows;
        addFast<Depth8>("growth/cells/" + std::to_string(columns) + " x " + std::to_string(rows) + "/fast",
                        Content::Photograph, kHD, values, set);
    }
    for (const Content content : bench::kContents) {
        Settings values = defaultSettings();
        const std::string name = std::string("growth/one 8K cell/") + bench::nameOf(content);
        addFast<Depth8>(name + "/16 x 9", content, kUHD2, values, set);
        values.gridWidth = values.gridHeight = 1;
        addFast<Depth8>(name + "/1 x 1", content, kUHD2, values, set);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: frame_bench PHOTOGRAPH OTHER_PHOTOGRAPH [--benchmark_...]\n");
        return 2;
    }
    bench::setPhotographs(argv[1], argv[2]);
    addFrames<Depth8>();
    addFrames<Depth16>();
    addFrames<DepthFloat>();
    addGrowth();
    int count = argc - 2;
    benchmark::Initialize(&count, argv + 2);
    benchmark::AddCustomContext("instruction set", supportedInstructionSet() == InstructionSet::Avx512 ? "AVX-512"
                                                   : supportedInstructionSet() == InstructionSet::Avx2 ? "AVX2"
                                                                                                       : "baseline");
    benchmark::AddCustomContext("compiler",
#if defined(__clang__)
                                "Clang " __clang_version__
#else
                                "GCC " __VERSION__
#endif
    );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
