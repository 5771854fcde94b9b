// SPDX-License-Identifier: Apache-2.0
// Text in columns of a terminal. It does not ask the locale, so a frame is the same everywhere.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/hbctl/text_table.h"
#include "tools/hbctl/text_width.h"

namespace hbctl {

struct Text_Character {
    char32_t code = 0;
    std::string_view bytes;
    std::size_t columns = 0; // 0: it combines with the character before it
};

// Removes the first character of a text that is not empty. A byte that is no UTF-8 is a character of one column.
Text_Character next_character(std::string_view &text);

// Returns the text, or as much of its beginning as fits with "…" behind it.
std::string cut_to(std::string_view text, std::size_t columns);

// Returns the text in exactly this many columns.
std::string fitted(std::string_view text, std::size_t columns, Align align = Align::left);

// Replaces each character that is not ASCII with as many ASCII characters as it has columns.
std::string ascii_text(std::string_view text);

} // namespace hbctl
