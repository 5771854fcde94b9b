// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/text_width.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace hbctl {
namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// Also the marks of Hebrew, Arabic and Thai.
constexpr std::array ZERO_WIDTH{
    Range{0x0300, 0x036F},   Range{0x0483, 0x0489},   Range{0x0591, 0x05BD}, Range{0x0610, 0x061A},
    Range{0x064B, 0x065F},   Range{0x06D6, 0x06DC},   Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E},
    Range{0x1AB0, 0x1AFF},   Range{0x1DC0, 0x1DFF},   Range{0x200B, 0x200D}, Range{0x2060, 0x2064},
    Range{0x20D0, 0x20FF},   Range{0xFE00, 0xFE0F},   Range{0xFE20, 0xFE2F}, Range{0xFEFF, 0xFEFF},
    Range{0x1F3FB, 0x1F3FF}, Range{0xE0100, 0xE01EF},
};

constexpr std::array DOUBLE_WIDTH{
    Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x23E9, 0x23EC},   Range{0x2614, 0x2615},
    Range{0x2705, 0x2705},   Range{0x274C, 0x274C},   Range{0x2B50, 0x2B50},   Range{0x2E80, 0x303E},
    Range{0x3041, 0x33FF},   Range{0x3400, 0x4DBF},   Range{0x4E00, 0x9FFF},   Range{0xA000, 0xA4CF},
    Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},
    Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F}, Range{0x1F680, 0x1F6FF},
    Range{0x1F900, 0x1FAFF}, Range{0x20000, 0x3FFFD},
};

template <typename Ranges> bool is_in(std::uint32_t code, const Ranges &ranges) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const Range &range) { return code >= range.first && code <= range.last; });
}

unsigned byte_at(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// Invalid UTF-8 counts one column for each byte; output replaces it anyway.
std::size_t character_size(std::string_view text, std::size_t at) {
    const unsigned lead = byte_at(text, at);
    const std::size_t size = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return std::min(size, text.size() - at);
}

std::size_t character_width(std::string_view character) {
    if (character.size() == 1) {
        return 1;
    }
    std::uint32_t code = byte_at(character, 0) & (0xFFU >> (character.size() + 1));
    for (std::size_t at = 1; at < character.size(); ++at) {
        code = code << 6U | (byte_at(character, at) & 0x3FU);
    }
    return is_in(code, ZERO_WIDTH) ? 0 : is_in(code, DOUBLE_WIDTH) ? 2 : 1;
}

// Returns the longest beginning of at most this width.
std::string beginning(const std::string &text, std::size_t width) {
    std::size_t used = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t size = character_size(text, at);
        used += character_width(std::string_view(text).substr(at, size));
        if (used > width) {
            break;
        }
        at += size;
    }
    return text.substr(0, at);
}

} // namespace

std::size_t width_of(std::string_view text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = character_size(text, at);
        width += character_width(text.substr(at, size));
        at += size;
    }
    return width;
}

std::string shortened(const std::string &text, std::size_t width) {
    constexpr std::string_view dots = "...";
    if (width_of(text) <= width) {
        return text;
    }
    if (width <= dots.size()) {
        return beginning(text, width);
    }
    std::string kept = beginning(text, width - dots.size());
    if (const std::size_t comma = kept.rfind(", "); comma != std::string::npos) {
        kept.erase(comma + 2);
    }
    return kept + std::string(dots);
}

} // namespace hbctl
