// Lists of numbers as a user types them: "1,2,5-7".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

struct NumberList {
    std::vector<std::uint32_t> numbers; // as given, ranges spread out
    std::string complaint;              // empty: the text was sound
};

NumberList parse_number_list(const std::string &text, std::uint32_t highest);

} // namespace hbctl
