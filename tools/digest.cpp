// SPDX-License-Identifier: MIT
// Prints one line for everything this platform's build of the module computes: the curve's values, and the frames of
// a seeded series of requests in all depths as both hosts make them, and the panel's pictures. Two platforms agree
// when their lines do. Fails when the module breaks a host's rules on the way.
// Usage: quorvel_digest MODULE
#include <array>
#include <bit>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "effect/curve.h"
#include "host/host.h"
#include "host/instance.h"
#include "host/panel.h"
#include "host/surface.h"
#include "tests/support/random.h"

namespace {

using namespace quorvel;
using namespace quorvel::host;
using quorvel::test::Random;

/// FNV-1a over 64 bits.
class Digest {
public:
    void byte(std::byte value) { hash_ = (hash_ ^ std::to_integer<std::uint64_t>(value)) * 0x100000001B3U; }
    void word(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            byte(static_cast<std::byte>((value >> shift) & 0xFFU));
        }
    }
    std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 0xCBF29CE484222325U;
};

/// 0 to 1 in steps that every float holds exactly.
double fraction(Random& random) {
    return random.between(0, 4096) / 4096.0;
}

void printDigest(const std::string& what, const Digest& digest) {
    std::printf("%s %016" PRIx64 "\n", what.c_str(), digest.value());
}

/// The curve at every sample of a turn and beyond its ends, for the sample counts that the effect uses.
void printCurves() {
    struct Use {
        int count;
        float amplitude;
    };
    for (const Use use : {Use{256, 255.0F}, Use{4096, 32768.0F}, Use{4000, 1.0F}, Use{96, 95.0F}}) {
        for (int type = kLinearRampUp; type <= kExpDown; ++type) {
            for (const float smoothness : {-1.0F, 0.0F, 0.5F, 1.0F, 7.25F}) {
                for (int flags = 0; flags < 4; ++flags) {
                    Digest digest;
                    for (int i = -use.count / 2; i < use.count + use.count / 2; ++i) {
                        digest.word(std::bit_cast<std::uint32_t>(
                            curveValue(type, i, use.count, use.amplitude, 0.0F, smoothness, flags)));
                    }
                    char what[80];
                    std::snprintf(what, sizeof(what), "curve %d of %d samples, smoothness %g, flags %d", type,
                                  use.count, static_cast<double>(smoothness), flags);
                    printDigest(what, digest);
                }
            }
        }
    }
}

/// Areas of flat colour, slopes and noise, so that blocks of every size appear.
int paint(Random& random, int x, int y, int patch) {
    switch (patch) {
        case 0:
            return 30000;
        case 1:
            return (x * 911 + y * 577) % 32769;
        case 2:
            return random.between(0, 32768);
        default:
            return random.oneIn(9) ? random.between(0, 32768) : 4000 + 16 * x;
    }
}

World makePicture(Random& random, Depth depth, int width, int height) {
    World world(depth, width, height, {random.between(0, 2) * 16, random.oneIn(4)});
    std::array<int, 16> patches{};
    for (int& patch : patches) {
        patch = random.between(0, 3);
    }
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < 4 * width; ++i) {
            const auto cell = static_cast<std::size_t>(y * 4 / height * 4 + i / width);
            const int value = paint(random, i, y, patches[cell]);
            switch (depth) {
                case Depth::Bits8:
                    world.channels<std::uint8_t>(y)[i] = static_cast<std::uint8_t>(value * 255 / 32768);
                    break;
                case Depth::Bits16:
                    world.channels<std::uint16_t>(y)[i] = static_cast<std::uint16_t>(value);
                    break;
                case Depth::Float32:
                    // Beyond 0 and 1 as well, as high-range pictures are.
                    world.channels<float>(y)[i] = static_cast<float>(value - 2000) / 29000.0F;
                    break;
            }
        }
    }
    return world;
}

void addPixels(Digest& digest, const World& world) {
    for (int y = 0; y < world.height(); ++y) {
        const std::byte* row = world.row(y);
        for (int i = 0; i < world.width() * pixelBytes(world.depth()); ++i) {
            digest.byte(row[i]);
        }
    }
}

void require(const CommandResult& result, const char* command) {
    if (!result.ok()) {
        throw HostError(std::string(command) + " failed with error " + std::to_string(result.error) + " " +
                        result.message + result.exception);
    }
}

A_long idOf(const Host& host, const char* name) {
    const Parameter* parameter = host.findParameter(name);
    if (parameter == nullptr) {
        throw HostError(std::string("the module declares no ") + name);
    }
    return parameter->id();
}

PF_Fixed degrees(int hundredths) {
    return static_cast<PF_Fixed>(static_cast<std::int64_t>(hundredths) * 65536 / 100);
}

constexpr std::array kDepthNames = {"8", "16", "32"};

/// One frame with random settings for everything that is not given.
void printFrame(Host& host, Instance& instance, Random& random, const std::string& who, Depth depth, int mode,
                int curve) {
    const int width = random.between(1, 120);
    const int height = random.between(1, 80);
    const World input = makePicture(random, depth, width, height);
    const bool sameSize = random.oneIn(2);
    // One draw a statement: the order of arguments is each compiler's own.
    const int layerWidth = sameSize ? width : random.between(1, 150);
    const int layerHeight = sameSize ? height : random.between(1, 100);
    const World intensity = makePicture(random, depth, layerWidth, layerHeight);
    World output(depth, width, height, {random.between(0, 1) * 16, random.oneIn(4)});

    ParameterValues values(host.parameters());
    values.setPopup(idOf(host, "Channels"), mode);
    values.setPopup(idOf(host, "Curve"), curve);
    values.setFloat(idOf(host, "Mosaic Intensity"), fraction(random));
    values.setFixed(idOf(host, "Grid Width"), random.between(1, 32) * 65536);
    values.setFixed(idOf(host, "Grid Height"), random.between(1, 32) * 65536);
    values.setFixed(idOf(host, "Maximum Iterations"), random.between(1, 8) * 65536);
    values.setFixed(idOf(host, "Curve Phase"), degrees(random.between(0, 159999) - 80000));
    values.setFixed(idOf(host, "Curve Phase Split (RGB)"), degrees(random.between(0, 79999) - 40000));
    values.setFloat(idOf(host, "Curve Smoothness"), random.oneIn(3) ? 0.0 : 4.0 * fraction(random));
    if (random.oneIn(3)) {
        values.setLayer(idOf(host, "Intensity Source"), &intensity);
    }

    FrameRequest request;
    request.input = &input;
    request.output = &output;
    request.values = &values;
    request.downsampleX = request.downsampleY = {1, random.oneIn(4) ? 2U : 1U};
    require(instance.render(request), "render");

    Digest digest;
    addPixels(digest, output);
    printDigest(who + " depth " + kDepthNames[static_cast<std::size_t>(depth)] + " channels " + std::to_string(mode) +
                    " curve " + std::to_string(curve) + " size " + std::to_string(width) + "x" + std::to_string(height),
                digest);
}

/// The panel's pictures: the graph of each curve, and the banner where the host shows it.
void printPanel(Host& host, Instance& instance, Random& random, const std::string& who) {
    for (int curve = 1; curve <= 6; ++curve) {
        ParameterValues values(host.parameters());
        values.setPopup(idOf(host, "Channels"), random.between(1, 6));
        values.setPopup(idOf(host, "Curve"), curve);
        values.setFixed(idOf(host, "Curve Phase"), degrees(random.between(0, 159999) - 80000));
        values.setFixed(idOf(host, "Curve Phase Split (RGB)"), degrees(random.between(0, 79999) - 40000));
        values.setFloat(idOf(host, "Curve Smoothness"), 16.0 * fraction(random));
        Panel panel(instance, values);
        require(panel.update(), "update of the panel");
        Surface surface(340, 80);
        for (const Parameter& parameter : host.parameters()) {
            if (parameter.customUI) {
                int drawn = 0;
                for (const PF_EffectArea area : {PF_EA_PARAM_TITLE, PF_EA_CONTROL}) {
                    const Panel::Frames frames{{4, 2, 324, 19}, {4, 24, 54, 74}};
                    const EventResult result = panel.draw(parameter.index, area, frames, surface);
                    require(result.command, "drawing");
                    drawn += result.handled() ? 1 : 0;
                }
                if (drawn != 1) {
                    throw HostError(who + ": " + std::to_string(drawn) + " areas of control " +
                                    std::to_string(parameter.index) + " were drawn");
                }
            }
        }
        Digest digest;
        addPixels(digest, surface.world());
        printDigest(who + " panel with curve " + std::to_string(curve), digest);
    }
}

/// The module's whole life under one host.
void printLife(const char* moduleFile, const Profile& profile, const std::string& who, std::uint64_t seed) {
    Host host(moduleFile, profile);
    host.start();
    const CommandResult about = host.about();
    require(about, "about");
    std::printf("%s is told: %.15s, %d parameters, version %08x, flags %08x %08x\n", who.c_str(), about.message.c_str(),
                static_cast<int>(host.parameters().size()), host.capabilities().version,
                static_cast<unsigned>(host.capabilities().outFlags),
                static_cast<unsigned>(host.capabilities().outFlags2));
    {
        Instance instance(host);
        require(instance.sequenceSetup(), "sequence set-up");
        Random random(seed);
        printPanel(host, instance, random, who);
        for (const Depth depth : {Depth::Bits8, Depth::Bits16, Depth::Float32}) {
            for (int mode = 1; mode <= 6; ++mode) {
                for (int curve = 1; curve <= 6; ++curve) {
                    printFrame(host, instance, random, who, depth, mode, curve);
                }
            }
        }
        require(instance.getFlattenedSequenceData(), "copy of the sequence data");
        require(instance.sequenceFlatten(), "sequence flatten");
        require(instance.sequenceResetup(), "sequence re-set-up");
        require(instance.sequenceSetdown(), "sequence set-down");
    }
    require(host.globalSetdown(), "global set-down");
    std::string complaints;
    for (const OpenLoan& loan : host.ledger().open()) {
        complaints += "\n  still owed: " + loan.name;
    }
    for (const std::string& breach : host.ledger().breaches()) {
        complaints += "\n  " + breach;
    }
    if (!complaints.empty()) {
        throw HostError(who + " complains:" + complaints);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: quorvel_digest MODULE\n");
        return 2;
    }
    try {
        printCurves();
        printLife(argv[1], Profile::afterEffects(), "After Effects 22", 1);
        printLife(argv[1], Profile::afterEffects(13, 8), "After Effects CC 2014", 2);
        printLife(argv[1], Profile::premierePro(), "Premiere Pro", 3);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quorvel_digest: %s\n", error.what());
        return 1;
    }
    return 0;
}
