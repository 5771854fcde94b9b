// SPDX-License-Identifier: Apache-2.0
// What the tools print about a node or an adapter that the configuration does not have.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace common {

// "1-3, 7"; empty without numbers.
std::string number_ranges(const std::vector<std::uint32_t> &ascending);

// "node 77 is not configured (nodes: 1-5)". Long lists are cut.
std::string not_configured_text(const std::string &noun, std::uint32_t number,
                                std::vector<std::uint32_t> configured);

// "node omega is not configured (nodes: alpha, beta)". Members without a name are left out.
std::string not_configured_text(const std::string &noun, const std::string &name,
                                const std::vector<std::string> &configured);

// "several nodes have the name alpha: use the number (nodes: 3, 5)"
std::string ambiguous_text(const std::string &noun, const std::string &name, std::vector<std::uint32_t> found);

// "1-5", or "none"
std::string list_text(std::vector<std::uint32_t> numbers);

} // namespace common
