// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/text_table.h"

#include <algorithm>
#include <utility>

namespace hbctl {
namespace {

// Bytes that continue a UTF-8 character use no extra column.
std::size_t width_of(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

void trim_end(std::string &text) {
    text.erase(text.find_last_not_of(' ') + 1);
}

} // namespace

std::string padded(const std::string &text, std::size_t width, Align align) {
    const std::size_t own = width_of(text);
    const std::string blanks(width > own ? width - own : 0, ' ');
    return align == Align::left ? text + blanks : blanks + text;
}

Text_Table::Text_Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Text_Table::add(std::vector<std::string> cells) {
    cells.resize(columns_.size());
    rows_.push_back(std::move(cells));
}

std::string Text_Table::line(const std::vector<std::string> &cells,
                             const std::vector<std::size_t> &widths) const {
    std::string text;
    for (std::size_t at = 0; at < cells.size(); ++at) {
        text += (at == 0 ? "" : "  ") + padded(cells[at], widths[at], columns_[at].align);
    }
    trim_end(text);
    return text;
}

std::vector<std::string> Text_Table::lines() const {
    std::vector<std::string> headings;
    std::vector<std::size_t> widths;
    for (const Column &column : columns_) {
        headings.push_back(column.heading);
        widths.push_back(width_of(column.heading));
    }
    for (const auto &row : rows_) {
        for (std::size_t at = 0; at < row.size(); ++at) {
            widths[at] = std::max(widths[at], width_of(row[at]));
        }
    }
    std::vector<std::string> text{line(headings, widths)};
    for (const auto &row : rows_) {
        text.push_back(line(row, widths));
    }
    return text;
}

} // namespace hbctl
