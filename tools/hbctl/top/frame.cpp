// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/frame.h"

#include "tools/hbctl/top/text_columns.h"

namespace hbctl {

Text_Line &Text_Line::add(const std::string &text, Style style) {
    const std::string shown = cut_to(text, left());
    if (!shown.empty()) {
        spans_.push_back({used_, shown, style});
        used_ += width_of(shown);
    }
    return *this;
}

Text_Line &Text_Line::move_to(std::size_t column, Style style) {
    return column > used_ ? add(std::string(column - used_, ' '), style) : *this;
}

bool Text_Line::add_at_right(const std::string &text, Style style, std::size_t gap) {
    const std::size_t columns = width_of(text);
    if (columns + gap > left()) {
        return false;
    }
    move_to(width_ - columns, style).add(text, style);
    return true;
}

std::string Text_Line::text() const {
    std::string text;
    for (const Span &span : spans_) {
        text += span.text;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string frame_text(const Frame &frame) {
    std::string text;
    for (const Text_Line &line : frame.lines) {
        text += line.text() + "\n";
    }
    return text;
}

} // namespace hbctl
