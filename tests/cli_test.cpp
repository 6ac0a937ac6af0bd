// SPDX-License-Identifier: MIT
// The program as a user meets it: run as a process, judged by its exit status, its output and the files it leaves.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
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
using test::PictureData;

class Cli : public test::ProgramTest {};

TEST_F(Cli, NothingIsLeftOfAnOutputThatCannotBeWritten) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    expectFailure(render(input, path("nowhere/out.png")), kExitFailure, "no such folder: ");
    const std::vector<std::string> before = filesLeft();
    const auto smallDisk = [] {
        const rlimit limit{256, 256};
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    for (const std::string ending : {".png", ".jpg", ".tif", ".exr"}) {
        // The messages do not fit either; the status and the folder tell.
        EXPECT_EQ(run({"render", input, "-o", path("out" + ending)}, smallDisk).status, kExitFailure) << ending;
        EXPECT_EQ(filesLeft(), before) << ending;
    }
}

TEST_F(Cli, ShortMemoryEndsInOneLineOrAWholePicture) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer takes more addresses than any limit";
#endif
    const std::string input = draw("in.png", ImageSpec(1600, 1200, 4, TypeDesc::UINT8), [](int x, int y, int channel) {
        return static_cast<float>((x * (3 + channel) + y * 7) % 64) / 63.0f;
    });
    for (const std::string ending : {".jp2", ".gif", ".png"}) {
        const std::string output = path("out" + ending);
        ASSERT_EQ(render(input, output, {"--quiet"}).status, 0);
        const std::string whole = contents(output);
        for (rlim_t megabytes = 340; megabytes <= 740; megabytes += 80) {
            fs::remove(output);
            const Outcome outcome = run({"render", input, "-o", output, "--quiet"}, [megabytes] {
                const rlimit limit{megabytes << 20U, megabytes << 20U};
                setrlimit(RLIMIT_AS, &limit);
            });
            if (outcome.status != 0) {
                expectFailure(outcome, kExitFailure, "");
            }
            EXPECT_EQ(contents(output), outcome.status == 0 ? whole : "") << ending << ", " << megabytes << " MB";
        }
        fs::remove(output);
        EXPECT_EQ(filesLeft(), std::vector<std::string>{"in.png"}) << ending;
    }
}

TEST_F(Cli, NoClobberKeepsWhatIsThere) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    std::ofstream(path("out.png")) << "precious";
    expectFailure(render(input, path("out.png"), {"--no-clobber"}), kExitFailure, "already exists");
    expectFailure(render(path("none.png"), path("out.png"), {"--no-clobber"}), kExitFailure,
                  "out.png: already exists, and --no-clobber was given");
    EXPECT_EQ(contents(path("out.png")), "precious");
    EXPECT_EQ(render(input, path("out.png")).status, 0);
    EXPECT_EQ(render(input, path("new.png"), {"--no-clobber"}).status, 0);
    const std::string mosaic = contents(path("new.png"));
    EXPECT_EQ(contents(path("out.png")), mosaic);
    fs::create_symlink("in.png", path("link.png"));
    EXPECT_EQ(render(path("link.png"), path("link.png")).status, 0) << "onto itself";
    EXPECT_TRUE(fs::is_symlink(path("link.png")));
    EXPECT_EQ(contents(input), mosaic);
}

TEST_F(Cli, BothHostsGiveTheSamePicture) {
    const std::string guide = drawUsual("guide.tif", TypeDesc::UINT16, 3);
    for (const std::string depth : {"8", "16", "32"}) {
        const std::vector<std::string> settings{
            "--depth",       depth, "--channels",         "rgb", "--curve-phase-split", "70", "--grid-width", "3",
            "--grid-height", "2",   "--intensity-source", guide, "--intensity-offset",  "4,2"};
        const std::string input = draw("in.tif", ImageSpec(25, 20, 4, TypeDesc::UINT8), [](int x, int y, int channel) {
            return static_cast<float>((x * x + y * channel * 5) % 64) / 63.0f;
        });
        std::vector<std::string> premiere = settings;
        premiere.insert(premiere.end(), {"--host", "premiere-pro"});
        ASSERT_EQ(render(input, path("ae.tif"), settings).status, 0);
        ASSERT_EQ(render(input, path("pr.tif"), premiere).status, 0);
        EXPECT_EQ(loadPicture(path("ae.tif")).values, loadPicture(path("pr.tif")).values) << depth;
        ASSERT_EQ(render(input, path("plain.tif"), {"--depth", depth}).status, 0);
        EXPECT_NE(loadPicture(path("ae.tif")).values, loadPicture(path("plain.tif")).values) << depth;
    }
}

TEST_F(Cli, TheModuleIsToldWhereAndAtWhichScaleItRenders) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    for (const std::string host : {"after-effects", "premiere-pro"}) {
        expectFailure(render(input, path("out.png"),
                             {"--module", QUORVEL_REFUSING_MODULE, "--host", host, "--downsample", "3", "--guide",
                              input, "--intensity-offset", "12,-6"}),
                      kExitFailure, "render: error 512: No wish to draw 4,-2 to 18,8 of 4,-2 to 18,8 at 1/3 by 1/3");
    }
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"in.png"});
}

}  // namespace
}  // namespace quorvel::cli
