// SPDX-License-Identifier: MIT
// Numbered sequences through the program.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
using test::contents;
using test::expectFailure;
using test::loadPicture;
using test::Outcome;

class Sequences : public test::ProgramTest {
protected:
    std::string drawFrame(const std::string& name, int frame, int width = 48, TypeDesc type = TypeDesc::UINT8) const {
        return draw(name, ImageSpec(width, 36, 3, type), [frame](int x, int y, int channel) {
            return static_cast<float>((x * (3 + channel) + y * 7 + frame * 5 + (x / 7) * (y / 5) * 11) % 64) / 63.0f;
        });
    }
    /// s.0001.png and so on.
    void drawSequence(int count) const {
        for (int frame = 1; frame <= count; ++frame) {
            drawFrame(name(frame), frame);
        }
    }
    static std::string name(int frame, const std::string& stem = "s") {
        return stem + ".000" + std::to_string(frame) + ".png";
    }
    std::string input() const { return path("s.####.png"); }
    std::string output() const { return path("o.####.png"); }
    std::vector<float> pixels(const std::string& file) const { return loadPicture(path(file)).values; }
    nlohmann::json report(const std::string& file) const { return nlohmann::json::parse(contents(path(file))); }
};

TEST_F(Sequences, RenderEachFrameAsAPictureAlone) {
    drawSequence(5);
    for (const std::string jobs : {"1", "3"}) {
        const Outcome outcome = render(input(), path("j" + jobs + ".@.png"),
                                       {"--jobs", jobs, "--mosaic-intensity", "0.4", "--report", path(jobs + ".json")});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    for (int frame = 1; frame <= 5; ++frame) {
        ASSERT_EQ(render(path(name(frame)), path("alone.png"), {"--mosaic-intensity", "0.4"}).status, 0);
        EXPECT_EQ(contents(path("j1." + std::to_string(frame) + ".png")), contents(path("alone.png"))) << frame;
        EXPECT_EQ(contents(path("j3." + std::to_string(frame) + ".png")), contents(path("alone.png"))) << frame;
        const auto index = static_cast<std::size_t>(frame - 1);
        const auto one = report("1.json").at("frames").at(index);
        EXPECT_EQ(one.at("frame"), frame);
        EXPECT_EQ(one.at("digest"), report("3.json").at("frames").at(index).at("digest"));
    }
}

TEST_F(Sequences, TakeTheIntensitySourceFrameByFrame) {
    drawSequence(3);
    for (int frame = 4; frame <= 6; ++frame) {
        drawFrame(name(frame, "g"), 9 * frame);
    }
    ASSERT_EQ(render(input(), output(), {"--intensity-source", path("g.####.png"), "--intensity-start", "4"}).status,
              0);
    for (int frame = 1; frame <= 3; ++frame) {
        ASSERT_EQ(
            render(path(name(frame)), path("alone.png"), {"--intensity-source", path(name(frame + 3, "g"))}).status, 0);
        EXPECT_EQ(pixels(name(frame, "o")), pixels("alone.png")) << frame;
    }
    expectFailure(render(input(), output(), {"--intensity-source", path("g.####.png")}), kExitFailure,
                  "g.0001.png: missing, so frame 1 cannot be rendered");
}

TEST_F(Sequences, KeepWhatIsWholeWhenAFrameFails) {
    drawSequence(4);
    std::ofstream(path(name(2))) << "no picture";
    drawFrame(name(4), 4, 50);
    const std::string unlike =
        "frame 4: " + path(name(4)) + ": is 50 x 36 with 8 bits, unlike frame 1: 48 x 36 with 8 bits";
    const Outcome strict = render(input(), output(), {"--jobs", "1"});
    EXPECT_EQ(strict.status, kExitFailure);
    EXPECT_TRUE(strict.err.starts_with("quorvel: frame 2: " + path(name(2)) + ": ")) << strict.err;
    EXPECT_EQ(std::count(strict.err.begin(), strict.err.end(), '\n'), 1);
    EXPECT_TRUE(fs::exists(path(name(1, "o"))));
    EXPECT_FALSE(fs::exists(path(name(3, "o"))));

    const Outcome lenient =
        render(input(), output(), {"--keep-going", "--report", path("r.json"), "--progress", "lines"});
    EXPECT_EQ(lenient.status, kExitFailure);
    EXPECT_NE(lenient.err.find(unlike + "\n"), std::string::npos) << lenient.err;
    EXPECT_TRUE(lenient.err.ends_with("quorvel: 2 of 4 frames failed: 2, 4\n")) << lenient.err;
    EXPECT_TRUE(lenient.out.ends_with("PROGRESS: 100%\n")) << lenient.out;
    EXPECT_EQ(pixels(name(3, "o")).size(), 48U * 36 * 3);
    EXPECT_FALSE(fs::exists(path(name(2, "o"))) || fs::exists(path(name(4, "o"))));
    const nlohmann::json written = report("r.json");
    std::map<int, std::string> states;
    for (const auto& frame : written.at("frames")) {
        states[frame.at("frame")] = frame.at("state");
    }
    EXPECT_EQ(states, (std::map<int, std::string>{{1, "rendered"}, {2, "failed"}, {3, "rendered"}, {4, "failed"}}));
    EXPECT_EQ(written.at("frames").at(3).at("reason"), unlike);
}

TEST_F(Sequences, FillHolesWithTheFrameBeforeOrBlack) {
    drawSequence(3);
    fs::remove(path(name(2)));
    EXPECT_EQ(render(input(), output(), {"--missing", "hold"}).status, 0);
    EXPECT_EQ(pixels(name(2, "o")), pixels(name(1, "o")));
    EXPECT_EQ(render(input(), output(), {"--missing", "black"}).status, 0);
    EXPECT_EQ(pixels(name(2, "o")), std::vector<float>(48U * 36 * 3, 0.0f));
    EXPECT_NE(pixels(name(3, "o")), pixels(name(2, "o")));
    // One missing frame fails alone where the others go on.
    fs::remove(path(name(2, "o")));
    const Outcome outcome = render(input(), output(), {"--keep-going"});
    EXPECT_EQ(outcome.err, "quorvel: frame 2: " + path(name(2)) + ": missing\nquorvel: 1 of 3 frames failed: 2\n");
    EXPECT_FALSE(fs::exists(path(name(2, "o"))));
}

TEST_F(Sequences, SkipWhatIsThere) {
    drawSequence(3);
    std::ofstream(path(name(2, "o"))) << "precious";
    expectFailure(render(input(), output(), {"--no-clobber"}), kExitFailure, name(2, "o") + ": already exists");
    EXPECT_FALSE(fs::exists(path(name(1, "o")))) << "refused before the first frame";

    const Outcome plan = render(input(), output(), {"--skip-existing", "--dry-run"});
    EXPECT_EQ(plan.out, path(name(1)) + " -> " + path(name(1, "o")) + "\nskip " + path(name(2, "o")) +
                            ": already exists\n" + path(name(3)) + " -> " + path(name(3, "o")) + "\n");
    EXPECT_FALSE(fs::exists(path(name(1, "o"))));
    EXPECT_EQ(render(input(), output(), {"--skip-existing"}).status, 0);
    EXPECT_EQ(contents(path(name(2, "o"))), "precious");
    const std::string third = contents(path(name(3, "o")));
    EXPECT_FALSE(third.empty());
    std::ofstream(path(name(3, "o"))) << "";  // left by a full disk
    EXPECT_EQ(render(input(), output(), {"--skip-existing"}).status, 0);
    EXPECT_EQ(contents(path(name(3, "o"))), third);

    const auto old = fs::last_write_time(path(name(2))) - std::chrono::hours(1);
    fs::last_write_time(path(name(2, "o")), old);
    std::ofstream(path(name(3, "o"))) << "newer";
    EXPECT_EQ(render(input(), output(), {"--update"}).status, 0);
    EXPECT_EQ(contents(path(name(3, "o"))), "newer");
    EXPECT_EQ(pixels(name(2, "o")).size(), 48U * 36 * 3);
}

TEST_F(Sequences, AreNumberedAndPlacedAsAsked) {
    drawSequence(5);
    EXPECT_EQ(render(input(), path("new/deep/x.@.png"), {"--frames", "1-5x2", "--start", "10", "--create-dir"}).status,
              0);
    EXPECT_TRUE(fs::exists(path("new/deep/x.12.png")));
    EXPECT_FALSE(fs::exists(path("new/deep/x.13.png")));
    ASSERT_EQ(render(path(name(5)), path("alone.png")).status, 0);
    EXPECT_EQ(pixels("new/deep/x.12.png"), pixels("alone.png"));
    expectFailure(render(input(), path("missing/x.@.png")), kExitFailure, "no such folder: ");
    EXPECT_EQ(run({"render", input(), "-o", "-", "--frames", "5"}).out, contents(path("alone.png")));
    const std::string tooLong(300, 'a');
    expectFailure(render(tooLong + ".png", output()), kExitFailure, "quorvel: " + tooLong + ".png: ");
    expectFailure(render(input(), path(tooLong + "/o.####.png"), {"--create-dir"}), kExitFailure,
                  "frame 1: " + path(tooLong) + ": File name too long");
}

TEST_F(Sequences, AreVerifiedAgainstAReport) {
    drawSequence(3);
    ASSERT_EQ(render(input(), output(), {"--report", path("r.json")}).status, 0);
    const std::vector<std::string> before = filesLeft();
    EXPECT_EQ(run({"render", input(), "--verify", path("r.json"), "--frames", "2-3"}).status, 0);
    EXPECT_EQ(filesLeft(), before);
    drawFrame(name(2), 77);
    const Outcome changed = run({"render", input(), "--verify", path("r.json"), "--keep-going"});
    EXPECT_EQ(changed.status, kExitFailure);
    EXPECT_TRUE(changed.err.starts_with("quorvel: frame 2: differs from " + path("r.json") + ": digest "))
        << changed.err;
    EXPECT_TRUE(changed.err.ends_with("1 of 3 frames failed: 2\n"));
    drawFrame(name(4), 4);
    expectFailure(run({"render", input(), "--verify", path("r.json"), "--frames", "4"}), kExitFailure,
                  "has no rendered frame of that number");
    fs::remove(path(name(4)));
    fs::remove(path(name(3)));
    drawFrame(name(2), 2);
    expectFailure(run({"render", input(), "--verify", path("r.json")}), kExitFailure,
                  path("r.json") + ": has the frames 3, which were not rendered");
    expectFailure(render(input(), output(), {"--report", path(name(1))}), kExitUsage,
                  "--report " + path(name(1)) + ": is a file that this run reads or writes");
    std::ofstream(path("bad.json")) << "{\"frames\": 3}";
    expectFailure(run({"render", input(), "--verify", path("bad.json")}), kExitFailure, "is no report");
}

TEST_F(Sequences, SayHowFarTheyAre) {
    drawSequence(2);
    const auto said = [&](const std::string& form) {
        return render(input(), output(), {"--jobs", "1", "--progress", form}).out;
    };
    EXPECT_EQ(said("lines"), "FRAME: 1\nPROGRESS: 50%\nFRAME: 2\nPROGRESS: 100%\n");
    EXPECT_EQ(said("openjd"),
              "openjd_status: frame 1, 1 of 2\nopenjd_progress: 50.0\n"
              "openjd_status: frame 2, 2 of 2\nopenjd_progress: 100.0\n");
    EXPECT_EQ(said("json"),
              "{\"frame\":1,\"state\":\"rendered\",\"done\":1,\"of\":2}\n"
              "{\"frame\":2,\"state\":\"rendered\",\"done\":2,\"of\":2}\n");
    EXPECT_EQ(said("auto") + said("none"), "");
    const Outcome bar = render(input(), output(), {"--jobs", "1", "--progress", "bar"});
    EXPECT_EQ(bar.out, "");
    EXPECT_NE(bar.err.find("\r\033[Kframe 2  2 of 2  [########################] 100%"), std::string::npos) << bar.err;
    EXPECT_TRUE(bar.err.ends_with("\r\033[K")) << "the bar is erased";
    expectFailure(run({"render", input(), "-o", "-", "--frames", "1", "--progress", "openjd"}), kExitUsage,
                  "--progress: the standard output is taken by --output -");
}

/// A sequence whose second frame is a pipe: the program waits there until the test goes on.
class PausedSequences : public Sequences {
protected:
    /// Starts the program and returns once it has opened the pipe; `pipe()` is then open for writing.
    void start(std::vector<std::string> more = {}) {
        drawSequence(3);
        frame_ = contents(path(name(2)));
        fs::remove(path(name(2)));
        ASSERT_EQ(mkfifo(path(name(2)).c_str(), 0600), 0);
        more.insert(more.begin(), {program(), "render", input(), "-o", output(), "--jobs", "1"});
        std::vector<char*> arguments;
        for (std::string& argument : more) {
            arguments.push_back(argument.data());
        }
        arguments.push_back(nullptr);
        process_ = fork();
        if (process_ == 0) {
            ::close(STDERR_FILENO);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        pipe_.open(path(name(2)), std::ios::binary);
    }
    int end() {
        pipe_ << frame_;
        pipe_.close();
        int status = 0;
        waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    void replacePipeByPicture() const {
        fs::remove(path(name(2)));
        drawFrame(name(2), 2);
    }
    pid_t process_ = 0;

private:
    std::ofstream pipe_;
    std::string frame_;
};

TEST_F(PausedSequences, FinishTheFrameAtHandWhenInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        start({"--report", path("r.json")});
        kill(process_, signal);
        EXPECT_EQ(end(), 128 + signal);
        EXPECT_EQ(report("r.json").at("frames").size(), 2U);
        for (const int frame : {1, 2}) {
            EXPECT_EQ(pixels(name(frame, "o")).size(), 48U * 36 * 3) << frame;
            fs::remove(path(name(frame, "o")));
        }
        EXPECT_FALSE(fs::exists(path(name(3, "o"))));
        fs::remove(path(name(2)));
    }
}

TEST_F(PausedSequences, GoOnAfterBeingKilled) {
    start();
    kill(process_, SIGKILL);
    EXPECT_EQ(end(), -SIGKILL);
    const std::string first = contents(path(name(1, "o")));
    EXPECT_FALSE(first.empty());
    EXPECT_FALSE(fs::exists(path(name(2, "o"))));
    replacePipeByPicture();
    EXPECT_EQ(render(input(), output(), {"--skip-existing"}).status, 0);
    EXPECT_EQ(contents(path(name(1, "o"))), first);
    for (const int frame : {2, 3}) {
        ASSERT_EQ(render(path(name(frame)), path("alone.png")).status, 0);
        EXPECT_EQ(contents(path(name(frame, "o"))), contents(path("alone.png"))) << frame;
    }
}

}  // namespace
}  // namespace quorvel::cli
