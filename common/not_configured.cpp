// SPDX-License-Identifier: Apache-2.0
#include "common/not_configured.h"

#include <algorithm>

namespace common {

namespace {

// A long list is of no use on one line.
std::string cut(const std::string &list) {
    constexpr std::size_t longest = 120;
    if (list.size() <= longest) {
        return list;
    }
    const std::size_t comma = list.rfind(',', longest);
    return comma == std::string::npos ? "..." : list.substr(0, comma) + ", ...";
}

std::string not_configured(const std::string &noun, const std::string &which, const std::string &list) {
    return noun + " " + which + " is not configured (" + noun + "s: " + list + ")";
}

} // namespace

std::string number_ranges(const std::vector<std::uint32_t> &ascending) {
    std::string text;
    for (std::size_t first = 0; first < ascending.size();) {
        std::size_t last = first;
        while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1) {
            ++last;
        }
        if (!text.empty()) {
            text += ", ";
        }
        text += std::to_string(ascending[first]);
        if (last > first) {
            text += (last == first + 1 ? ", " : "-") + std::to_string(ascending[last]);
        }
        first = last + 1;
    }
    return text;
}

std::string list_text(std::vector<std::uint32_t> numbers) {
    std::sort(numbers.begin(), numbers.end());
    return cut(numbers.empty() ? "none" : number_ranges(numbers));
}

std::string not_configured_text(const std::string &noun, std::uint32_t number,
                                std::vector<std::uint32_t> configured) {
    return not_configured(noun, std::to_string(number), list_text(std::move(configured)));
}

std::string not_configured_text(const std::string &noun, const std::string &name,
                                const std::vector<std::string> &configured) {
    std::string names;
    for (const std::string &other : configured) {
        if (!other.empty()) {
            names += (names.empty() ? "" : ", ") + other;
        }
    }
    return not_configured(noun, name, cut(names.empty() ? "none" : names));
}

std::string ambiguous_text(const std::string &noun, const std::string &name, std::vector<std::uint32_t> found) {
    return "several " + noun + "s have the name " + name + ": use the number (" + noun +
           "s: " + list_text(std::move(found)) + ")";
}

} // namespace common
