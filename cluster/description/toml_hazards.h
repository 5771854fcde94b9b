// SPDX-License-Identifier: Apache-2.0
// Finds what would crash the TOML parser: tables and arrays so deep that the stack overflows, and unexpected
// headers. The search itself creates no table.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace wispd {

inline constexpr std::size_t TOML_NESTING_DEEPEST = 32;

struct Toml_Hazard {
    std::size_t line;
    std::size_t column;
    bool is_bad_header = false; // a table header has no name, or more than two brackets
};

// Returns where the document first nests deeper than TOML_NESTING_DEEPEST, or has a header that the parser
// cannot handle. Returns nothing for a safe document. Each part of a dotted key counts as a table. A dot in a
// number also counts as a level, which is one more than there is.
std::optional<Toml_Hazard> find_toml_hazard(std::string_view document);

} // namespace wispd
