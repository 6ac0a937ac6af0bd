// SPDX-License-Identifier: MIT
// Text in aligned columns.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace quorvel::cli {

class Table {
public:
    explicit Table(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }
    /// As many cells as there are headings. Control characters are escaped.
    void add(std::vector<std::string> cells);
    /// Two spaces between columns, none at the ends of lines.
    void print(std::ostream& out) const;

private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace quorvel::cli
