// SPDX-License-Identifier: Apache-2.0
#include "host/text.h"

#include <algorithm>

namespace wispd {

namespace {

constexpr std::size_t NUMBERS_LISTED = 16;

} // namespace

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
