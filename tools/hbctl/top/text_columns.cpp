// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/text_columns.h"

#include <algorithm>
#include <array>

namespace hbctl {
namespace {

unsigned byte_at(std::string_view text, std::size_t place) {
    return static_cast<unsigned char>(text[place]);
}

std::size_t length_of(unsigned lead) {
    return lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

struct Ascii {
    char32_t code;
    char text;
};

// The characters of the frames.
constexpr std::array SUBSTITUTES{
    Ascii{U'●', '+'}, Ascii{U'○', 'o'}, Ascii{U'✗', 'X'}, Ascii{U'◐', '%'}, Ascii{U'·', '.'},
    Ascii{U'─', '-'}, Ascii{U'…', '~'}, Ascii{U'▸', '>'}, Ascii{U'│', '|'}, Ascii{U'↑', '^'},
    Ascii{U'↓', 'v'}, Ascii{U'←', '<'}, Ascii{U'→', '>'}, Ascii{U'↳', '`'},
};

} // namespace

Text_Character next_character(std::string_view &text) {
    const std::size_t length = length_of(byte_at(text, 0));
    Text_Character character;
    if (length <= 1 || length > text.size()) {
        character = {static_cast<char32_t>(byte_at(text, 0)), text.substr(0, 1), 1};
    } else {
        char32_t code = byte_at(text, 0) & (0xFFU >> (length + 1));
        for (std::size_t i = 1; i < length; ++i) {
            code = code << 6 | (byte_at(text, i) & 0x3F);
        }
        character = {code, text.substr(0, length), width_of(text.substr(0, length))};
    }
    text.remove_prefix(character.bytes.size());
    return character;
}

std::string cut_to(std::string_view text, std::size_t columns) {
    if (width_of(text) <= columns) {
        return std::string(text);
    }
    if (columns == 0) {
        return "";
    }
    std::string result;
    std::size_t used = 0;
    while (!text.empty()) {
        const Text_Character character = next_character(text);
        if (used + character.columns > columns - 1) {
            break;
        }
        result += character.bytes;
        used += character.columns;
    }
    return result + "…";
}

std::string fitted(std::string_view text, std::size_t columns, Align align) {
    const std::string shown = cut_to(text, columns);
    const std::string blanks(columns - width_of(shown), ' ');
    return align == Align::left ? shown + blanks : blanks + shown;
}

std::string ascii_text(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const Text_Character character = next_character(text);
        if (character.bytes.size() == 1) {
            result += character.bytes;
            continue;
        }
        const auto *const found =
            std::find_if(SUBSTITUTES.begin(), SUBSTITUTES.end(),
                         [&](const Ascii &substitute) { return substitute.code == character.code; });
        result += std::string(character.columns, found == SUBSTITUTES.end() ? '?' : found->text);
    }
    return result;
}

} // namespace hbctl
