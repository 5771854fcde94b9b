// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/number_list.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace hbctl {
namespace {

std::optional<std::uint32_t> parse_number(std::string_view text) {
    std::uint32_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return number;
}

std::string add_item(std::string_view item, std::uint32_t highest, std::vector<std::uint32_t> &numbers) {
    const std::size_t dash = item.find('-');
    const auto first = parse_number(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : parse_number(item.substr(dash + 1));
    const std::string quoted = "'" + std::string(item) + "'";
    if (!first || !last) {
        return quoted + " is not a number or a range such as 5-7";
    }
    if (*last < *first) {
        return quoted + " is a range that ends before it begins";
    }
    if (*last > highest) {
        return quoted + " is out of range: the highest number is " + std::to_string(highest);
    }
    for (std::uint32_t number = *first; number <= *last; ++number) {
        numbers.push_back(number);
    }
    return "";
}

} // namespace

Number_List parse_number_list(const std::string &text, std::uint32_t highest) {
    Number_List list;
    std::string_view rest = text;
    for (;;) {
        const std::size_t comma = rest.find(',');
        list.complaint = add_item(rest.substr(0, comma), highest, list.numbers);
        if (!list.complaint.empty() || comma == std::string_view::npos) {
            return list;
        }
        rest.remove_prefix(comma + 1);
    }
}

} // namespace hbctl
