// SPDX-License-Identifier: MIT
// quorvel panel: the pictures it writes, and each control as it is drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "cli/panel_drawing.h"
#include "host/instance.h"
#include "host/panel.h"
#include "tests/support/graph_model.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using test::contents;
using test::expectFailure;
using test::loadPicture;
using test::Outcome;
using test::PictureData;

class PanelCommand : public test::ProgramTest {};

/// Where `part` stands in `whole` pixel by pixel (red, green, blue), each of its pixels `scale` times as large; its
/// transparent pixels may be anything. Nothing when it stands nowhere.
std::optional<std::pair<int, int>> placeIn(const PictureData& whole, const PictureData& part, int scale) {
    const auto same = [&](int left, int top) {
        for (int y = 0; y < part.spec.height * scale; ++y) {
            for (int x = 0; x < part.spec.width * scale; ++x) {
                const auto from = static_cast<std::size_t>(4 * (y / scale * part.spec.width + x / scale));
                const auto to = static_cast<std::size_t>(3 * ((top + y) * whole.spec.width + left + x));
                if (part.values[from + 3] == 1.0f &&
                    !std::equal(&part.values[from], &part.values[from] + 3, &whole.values[to])) {
                    return false;
                }
            }
        }
        return true;
    };
    for (int top = 0; top + part.spec.height * scale <= whole.spec.height; ++top) {
        for (int left = 0; left + part.spec.width * scale <= whole.spec.width; ++left) {
            if (same(left, top)) {
                return std::pair(left, top);
            }
        }
    }
    return std::nullopt;
}

TEST_F(PanelCommand, PanelShowsTheEffectsOwnPixels) {
    const auto panel = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"panel", "-o", path("panel.png")});
        const Outcome outcome = run(std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return loadPicture(path("panel.png"));
    };
    const PictureData graph = panel({"--graph-only", "--channels", "rgb", "--curve", "sine-wave", "--curve-phase",
                                     "-30", "--curve-smoothness", "2.5", "--curve-phase-split", "60"});
    const model::Graph model({.channels = 1, .curve = 3, .phase = -30 * 65536, .smoothness = 2.5, .split = 60 * 65536});
    ASSERT_EQ(graph.values.size(), 50u * 50u * 4u);
    for (int i = 0; i < 50 * 50 * 4; ++i) {
        ASSERT_EQ(std::lround(graph.values[static_cast<std::size_t>(i)] * 255), model.grey(i / 4 % 50, i / 200)) << i;
    }
    const PictureData banner = panel({"--banner-only"});
    EXPECT_EQ(banner.spec.width, 320);
    EXPECT_EQ(banner.spec.height, 17);
    const PictureData whole = panel({});
    const auto place = placeIn(whole, banner, 1);
    ASSERT_TRUE(place);
    const PictureData large = panel({"--scale", "2"});
    EXPECT_EQ(large.spec.width, 2 * whole.spec.width);
    EXPECT_EQ(placeIn(large, banner, 2), std::pair(2 * place->first, 2 * place->second));
    EXPECT_EQ(panel({"--api-version", "13.22", "--banner-only"}).values, banner.values);
    const auto asControl = placeIn(panel({"--api-version", "13.23"}), banner, 1);
    ASSERT_TRUE(asControl);
    EXPECT_GT(asControl->first, place->first);
    EXPECT_FALSE(placeIn(panel({"--host", "premiere-pro"}), banner, 1));
    EXPECT_LT(panel({"--api-version", "13.8"}).spec.height, whole.spec.height - 50);
    EXPECT_NE(panel({"--channels", "rgb"}).values, panel({"--channels", "rgb", "--curve-phase-split", "90"}).values);

    const auto refused = [&](std::vector<std::string> more, int status, const std::string& words) {
        more.insert(more.begin(), {"panel", "-o", path("none.png")});
        expectFailure(run(std::move(more)), status, words);
        EXPECT_FALSE(fs::exists(path("none.png")));
    };
    refused({"--graph-only", "--api-version", "13.8"}, kExitFailure, "no curve graph for this host");
    refused({"--banner-only", "--host", "premiere-pro"}, kExitFailure, "no banner for this host");
    refused({"--intensity-source", path("gone.png")}, kExitFailure, "gone.png");
    refused({"--scale", "3"}, kExitUsage, "--scale 3: expected 1 or 2");
    refused({"--graph-only", "--banner-only"}, kExitUsage, "--graph-only excludes --banner-only");
    refused({"--graph-only", "--scale", "2"}, kExitUsage, "requires --on-panel");
    std::ofstream(path("text.png")) << "no picture";
    refused({"--intensity-source", path("text.png")}, kExitFailure, "text.png: not a readable picture");
    refused({"--grid-width", "0"}, kExitUsage, "--grid-width 0: expected 1 to 32");
}

TEST_F(PanelCommand, OnPanelLaysTheControlOnGreyAndEnlargesIt) {
    const auto panel = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"panel", "-o", path("panel.png"), "--graph-only"});
        EXPECT_EQ(run(std::move(more)).status, 0);
        return loadPicture(path("panel.png"));
    };
    const PictureData graph = panel({});
    const PictureData laid = panel({"--on-panel", "--scale", "2"});
    ASSERT_EQ(graph.spec.nchannels, 4);
    ASSERT_EQ(laid.spec.nchannels, 3);
    ASSERT_EQ(laid.spec.width, 2 * graph.spec.width);
    ASSERT_EQ(laid.spec.height, 2 * graph.spec.height);
    std::set<float> alphas;
    for (int y = 0; y < laid.spec.height; ++y) {
        for (int x = 0; x < laid.spec.width; ++x) {
            const float* from = &graph.values[static_cast<std::size_t>(4 * (y / 2 * graph.spec.width + x / 2))];
            const float* to = &laid.values[static_cast<std::size_t>(3 * (y * laid.spec.width + x))];
            alphas.insert(from[3]);
            for (int channel = 0; channel < 3; ++channel) {
                const float expected = from[3] * from[channel] + (1 - from[3]) * 38.0f / 255.0f;
                ASSERT_NEAR(to[channel], expected, 1.01f / 255.0f) << x << "," << y << " channel " << channel;
            }
        }
    }
    EXPECT_GT(alphas.size(), 1u) << "some pixels are transparent, some opaque";
}

TEST_F(PanelCommand, NoClobberKeepsWhatIsThere) {
    std::ofstream(path("panel.png")) << "precious";
    expectFailure(run({"panel", "-o", path("panel.png"), "--no-clobber"}), kExitFailure, "panel.png: ");
    EXPECT_EQ(contents(path("panel.png")), "precious");
    EXPECT_EQ(run({"panel", "-o", path("new.png"), "--no-clobber"}).status, 0);
    EXPECT_EQ(run({"panel", "-o", path("panel.png")}).status, 0);
    EXPECT_EQ(contents(path("panel.png")), contents(path("new.png")));
}

/// The host's own part of the panel, drawn in this process.
class PanelControls : public ::testing::Test {
protected:
    PanelControls() : host_(QUORVEL_MODULE, host::Profile::afterEffects()) {
        host_.start();
        values_.emplace(host_.parameters());
        layout_ = layOutPanel(host_.parameters());
    }

    const host::Parameter& parameter(const std::string& name) const { return *host_.findParameter(name); }

    host::Surface draw(const std::map<PF_ParamIndex, std::string>& layers = {}) {
        host::Instance instance(host_);
        EXPECT_TRUE(instance.sequenceSetup().ok());
        host::Panel panel(instance, *values_);
        EXPECT_TRUE(panel.update().ok());
        return drawPanel(layout_, {"Effect", "Host", *values_, panel, layers}, 1);
    }

    const PanelRow& row(const std::string& name) const {
        return *std::find_if(layout_.rows.begin(), layout_.rows.end(),
                             [&](const PanelRow& one) { return one.parameter == &parameter(name); });
    }

    /// The pixels of a rectangle, row by row, as numbers to be compared.
    static std::vector<int> pixels(const host::Surface& panel, int left, int top, int width, int height) {
        std::vector<int> result;
        for (int y = top; y < top + height; ++y) {
            for (int x = left; x < left + width; ++x) {
                const PF_Pixel8& pixel = panel.at(x, y);
                result.insert(result.end(), {pixel.red, pixel.green, pixel.blue});
            }
        }
        return result;
    }
    std::vector<int> control(const host::Surface& panel, const std::string& name) const {
        const PanelRow& shown = row(name);
        // Without the line between rows.
        return pixels(panel, layout_.controlLeft, shown.top, layout_.width - layout_.controlLeft, shown.height - 1);
    }
    int brightest(const host::Surface& panel, const std::string& name) const {
        const std::vector<int> shown = pixels(panel, 0, row(name).top, layout_.width, row(name).height - 1);
        return *std::max_element(shown.begin(), shown.end());
    }

    host::Host host_;
    std::optional<host::ParameterValues> values_;
    PanelLayout layout_{};
};

// A layer's field and a choice's are drawn alike, so a layer of that name shows which entry a choice shows.
TEST_F(PanelControls, ChoicesShowTheEntryChosen) {
    const host::Parameter& source = parameter("Intensity Source");
    for (const std::string name : {"Channels", "Curve"}) {
        const host::Parameter& choice = parameter(name);
        ASSERT_EQ(choice.choices.size(), 6u);
        for (std::size_t entry = 0; entry < choice.choices.size(); ++entry) {
            values_->setPopup(choice.id(), static_cast<A_long>(entry + 1));
            const host::Surface panel = draw({{source.index, choice.choices[entry]}});
            EXPECT_EQ(control(panel, name), control(panel, "Intensity Source")) << choice.choices[entry];
            EXPECT_NE(control(draw(), name), control(draw(), "Intensity Source")) << "the layer is None";
        }
    }
}

TEST_F(PanelControls, SlidersAreFilledUpToTheirValue) {
    const auto filled = [&](int value) {
        values_->setFixed(parameter("Grid Width").id(), value * 65536);
        const PanelRow& shown = row("Grid Width");
        const std::vector<int> track =
            pixels(draw(), layout_.controlLeft + 70, shown.top + (shown.height - 1) / 2, 144, 1);
        // The accent is the only colour that is no grey.
        std::vector<int> coloured;
        for (int x = 0; x < 144; ++x) {
            const auto at = static_cast<std::size_t>(3 * x);
            if (track[at + 2] > track[at] + 20) {
                coloured.push_back(x);
            }
        }
        return coloured;
    };
    EXPECT_EQ(filled(1), std::vector<int>{});
    const std::vector<int> half = filled(16);
    ASSERT_FALSE(half.empty());
    EXPECT_EQ(half.front(), 0);
    // The knob's middle lies at 15/31 of the way; it and the gap around it cover 5 pixels to each side.
    EXPECT_NEAR(half.back(), 144 * 15 / 31 - 6, 2);
    EXPECT_EQ(half.size(), static_cast<std::size_t>(half.back() + 1)) << "without gaps";
    EXPECT_NEAR(filled(32).back(), 144 - 6, 2);
}

// Numbers are drawn in another colour and on another grey than a layer's name, so what each pixel is covered by tells.
TEST_F(PanelControls, NumbersAreShownWithTheirUnits) {
    const auto covered = [&](const host::Surface& panel, const std::string& name, int offset, int paper, int ink) {
        const PanelRow& shown = row(name);
        const std::vector<int> text = pixels(panel, layout_.controlLeft + offset, shown.top + 6, 62, shown.height - 13);
        std::vector<int> percent;
        for (std::size_t i = 2; i < text.size(); i += 3) {  // blue, in which the accent is brightest
            percent.push_back((100 * (text[i] - paper) + (ink - paper) / 2) / (ink - paper));
        }
        return percent;
    };
    constexpr int kAccentBlue = 250, kPanel = 38, kField = 28, kText = 206;
    const auto expectShown = [&](const std::string& name, const std::string& text) {
        const host::Surface panel = draw({{parameter("Intensity Source").index, text}});
        const std::vector<int> number = covered(panel, name, 0, kPanel, kAccentBlue);
        const std::vector<int> words = covered(panel, "Intensity Source", 8, kField, kText);
        ASSERT_GT(*std::max_element(words.begin(), words.end()), 80);
        for (std::size_t i = 0; i < words.size(); ++i) {
            ASSERT_NEAR(number[i], words[i], 3) << name << " " << text << " at " << i;
        }
    };
    values_->setFloat(parameter("Mosaic Intensity").id(), 0.375);
    expectShown("Mosaic Intensity", "37.5 %");
    values_->setFixed(parameter("Grid Width").id(), 24 << 16);
    expectShown("Grid Width", "24");
    for (const auto& [degrees, text] :
         {std::pair(45.0, "0x +45.0\u00B0"), std::pair(-363.75, "-1x -3.8\u00B0"), std::pair(725.5, "2x +5.5\u00B0")}) {
        values_->setFixed(parameter("Curve Phase").id(), static_cast<PF_Fixed>(degrees * 65536));
        expectShown("Curve Phase", text);
    }
}

TEST_F(PanelControls, WhatMayChangeOverTimeHasAStopwatch) {
    const host::Surface panel = draw();
    int marked = 0;
    for (const PanelRow& shown : layout_.rows) {
        if (shown.parameter->customUI) {
            continue;
        }
        const std::vector<int> left = pixels(panel, 15, shown.top, 12, shown.height - 1);
        const bool hasMark = *std::max_element(left.begin(), left.end()) > 60;
        const bool varies = (shown.parameter->def.flags & PF_ParamFlag_CANNOT_TIME_VARY) == 0 &&
                            shown.parameter->def.param_type != PF_Param_LAYER;
        EXPECT_EQ(hasMark, varies) << shown.parameter->name();
        marked += hasMark ? 1 : 0;
    }
    EXPECT_GT(marked, 0);
}

TEST_F(PanelControls, RowsFollowEachOtherWithoutGaps) {
    int top = layout_.tabHeight + layout_.headerHeight;
    for (const PanelRow& shown : layout_.rows) {
        EXPECT_EQ(shown.top, top) << shown.parameter->name();
        const int drawn = shown.parameter->customUI ? shown.parameter->def.ui_height : 0;
        EXPECT_EQ(shown.height, std::max(26, drawn + 12)) << shown.parameter->name();
        top += shown.height;
    }
    EXPECT_EQ(layout_.height, top + 8);
    EXPECT_EQ(draw().height(), layout_.height);
}

TEST_F(PanelControls, DialsPointWhereTheAngleDoes) {
    const auto coloured = [&](double degrees, int fromX, int fromY) {
        values_->setFixed(parameter("Curve Phase").id(), static_cast<PF_Fixed>(degrees * 65536));
        const PanelRow& shown = row("Curve Phase");
        const int x = layout_.controlLeft + 72 + 12 + fromX;
        const int y = shown.top + (shown.height - 1) / 2 + fromY;
        const std::vector<int> pixel = pixels(draw(), x, y, 1, 1);
        return pixel[2] > pixel[0] + 20;
    };
    const std::vector<std::pair<double, std::pair<int, int>>> tips{
        {0, {0, -4}}, {90, {4, 0}}, {180, {0, 4}}, {270, {-4, 0}}, {-90, {-4, 0}}};
    for (const auto& [degrees, tip] : tips) {
        EXPECT_TRUE(coloured(degrees, tip.first, tip.second)) << degrees;
        EXPECT_FALSE(coloured(degrees, -tip.first, -tip.second)) << degrees;
    }
}

TEST_F(PanelControls, WhatHasNoEffectIsGreyed) {
    constexpr int kDisabledInk = 92;
    const auto channels = [&](int choice) { values_->setPopup(parameter("Channels").id(), choice); };
    channels(1);  // luminosity: there is nothing to split
    EXPECT_EQ(brightest(draw(), "Curve Phase Split (RGB)"), kDisabledInk);
    EXPECT_GT(brightest(draw(), "Curve Phase"), 200);
    channels(2);  // RGB
    EXPECT_GT(brightest(draw(), "Curve Phase Split (RGB)"), 200);
}

}  // namespace
}  // namespace quorvel::cli
