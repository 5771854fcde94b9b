// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/text_columns.h"

#include <algorithm>
#include <array>

namespace hbctl {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// Characters that combine with the one before them, and those without a width.
constexpr std::array COMBINING{
    Range{0x0300, 0x036F},   Range{0x0483, 0x0489},   Range{0x0591, 0x05BD}, Range{0x0610, 0x061A},
    Range{0x064B, 0x065F},   Range{0x06D6, 0x06DC},   Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E},
    Range{0x1AB0, 0x1AFF},   Range{0x1DC0, 0x1DFF},   Range{0x200B, 0x200D}, Range{0x2060, 0x2064},
    Range{0x20D0, 0x20FF},   Range{0xFE00, 0xFE0F},   Range{0xFE20, 0xFE2F}, Range{0xFEFF, 0xFEFF},
    Range{0x1F3FB, 0x1F3FF}, Range{0xE0100, 0xE01EF},
};

// Characters of two columns: East Asian wide ones, and pictures.
constexpr std::array WIDE{
    Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x23E9, 0x23EC},   Range{0x2614, 0x2615},
    Range{0x2705, 0x2705},   Range{0x274C, 0x274C},   Range{0x2B50, 0x2B50},   Range{0x2E80, 0x303E},
    Range{0x3041, 0x33FF},   Range{0x3400, 0x4DBF},   Range{0x4E00, 0xA4CF},   Range{0xA960, 0xA97F},
    Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},
    Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F}, Range{0x1F680, 0x1F6FF}, Range{0x1F900, 0x1FAFF},
    Range{0x20000, 0x3FFFD},
};

template <typename Ranges> bool contains(const Ranges &ranges, char32_t code) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const Range &range) { return code >= range.first && code <= range.last; });
}

unsigned byte_at(std::string_view text, std::size_t place) {
    return static_cast<unsigned char>(text[place]);
}

std::size_t length_of(unsigned lead) {
    return lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

std::size_t columns_of_code(char32_t code) {
    if (code < 0x0300) {
        return 1;
    }
    if (contains(COMBINING, code)) {
        return 0;
    }
    return contains(WIDE, code) ? 2 : 1;
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
        character = {code, text.substr(0, length), columns_of_code(code)};
    }
    text.remove_prefix(character.bytes.size());
    return character;
}

std::size_t columns_of(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        columns += next_character(text).columns;
    }
    return columns;
}

std::string cut_to(std::string_view text, std::size_t columns) {
    if (columns_of(text) <= columns) {
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
    const std::string blanks(columns - columns_of(shown), ' ');
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
