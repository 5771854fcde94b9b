// SPDX-License-Identifier: Apache-2.0
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
};

class Text_Table {
  public:
    explicit Text_Table(std::vector<Column> columns);

    // Each row has as many cells as there are columns.
    void add(std::vector<std::string> cells);

    // Returns the heading and the rows, without trailing blanks.
    std::vector<std::string> lines() const;

  private:
    std::string line(const std::vector<std::string> &cells, const std::vector<std::size_t> &widths) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

// Pads the text with blanks to a width in characters, not bytes.
std::string padded(const std::string &text, std::size_t width, Align align);

} // namespace hbctl
