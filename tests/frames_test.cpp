// SPDX-License-Identifier: MIT
// Frame numbers, the names of sequences, the plan of a run, and the digest of a frame.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "cli/frames/file_pattern.h"
#include "cli/frames/frame_digest.h"
#include "cli/frames/frame_numbers.h"
#include "cli/frames/frame_plan.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using Numbers = std::vector<int>;

FrameNumbers parsed(const std::string& text) {
    return FrameNumbers::parse("--frames", text);
}

/// The words of what the work throws; empty when it throws nothing.
template <typename Work>
std::string refusal(const Work& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(FrameNumbers, ReadEveryFormAndCutOffWhatIsOutside) {
    const auto within = [](const std::string& text, int first, int last) {
        return parsed(text).within(first, last, 1000);
    };
    EXPECT_EQ(within("7", 1, 10), (Numbers{7}));
    EXPECT_EQ(within("1-4", 0, 10), (Numbers{1, 2, 3, 4}));
    EXPECT_EQ(within("1-10x3", 0, 100), (Numbers{1, 4, 7, 10}));
    EXPECT_EQ(within("1-12:3", 0, 100), (Numbers{1, 4, 7, 10}));
    EXPECT_EQ(within("1-1000000x3", 5, 12), (Numbers{7, 10}));
    EXPECT_EQ(within("-5--3,-1", -10, 10), (Numbers{-5, -4, -3, -1}));
    EXPECT_EQ(within("-2-1", -10, 10), (Numbers{-2, -1, 0, 1}));
    EXPECT_EQ(within("8,1-3,2-4", 1, 10), (Numbers{1, 2, 3, 4, 8}));
    EXPECT_EQ(within("20-30", 1, 10), Numbers());
    EXPECT_EQ(FrameNumbers::all().within(3, 5, 1000), (Numbers{3, 4, 5}));
    EXPECT_EQ(refusal([&] { (void)within("1-1001", 0, 5000); }), "--frames 1-1001: expected at most 1000 frames");
}

TEST(FrameNumbers, RefuseWhatIsNoList) {
    for (const std::string text : {"", "a", "1-", "-", "1,", ",1", "1--", "3-1", "1-5x0", "1-5x", "1-5x-1", "1x2",
                                   "1 - 5", "1.5", "100000000", "1-999999999999", "+-3", "1-5x2x2"}) {
        EXPECT_EQ(
            refusal([&] { (void)parsed(text); }),
            fmt::format("--frames {}: expected frames such as 7, 1-10, 1-10x3 or 1-5,8", text.empty() ? "''" : text));
    }
}

TEST(FrameNumbers, ArePrintedTheShortWay) {
    EXPECT_EQ(framesText({1, 2, 3, 7, 9, 10}), "1-3, 7, 9-10");
    EXPECT_EQ(framesText({-2, -1, 5}), "-2--1, 5");
    EXPECT_EQ(framesText({}), "");
}

TEST(FilePattern, PutsTheNumberWhereTheLastPlaceIs) {
    const auto named = [](const std::string& pattern, int frame) {
        const auto parsedPattern = FilePattern::parse(pattern);
        return parsedPattern ? parsedPattern->file(frame).string() : "(none)";
    };
    EXPECT_EQ(named("shot.####.exr", 7), "shot.0007.exr");
    EXPECT_EQ(named("shot.####.exr", 12345), "shot.12345.exr");
    EXPECT_EQ(named("shot.####.exr", -7), "shot.-0007.exr");
    EXPECT_EQ(named("a/sh#t/x.%03d.png", 7), "a/sh#t/x.007.png");
    EXPECT_EQ(named("x%d.png", 7), "x7.png");
    EXPECT_EQ(named("x.@.png", 7), "x.7.png");
    EXPECT_EQ(named("v#2.##.png", 7), "v#2.07.png");
    EXPECT_EQ(named("100%.@@@.png", 7), "100%.007.png");
    EXPECT_EQ(named("a@b/x.png", 7), "(none)");
    EXPECT_EQ(named("x.%s.png", 7), "(none)");
    EXPECT_EQ(named("x.%0d.png", 7), "x.7.png");
    EXPECT_EQ(named("x.%99d.png", 7), "(none)");
}

class Frames : public test::ProgramTest {
protected:
    void touch(const std::string& name) const { std::ofstream(path(name)) << "x"; }
    Numbers existing(const std::string& pattern) const { return FilePattern::parse(path(pattern))->existing(); }
};

TEST_F(Frames, AreThoseSpelledAsThePatternSpellsThem) {
    for (const std::string name :
         {"a.0001.png", "a.0010.png", "a.10000.png", "a.00011.png", "a.12.png", "a.-0003.png", "a.0007.exr",
          "a.0008.png.tmp", "b.0009.png", "a.00x1.png", "a..png", "a.+004.png"}) {
        touch(name);
    }
    EXPECT_EQ(existing("a.####.png"), (Numbers{-3, 1, 10, 10000}));
    EXPECT_EQ(existing("a.@.png"), (Numbers{12, 10000}));
    EXPECT_EQ(existing("a.#####.png"), (Numbers{11, 10000}));
    EXPECT_EQ(existing("c.#.png"), Numbers());
}

class Plans : public Frames {
protected:
    Plans() { request_.output = "o.##.png"; }
    void SetUp() override {
        Frames::SetUp();
        for (const std::string name : {"s.1.png", "s.2.png", "s.5.png", "g.11.png", "g.12.png", "g.13.png"}) {
            touch(name);
        }
        request_.input = path("s.#.png");
    }
    /// "INPUT[+LAYER]>OUTPUT", the numbers of each frame; black ones in brackets.
    std::string planned() const {
        const FramePlan plan(request_);
        std::string text;
        const auto source = [](const PlannedSource& from) {
            return from.black ? fmt::format("({})", from.number) : fmt::format("{}", from.number);
        };
        for (const PlannedFrame& frame : plan.frames()) {
            text += fmt::format("{}{}", text.empty() ? "" : " ", source(frame.input));
            for (const PlannedSource& layer : frame.layers) {
                text += fmt::format("+{}", source(layer));
            }
            text += fmt::format(">{}", frame.outputNumber);
        }
        return text;
    }
    PlanRequest request_;
};

TEST_F(Plans, FillHolesAsAsked) {
    EXPECT_EQ(
        refusal([&] { (void)planned(); }),
        path("s.3.png") + ": missing, so frame 3 cannot be rendered (missing for: 3-4); --missing skip, hold or black");
    request_.missing = Missing::Skip;
    EXPECT_EQ(planned(), "1>1 2>2 5>5");
    request_.missing = Missing::Hold;
    EXPECT_EQ(planned(), "1>1 2>2 2>3 2>4 5>5");
    request_.missing = Missing::Black;
    EXPECT_EQ(planned(), "1>1 2>2 (2)>3 (2)>4 5>5");
    request_.start = 101;
    request_.frames = parsed("2-900x2");
    EXPECT_EQ(planned(), "2>101 (2)>102");
    request_.frames = parsed("6-9");
    EXPECT_EQ(refusal([&] { (void)planned(); }), "--frames 6-9: " + path("s.#.png") + " has the frames 1-2, 5");
}

TEST_F(Plans, TakeTheLayersFrameByFrame) {
    request_.layers = {path("g.##.png"), path("s.2.png")};
    request_.frames = parsed("1-2,5");
    request_.layerStart = 12;
    request_.missing = Missing::Hold;
    EXPECT_EQ(planned(), "1+12+12>1 2+13+13>2 5+13+16>5");
    const FramePlan plan(request_);
    EXPECT_EQ(plan.layerFile(plan.frame(1), 0), path("g.13.png"));
    EXPECT_EQ(plan.layerFile(plan.frame(2), 1), path("s.2.png"));
    // The same frame gets the same layer whichever others are asked for.
    request_.frames = parsed("2");
    EXPECT_EQ(planned(), "2+13+13>2");
    request_.missing = Missing::Skip;
    request_.frames = parsed("1-2,5");
    EXPECT_EQ(planned(), "1+12+12>1 2+13+13>2");
}

TEST_F(Plans, RepeatAPictureOnlyWhenToldTo) {
    request_.input = path("s.1.png");
    EXPECT_FALSE(FramePlan(request_).isNumbered());
    request_.frames = parsed("3-5");
    const FramePlan plan(request_);
    ASSERT_EQ(plan.count(), 3U);
    EXPECT_EQ(plan.inputFile(plan.frame(2)), path("s.1.png"));
    EXPECT_EQ(plan.outputFile(plan.frame(2)), "o.05.png");
    request_.frames = parsed("1-1000001");
    EXPECT_EQ(refusal([&] { (void)planned(); }), "--frames 1-1000001: expected at most 1000000 frames");
}

TEST_F(Plans, RefuseOutputsThatWouldDestroyInputs) {
    request_.missing = Missing::Skip;
    request_.output = path("s.#.png");
    EXPECT_EQ(planned(), "1>1 2>2 5>5");
    // However the same files are spelled.
    const auto destroys = [&](const fs::path& output) {
        request_.output = output;
        const std::string why = refusal([&] { (void)planned(); });
        return why.starts_with(output.string() + ": would replace files that are read for other frames: ") ? "" : why;
    };
    const fs::path relative = fs::relative(path("s.#.png"));
    fs::create_directory_symlink(fs::path(path("s.#.png")).parent_path(), path("link"));
    for (const fs::path& spelling : {fs::path(path("s.#.png")), relative, fs::path(path("s.@.png")),
                                     fs::path(path("link/s.%d.png")), fs::path(path("link/../s.#.png"))}) {
        request_.start = 2;
        request_.missing = Missing::Skip;
        EXPECT_EQ(destroys(spelling), "");
        request_.start.reset();
        request_.missing = Missing::Hold;
        EXPECT_EQ(destroys(spelling), "");
    }
    request_.input = path("g.##.png");
    request_.layers = {path("s.#.png")};
    EXPECT_EQ(destroys(relative), "");
    request_.layers = {path("s.2.png")};
    EXPECT_EQ(destroys(relative), "") << "each frame reads it";
    request_.layers.clear();
    request_.output = "one.png";
    EXPECT_EQ(
        refusal([&] { (void)planned(); }),
        "--output one.png: expected a place for the frame's number, such as one.####.png, since there are 3 frames");
}

TEST(FrameDigest, CoversSizeDepthAndPixelsButNotTheirLayout) {
    const auto painted = [](host::Depth depth, int width, int height, host::RowLayout layout = {}) {
        host::World world(depth, width, height, layout);
        for (int y = 0; y < height; ++y) {
            for (int i = 0; i < width * host::pixelBytes(depth); ++i) {
                world.row(y)[i] = static_cast<std::byte>(7 * i + 31 * y);
            }
        }
        return world;
    };
    // Reports are compared across versions, so this value never changes. It is what xxhsum -H2 prints for the bytes
    // 03000000 02000000 08000000 and 0, 7, 14, ... 77, 31, 38, ... 108.
    const std::string digest = "7ce0b8a7688ef8dbbadcd555acaf88a0";
    EXPECT_EQ(frameDigest(painted(host::Depth::Bits8, 3, 2)), digest);
    EXPECT_EQ(frameDigest(painted(host::Depth::Bits8, 3, 2, {20, true})), digest);
    EXPECT_NE(frameDigest(painted(host::Depth::Bits8, 2, 3)), digest);
    host::World other = painted(host::Depth::Bits8, 3, 2);
    other.row(1)[11] ^= std::byte{1};
    EXPECT_NE(frameDigest(other), digest);
    // The same bytes as pixels of another depth.
    host::World deep(host::Depth::Bits16, 1, 1);
    host::World shallow(host::Depth::Bits8, 2, 1);
    EXPECT_NE(frameDigest(deep), frameDigest(shallow));
}

}  // namespace
}  // namespace quorvel::cli
