// What in a TOML document would bring the parser down: tables and arrays nested so deep that the stack overflows, and
// headers that it does not expect. Found without making any table.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace wispd {

inline constexpr std::size_t TOML_NESTING_DEEPEST = 32;

struct Toml_Hazard {
    std::size_t line;
    std::size_t column;
    bool is_bad_header = false; // a table's header has no name there, or more than two brackets
};

// Where the document first goes deeper than TOML_NESTING_DEEPEST, or has a header that the parser takes for granted not
// to meet; nothing where it does neither. Each part of a dotted key
// counts as a table. A dot in a number counts as well, which is one more than is there.
std::optional<Toml_Hazard> find_toml_hazard(std::string_view document);

} // namespace wispd
