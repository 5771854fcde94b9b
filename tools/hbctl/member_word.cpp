// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/member_word.h"

#include <algorithm>
#include <charconv>

#include "tools/hbctl/number_list.h"

namespace hbctl {
namespace {

constexpr const char *DIGITS = "0123456789";

bool is_digits(const std::string &text) {
    return !text.empty() && text.find_first_not_of(DIGITS) == std::string::npos;
}

// A sign belongs to a number that the user got wrong, not to a name.
bool looks_like_number(const std::string &text) {
    const bool has_sign = !text.empty() && (text.front() == '-' || text.front() == '+');
    return is_digits(has_sign ? text.substr(1) : text);
}

bool looks_like_range(const std::string &text) {
    const std::size_t dash = text.find('-');
    return dash != std::string::npos && is_digits(text.substr(0, dash)) && is_digits(text.substr(dash + 1));
}

// Numbers beyond 32 bits become the highest one, which no range contains.
std::uint32_t number_of(const std::string &digits) {
    std::uint32_t number = UINT32_MAX;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

} // namespace

std::string word_text(const Member_Word &word) {
    return word.name.empty() ? std::to_string(word.number) : word.name;
}

std::string complaint_about_member(const std::string &text, std::uint32_t highest) {
    if (text.empty()) {
        return "a number or a name is empty";
    }
    if (looks_like_number(text) && (!is_digits(text) || number_of(text) > highest)) {
        return "'" + text + "' is not a number from 0 to " + std::to_string(highest);
    }
    return "";
}

Member_Word member_word(const std::string &text) {
    return is_digits(text) ? Member_Word{number_of(text), ""} : Member_Word{0, text};
}

Member_List parse_member_list(const std::string &text, std::uint32_t highest) {
    Member_List list;
    for (std::size_t at = 0; list.complaint.empty() && at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const std::string item = text.substr(at, end - at);
        if (item.empty() || looks_like_number(item) || looks_like_range(item)) {
            const Number_List numbers = parse_number_list(item, highest);
            list.complaint = numbers.complaint;
            for (const std::uint32_t number : numbers.numbers) {
                list.members.push_back({number, ""});
            }
        } else {
            list.members.push_back({0, item});
        }
        at = end + 1;
    }
    return list;
}

} // namespace hbctl
