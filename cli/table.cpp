// SPDX-License-Identifier: MIT
#include "cli/table.h"

#include <algorithm>
#include <utility>

#include "cli/text.h"

namespace quorvel::cli {

void Table::print(std::ostream& out) const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column] + std::string(widths[column] + 2 - row[column].size(), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

void Table::add(std::vector<std::string> cells) {
    for (std::string& cell : cells) {
        cell = printable(cell);
    }
    rows_.push_back(std::move(cells));
}

}  // namespace quorvel::cli
