// SPDX-License-Identifier: Apache-2.0
// One screen as text with styles, before any terminal is involved.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace hbctl {

// What a text means. The terminal decides about colours; no meaning depends on them alone.
enum class Style {
    plain,
    title,
    heading,
    strong,
    faint,
    up,
    down,
    mixed,
    stale, // a state of earlier, without contact
    good,  // an event
    bad,   // likewise
    good_badge,
    warning_badge,
    bad_badge,
    rule,
    key
};

struct Span {
    std::size_t column = 0;
    std::string text;
    Style style = Style::plain;
};

// A line that never has more columns than its width.
class Text_Line {
  public:
    explicit Text_Line(std::size_t width) : width_(width) {}

    // Adds the text behind what is there. What does not fit is cut off, with "…" at the end.
    Text_Line &add(const std::string &text, Style style = Style::plain);
    // Adds blanks up to the column.
    Text_Line &move_to(std::size_t column, Style style = Style::plain);
    // Adds the text at the right edge, and blanks in its style before it. Adds nothing and returns false if `gap` columns would not stay free before it.
    bool add_at_right(const std::string &text, Style style, std::size_t gap = 2);

    std::size_t used() const { return used_; }
    std::size_t left() const { return width_ - used_; }
    const std::vector<Span> &spans() const { return spans_; }
    // Without trailing blanks.
    std::string text() const;

  private:
    std::size_t width_;
    std::size_t used_ = 0;
    std::vector<Span> spans_;
};

// How far the list of nodes can be scrolled.
struct Scroll_Range {
    std::size_t rows = 0;  // all of them
    std::size_t shown = 0; // on this frame
    std::size_t first = 0;
    std::size_t networks = 0; // likewise, for the networks of a narrow screen
    std::size_t networks_shown = 0;
    std::size_t first_network = 0;
};

struct Frame {
    std::vector<Text_Line> lines;
    Scroll_Range range;
};

// The lines as text, each with a line end.
std::string frame_text(const Frame &frame);

} // namespace hbctl
