// Columns of text aligned under their headings.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace hbctl {

enum class Align { left, right };

struct Column {
    std::string heading;
    Align align = Align::left;
    bool is_state = false; // "up" and "down" can have colours
};

struct Table_Style {
    bool headings = true;
    std::vector<std::string> columns; // headings, in the order to show; empty: all columns
    std::size_t width = 0;            // of the terminal; 0: no limit
    bool colours = false;
};

class Text_Table {
  public:
    explicit Text_Table(std::vector<Column> columns);

    // Each row has as many cells as there are columns. Unsafe bytes of the cells become printable.
    void add(std::vector<std::string> cells);

    // Returns the heading and the rows, without trailing blanks. Lines with colours contain control characters, and
    // are ready to print.
    std::vector<std::string> lines(const Table_Style &style = {}) const;

  private:
    using Cells = std::vector<std::string>;

    std::vector<std::size_t> shown(const Table_Style &style) const;
    std::size_t width_of_column(std::size_t column, const Table_Style &style) const;
    std::string cell(const std::string &text, std::size_t column, std::size_t width,
                     const Table_Style &style) const;
    std::string line(const Cells &cells, const std::vector<std::size_t> &columns,
                     const std::vector<std::size_t> &widths, const Table_Style &style) const;

    std::vector<Column> columns_;
    std::vector<Cells> rows_;
};

// Pads the text with blanks to a width in characters, not bytes.
std::string padded(const std::string &text, std::size_t width, Align align);

} // namespace hbctl
