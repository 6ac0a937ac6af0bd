// SPDX-License-Identifier: MIT
// What the other tests stand on: random frames that any machine makes again, and differences that can be looked at.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "effect/depth.h"
#include "tests/support/picture_comparison.h"
#include "tests/support/random_frame.h"

namespace quorvel::test {
namespace {

/// FNV-1a over the bytes of what it is given.
class Digest {
public:
    template <typename T>
    void add(const T& value) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
        for (std::size_t i = 0; i < sizeof value; ++i) {
            hash_ = (hash_ ^ bytes[i]) * 0x100000001B3U;
        }
    }
    template <typename T>
    void addPicture(const GuardedPicture<T>& picture) {
        add(picture.view().width);
        add(picture.view().height);
        add(static_cast<std::int64_t>(picture.view().stride));
        for (std::size_t i = 0; i < picture.channels(); ++i) {
            add(picture.memory()[i]);
        }
    }
    std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 0xCBF29CE484222325U;
};

template <typename Depth>
std::uint64_t digestOfFrames(FrameFor use) {
    Digest digest;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        const auto frame = randomFrame<Depth>(seed, use);
        const Settings& s = frame.settings;
        for (const std::int32_t number : {s.channels, s.gridWidth, s.gridHeight, s.maxIterations, s.curveType,
                                          s.curvePhase, s.curvePhaseSplit, frame.originX, frame.originY}) {
            digest.add(number);
        }
        digest.add(s.mosaicIntensity);
        digest.add(s.curveSmoothness);
        digest.add(frame.inPlace);
        digest.addPicture(frame.source);
        digest.addPicture(frame.output);
        if (frame.layer) {
            digest.addPicture(*frame.layer);
        }
    }
    return digest.value();
}

// A change of the generator changes these; then its frames have to be looked at anew for what they must hold.
TEST(RandomFrames, AreTheSameOnEveryMachine) {
    EXPECT_EQ(digestOfFrames<Depth8>(FrameFor::Renderers), 0x497887390F0282A8U);
    EXPECT_EQ(digestOfFrames<Depth16>(FrameFor::Renderers), 0x3CB7B5E2250AB2CFU);
    EXPECT_EQ(digestOfFrames<DepthFloat>(FrameFor::Renderers), 0xE5F85875C133404DU);
    EXPECT_EQ(digestOfFrames<Depth8>(FrameFor::Hosts), 0xB5810B410D171A24U);
    EXPECT_EQ(digestOfFrames<Depth16>(FrameFor::Hosts), 0x1550474ACCB4437FU);
    EXPECT_EQ(digestOfFrames<DepthFloat>(FrameFor::Hosts), 0xCA63F5529C4DD1FFU);
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

template <typename T>
PixelView<const T> twoPixels(const std::vector<T>& channels) {
    return {channels.data(), 1, 2, 4};
}

TEST(Differences, AreNamedAndSaved) {
    const auto folderIn = [](const std::string& text) {
        const std::string before = "both pictures are in ";
        return std::filesystem::path(text.substr(text.find(before) + before.size()));
    };
    const std::vector<std::uint16_t> black{0, 0, 0, 0, 1, 2, 3, 4};
    EXPECT_EQ(difference(twoPixels(black), twoPixels(black), "unused"), "");
    const std::vector<std::uint16_t> other{0, 0, 0, 0, 1, 2, 0x1234, 5};
    const std::string text = difference(twoPixels(black), twoPixels(other), "Some/Test");
    EXPECT_EQ(text.substr(0, text.find(';')), "2 channels differ, first at x 0, y 1, channel G: expected 3, got 4660");
    const std::filesystem::path folder = folderIn(text);
    EXPECT_EQ(folder.filename().string().rfind("Some-Test-", 0), 0U) << folder;
    EXPECT_EQ(contentOf(folder / "actual.pam"),
              std::string("P7\nWIDTH 1\nHEIGHT 2\nDEPTH 4\nMAXVAL 65535\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
                          "\0\0\0\0\0\0\0\0\0\2\x12\x34\0\5\0\1",
                          67 + 16));
    EXPECT_EQ(contentOf(folder / "expected.pam").substr(67 + 8), std::string("\0\2\0\3\0\4\0\1", 8));
    std::filesystem::remove_all(folder);

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> floats{nan, 0.0F, 1.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    const std::vector<float> negative{-nan, 0.0F, 1.0F, -0.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    const std::string zeros = difference(twoPixels(floats), twoPixels(negative), "Floats");
    EXPECT_EQ(zeros.substr(0, zeros.find(';')), "1 channel differs, first at x 0, y 0, channel B: expected 0, got -0");
    const std::filesystem::path second = folderIn(zeros);
    EXPECT_EQ(contentOf(second / "actual.pfm"), std::string("PF\n1 2\n-1.0\n"
                                                            "\0\0\0\0\0\0\0\0\0\0\0\0"
                                                            "\0\0\0\0\0\0\x80\x3F\0\0\0\x80",
                                                            12 + 24));
    EXPECT_EQ(contentOf(second / "expected-alpha.pfm").size(), 12U + 8U);
    std::filesystem::remove_all(second);
}

}  // namespace
}  // namespace quorvel::test
