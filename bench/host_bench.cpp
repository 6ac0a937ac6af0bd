// SPDX-License-Identifier: MIT
// Frames per second of the module as the reference host renders it, on several threads; and what one picture costs
// from file to file.
//   threads/DEPTH/render|memcpy/threads:N     picture/read|render|write
//
//   host_bench MODULE PHOTOGRAPH [Google Benchmark's own options]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/pictures.h"
#include "cli/pictures/read.h"
#include "cli/pictures/write.h"
#include "host/host.h"
#include "host/instance.h"

namespace {

using namespace quorvel;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kMaximumThreads = 4;

struct Stage {
    explicit Stage(const std::filesystem::path& module) : host(module, host::Profile::afterEffects()) {
        host.start();
        instance = std::make_unique<host::Instance>(host);
        if (!instance->sequenceSetup().ok()) {
            throw host::HostError("the module refuses sequence set-up");
        }
    }
    host::Host host;
    std::unique_ptr<host::Instance> instance;
};

void renderFrame(Stage& stage, const host::ParameterValues& values, const host::World& input, host::World& output) {
    host::FrameRequest request;
    request.input = &input;
    request.output = &output;
    request.values = &values;
    if (!stage.instance->render(request).ok()) {
        throw host::HostError("the module refuses to render");
    }
}

void addThreads(Stage& stage, const char* name, host::Depth depth) {
    // Each thread has its own output; all read the same input.
    auto outputs = std::make_shared<std::vector<host::World>>();
    for (int i = 0; i < kMaximumThreads; ++i) {
        outputs->emplace_back(depth, kWidth, kHeight);
    }
    for (const bool copy : {false, true}) {
        auto* registered = benchmark::RegisterBenchmark(
            (std::string("threads/") + name + (copy ? "/memcpy" : "/render")).c_str(),
            [&stage, outputs, depth, copy](benchmark::State& state) {
                const host::World& input = bench::picture(bench::Content::Photograph, depth, kWidth, kHeight);
                const host::ParameterValues values(stage.host.parameters());
                host::World& output = (*outputs)[static_cast<std::size_t>(state.thread_index())];
                for ([[maybe_unused]] auto _ : state) {
                    if (copy) {
                        std::memcpy(output.memory().data(), input.memory().data(), input.memory().size());
                        benchmark::ClobberMemory();
                    } else {
                        renderFrame(stage, values, input, output);
                    }
                }
                state.SetItemsProcessed(state.iterations());
            });
        registered->Threads(1)->Threads(2)->Threads(kMaximumThreads)->UseRealTime()->Unit(benchmark::kMicrosecond);
    }
    bench::picture(bench::Content::Photograph, depth, kWidth, kHeight);  // made before there are threads
}

void addPicture(Stage& stage, const std::filesystem::path& file) {
    const auto add = [](const char* name, auto function) {
        benchmark::RegisterBenchmark(name, [function](benchmark::State& state) {
            for ([[maybe_unused]] auto _ : state) {
                function();
            }
        })->Unit(benchmark::kMicrosecond);
    };
    const auto read = std::make_shared<cli::Picture>(cli::readPicture(file, {}));
    const auto output = std::make_shared<host::World>(read->world.depth(), read->world.width(), read->world.height());
    const std::filesystem::path written = std::filesystem::temp_directory_path() / "quorvel_host_bench.png";
    // Something to write, whichever of these comes first.
    renderFrame(stage, host::ParameterValues(stage.host.parameters()), read->world, *output);
    add("picture/read", [file] { benchmark::DoNotOptimize(cli::readPicture(file, {})); });
    add("picture/render", [&stage, read, output] {
        renderFrame(stage, host::ParameterValues(stage.host.parameters()), read->world, *output);
    });
    add("picture/write", [=] {
        benchmark::DoNotOptimize(cli::writePicture(written, *output, *read->traits, {}));
        std::filesystem::remove(written);
    });
    benchmark::AddCustomContext("picture", file.filename().string() + ", " + std::to_string(read->world.width()) +
                                               " x " + std::to_string(read->world.height()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: host_bench MODULE PHOTOGRAPH [--benchmark_...]\n");
        return 2;
    }
    try {
        bench::setPhotographs(argv[2], argv[2]);
        Stage stage(argv[1]);
        addThreads(stage, "8", host::Depth::Bits8);
        addThreads(stage, "16", host::Depth::Bits16);
        addThreads(stage, "float", host::Depth::Float32);
        addPicture(stage, argv[2]);
        int count = argc - 2;
        benchmark::Initialize(&count, argv + 2);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "host_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
