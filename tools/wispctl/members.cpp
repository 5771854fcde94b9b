// SPDX-License-Identifier: Apache-2.0
#include "tools/wispctl/members.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <vector>

#include "common/not_configured.h"
#include "tools/wispctl/connection.h"

namespace wispctl {

namespace {

using nlohmann::ordered_json;

struct Member {
    std::uint32_t number = 0;
    std::string name;
    bool configured = false;
};

std::string network_name(const ordered_json &state, const ordered_json &number) {
    for (const ordered_json &network : state.at("networks")) {
        if (network.at("number") == number) {
            return network.at("name").get<std::string>();
        }
    }
    return "";
}

std::vector<Member> adapters_of(const ordered_json &node, const ordered_json &state) {
    std::vector<Member> adapters;
    for (const ordered_json &adapter : node.at("adapters")) {
        const std::string network = network_name(state, adapter.at("network"));
        adapters.push_back({adapter.at("number").get<std::uint32_t>(),
                            network.empty() ? "" : node.at("name").get<std::string>() + "/" + network,
                            adapter.at("configured").get<bool>()});
    }
    return adapters;
}

std::vector<Member> members_of(const std::string &noun, const ordered_json &state) {
    std::vector<Member> members;
    try {
        for (const ordered_json &node : state.at("nodes")) {
            if (noun == "node") {
                members.push_back({node.at("number").get<std::uint32_t>(), node.at("name").get<std::string>(),
                                   node.value("configured", true)});
            } else {
                const std::vector<Member> adapters = adapters_of(node, state);
                members.insert(members.end(), adapters.begin(), adapters.end());
            }
        }
    } catch (const ordered_json::exception &) {
        throw Failure("the state of " + noun + "s has no names; use the number");
    }
    return members;
}

} // namespace

ordered_json member_of(const std::string &word) {
    if (word.empty()) {
        throw Failure("the number or name of the node or adapter is empty");
    }
    const std::size_t sign = word.starts_with("-") ? 1 : 0;
    if (word.size() == sign || word.find_first_not_of("0123456789", sign) != std::string::npos) {
        return word;
    }
    int64_t number = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{}) {
        throw Failure("'" + word + "' is not a number of a node or an adapter");
    }
    return number;
}

int64_t find_member(const std::string &noun, const std::string &name, const ordered_json &state) {
    std::vector<std::uint32_t> found;
    std::vector<std::string> names;
    for (const Member &member : members_of(noun, state)) {
        names.push_back(member.name);
        if (member.name == name) {
            found.push_back(member.number);
        }
    }
    if (found.empty()) {
        throw Failure(common::not_configured_text(noun, name, names));
    }
    if (found.size() > 1) {
        throw Failure(common::ambiguous_text(noun, name, found));
    }
    return found.front();
}

std::optional<std::string> why_not_configured(const std::string &noun, int64_t number,
                                              const ordered_json &state) {
    std::vector<std::uint32_t> configured;
    for (const Member &member : members_of(noun, state)) {
        if (member.configured) {
            configured.push_back(member.number);
        }
    }
    const auto is_it = [number](std::uint32_t other) { return int64_t{other} == number; };
    if (std::any_of(configured.begin(), configured.end(), is_it)) {
        return std::nullopt;
    }
    return noun + " " + std::to_string(number) + " is not configured (" + noun +
           "s: " + common::list_text(configured) + ")";
}

} // namespace wispctl
