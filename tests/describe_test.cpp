// SPDX-License-Identifier: MIT
// What the commands print of a module and of themselves, compared as a whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "plugins/after_effects/description/pipl.h"
#include "tests/support/module_images.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using test::contents;
using test::Outcome;

class Describe : public test::ProgramTest {};

/// With `from` replaced by `to` everywhere.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// The expected texts lie in tests/expected. After a deliberate change, QUORVEL_UPDATE_EXPECTED=1 rewrites them; read
// the difference before it is committed.
TEST_F(Describe, CommandsPrintWhatIsExpected) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases{
        {"about", {"about"}},
        {"params", {"params"}},
        {"params-premiere-pro", {"params", "--host", "premiere-pro"}},
        {"params-13.8", {"params", "--api-version", "13.8"}},
        {"params-json", {"params", "--json"}},
        {"inspect", {"inspect"}},
        {"help", {"--help"}},
        {"help-render", {"render", "--help"}},
        {"help-panel", {"panel", "--help"}},
        {"help-params", {"params", "--help"}},
        {"help-settings", {"settings", "--help"}},
        {"settings", {"settings"}},
        {"help-inspect", {"inspect", "--help"}},
        {"help-about", {"about", "--help"}},
        {"help-completion", {"completion", "--help"}},
        {"zsh-completion", {"completion", "zsh"}},
        {"manual", {"manual"}},
    };
    for (const auto& [name, arguments] : cases) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0) << name << outcome.err;
        EXPECT_EQ(outcome.err, "") << name;
        std::string printed = replaced(outcome.out, QUORVEL_MODULE, "MODULE");
        printed = replaced(printed, QUORVEL_VERSION, "VERSION");
        if (name == "inspect") {
            // The system's libraries differ between compilers and sanitizers.
            const std::size_t needs = printed.find("needs ");
            printed.erase(needs, printed.find("PiPL ", needs) - needs);
        }
        const fs::path file = fs::path(QUORVEL_EXPECTED) / (name + ".txt");
        if (std::getenv("QUORVEL_UPDATE_EXPECTED") != nullptr) {
            std::ofstream(file, std::ios::binary) << printed;
        }
        EXPECT_EQ(printed, contents(file)) << name;
    }
}

TEST_F(Describe, HelpIsNoWiderThanATerminal) {
    for (const std::string command : {"", "render", "panel", "settings", "params", "inspect", "about", "completion"}) {
        const std::string help =
            run(command.empty() ? std::vector<std::string>{"-h"} : std::vector<std::string>{command, "-h"}).out;
        EXPECT_EQ(help.find("\n\n\n"), std::string::npos) << command;
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}

TEST_F(Describe, TheManualPageHasEveryCommandAndOptionOfTheHelp) {
    const std::string manual = replaced(run({"manual"}).out, "\\-", "-");
    EXPECT_EQ(manual.rfind(".TH QUORVEL 1", 0), 0u);
    for (const std::string command : {"render", "panel", "settings", "params", "inspect", "about", "completion"}) {
        EXPECT_NE(manual.find(".SS quorvel " + command + " "), std::string::npos) << command;
        std::istringstream lines(run({command, "--help"}).out);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("  -", 0) == 0) {
                const std::string names = line.substr(2, line.find(' ', 2) - 2);
                EXPECT_NE(manual.find(".B " + names), std::string::npos) << names;
            }
        }
    }
}

TEST_F(Describe, JsonHoldsWhatTheModuleDeclares) {
    const auto parameters = nlohmann::json::parse(run({"params", "--json"}).out);
    ASSERT_EQ(parameters.size(), 13u);
    const auto& grid = parameters.at(5);
    EXPECT_EQ(grid.at("name"), "Grid Width");
    EXPECT_EQ(grid.at("option"), "--grid-width");
    EXPECT_EQ(grid.at("minimum"), 1);
    EXPECT_EQ(grid.at("maximum"), 32);
    EXPECT_EQ(grid.at("default"), 16);
    EXPECT_EQ(grid.at("id"), 3);
    EXPECT_EQ(parameters.at(2).at("choices").at(5), "Alpha");
    EXPECT_EQ(nlohmann::json::parse(run({"params", "--json", "--api-version", "13.8"}).out).size(), 11u);
    EXPECT_EQ(nlohmann::json::parse(run({"params", "--json", "--host", "premiere-pro"}).out).size(), 12u);

    const auto module = nlohmann::json::parse(run({"inspect", "--json"}).out);
    EXPECT_EQ(module.at("match_name"), "Quorvel");
    EXPECT_EQ(module.at("version").at("minor"), 3);
    EXPECT_EQ(module.at("version").at("stage"), 3);
    EXPECT_EQ(module.at("out_flags").at("word"), 0x06008000);
    EXPECT_EQ(module.at("out_flags2").at("names").size(), 5u);
    EXPECT_TRUE(module.at("entry_points").at("EffectMain").get<bool>());
    EXPECT_EQ(module.at("resource").at("out_flags"), module.at("out_flags"));
    EXPECT_EQ(module.at("agreements").size(), 11u);
    for (const auto& property : module.at("agreements")) {
        EXPECT_TRUE(property.at("agree").get<bool>()) << property;
    }
}

TEST_F(Describe, InspectNamesThePropertyThatContradicts) {
    const fs::path module = path("Quorvel.so");
    fs::copy_file(QUORVEL_MODULE, module);
    EXPECT_NE(run({"inspect", module.string()}).out.find("not checked: no resource description"), std::string::npos);
    std::string resource = contents(fs::path(QUORVEL_MODULE).replace_extension(".rsrc"));
    const std::size_t flags = resource.find("8BIMeGLO");
    ASSERT_NE(flags, std::string::npos);
    const auto inspectWith = [&](const std::string& bytes, std::vector<std::string> more = {}) {
        std::ofstream(path("Quorvel.rsrc"), std::ios::binary) << bytes;
        more.insert(more.begin(), {"inspect", module.string()});
        return run(std::move(more));
    };
    const auto alone = nlohmann::json::parse(run({"inspect", module.string(), "--json"}).out);
    EXPECT_EQ(alone.at("entry_points"), (nlohmann::json{{"EffectMain", true}, {"PluginDataEntryFunction", true}}));
    EXPECT_TRUE(alone.at("resource").is_null());
    const Outcome sound = inspectWith(resource);
    EXPECT_EQ(sound.status, 0) << sound.err;
    EXPECT_NE(sound.out.find("agree in all 11 properties"), std::string::npos) << sound.out;
    std::string misspelt = resource;
    misspelt.replace(misspelt.find("EffectMain"), 10, "EffectMine");
    const Outcome unknown = inspectWith(misspelt);
    EXPECT_EQ(unknown.status, kExitFailure);
    EXPECT_NE(unknown.out.find(" EffectMine (missing)\n"), std::string::npos) << unknown.out;
    std::string highest = resource;
    highest[flags + 16] = static_cast<char>(0x86);
    const Outcome asJson = inspectWith(highest, {"--json"});
    EXPECT_EQ(asJson.status, kExitFailure) << "in either form";
    const auto names = nlohmann::json::parse(asJson.out).at("resource").at("out_flags").at("names");
    EXPECT_EQ(names.back(), "bit 31") << names;
    resource[flags + 19] ^= 1;  // the lowest bit of the word after the signature, key, id and length
    const Outcome wrong = inspectWith(resource);
    EXPECT_EQ(wrong.status, kExitFailure);
    EXPECT_NE(wrong.out.find("out flags: PiPL 0x06008001, module 0x06008000\n"), std::string::npos) << wrong.out;
    EXPECT_NE(wrong.err.find("Quorvel.so: the module contradicts itself\n"), std::string::npos) << wrong.err;
}

TEST_F(Describe, InspectReadsModulesOfAnotherPlatform) {
    test::PeImage image;
    image.exports = {"EffectMain", "PluginDataEntryFunction"};
    image.imports = {"KERNEL32.dll"};
    image.delayedImports = {"late.dll"};
    image.resourceType = "PIPL";
    image.resource = resources::piplResource(std::endian::little);
    image.fileVersion = {1, 2, 3, 40};
    std::ofstream(path("Other.aex"), std::ios::binary) << image.bytes();
    const Outcome text = run({"inspect", path("Other.aex")});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out.rfind("file                " + path("Other.aex") +
                                 "\n"
                                 "format              PE, x86-64\n"
                                 "file version        1.2.3.40\n"
                                 "exports             EffectMain\n"
                                 "                    PluginDataEntryFunction\n"
                                 "needs               KERNEL32.dll\n"
                                 "                    late.dll\n"
                                 "PiPL properties     kind name catg 8664 ",
                             0),
              0u)
        << text.out;
    EXPECT_NE(text.out.find("not checked: the module is for another platform, so it was not run\n"), std::string::npos);
    const auto json = nlohmann::json::parse(run({"inspect", path("Other.aex"), "--json"}).out);
    EXPECT_EQ(json.at("file_version"), "1.2.3.40");
    EXPECT_EQ(json.at("format"), "PE");
    EXPECT_FALSE(json.at("ran").get<bool>());
    EXPECT_EQ(json.at("needs"), (nlohmann::json{"KERNEL32.dll", "late.dll"}));
    EXPECT_EQ(json.at("resource").at("api_version"), (nlohmann::json{{"major", 13}, {"minor", 27}}));
}

TEST_F(Describe, AboutIsTheSameFromTheBannerAndFromTheMenu) {
    const Outcome banner = run({"about"});
    EXPECT_EQ(banner.status, 0) << banner.err;
    EXPECT_EQ(banner.out.rfind("Quorvel, v1.3.0\n", 0), 0u) << banner.out;
    EXPECT_EQ(std::count(banner.out.begin(), banner.out.end(), '\n'), 2);
    EXPECT_EQ(run({"about", "--host", "premiere-pro"}).out, banner.out);
}

TEST_F(Describe, TheInstalledProgramFindsItsParts) {
    const fs::path prefix = folder() / "usr";
    const Outcome installed = runFile(QUORVEL_CMAKE, {"--install", QUORVEL_BUILD, "--prefix", prefix.string()});
    ASSERT_EQ(installed.status, 0) << installed.err;
    for (const std::string file :
         {"bin/quorvel", "lib/quorvel/Quorvel.so", "lib/quorvel/Quorvel.rsrc", "lib/quorvel/quorvel_pictures.so",
          "lib/quorvel/quorvel_video.so", "share/man/man1/quorvel.1", "share/bash-completion/completions/quorvel",
          "share/zsh/vendor-completions/_quorvel", "share/doc/quorvel/copyright"}) {
        EXPECT_GT(contents(prefix / file).size(), 0u) << file;
    }
    const std::string program = (prefix / "bin/quorvel").string();
    const std::string module = (prefix / "lib/quorvel/Quorvel.so").string();
    EXPECT_EQ(runFile(program, {"params"}).out, run({"params"}).out);
    EXPECT_EQ(replaced(runFile(program, {"inspect"}).out, module, QUORVEL_MODULE), run({"inspect"}).out);
    EXPECT_EQ(contents(prefix / "share/bash-completion/completions/quorvel"), run({"completion", "bash"}).out);
    const std::string input = drawUsual("in.png", OIIO::TypeDesc::UINT8);
    EXPECT_EQ(runFile(program, {"render", input, "-o", path("installed.png")}).status, 0);
    EXPECT_EQ(render(input, path("built.png")).status, 0);
    EXPECT_EQ(contents(path("installed.png")), contents(path("built.png")));

    // A module beside the program goes before the installed one.
    fs::copy_file(QUORVEL_MODULE, prefix / "bin/Quorvel.so");
    EXPECT_EQ(runFile(program, {"inspect"}).out.rfind("file                " + (prefix / "bin/Quorvel.so").string(), 0),
              0u);

    // Without the picture libraries everything else still works.
    fs::remove(prefix / "lib/quorvel/quorvel_pictures.so");
    EXPECT_EQ(runFile(program, {"about"}).out, run({"about"}).out);
    EXPECT_EQ(runFile(program, {"render", "--help"}).out, run({"render", "--help"}).out);
    test::expectFailure(runFile(program, {"render", input, "-o", path("none.png")}), kExitFailure,
                        "cannot load the picture libraries: " + (prefix / "bin/quorvel_pictures.so").string() +
                            ": cannot open shared object file");
}

}  // namespace
}  // namespace quorvel::cli
