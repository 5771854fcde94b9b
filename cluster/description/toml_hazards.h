// How deep the tables and arrays of a TOML document lie in each other, found out without making any of them. The parser
// and the destructors of what it makes go as deep on the stack.
#ifndef WISPD_TOML_NESTING_H
#define WISPD_TOML_NESTING_H

#include <cstddef>
#include <optional>
#include <string_view>

namespace wispd {

inline constexpr std::size_t TOML_NESTING_DEEPEST = 32;

struct Toml_Place {
    std::size_t line;
    std::size_t column;
    bool is_header = false; // a table's header has no name there, or more than two brackets
};

// Where the document first goes deeper than TOML_NESTING_DEEPEST, or has a header that the parser takes for granted not
// to meet; nothing where it does neither. Each part of a dotted key
// counts as a table. A dot in a number counts as well, which is one more than is there.
std::optional<Toml_Place> find_deep_nesting(std::string_view document);

} // namespace wispd

#endif
