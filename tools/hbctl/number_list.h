// SPDX-License-Identifier: Apache-2.0
// Lists of numbers as users type them: "1,2,5-7".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

struct Number_List {
    std::vector<std::uint32_t> numbers; // in the given order, with ranges expanded
    std::string complaint;              // empty: the text was valid
};

Number_List parse_number_list(const std::string &text, std::uint32_t highest);

} // namespace hbctl
