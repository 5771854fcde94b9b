// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/terminal.h"

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hbctl {
namespace {

std::string_view variable(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::size_t width_from_environment() {
    const std::string_view text = variable("COLUMNS");
    std::size_t width = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), width);
    return error == std::errc{} && stop == text.data() + text.size() ? width : 0;
}

} // namespace

std::size_t terminal_width() {
    if (isatty(STDOUT_FILENO) == 0) {
        return 0;
    }
    if (const std::size_t width = width_from_environment(); width > 0) {
        return width;
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool has_colours() {
    return isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb" &&
           !variable("TERM").empty();
}

Table_Style table_style(const Arguments &arguments) {
    return {arguments.table.headings, arguments.table.columns, terminal_width(), has_colours()};
}

} // namespace hbctl
