// SPDX-License-Identifier: Apache-2.0
// Nodes and adapters as the user typed them, and as wispd's state describes them.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace wispctl {

// Returns a number for text of digits, and otherwise the text, which is a name. Throws Failure for an empty word and
// for a number that no integer holds.
nlohmann::ordered_json member_of(const std::string &word);

// Returns the number of the node or adapter ("alpha/net_a") with the name. Throws Failure. The state of wispd
// also describes members that have left the configuration and can join again; that of a cluster service has no adapters.
int64_t find_member(const std::string &noun, const std::string &name, const nlohmann::ordered_json &state);

// Returns a line about a number that is not configured; nothing if it is.
std::optional<std::string> why_not_configured(const std::string &noun, int64_t number,
                                              const nlohmann::ordered_json &state);

} // namespace wispctl
