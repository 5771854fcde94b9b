// SPDX-License-Identifier: Apache-2.0
// The columns that text occupies on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace hbctl {

// Characters of East Asian scripts and pictures occupy two columns, combining marks none.
std::size_t width_of(std::string_view text);

// Returns text of at most this width. It ends in "..." if something was left out; a list is cut behind a comma.
std::string shortened(const std::string &text, std::size_t width);

} // namespace hbctl
