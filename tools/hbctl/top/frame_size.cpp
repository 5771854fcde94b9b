// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/frame_size.h"

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hbctl {
namespace {

constexpr std::size_t DEFAULT_COLUMNS = 80;
constexpr std::size_t LEAST_COLUMNS = 20;
constexpr std::size_t MOST_FRAME_COLUMNS = 1000;

std::optional<std::size_t> columns_of_environment() {
    const char *value = std::getenv("COLUMNS");
    if (value == nullptr) {
        return std::nullopt;
    }
    const std::string_view text = value;
    std::size_t columns = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), columns);
    const bool is_number = error == std::errc{} && end == text.data() + text.size();
    const bool is_usable = columns >= LEAST_COLUMNS && columns <= MOST_FRAME_COLUMNS;
    return is_number && is_usable ? std::optional(columns) : std::nullopt;
}

} // namespace

Frame_Size frame_size(const Top_Options &options) {
    Frame_Size size{DEFAULT_COLUMNS, 0};
    winsize terminal{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &terminal) == 0 && terminal.ws_col > 0 && terminal.ws_row > 1) {
        size = {terminal.ws_col, terminal.ws_row - 1U}; // the prompt needs a row
    }
    size.columns = options.width.value_or(columns_of_environment().value_or(size.columns));
    size.rows = options.height.value_or(size.rows);
    return size;
}

} // namespace hbctl
