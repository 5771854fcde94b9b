// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/screen.h"

#include <cstdlib>
#include <curses.h>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

#include "common/printable.h"
#include "tools/hbctl/terminal.h"
#include "tools/hbctl/top/text_columns.h"

namespace hbctl {
namespace {

constexpr int ESCAPE_MILLISECONDS = 50; // between the Escape key and the first byte of another one
constexpr short DEFAULT_COLOUR = -1;
constexpr wint_t ESCAPE = 27;
constexpr wint_t BACKSPACE = 8;
constexpr wint_t DELETE = 127;

enum Pair : short {
    PAIR_NONE,
    PAIR_TITLE,
    PAIR_CYAN,
    PAIR_GREEN,
    PAIR_RED,
    PAIR_YELLOW,
    PAIR_BLUE,
    PAIR_GOOD,
    PAIR_WARNING,
    PAIR_BAD
};

struct Look {
    attr_t attributes = A_NORMAL;
    short pair = PAIR_NONE;
};

Look coloured(Style style) {
    switch (style) {
    case Style::title:
        return {A_BOLD, PAIR_TITLE};
    case Style::heading:
        return {A_BOLD, PAIR_CYAN};
    case Style::strong:
        return {A_BOLD, PAIR_NONE};
    case Style::faint:
    case Style::stale:
        return {A_DIM, PAIR_NONE};
    case Style::up:
    case Style::good:
        return {A_NORMAL, PAIR_GREEN};
    case Style::down:
    case Style::bad:
        return {A_BOLD, PAIR_RED};
    case Style::mixed:
        return {A_NORMAL, PAIR_YELLOW};
    case Style::good_badge:
        return {A_NORMAL, PAIR_GOOD};
    case Style::warning_badge:
        return {A_NORMAL, PAIR_WARNING};
    case Style::bad_badge:
        return {A_BOLD, PAIR_BAD};
    case Style::rule:
        return {A_NORMAL, PAIR_BLUE};
    case Style::key:
        return {A_BOLD, PAIR_CYAN};
    case Style::plain:
        break;
    }
    return {};
}

attr_t monochrome(Style style) {
    switch (style) {
    case Style::title:
    case Style::good_badge:
    case Style::warning_badge:
        return A_REVERSE;
    case Style::bad_badge:
        return A_REVERSE | A_BOLD;
    case Style::heading:
    case Style::strong:
    case Style::key:
    case Style::down:
    case Style::bad:
        return A_BOLD;
    case Style::mixed:
        return A_UNDERLINE;
    case Style::faint:
    case Style::stale:
        return A_DIM;
    case Style::up:
    case Style::good:
    case Style::rule:
    case Style::plain:
        break;
    }
    return A_NORMAL;
}

void make_colours() {
    start_color();
    const bool has_default = use_default_colors() == OK;
    const short background = has_default ? DEFAULT_COLOUR : static_cast<short>(COLOR_BLACK);
    init_pair(PAIR_TITLE, COLOR_WHITE, COLOR_BLUE);
    init_pair(PAIR_CYAN, COLOR_CYAN, background);
    init_pair(PAIR_GREEN, COLOR_GREEN, background);
    init_pair(PAIR_RED, COLOR_RED, background);
    init_pair(PAIR_YELLOW, COLOR_YELLOW, background);
    init_pair(PAIR_BLUE, COLOR_BLUE, background);
    init_pair(PAIR_GOOD, COLOR_BLACK, COLOR_GREEN);
    init_pair(PAIR_WARNING, COLOR_BLACK, COLOR_YELLOW);
    init_pair(PAIR_BAD, COLOR_WHITE, COLOR_RED);
}

std::wstring wide_text(const std::string &text) {
    std::wstring wide;
    std::string_view rest = text;
    while (!rest.empty()) {
        wide += static_cast<wchar_t>(next_character(rest).code);
    }
    return wide;
}

std::string utf8_of(wint_t code) {
    const auto byte = [](wint_t bits) { return static_cast<char>(bits); };
    if (code < 0x80) {
        return {byte(code)};
    }
    if (code < 0x800) {
        return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
    }
    if (code < 0x10000) {
        return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
    }
    return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)), byte(0x80 | (code >> 6 & 0x3F)),
            byte(0x80 | (code & 0x3F))};
}

std::optional<Key_Press> press_of_code(wint_t code) {
    switch (code) {
    case KEY_UP:
        return Key_Press{Key::up, ""};
    case KEY_DOWN:
        return Key_Press{Key::down, ""};
    case KEY_LEFT:
        return Key_Press{Key::left, ""};
    case KEY_RIGHT:
        return Key_Press{Key::right, ""};
    case KEY_PPAGE:
        return Key_Press{Key::page_up, ""};
    case KEY_NPAGE:
        return Key_Press{Key::page_down, ""};
    case KEY_HOME:
        return Key_Press{Key::home, ""};
    case KEY_END:
        return Key_Press{Key::end, ""};
    case KEY_ENTER:
        return Key_Press{Key::enter, ""};
    case KEY_BACKSPACE:
        return Key_Press{Key::erase, ""};
    default:
        return std::nullopt;
    }
}

std::optional<Key_Press> press_of_character(wint_t code) {
    if (code == '\n' || code == '\r') {
        return Key_Press{Key::enter, ""};
    }
    if (code == ESCAPE) {
        return Key_Press{Key::escape, ""};
    }
    if (code == BACKSPACE || code == DELETE) {
        return Key_Press{Key::erase, ""};
    }
    const std::string text = utf8_of(code);
    return terminal::printable(text) == text ? std::optional(Key_Press{Key::character, text}) : std::nullopt;
}

[[noreturn]] void fail_for_terminal(const std::string &why) {
    const char *type = std::getenv("TERM");
    throw std::runtime_error(std::string("the terminal type '") + (type == nullptr ? "" : type) + "' " + why +
                             ": set TERM, or use 'hbctl top --once'");
}

// ncurses accepts a terminal without it, such as "dumb", and draws all lines over each other.
bool can_move_cursor() {
    const char *cup = tigetstr("cup");
    return cup != nullptr && cup != reinterpret_cast<const char *>(-1);
}

} // namespace

Screen::Screen(bool has_unicode) : has_unicode_(has_unicode) {
    terminal_ = newterm(nullptr, stdout, stdin);
    if (terminal_ == nullptr) {
        fail_for_terminal("is unknown");
    }
    if (!can_move_cursor()) {
        endwin();
        delscreen(static_cast<SCREEN *>(terminal_));
        fail_for_terminal("cannot move the cursor");
    }
    set_escdelay(ESCAPE_MILLISECONDS);
    cbreak();
    noecho();
    nonl();
    curs_set(0);
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    has_colours_ = hbctl::has_colours() && ::has_colors();
    if (has_colours_) {
        make_colours();
    }
}

Screen::~Screen() {
    endwin();
    delscreen(static_cast<SCREEN *>(terminal_));
}

Frame_Size Screen::size() const {
    return {static_cast<std::size_t>(getmaxx(stdscr)), static_cast<std::size_t>(getmaxy(stdscr))};
}

void Screen::draw(const Frame &frame) const {
    erase();
    for (std::size_t row = 0; row < frame.lines.size(); ++row) {
        for (const Span &span : frame.lines[row].spans()) {
            const Look look = has_colours_ ? coloured(span.style) : Look{monochrome(span.style), PAIR_NONE};
            attr_set(look.attributes, look.pair, nullptr);
            const std::wstring text = wide_text(has_unicode_ ? span.text : ascii_text(span.text));
            mvaddnwstr(static_cast<int>(row), static_cast<int>(span.column), text.c_str(),
                       static_cast<int>(text.size()));
        }
    }
    refresh();
}

std::optional<Key_Press> Screen::next_key(bool &more) const {
    wint_t code = 0;
    const int result = get_wch(&code);
    more = result != ERR;
    if (!more) {
        return std::nullopt;
    }
    return result == KEY_CODE_YES ? press_of_code(code) : press_of_character(code);
}

void Screen::resize() const {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
    }
    clearok(stdscr, TRUE);
}

void Screen::leave() const {
    endwin();
}

void Screen::come_back() const {
    endwin(); // whoever had the terminal may have changed its settings
    resize();
    refresh();
}

} // namespace hbctl
