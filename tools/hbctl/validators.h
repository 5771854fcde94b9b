// Checks of the words on the command line. Each complaint uses the user's terms.
#pragma once

#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

namespace hbctl {

CLI::Validator member_up_to(std::uint32_t highest);      // a number or a name
CLI::Validator member_list_up_to(std::uint32_t highest); // of numbers, ranges and names
CLI::Validator subscription_name();
CLI::Validator not_empty(const std::string &what);
CLI::Validator positive_seconds(); // fractions allowed
CLI::Validator positive_count();
CLI::Validator whole_number(std::int64_t lowest, std::int64_t highest);
CLI::Validator ipv4_address();

} // namespace hbctl
