// SPDX-License-Identifier: MIT
// The command line as users type it: what is refused and in which words, spellings, hints, messages.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "cli/module_version.h"
#include "cli/parameter_text.h"
#include "cli/text.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;
using test::contents;
using test::expectFailure;
using test::Outcome;

class CommandLine : public test::ProgramTest {
protected:
    /// The whole error output of a command line that is refused.
    void expectRefused(std::vector<std::string> arguments, const std::string& message) const {
        const Outcome outcome = run(std::move(arguments));
        EXPECT_EQ(outcome.status, kExitUsage);
        EXPECT_EQ(outcome.err, "quorvel: " + message + "\n");
        EXPECT_EQ(outcome.out, "");
    }
};

TEST_F(CommandLine, ValuesOutOfRangeAreRefusedWithWhatWasExpected) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto refused = [&](std::vector<std::string> more, const std::string& message) {
        more.insert(more.begin(), {"render", input, "-o", path("out.png")});
        expectRefused(std::move(more), message);
    };
    refused({"--grid-width", "40"}, "--grid-width 40: expected 1 to 32");
    refused({"--max-iterations", "0"}, "--max-iterations 0: expected 1 to 32");
    refused({"--mosaic-intensity", "1.5"}, "--mosaic-intensity 1.5: expected 0 to 1");
    refused({"--grid-height", "nan"}, "--grid-height nan: expected 1 to 32");
    refused({"--grid-width", "31.99"}, "--grid-width 31.99: expected a whole number, 1 to 32");
    refused({"--curve", "zigzag"},
            "--curve zigzag: expected linear-ramp-up, linear-ramp-down, triangle-wave, sine-wave, exp-up or exp-down");
    refused({"--curve-phase", "1e9"}, "--curve-phase 1e9: expected degrees, -32768 to 32767");
    refused({"--depth", "10"}, "--depth 10: expected 8, 16 or 32");
    refused({"--depth", "2"}, "--depth 2: expected 8, 16 or 32");
    refused({"--host", "cinema"}, "--host cinema: expected after-effects or premiere-pro");
    refused({"--host", "1"}, "--host 1: expected after-effects or premiere-pro");
    for (const std::string version : {"13", "13.", "13.27x", "13.-1", "32768.0"}) {
        refused({"--api-version", version},
                "--api-version " + version + ": expected MAJOR.MINOR, each 0 to 32767, such as 13.27");
    }
    refused({"--curve-phase", "32768"}, "--curve-phase 32768: expected degrees, -32768 to 32767");
    refused({"--downsample", "0"}, "--downsample 0: expected a whole number, 1 to 99");
    refused({"--downsample", "2.5"}, "--downsample 2.5: expected a whole number, 1 to 99");
    for (const std::string offset : {"4", "4,", "30001,0", "-30001,0", "0,30001", "0,-30001"}) {
        refused({"--intensity-offset", offset},
                "--intensity-offset " + offset + ": expected X,Y in pixels, each -30000 to 30000");
    }
    expectFailure(render(input, path("out.xyz")), kExitUsage,
                  "--output " + path("out.xyz") + ": expected a name ending");
    refused({"--intensity-offset", "4,2"}, "--intensity-offset requires --intensity-source");
    expectRefused({"panel", "-o", path("out.png"), "--scale", "3"}, "--scale 3: expected 1 or 2");
    expectRefused({"panel", "-o", path("out.png"), "--on-panel"}, "--on-panel requires --graph-only or --banner-only");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"in.png"});
}

TEST_F(CommandLine, EmptyValuesAreRefusedAndMissingOnesBlamedOnTheirOption) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto refused = [&](std::vector<std::string> more, const std::string& message) {
        more.insert(more.begin(), {"render", input, "-o", path("out.png")});
        expectRefused(std::move(more), message);
    };
    refused({"--depth", ""}, "--depth '': expected 8, 16 or 32");
    refused({"--depth=", "--no-clobber"}, "--depth '': expected 8, 16 or 32");
    refused({"--grid-width="}, "--grid-width '': expected 1 to 32");
    refused({"--api-version", ""}, "--api-version '': expected MAJOR.MINOR, each 0 to 32767, such as 13.27");
    refused({"--intensity-offset", ""}, "--intensity-offset '': expected X,Y in pixels, each -30000 to 30000");
    refused({"--module", ""}, "--module '': expected a file name");
    refused({"--intensity-source", ""}, "--intensity-source '': expected a file name");
    expectRefused({"render", "", "-o", path("out.png")}, "INPUT '': expected a file name");
    expectRefused({"render", input, "-o", ""}, "--output '': expected a file name");
    refused({"--grid-width", "--grid-height", "4"}, "--grid-width: needs a value");
    refused({"--intensity-source", "--curve", "sine-wave"}, "--intensity-source: needs a value");
    refused({"--curve"}, "--curve: needs a value");
    expectRefused({"render", input, "-o", "--no-clobber"}, "--output: needs a value");
    expectRefused({"render", input, "-o", "-q"}, "--output: needs a value");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"in.png"});
}

TEST_F(CommandLine, SlipsGetTheNearestNameAndTheRestTheHelp) {
    expectRefused({}, "no command given; see quorvel --help");
    expectRefused({"paint"}, "paint: unknown command; see quorvel --help");
    expectRefused({"help", "params"}, "help: unknown command; see quorvel --help");
    expectRefused({"help", "render"}, "help: unknown command; see quorvel --help");
    expectRefused({"rendr", "s.png", "-o", "o.png"}, "rendr: unknown command; did you mean render?");
    expectRefused({"manul"}, "manul: unknown command; see quorvel --help");  // for the build alone
    expectRefused({"-"}, "-: unknown command; see quorvel --help");
    expectRefused({"apnel"}, "apnel: unknown command; did you mean panel?");
    expectRefused({"--versoin"}, "--versoin: unknown option; did you mean --version?");
    expectRefused({"render", "a.png", "-o", "b.png", "--grid-with", "4"},
                  "--grid-with: unknown option; did you mean --grid-width?");
    expectRefused({"render", "a.png", "-o", "b.png", "--colour=red"},
                  "--colour: unknown option; see quorvel render --help");
    expectRefused({"render", "a.png", "second.png", "-o", "b.png"},
                  "second.png: unexpected argument; see quorvel render --help");
    expectRefused({"render", "a.png"}, "--output is required; see quorvel render --help");
    expectRefused({"render", "-o", "b.png"}, "INPUT is required; see quorvel render --help");
    expectRefused({"completion"}, "SHELL is required; see quorvel completion --help");
    expectRefused({"--"}, "no command given; see quorvel --help");
    expectRefused({"--build-info", "x"}, "x: unexpected argument; see quorvel --help");
    expectRefused({"--build-info", "params"}, "params: unexpected argument; see quorvel --help");
    expectRefused({"--build-info", "--versoin"}, "--versoin: unknown option; did you mean --version?");
}

TEST_F(CommandLine, OptionsAreTakenInEverySpellingThatIsDocumented) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto rendered = [&](std::vector<std::string> more) {
        const Outcome outcome = render(input, path("out.png"), std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return contents(path("out.png"));
    };
    const std::string plain = rendered({});
    EXPECT_EQ(rendered({"--channels", "luminosity", "--mosaic-intensity=0.25", "--grid-width", "16", "--grid-height",
                        "+9", "--max-iterations", "32", "--curve-phase", "0", "--curve-smoothness", "0"}),
              plain);
    const std::string curved = rendered({"--curve", "exp-down", "--curve-phase", "-.5", "--max-iterations", "2"});
    EXPECT_NE(curved, plain);
    EXPECT_EQ(rendered({"--curve", "Exp Down", "--curve-phase", "-0.5", "--maximum-iterations", "2"}), curved);
    EXPECT_EQ(rendered({"--curve", "sine-wave", "--curve", "EXP-DOWN", "--curve-phase=-0.5", "--max-iterations", "2"}),
              curved)
        << "the last of two counts";
    EXPECT_EQ(rendered({"--host", "premiere-pro", "--host", "after-effects", "--api-version", "13.8", "--api-version",
                        "13.27"}),
              plain);
    EXPECT_EQ(rendered({"--downsample", "010"}), rendered({"--downsample", "10"})) << "no octal number";
    EXPECT_NE(rendered({"--downsample", "8"}), rendered({"--downsample", "10"}));
}

TEST_F(CommandLine, TwoHyphensEndTheOptions) {
    drawUsual("-in.png", TypeDesc::UINT8);
    const auto inFolder = [this] { ASSERT_EQ(chdir(folder().c_str()), 0); };
    const Outcome outcome = run({"render", "-o", "out.png", "--grid-width", "3", "--", "-in.png"}, inFolder);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"-in.png", "out.png"}));
    expectRefused({"about", "--", "more"}, "more: unexpected argument; see quorvel about --help");
}

TEST_F(CommandLine, QuietLeavesOutNotesButNotErrors) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const Outcome talkative = render(input, path("out.jpg"));
    EXPECT_EQ(talkative.status, 0);
    EXPECT_EQ(talkative.err, "quorvel: note: " + path("out.jpg") + ": the format holds no alpha; written without it\n");
    const std::string picture = contents(path("out.jpg"));
    const Outcome quiet = render(input, path("out.jpg"), {"--quiet"});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(contents(path("out.jpg")), picture);
    expectFailure(render(path("none.png"), path("out.jpg"), {"-q"}), kExitFailure, "none.png: no such file");
}

TEST_F(CommandLine, NothingInMessagesSteersTheTerminal) {
    const std::string odd = path("a\033[2J\nb\x9f\xC2\x9B\u202Ec.png");
    const Outcome outcome = render(odd, path("out.png"));
    EXPECT_EQ(outcome.status, kExitFailure);
    EXPECT_EQ(outcome.err, "quorvel: " + path("a\\x1B[2J\\x0Ab\\x9F\\u009B\\u202Ec.png") + ": no such file\n");
    expectRefused({"render", "a.png", "-o", "b.png", "--depth", "8\r\a"}, "--depth 8\\x0D\\x07: expected 8, 16 or 32");
    expectRefused({"\033c"}, "\\x1Bc: unknown command; see quorvel --help");
}

TEST_F(CommandLine, ModulesThatFailAreNamed) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto refused = [&](const std::string& module, const std::string& words) {
        expectFailure(render(input, path("out.png"), {"--module", module}), kExitFailure, words);
        EXPECT_FALSE(fs::exists(path("out.png")));
    };
    refused(path("none.so"), "none.so: no such module");
    refused(input, "in.png: not a loadable module");
    refused(QUORVEL_ENTRYLESS_MODULE, "no entry point \"EffectMain\"");
    refused(QUORVEL_REFUSING_MODULE, "error 512: No wish to");
    expectFailure(run({"inspect", path("none.so")}), kExitFailure, "none.so: no such module");
    expectFailure(run({"inspect", input}), kExitFailure, "in.png: not a module: neither ELF nor PE");
    expectFailure(render(input, path("out.png"), {"--module", QUORVEL_REFUSING_MODULE, "--tile-count", "8"}),
                  kExitUsage, "--tile-count 8: expected 3 to 7");
    expectFailure(render(input, path("out.png"), {"--module", QUORVEL_REFUSING_MODULE, "--grid-width", "8"}),
                  kExitUsage, "--grid-width: unknown option");
    Outcome help = run({"render", "--help", "--module", path("none.so")});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--no-clobber"), std::string::npos);
    // Where the lines end depends on the folder's name.
    std::replace(help.out.begin(), help.out.end(), '\n', ' ');
    EXPECT_NE(help.out.find("none.so: no such module"), std::string::npos);
    EXPECT_NE(run({"render", "--help"}).out.find("--curve-phase-split"), std::string::npos);
}

TEST_F(CommandLine, CommandsThatTheModuleRefusesAreNamed) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto refusing = [](int command) {
        return [command] { setenv("QUORVEL_REFUSED_COMMAND", std::to_string(command).c_str(), 1); };
    };
    constexpr int kGlobalSetup = 1, kGlobalSetdown = 3, kSequenceSetup = 5, kSequenceSetdown = 8, kNone = 99;
    const std::string module = QUORVEL_REFUSING_MODULE;
    const std::vector<std::string> rendering{"render", input, "-o", path("out.png"), "--module", module};
    const std::vector<std::string> panel{"panel", "-o", path("out.png"), "--module", module};
    const auto refused = [&](const std::vector<std::string>& arguments, int command, const std::string& name) {
        expectFailure(run(arguments, refusing(command)), kExitFailure,
                      module + ": " + name + ": error 512: No wish to");
        EXPECT_FALSE(fs::exists(path("out.png"))) << name;
    };
    refused({"inspect", module}, kGlobalSetup, "global set-up");
    refused({"inspect", module}, kGlobalSetdown, "global set-down");
    refused(rendering, kSequenceSetup, "sequence set-up");
    refused(rendering, kSequenceSetdown, "sequence set-down");
    refused(panel, kSequenceSetdown, "sequence set-down");
    EXPECT_EQ(run(rendering, refusing(kNone)).status, 0);
}

TEST(Texts, AreShownAsTheyAreMeant) {
    EXPECT_EQ(numberText(-0.000001), "0");
    EXPECT_EQ(numberText(-0.5), "-0.5");
    EXPECT_EQ(numberText(30), "30");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "half of a pair is no UTF-8";
    EXPECT_EQ(printable("\xED\x9F\xBF"), "\xED\x9F\xBF");
    EXPECT_EQ(toFixed(-3.8), -249037) << "-249036.8, rounded";
    EXPECT_EQ(versionText(PF_VERSION(1, 2, 3, PF_Stage_ALPHA, 4)), "1.2.3 alpha, build 4");
    EXPECT_EQ(versionText(PF_VERSION(1, 2, 3, PF_Stage_BETA, 4)), "1.2.3 beta, build 4");
    EXPECT_EQ(versionText(PF_VERSION(1, 2, 3, PF_Stage_DEVELOP, 4)), "1.2.3 develop, build 4");
}

TEST_F(CommandLine, VersionAndBuildFactsArePrinted) {
    for (const std::string flag : {"-V", "--version"}) {
        EXPECT_EQ(run({flag}).out, "quorvel " QUORVEL_VERSION "\n");
    }
    const Outcome info = run({"--build-info"});
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_EQ(info.out.rfind("quorvel " QUORVEL_VERSION "\ncompiler           ", 0), 0u) << info.out;
    for (const std::string fact : {"\ninstruction sets   baseline, avx2, avx512; chosen: ",
                                   "\nmodule             Quorvel " QUORVEL_VERSION " release, build ",
                                   "\nmodule file        " QUORVEL_MODULE "\n", "\nlibraries          CLI11 2.",
                                   "\npicture libraries  OpenImageIO 2."}) {
        EXPECT_NE(info.out.find(fact), std::string::npos) << fact << info.out;
    }
    int major = 0, minor = 0, patch = 0;
    const std::size_t fmtVersion = info.out.find(", fmt ");
    ASSERT_NE(fmtVersion, std::string::npos);
    ASSERT_EQ(std::sscanf(info.out.c_str() + fmtVersion, ", fmt %d.%d.%d", &major, &minor, &patch), 3);
    EXPECT_EQ(10000 * major + 100 * minor + patch, FMT_VERSION) << info.out;
}

// In a mount namespace of its own, where an empty file system hides /proc.
TEST_F(CommandLine, ThePartsAreFoundWithoutProc) {
    constexpr int kNotPermitted = 77;
    const Outcome outcome = run({"about"}, [] {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || mount("none", "/proc", "tmpfs", 0, nullptr) != 0) {
            _exit(kNotPermitted);
        }
        ASSERT_EQ(chdir("/"), 0);
    });
    if (outcome.status == kNotPermitted) {
        GTEST_SKIP() << "this system allows no mount namespaces";
    }
    EXPECT_EQ(outcome.out, run({"about"}).out) << outcome.err;
}

TEST_F(CommandLine, BashCompletesCommandsOptionsValuesAndFiles) {
    std::ofstream(path("script")) << run({"completion", "bash"}).out;
    std::ofstream(path("shot.exr"));
    const auto completed = [this](const std::string& line) {
        const std::string script = "cd " + folder().string() + "; source ./script; COMP_WORDS=(" + line +
                                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quorvel; echo ${COMPREPLY[@]}";
        return runFile("/bin/bash", {"-c", script}).out;
    };
    EXPECT_EQ(completed("quorvel p"), "panel params\n");
    EXPECT_EQ(completed("quorvel render --grid-"), "--grid-width --grid-height\n");
    EXPECT_EQ(completed("quorvel render --depth ''"), "8 16 32\n");
    EXPECT_EQ(completed("quorvel render in.png --curve exp"), "exp-up exp-down\n");
    EXPECT_EQ(completed("quorvel panel --host pre"), "premiere-pro\n");
    EXPECT_EQ(completed("quorvel render sh"), "shot.exr\n");
    EXPECT_EQ(completed("quorvel render --module sc"), "script\n");
    EXPECT_EQ(completed("quorvel render --grid-width ''"), "\n");
    EXPECT_EQ(completed("quorvel completion z"), "zsh\n");
}

}  // namespace
}  // namespace quorvel::cli
