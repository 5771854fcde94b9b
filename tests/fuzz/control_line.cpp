// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/control_line.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include <nlohmann/json.hpp>

#include "cluster/description/command_json.h"

namespace {

using nlohmann::json;
using namespace wispd;

// No value: a value that no command accepts.
std::optional<Argument> argument_of(const json &value) {
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    if (value.is_number_unsigned() &&
        value.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        return std::nullopt;
    }
    if (value.is_number_integer()) {
        return value.get<int64_t>();
    }
    return value.is_string() ? std::optional<Argument>(value.get<std::string>()) : std::nullopt;
}

// The command by way of a tree. Nothing: the line must be rejected.
std::optional<Command> plainly(const std::string &line) {
    std::set<std::string> names;
    bool repeated = false;
    const json tree = json::parse(
        line,
        [&](int, json::parse_event_t event, const json &value) {
            repeated = repeated ||
                       (event == json::parse_event_t::key && !names.insert(value.get<std::string>()).second);
            return true;
        },
        false);
    if (!tree.is_object() || repeated || !tree.contains("do") || !tree["do"].is_string()) {
        return std::nullopt;
    }
    Arguments arguments;
    for (const auto &[name, value] : tree.items()) {
        const std::optional<Argument> argument = argument_of(value);
        if (!argument) {
            return std::nullopt;
        }
        if (name != "do") {
            arguments.emplace(name, *argument);
        }
    }
    try {
        return make_command(tree["do"].get<std::string>(), arguments);
    } catch (const Command_Error &) {
        return std::nullopt;
    }
}

std::optional<Command> parsed(const std::string &line) {
    try {
        return parse_command_line(line);
    } catch (const Command_Error &) {
        return std::nullopt;
    }
}

bool are_same(const std::optional<Command> &a, const std::optional<Command> &b) {
    if (!a || !b) {
        return a.has_value() == b.has_value();
    }
    const auto members = [](const Command &it) {
        return std::tie(it.verb, it.node, it.adapter, it.type, it.config, it.timeline, it.threshold_seconds,
                        it.threshold_microseconds, it.enabled, it.id, it.instance, it.level);
    };
    const bool same_address = a->address.has_value() == b->address.has_value() &&
                              (!a->address || std::memcmp(&*a->address, &*b->address, sizeof *a->address) == 0);
    return members(*a) == members(*b) && same_address;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string line(data, data + size);
    if (!are_same(parsed(line), plainly(line))) {
        std::abort();
    }
    command_description(line);
    return 0;
}
