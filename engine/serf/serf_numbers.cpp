// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_numbers.h"

#include <charconv>

#include "common/printable.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr std::string_view DIGITS = "0123456789";
constexpr std::size_t DIGITS_MOST = 9; // fit into an int

} // namespace

Serf_Numbers::Serf_Numbers(const Serf_Settings &settings)
    : discover_(settings.discover), max_nodes_(settings.cluster.max_nodes) {
    for (const Configured_Node &node : settings.cluster.nodes) {
        by_name_.emplace(node.name, node.number);
        configured_.emplace(node.number, node.name);
    }
}

Serf_Numbers::Answer Serf_Numbers::node_of(const Serf_Member &member) const {
    if (member.node_tag) {
        return checked(*member.node_tag);
    }
    if (const auto named = by_name_.find(member.name); named != by_name_.end()) {
        return {named->second, {}};
    }
    if (!discover_) {
        return {std::nullopt, "no [[node]] has its name, and it has no tag hb_node"};
    }
    const std::size_t letter = member.name.find_last_not_of(DIGITS);
    const std::string digits = member.name.substr(letter == std::string::npos ? 0 : letter + 1);
    if (digits.empty()) {
        return {std::nullopt, "it has no tag hb_node, and its name does not end with a number"};
    }
    return checked(digits);
}

Serf_Numbers::Answer Serf_Numbers::checked(const std::string &digits) const {
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (digits.empty() || digits.find_first_not_of(DIGITS) != std::string::npos) {
        return {std::nullopt,
                text("\"", terminal::printable(digits.substr(0, DIGITS_MOST)), "\" is not a node number")};
    }
    if (error != std::errc() || number >= max_nodes_) {
        return {std::nullopt, text("node number ", digits.substr(0, DIGITS_MOST), " is out of range: 0 to ",
                                   max_nodes_ - 1, " are possible")};
    }
    if (!discover_ && !configured_.contains(number)) {
        return {std::nullopt, text("no [[node]] has number ", number)};
    }
    return {number, {}};
}

} // namespace wispd
