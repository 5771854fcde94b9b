// Builds a text out of pieces: text("node ", 3, " is down").
#ifndef WISPD_TEXT_H
#define WISPD_TEXT_H

#include <concepts>
#include <string>
#include <string_view>

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

} // namespace wispd

#endif
