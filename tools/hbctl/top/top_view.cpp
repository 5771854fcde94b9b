// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/top_view.h"

#include <algorithm>

#include "tools/hbctl/top/text_columns.h"

namespace hbctl {
namespace {

constexpr std::size_t LONGEST_SEARCH = 30; // columns

std::size_t highest(std::size_t all, std::size_t shown) {
    return all > shown ? all - shown : 0;
}

void forward(std::size_t &place, std::size_t by, std::size_t last) {
    place = std::min(place + by, last);
}

void back(std::size_t &place, std::size_t by) {
    place -= std::min(place, by);
}

void remove_last_character(std::string &text) {
    std::string_view rest = text;
    std::string kept;
    while (!rest.empty()) {
        const std::string_view bytes = next_character(rest).bytes;
        kept += rest.empty() ? "" : bytes;
    }
    text = kept;
}

void set_search(const std::string &text, Top_View &view) {
    view.search = text;
    view.scroll = 0;
}

void type(const Key_Press &press, Top_View &view) {
    switch (press.key) {
    case Key::character:
        if (width_of(view.search + press.text) <= LONGEST_SEARCH) {
            set_search(view.search + press.text, view);
        }
        break;
    case Key::erase:
        remove_last_character(view.search);
        set_search(view.search, view);
        break;
    case Key::escape:
        set_search("", view);
        view.typing = false;
        break;
    default:
        view.typing = false;
        break;
    }
}

void move(Key key, const Scroll_Range &range, Top_View &view) {
    const std::size_t last = highest(range.rows, range.shown);
    const std::size_t page = std::max<std::size_t>(range.shown, 2) - 1;
    view.scroll = std::min(view.scroll, last); // the list may have become shorter
    switch (key) {
    case Key::up:
        back(view.scroll, 1);
        break;
    case Key::down:
        forward(view.scroll, 1, last);
        break;
    case Key::page_up:
        back(view.scroll, page);
        break;
    case Key::page_down:
        forward(view.scroll, page, last);
        break;
    case Key::home:
        view.scroll = 0;
        break;
    case Key::end:
        view.scroll = last;
        break;
    case Key::left:
        view.first_network = range.first_network;
        back(view.first_network, 1);
        break;
    case Key::right:
        forward(view.first_network, 1, highest(range.networks, range.networks_shown));
        break;
    default:
        break;
    }
}

// The letters that move, as in pagers.
Key movement_of(const std::string &text) {
    if (text == "k") {
        return Key::up;
    }
    if (text == "j") {
        return Key::down;
    }
    if (text == " ") {
        return Key::page_down;
    }
    if (text == "b") {
        return Key::page_up;
    }
    if (text == "g") {
        return Key::home;
    }
    return text == "G" ? Key::end : Key::character;
}

void toggle_help(Top_View &view) {
    view.help = !view.help;
    view.scroll = 0;
}

Wish choose(const std::string &text, const Scroll_Range &range, Top_View &view) {
    if (text == "q") {
        return Wish::quit;
    }
    if (text == "h" || text == "?") {
        toggle_help(view);
    } else if (text == "f") {
        view.filter = static_cast<Filter>((static_cast<int>(view.filter) + 1) % 3);
        view.scroll = 0;
    } else if (text == "s") {
        view.sort = static_cast<Sort>((static_cast<int>(view.sort) + 1) % 3);
        view.scroll = 0;
    } else if (text == "/") {
        view.help = false;
        view.typing = true;
        set_search("", view);
    } else {
        move(movement_of(text), range, view);
    }
    return Wish::none;
}

} // namespace

Wish press(const Key_Press &press, const Scroll_Range &range, Top_View &view) {
    if (view.typing && press.key != Key::up && press.key != Key::down) {
        type(press, view);
        return Wish::none;
    }
    switch (press.key) {
    case Key::character:
        return choose(press.text, range, view);
    case Key::escape:
        if (view.help) {
            toggle_help(view);
        } else {
            view.filter = Filter::all;
            set_search("", view);
        }
        break;
    case Key::enter:
    case Key::erase:
        break;
    default:
        move(press.key, range, view);
        break;
    }
    return Wish::none;
}

std::string filter_name(Filter filter) {
    switch (filter) {
    case Filter::problems:
        return "problems";
    case Filter::local:
        return "local";
    case Filter::all:
        break;
    }
    return "all";
}

std::string sort_name(Sort sort) {
    switch (sort) {
    case Sort::state:
        return "state";
    case Sort::name:
        return "name";
    case Sort::number:
        break;
    }
    return "number";
}

} // namespace hbctl
