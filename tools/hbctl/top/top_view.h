// SPDX-License-Identifier: Apache-2.0
// What the user of `hbctl top` has chosen to see, and what each key changes.
#pragma once

#include <cstddef>
#include <string>

#include "tools/hbctl/top/frame.h"

namespace hbctl {

enum class Filter { all, problems, local };
enum class Sort { number, state, name };

enum class Key {
    character, // the text has it
    enter,
    escape,
    erase,
    up,
    down,
    left,
    right,
    page_up,
    page_down,
    home,
    end
};

struct Key_Press {
    Key key = Key::character;
    std::string text; // of a character, in UTF-8
};

struct Top_View {
    Filter filter = Filter::all;
    Sort sort = Sort::number;
    std::string search;
    bool typing = false; // the search
    bool help = false;
    std::size_t scroll = 0; // in rows
    std::size_t first_network = 0;
};

enum class Wish { none, quit };

// `range` is that of the frame on the screen.
Wish press(const Key_Press &press, const Scroll_Range &range, Top_View &view);

// "all", "down", "local"; "number", "state", "name"
std::string filter_name(Filter filter);
std::string sort_name(Sort sort);

} // namespace hbctl
