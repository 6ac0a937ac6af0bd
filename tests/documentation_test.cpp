// SPDX-License-Identifier: MIT
// The documentation says what the parameter table says, and its links lead somewhere.
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "effect/parameters.h"

namespace quorvel {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot = QUORVEL_SOURCE_FOLDER;

std::string contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> choices(const Parameter& parameter) {
    std::vector<std::string> texts;
    std::istringstream all(parameter.choices);
    for (std::string text; std::getline(all, text, '|');) {
        texts.push_back(text);
    }
    return texts;
}

/// The README's table row of a parameter.
std::string rowOf(const Parameter& parameter) {
    std::ostringstream row;
    row << "| " << parameter.name << " | `--" << parameter.key << "` | ";
    switch (parameter.kind) {
        case ParameterKind::Choice: {
            const std::vector<std::string> texts = choices(parameter);
            for (const std::string& text : texts) {
                row << (&text == &texts.front() ? "" : ", ") << text;
            }
            row << " | " << texts.at(static_cast<std::size_t>(parameter.defaultValue));
            break;
        }
        case ParameterKind::Layer:
            row << "a picture | none";
            break;
        case ParameterKind::Slider:
        case ParameterKind::Count:
            row << parameter.minimum << " to " << parameter.maximum << " | " << parameter.defaultValue;
            break;
        case ParameterKind::Angle:
            row << "degrees | " << parameter.defaultValue;
            break;
    }
    row << " | " << parameter.help << " |\n";
    return row.str();
}

TEST(Documentation, ReadmeHasTheParameterTable) {
    std::string table;
    for (const Parameter& parameter : parameters()) {
        table += rowOf(parameter);
    }
    EXPECT_NE(contents(kRoot / "README.md").find("|---|---|---|---|---|\n" + table + "\n"), std::string::npos)
        << "README.md must have these rows, and no others:\n"
        << table;
}

/// The names under which a page's headings can be linked to.
std::set<std::string> headings(const std::string& page) {
    std::set<std::string> names;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t start = line.find_first_not_of('#');
        if (start == 0 || start == std::string::npos || line[start] != ' ') {
            continue;
        }
        std::string name;
        for (const char c : line.substr(start + 1)) {
            if (c == ' ') {
                name += '-';
            } else if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_') {
                name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
        }
        names.insert(name);
    }
    return names;
}

TEST(Documentation, LinksLeadToFilesAndHeadings) {
    std::vector<fs::path> pages;
    for (const fs::path& folder : {kRoot, kRoot / "docs"}) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().extension() == ".md") {
                pages.push_back(entry.path());
            }
        }
    }
    const std::regex link(R"(\]\(([^)#\s]*)#?([^)\s]*)\))");
    int links = 0;
    for (const fs::path& page : pages) {
        const std::string text = contents(page);
        for (std::sregex_iterator found(text.begin(), text.end(), link), end; found != end; ++found) {
            const std::string target = (*found)[1];
            const std::string heading = (*found)[2];
            if (target.find("://") != std::string::npos) {
                continue;
            }
            ++links;
            const fs::path file = target.empty() ? page : page.parent_path() / target;
            ASSERT_TRUE(fs::is_regular_file(file)) << page << ": " << found->str();
            if (!heading.empty()) {
                EXPECT_EQ(headings(contents(file)).count(heading), 1u) << page << ": " << found->str();
            }
        }
    }
    EXPECT_GT(links, 0);
}

}  // namespace
}  // namespace quorvel
