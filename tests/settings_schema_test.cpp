// SPDX-License-Identifier: MIT
// The published JSON Schema accepts and refuses the files that the library does.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "effect/parameters.h"
#include "settings/schema.h"
#include "settings/settings_file.h"
#include "tests/support/temporary_folder.h"

namespace quorvel::settings {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path kPublished = fs::path(QUORVEL_SOURCE_FOLDER) / "docs/settings.schema.json";

std::string contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// After a deliberate change, QUORVEL_UPDATE_EXPECTED=1 rewrites the file.
TEST(SettingsSchema, IsPublished) {
    if (std::getenv("QUORVEL_UPDATE_EXPECTED") != nullptr) {
        std::ofstream(kPublished, std::ios::binary) << settingsSchema();
    }
    EXPECT_EQ(contents(kPublished), settingsSchema());
}

TEST(SettingsSchema, HasTheParameterTable) {
    const json values = json::parse(contents(kPublished)).at("properties").at("values").at("properties");
    EXPECT_EQ(values.size(), parameters().size());
    for (const Parameter& parameter : parameters()) {
        const json& described = values.at(parameter.key);
        EXPECT_EQ(described.at("title"), parameter.name);
        if (parameter.kind == ParameterKind::Slider || parameter.kind == ParameterKind::Count) {
            EXPECT_EQ(described.at("default"), parameter.defaultValue);
            EXPECT_EQ(described.at("anyOf").at(0).at("minimum"), parameter.minimum);
            EXPECT_EQ(described.at("anyOf").at(0).at("maximum"), parameter.maximum);
        } else if (parameter.kind == ParameterKind::Choice) {
            EXPECT_EQ(described.at("anyOf").at(0).at("enum").size(), static_cast<std::size_t>(choiceCount(parameter)));
        }
    }
}

bool libraryAccepts(const std::string& text) {
    try {
        parseSettings(text, "x");
        return true;
    } catch (const SettingsError&) {
        return false;
    }
}

std::string withValues(const std::string& values) {
    return R"({"quorvel": 1, "values": {)" + values + "}}";
}

/// "1" for each text that the schema accepts, "0" for each that it refuses; empty when jsonschema is missing.
std::string schemaVerdicts(const std::vector<std::string>& texts) {
    if (std::system("python3 -c 'import jsonschema' 2> /dev/null") != 0) {
        return {};
    }
    const test::TemporaryFolder folder;
    const auto file = [&](const char* name) { return (folder.path() / name).string(); };
    std::ofstream(file("texts.json")) << json(texts).dump();
    std::ofstream(file("check.py")) << R"(import json, sys
from jsonschema import Draft202012Validator as Validator
schema = json.load(open(sys.argv[1]))
Validator.check_schema(schema)
validator = Validator(schema)
print("".join(str(int(validator.is_valid(json.loads(text)))) for text in json.load(open(sys.argv[2]))), end="")
)";
    const std::string command = "python3 " + file("check.py") + " '" + kPublished.string() + "' " + file("texts.json") +
                                " > " + file("verdicts");
    EXPECT_EQ(std::system(command.c_str()), 0);
    return contents(file("verdicts"));
}

TEST(SettingsSchema, AgreesWithTheLibrary) {
    std::vector<std::string> good{
        withValues(""),
        R"({"$schema": "x", "quorvel": 1, "name": "Evening", "rate": 23.976, "values": {}})",
        R"({"quorvel": 1, "rate": "30000/1001", "values": {}})",
        withValues(R"("channels": "alpha", "intensity-source": "a.png", "mosaic-intensity": 1, "grid-width": 32)"),
        withValues(R"("grid-width": 3.0, "curve-phase": -720.25, "curve-smoothness": 16, "curve": "exp-down")"),
        withValues(R"("grid-width": {"keys": {"1": 4, "-10": 8.5, "+7": {"value": 2, "to-next": "smooth"}}})"),
        withValues(R"("grid-width": {"keys": {"1s": 4, ".5s": 8, "-2.5e-1s": {"value": 2}}, "before": "extend"})"),
        withValues(R"("curve-phase": {"keys": {"1": {"value": 1, "to-next": [0, -100, 1, 100]}}, "after": "repeat"})"),
        withValues(R"("channels": {"keys": {"0": "rgb", "5": {"value": "red", "to-next": "hold"}}, "after": "hold"})"),
    };
    const std::size_t written = good.size();
    for (const auto& preset : fs::directory_iterator(fs::path(QUORVEL_SOURCE_FOLDER) / "presets")) {
        good.push_back(contents(preset.path()));
    }
    EXPECT_GE(good.size(), written + 8);
    const std::vector<std::string> bad{
        "[]",
        "{}",
        R"({"quorvel": 1})",
        R"({"quorvel": 2, "values": {}})",
        R"({"quorvel": "1", "values": {}})",
        R"({"quorvel": 1, "values": []})",
        R"({"quorvel": 1, "values": {}, "value": {}})",
        R"({"quorvel": 1, "name": 3, "values": {}})",
        R"({"quorvel": 1, "rate": 0, "values": {}})",
        R"({"quorvel": 1, "rate": 1001, "values": {}})",
        R"({"quorvel": 1, "rate": "fast", "values": {}})",
        R"({"quorvel": 1, "rate": "25/", "values": {}})",
        R"({"quorvel": 1, "rate": [25], "values": {}})",
        withValues(R"("grid-widht": 3)"),
        withValues(R"("grid-width": 3.5)"),
        withValues(R"("grid-width": 33)"),
        withValues(R"("grid-width": 0)"),
        withValues(R"("grid-width": "3")"),
        withValues(R"("grid-width": null)"),
        withValues(R"("grid-width": true)"),
        withValues(R"("mosaic-intensity": 1.01)"),
        withValues(R"("curve-phase": 32768)"),
        withValues(R"("channels": "purple")"),
        withValues(R"("channels": 1)"),
        withValues(R"("intensity-source": "")"),
        withValues(R"("intensity-source": {"keys": {"1": "a.png"}})"),
        withValues(R"("grid-width": {})"),
        withValues(R"("grid-width": {"keys": {}})"),
        withValues(R"("grid-width": {"keys": [1]})"),
        withValues(R"("grid-width": {"keys": {"one": 1}})"),
        withValues(R"("grid-width": {"keys": {"1.5": 1}})"),
        withValues(R"("grid-width": {"keys": {"s": 1}})"),
        withValues(R"("grid-width": {"keys": {"123456789": 1}})"),
        withValues(R"("grid-width": {"keys": {"1": 1, "2s": 1}})"),
        withValues(R"("grid-width": {"keys": {"1": 33}})"),
        withValues(R"("grid-width": {"keys": {"1": {}}})"),
        withValues(R"("grid-width": {"keys": {"1": {"value": 1, "ease": "smooth"}}})"),
        withValues(R"("grid-width": {"keys": {"1": {"value": 1, "to-next": "slow"}}})"),
        withValues(R"("grid-width": {"keys": {"1": {"value": 1, "to-next": [0, 0, 1.5, 1]}}})"),
        withValues(R"("grid-width": {"keys": {"1": {"value": 1, "to-next": [0, 0, 1]}}})"),
        withValues(R"("grid-width": {"keys": {"1": {"value": 1, "to-next": [0, 101, 1, 1]}}})"),
        withValues(R"("grid-width": {"keys": {"1": 1}, "after": "bounce"})"),
        withValues(R"("curve": {"keys": {"1": {"value": "exp-up", "to-next": "linear"}}})"),
    };
    std::vector<std::string> texts = good;
    texts.insert(texts.end(), bad.begin(), bad.end());
    for (const std::string& text : texts) {
        EXPECT_EQ(libraryAccepts(text), &text - texts.data() < static_cast<std::ptrdiff_t>(good.size())) << text;
    }
    const std::string verdicts = schemaVerdicts(texts);
    if (verdicts.empty()) {
        GTEST_SKIP() << "python3-jsonschema is not installed";
    }
    ASSERT_EQ(verdicts.size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(verdicts[i], i < good.size() ? '1' : '0') << texts[i];
    }
}

}  // namespace
}  // namespace quorvel::settings
