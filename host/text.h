// SPDX-License-Identifier: Apache-2.0
// Builds text for people out of pieces, as in text("node ", 3, " is down").
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wispd {

inline void append_piece(std::string &out, std::string_view piece) {
    out += piece;
}

template <std::integral Number> void append_piece(std::string &out, Number number) {
    out += std::to_string(number);
}

template <typename... Pieces> std::string text(const Pieces &...pieces) {
    std::string out;
    (append_piece(out, pieces), ...);
    return out;
}

// Returns "what: 1 2 3" with the first 16 numbers; empty when there are no numbers.
std::string list_of(const char *what, const std::vector<int64_t> &numbers);

} // namespace wispd
