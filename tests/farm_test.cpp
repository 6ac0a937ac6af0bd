// SPDX-License-Identifier: MIT
// The job scripts and templates in farm/, without a render manager, and the command lines of docs/farms.md.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "effect/parameters.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::contents;
using test::Outcome;
using Values = std::map<std::string, std::string>;

const fs::path kRoot = QUORVEL_SOURCE_FOLDER;

class Farms : public test::ProgramTest {
protected:
    /// shot.0001.png and so on.
    void drawShot(int count) const {
        for (int frame = 1; frame <= count; ++frame) {
            draw("shot." + number(frame) + ".png", OIIO::ImageSpec(40, 30, 3, OIIO::TypeDesc::UINT8),
                 [frame](int x, int y, int channel) {
                     return static_cast<float>((x * (3 + channel) + y * 7 + frame * 9) % 50) / 49.0f;
                 });
        }
    }
    static std::string number(int frame) { return "000" + std::to_string(frame); }

    /// Runs bash in the test's folder, with the program in its PATH and these further variables.
    Outcome bash(std::vector<std::string> arguments, const Values& variables = {}) const {
        return runFile("/bin/bash", std::move(arguments), [&] {
            ::setenv("PATH", (fs::path(program()).parent_path().string() + ":/usr/bin:/bin").c_str(), 1);
            for (const auto& [name, value] : variables) {
                ::setenv(name.c_str(), value.c_str(), 1);
            }
            if (::chdir(folder().c_str()) != 0) {
                ::_exit(127);
            }
        });
    }
    /// A task of a job array, as Slurm runs it.
    Outcome slurmTask(int task, int step, std::vector<std::string> arguments, Values variables = {}) const {
        variables["SLURM_ARRAY_TASK_ID"] = std::to_string(task);
        variables["SLURM_ARRAY_TASK_STEP"] = std::to_string(step);
        arguments.insert(arguments.begin(), (kRoot / "farm" / "quorvel.sbatch").string());
        return bash(std::move(arguments), variables);
    }
    /// The names of the files that begin so.
    std::set<std::string> made(const std::string& begin) const {
        std::set<std::string> names;
        for (const std::string& name : filesLeft()) {
            if (name.starts_with(begin)) {
                names.insert(name);
            }
        }
        return names;
    }
};

TEST_F(Farms, SlurmTasksRenderTheirChunkUpToTheLastFrame) {
    drawShot(7);
    const std::vector<std::string> line = {"5",        "shot.####.png", "-o",      "out.####.png",
                                           "--report", "%a.json",       "--depth", "16"};
    const Outcome first = slurmTask(1, 3, line);
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(made("out."), (std::set<std::string>{"out.0001.png", "out.0002.png", "out.0003.png"}));
    fs::remove(path("out.0002.png"));
    EXPECT_EQ(slurmTask(1, 3, line).out,
              "FRAME: 1\nPROGRESS: 33%\nFRAME: 2\nPROGRESS: 66%\nFRAME: 3\nPROGRESS: 100%\n");
    std::vector<std::string> states;
    const json report = json::parse(contents(path("1.json")));
    for (const json& frame : report.at("frames")) {
        states.push_back(frame.at("state"));
    }
    EXPECT_EQ(states, (std::vector<std::string>{"skipped", "rendered", "skipped"}));

    // The array's last chunk is 4 to 6, and the sequence goes on.
    EXPECT_EQ(slurmTask(4, 3, line).out, "FRAME: 4\nPROGRESS: 50%\nFRAME: 5\nPROGRESS: 100%\n");
    EXPECT_EQ(made("out.").size(), 5U);
    EXPECT_EQ(slurmTask(2, 3, {"7", "shot.####.png", "-o", "far.####.png"}, {{"QUORVEL_OFFSET", "4"}}).out,
              "FRAME: 6\nPROGRESS: 50%\nFRAME: 7\nPROGRESS: 100%\n");

    const auto complaint = [](const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 2);
        return outcome.err;
    };
    EXPECT_EQ(complaint(slurmTask(1, 3, {"shot.####.png", "-o", "out.####.png"})),
              "quorvel.sbatch: the last frame is \"shot.####.png\"; expected a number, before the input\n");
    EXPECT_EQ(complaint(slurmTask(7, 3, line)),
              "quorvel.sbatch: the task's first frame is 7; expected at most the last frame, 5\n");
    EXPECT_EQ(complaint(bash({(kRoot / "farm" / "quorvel.sbatch").string(), "5"})),
              "quorvel.sbatch: not a task of a job array; submit it with sbatch --array=FIRST-LAST:CHUNK\n");
}

/// Reads as much of Open Job Description as the template uses, and refuses everything else.
class JobTemplate {
public:
    explicit JobTemplate(const fs::path& path) : all_(json::parse(contents(path))), step_(all_.at("steps").at(0)) {
        EXPECT_EQ(keys(all_), (std::set<std::string>{"specificationVersion", "name", "description",
                                                     "parameterDefinitions", "steps"}));
        EXPECT_EQ(all_.at("specificationVersion"), "jobtemplate-2023-09");
        EXPECT_EQ(all_.at("steps").size(), 1U);
        EXPECT_EQ(keys(step_), (std::set<std::string>{"name", "hostRequirements", "parameterSpace", "script"}));
        EXPECT_EQ(tasks().size(), 1U);
        EXPECT_EQ(keys(tasks().at(0)), (std::set<std::string>{"name", "type", "range"}));
        EXPECT_EQ(tasks().at(0).at("type"), "INT");
        EXPECT_EQ(keys(script()), (std::set<std::string>{"actions", "embeddedFiles"}));
        EXPECT_EQ(keys(script().at("actions")), std::set<std::string>{"onRun"});
        EXPECT_EQ(keys(action()), (std::set<std::string>{"command", "args", "cancelation"}));
        EXPECT_EQ(action().at("cancelation").at("mode"), "NOTIFY_THEN_TERMINATE");
        EXPECT_LE(action().at("cancelation").at("notifyPeriodInSeconds"), 600);
        EXPECT_EQ(script().at("embeddedFiles").size(), 1U);
        EXPECT_EQ(keys(file()), (std::set<std::string>{"name", "type", "filename", "data"}));
        EXPECT_EQ(file().at("type"), "TEXT");
    }

    const json& definitions() const { return all_.at("parameterDefinitions"); }
    const json& file() const { return script().at("embeddedFiles").at(0); }
    /// What the definitions say where the user says nothing.
    Values defaults() const {
        Values values;
        for (const json& parameter : definitions()) {
            if (parameter.contains("default")) {
                const json& value = parameter.at("default");
                values[parameter.at("name")] = value.is_string() ? value.get<std::string>() : value.dump();
            }
        }
        return values;
    }
    /// The text with its references replaced. Fails the test for one that is not defined, and remembers the others.
    std::string filled(const std::string& text, const Values& values) {
        static const std::regex reference(R"(\{\{\s*([A-Za-z_.]+)\s*\}\})");
        std::string result;
        auto rest = text.cbegin();
        for (std::sregex_iterator found(text.begin(), text.end(), reference), end; found != end; ++found) {
            const std::string name = (*found)[1];
            EXPECT_EQ(values.count(name), 1U) << name << " is not defined, in: " << text;
            result.append(rest, found->prefix().second);
            result += values.count(name) != 0 ? values.at(name) : "";
            rest = found->suffix().first;
            used_.insert(name);
        }
        result.append(rest, text.cend());
        EXPECT_EQ(result.find("{{"), std::string::npos) << text;
        return result;
    }
    /// The first frame of each task.
    std::vector<int> tasks(const Values& values) {
        const std::string range = filled(tasks().at(0).at("range"), values);
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(range, parts, std::regex(R"((-?\d+)-(-?\d+):([1-9]\d*))"))) << range;
        std::vector<int> numbers;
        for (int i = std::stoi(parts[1]); i <= std::stoi(parts[2]); i += std::stoi(parts[3])) {
            numbers.push_back(i);
        }
        return numbers;
    }
    /// The action's command and its arguments.
    std::vector<std::string> command(const Values& values) {
        std::vector<std::string> words = {filled(action().at("command"), values)};
        for (const json& argument : action().at("args")) {
            words.push_back(filled(argument, values));
        }
        return words;
    }
    std::string name(const Values& values) { return filled(all_.at("name"), values); }
    std::string taskParameter() const { return "Task.Param." + tasks().at(0).at("name").get<std::string>(); }
    const std::set<std::string>& used() const { return used_; }

    static std::set<std::string> keys(const json& object) {
        std::set<std::string> names;
        for (const auto& [name, value] : object.items()) {
            names.insert(name);
        }
        return names;
    }

private:
    const json& tasks() const { return step_.at("parameterSpace").at("taskParameterDefinitions"); }
    const json& script() const { return step_.at("script"); }
    const json& action() const { return script().at("actions").at("onRun"); }

    json all_, step_;
    std::set<std::string> used_;
};

Values scoped(const Values& values) {
    Values all;
    for (const auto& [name, value] : values) {
        all["Param." + name] = value;
    }
    return all;
}

TEST_F(Farms, TheOpenJdTemplateRendersEachFrameOnce) {
    drawShot(8);
    JobTemplate job(kRoot / "farm" / "openjd" / "template.json");
    Values parameters = job.defaults();
    const Values given = {{"InputFolder", folder().string()},
                          {"InputName", "shot.####.png"},
                          {"OutputFolder", path("out put")},
                          {"OutputName", "o.####.png"},
                          {"FirstFrame", "2"},
                          {"LastFrame", "6"},
                          {"FramesPerTask", "2"},
                          {"MosaicIntensity", "0.5"},
                          {"Channels", "rgb"},
                          {"CurvePhaseSplit", "30.5"}};
    for (const auto& [name, value] : given) {
        parameters[name] = value;
    }
    Values values = scoped(parameters);
    EXPECT_EQ(job.name(values), "Quorvel o.####.png");
    const std::vector<int> tasks = job.tasks(values);
    EXPECT_EQ(tasks, (std::vector<int>{2, 4, 6}));
    std::vector<std::string> progress;
    for (const int task : tasks) {
        values[job.taskParameter()] = std::to_string(task);
        values["Task.File." + job.file().at("name").get<std::string>()] = path("script");
        std::ofstream(path("script")) << job.filled(job.file().at("data"), values);
        std::vector<std::string> command = job.command(values);
        EXPECT_EQ(command.front(), "bash");
        command.erase(command.begin());
        const Outcome outcome = bash(command);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        progress.push_back(outcome.out);
    }
    // The two frames are in work at once.
    const auto ended = [](int first, int second) {
        return "openjd_status: frame " + std::to_string(first) + ", 1 of 2\nopenjd_progress: 50.0\n" +
               "openjd_status: frame " + std::to_string(second) + ", 2 of 2\nopenjd_progress: 100.0\n";
    };
    EXPECT_EQ(progress.front(), progress.front() == ended(3, 2) ? ended(3, 2) : ended(2, 3));
    EXPECT_EQ(progress.back(), "openjd_status: frame 6, 1 of 1\nopenjd_progress: 100.0\n");

    ASSERT_EQ(render(path("shot.####.png"), path("alone.####.png"),
                     {"--mosaic-intensity", "0.5", "--channels", "rgb", "--curve-phase-split", "30.5"})
                  .status,
              0);
    for (int frame = 2; frame <= 6; ++frame) {
        EXPECT_EQ(contents(path("out put/o." + number(frame) + ".png")),
                  contents(path("alone." + number(frame) + ".png")))
            << frame;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(path("out put")), {}), 5);
    for (const json& parameter : job.definitions()) {
        EXPECT_EQ(job.used().count("Param." + parameter.at("name").get<std::string>()), 1U) << parameter.at("name");
    }
}

/// "Curve Phase Split (RGB)" as "curve-phase-split-rgb".
std::string kebab(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else if (c == ' ') {
            result += '-';
        }
    }
    return result;
}

TEST_F(Farms, TheOpenJdTemplateHasTheEffectsParameters) {
    const JobTemplate job(kRoot / "farm" / "openjd" / "template.json");
    std::map<std::string, json> byLabel;
    std::set<std::string> names;
    for (const json& parameter : job.definitions()) {
        const std::string name = parameter.at("name");
        EXPECT_TRUE(std::regex_match(name, std::regex("[A-Za-z_][A-Za-z0-9_]{0,63}"))) << name;
        EXPECT_TRUE(names.insert(name).second) << name << " is defined twice";
        const std::map<std::string, std::set<std::string>> controls = {{"STRING", {"LINE_EDIT", "DROPDOWN_LIST"}},
                                                                       {"PATH", {"CHOOSE_DIRECTORY"}},
                                                                       {"INT", {"SPIN_BOX"}},
                                                                       {"FLOAT", {"SPIN_BOX"}}};
        const json& shown = parameter.at("userInterface");
        const std::string control = shown.at("control");
        EXPECT_EQ(controls.at(parameter.at("type")).count(control), 1U) << name << ": " << control;
        EXPECT_EQ(control == "DROPDOWN_LIST", parameter.contains("allowedValues")) << name;
        if (parameter.contains("minValue")) {
            EXPECT_LE(parameter.at("minValue"), parameter.at("default")) << name;
            EXPECT_LE(parameter.at("default"), parameter.at("maxValue")) << name;
        }
        if (shown.at("groupLabel") == "Mosaic") {
            byLabel[shown.at("label")] = parameter;
        }
    }
    std::size_t expected = 0;
    for (const Parameter& parameter : parameters()) {
        if (parameter.kind == ParameterKind::Layer) {
            continue;
        }
        ++expected;
        ASSERT_EQ(byLabel.count(parameter.name), 1U) << parameter.name;
        const json& defined = byLabel.at(parameter.name);
        if (parameter.kind == ParameterKind::Choice) {
            std::vector<std::string> choices;
            std::istringstream all(parameter.choices);
            for (std::string text; std::getline(all, text, '|');) {
                choices.push_back(kebab(text));
            }
            EXPECT_EQ(defined.at("allowedValues"), json(choices)) << parameter.name;
            EXPECT_EQ(defined.at("default"), choices.at(static_cast<std::size_t>(parameter.defaultValue)));
            continue;
        }
        EXPECT_EQ(defined.at("type"), parameter.kind == ParameterKind::Count ? "INT" : "FLOAT") << parameter.name;
        EXPECT_EQ(defined.at("default"), parameter.defaultValue) << parameter.name;
        if (parameter.kind != ParameterKind::Angle) {
            EXPECT_EQ(defined.at("minValue"), parameter.minimum) << parameter.name;
            EXPECT_EQ(defined.at("maxValue"), parameter.maximum) << parameter.name;
        }
    }
    EXPECT_EQ(byLabel.size(), expected);
}

TEST_F(Farms, CommandLinesOfThePageRenderTheirChunk) {
    for (int frame = 1; frame <= 12; ++frame) {
        draw("shot." + std::string(frame < 10 ? "000" : "00") + std::to_string(frame) + ".exr",
             OIIO::ImageSpec(4, 4, 3, OIIO::TypeDesc::HALF), [](int, int, int) { return 0.5f; });
    }
    const std::string page = contents(kRoot / "docs" / "farms.md");
    const std::regex line(R"(render (/show/)?shot\.####\.exr -o [^"'\n]*--frames [^"'\n]*)");
    const std::pair<const char*, const char*> tokens[] = {
        {"/show/", ""},        {"<STARTFRAME>", "1"}, {"<ENDFRAME>", "10"}, {"#FRAME_START#", "1"},
        {"#FRAME_END#", "10"}, {"@#@-@#@", "1-10"},   {"{}", "1"}};
    int lines = 0;
    for (std::sregex_iterator found(page.begin(), page.end(), line), end; found != end; ++found) {
        std::string text = found->str();
        for (const auto& [token, value] : tokens) {
            for (std::size_t at = 0; (at = text.find(token)) != std::string::npos;) {
                text.replace(at, std::string(token).size(), value);
            }
        }
        const Outcome outcome = bash({"-c", "quorvel " + text + " --dry-run"});
        EXPECT_EQ(outcome.status, 0) << text << '\n' << outcome.err;
        EXPECT_TRUE(outcome.out.starts_with("shot.0001.exr -> mosaic.0001.exr\n")) << text << '\n' << outcome.out;
        EXPECT_TRUE(outcome.out.ends_with("\nshot.0010.exr -> mosaic.0010.exr\n")) << text << '\n' << outcome.out;
        EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 10) << text;
        ++lines;
    }
    EXPECT_EQ(lines, 5);
}

}  // namespace
}  // namespace quorvel::cli
