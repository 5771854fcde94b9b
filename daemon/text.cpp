#include "daemon/text.h"

#include <algorithm>

namespace wispd {

namespace {

constexpr std::size_t NUMBERS_LISTED = 16;

} // namespace

std::string one_line(std::string_view line) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            out += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
        } else {
            out += c;
        }
    }
    return out;
}

std::string list_of(const char *what, const std::vector<int64_t> &numbers) {
    if (numbers.empty()) {
        return {};
    }
    std::string list = text(what, ":");
    for (std::size_t i = 0; i < std::min(numbers.size(), NUMBERS_LISTED); ++i) {
        list += text(" ", numbers[i]);
    }
    if (numbers.size() > NUMBERS_LISTED) {
        list += text(" and ", numbers.size() - NUMBERS_LISTED, " more");
    }
    return list;
}

} // namespace wispd
