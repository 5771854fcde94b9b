#include "tools/hbctl/text_table.h"

#include <algorithm>
#include <utility>

#include "common/printable.h"
#include "tools/hbctl/text_width.h"

namespace hbctl {
namespace {

constexpr std::size_t GAP = 2;        // between columns
constexpr std::size_t LEAST_ROOM = 3; // for a shortened cell, which ends in dots
constexpr const char *GREEN = "\x1b[32m";
constexpr const char *RED = "\x1b[31m";
constexpr const char *PLAIN = "\x1b[0m";

std::string without_end_blanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

std::string padded(const std::string &text, std::size_t width, Align align) {
    const std::size_t own = width_of(text);
    const std::string blanks(width > own ? width - own : 0, ' ');
    return align == Align::left ? text + blanks : blanks + text;
}

Text_Table::Text_Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Text_Table::add(Cells cells) {
    cells.resize(columns_.size());
    for (std::string &cell : cells) {
        cell = terminal::printable(cell);
    }
    rows_.push_back(std::move(cells));
}

std::vector<std::size_t> Text_Table::shown(const Table_Style &style) const {
    std::vector<std::size_t> columns;
    if (style.columns.empty()) {
        for (std::size_t at = 0; at < columns_.size(); ++at) {
            columns.push_back(at);
        }
    }
    for (const std::string &heading : style.columns) {
        const auto found = std::find_if(columns_.begin(), columns_.end(),
                                        [&](const Column &column) { return column.heading == heading; });
        if (found != columns_.end()) {
            columns.push_back(static_cast<std::size_t>(found - columns_.begin()));
        }
    }
    return columns;
}

std::size_t Text_Table::width_of_column(std::size_t column, const Table_Style &style) const {
    std::size_t width = style.headings ? width_of(columns_[column].heading) : 0;
    for (const Cells &row : rows_) {
        width = std::max(width, width_of(row[column]));
    }
    return width;
}

// The colour surrounds the word and not the blanks.
std::string Text_Table::cell(const std::string &text, std::size_t column, std::size_t width,
                             const Table_Style &style) const {
    const std::string blanks = padded(text, width, columns_[column].align);
    const char *colour = text == "up" ? GREEN : text == "down" ? RED : nullptr;
    if (!style.colours || !columns_[column].is_state || colour == nullptr) {
        return blanks;
    }
    const std::size_t at = blanks.find(text);
    return blanks.substr(0, at) + colour + text + PLAIN + blanks.substr(at + text.size());
}

std::string Text_Table::line(const Cells &cells, const std::vector<std::size_t> &columns,
                             const std::vector<std::size_t> &widths, const Table_Style &style) const {
    std::string text;
    std::size_t used = 0;
    for (std::size_t at = 0; at < columns.size(); ++at) {
        const std::size_t gap = at == 0 ? 0 : GAP;
        const std::size_t column = columns[at];
        const std::string whole = without_end_blanks(padded(cells[column], widths[at], columns_[column].align));
        const std::size_t room = style.width > used + gap ? style.width - used - gap : 0;
        if (style.width > 0 && width_of(whole) > room) {
            const bool is_worth_it = at == 0 || room > LEAST_ROOM;
            return without_end_blanks(is_worth_it ? text + std::string(gap, ' ') + shortened(whole, room)
                                                  : text);
        }
        text += std::string(gap, ' ') + cell(cells[column], column, widths[at], style);
        used += gap + widths[at];
    }
    return without_end_blanks(text);
}

std::vector<std::string> Text_Table::lines(const Table_Style &style) const {
    const std::vector<std::size_t> columns = shown(style);
    std::vector<std::size_t> widths;
    for (const std::size_t column : columns) {
        widths.push_back(width_of_column(column, style));
    }
    std::vector<std::string> text;
    if (style.headings) {
        Cells headings;
        for (const Column &column : columns_) {
            headings.push_back(column.heading);
        }
        text.push_back(line(headings, columns, widths, style));
    }
    for (const Cells &row : rows_) {
        text.push_back(line(row, columns, widths, style));
    }
    return text;
}

} // namespace hbctl
