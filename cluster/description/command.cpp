// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/command.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "cluster/address.h"
#include "cluster/description/text_limits.h"
#include "host/log.h"
#include "host/text.h"
#include "qz_ffdc.h"

namespace wispd {

namespace {

struct Verb_Rule {
    const char *name;
    Verb verb;
    std::vector<std::string_view> required;
    std::vector<std::string_view> optional;
};

const std::vector<Verb_Rule> &rules() {
    static const std::vector<Verb_Rule> table = {
        {"node-up", Verb::node_up, {"node"}, {}},
        {"node-down", Verb::node_down, {"node"}, {}},
        {"node-join", Verb::node_join, {"node"}, {}},
        {"node-leave", Verb::node_leave, {"node"}, {}},
        {"adapter-up", Verb::adapter_up, {"adapter"}, {}},
        {"adapter-down", Verb::adapter_down, {"adapter"}, {}},
        {"adapter-join", Verb::adapter_join, {"adapter"}, {"address", "type"}},
        {"adapter-leave", Verb::adapter_leave, {"adapter"}, {}},
        {"reconfigure", Verb::reconfigure, {}, {"config"}},
        {"heartbeat", Verb::heartbeat, {}, {"threshold_seconds", "threshold_microseconds", "enabled"}},
        {"ffdc", Verb::ffdc, {}, {"id"}},
        {"foreign-instance", Verb::foreign_instance, {"address", "instance"}, {}},
        {"node-may-be-down", Verb::node_may_be_down, {"node"}, {}},
        {"adapter-may-be-down", Verb::adapter_may_be_down, {"adapter"}, {}},
        {"swap-adapters", Verb::swap_adapters, {"adapter", "address"}, {}},
        {"rotate-key", Verb::rotate_key, {}, {}},
        {"play", Verb::play, {}, {"timeline"}},
        {"log-level", Verb::log_level, {"level"}, {}},
        {"stop", Verb::stop, {}, {}},
        {"state", Verb::state, {}, {}},
    };
    return table;
}

const Verb_Rule &rule_of(const std::string &verb) {
    for (const Verb_Rule &rule : rules()) {
        if (verb == rule.name) {
            return rule;
        }
    }
    std::string known;
    for (const Verb_Rule &rule : rules()) {
        known += known.empty() ? "" : ", ";
        known += rule.name;
    }
    throw Command_Error(text("unknown command '", verb, "'; expected one of: ", known));
}

bool contains(const std::vector<std::string_view> &list, std::string_view name) {
    return std::find(list.begin(), list.end(), name) != list.end();
}

void check_names(const Verb_Rule &rule, const Arguments &arguments) {
    for (const auto &[name, value] : arguments) {
        if (!contains(rule.required, name) && !contains(rule.optional, name)) {
            throw Command_Error(text(rule.name, " does not accept '", name, "'"));
        }
    }
    for (std::string_view name : rule.required) {
        if (!arguments.contains(name)) {
            throw Command_Error(text(rule.name, " requires '", name, "'"));
        }
    }
}

std::optional<int64_t> integer(const Arguments &arguments, const char *name, int64_t lowest, int64_t highest) {
    const auto found = arguments.find(name);
    if (found == arguments.end()) {
        return std::nullopt;
    }
    const int64_t *value = std::get_if<int64_t>(&found->second);
    if (value == nullptr || *value < lowest || *value > highest) {
        throw Command_Error(text("'", name, "' must be an integer from ", lowest, " to ", highest));
    }
    return *value;
}

std::optional<int32_t> integer32(const Arguments &arguments, const char *name, int32_t highest) {
    const std::optional<int64_t> value = integer(arguments, name, 0, highest);
    return value ? std::optional<int32_t>(static_cast<int32_t>(*value)) : std::nullopt;
}

std::optional<std::string> string(const Arguments &arguments, const char *name, std::size_t longest) {
    const auto found = arguments.find(name);
    if (found == arguments.end()) {
        return std::nullopt;
    }
    const std::string *value = std::get_if<std::string>(&found->second);
    if (value == nullptr || value->empty() || value->size() > longest ||
        std::any_of(value->begin(), value->end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
        throw Command_Error(text("'", name, "' must be text of 1 to ", longest, " printable bytes"));
    }
    return *value;
}

std::optional<bool> boolean(const Arguments &arguments, const char *name) {
    const auto found = arguments.find(name);
    if (found == arguments.end()) {
        return std::nullopt;
    }
    const bool *value = std::get_if<bool>(&found->second);
    if (value == nullptr) {
        throw Command_Error(text("'", name, "' must be true or false"));
    }
    return *value;
}

std::optional<Hb_IP_address6> address(const Arguments &arguments, const char *name) {
    const std::optional<std::string> written = string(arguments, name, NAME_LONGEST);
    if (!written) {
        return std::nullopt;
    }
    const std::optional<Hb_IP_address6> value = parse_address(*written);
    if (!value) {
        throw Command_Error(text("\"", *written, "\" is not an address; expected an IPv4 or IPv6 address"));
    }
    return value;
}

// Returns an empty text when no identifier is given.
std::string failure_identifier(const Arguments &arguments) {
    const std::optional<std::string> written = string(arguments, "id", HB_FFDC_ID_SIZE - 1);
    if (!written) {
        return {};
    }
    fc_eid_t id{};
    written->copy(id, sizeof id - 1);
    if (qz_ffdc_check_id(id) != 0) {
        throw Command_Error(text("\"", *written, "\" is not a failure identifier; expected 1 to ",
                                 sizeof id - 1, " printable ASCII characters"));
    }
    return *written;
}

// Returns an empty text when no level is given.
std::string level_of(const Arguments &arguments) {
    const std::string level = string(arguments, "level", NAME_LONGEST).value_or("");
    if (!level.empty() && !is_log_level(level)) {
        throw Command_Error(text("\"", level, "\" is not a log level; expected debug, info, warning or error"));
    }
    return level;
}

Changes change_heartbeat(const Command &command, Cluster &cluster) {
    Heartbeat settings = cluster.heartbeat().value_or(Heartbeat{0, 0, true});
    settings.threshold_seconds = command.threshold_seconds.value_or(settings.threshold_seconds);
    settings.threshold_microseconds = command.threshold_microseconds.value_or(settings.threshold_microseconds);
    settings.enabled = command.enabled.value_or(settings.enabled);
    return cluster.set_heartbeat(settings);
}

} // namespace

const char *verb_name(Verb verb) {
    for (const Verb_Rule &rule : rules()) {
        if (rule.verb == verb) {
            return rule.name;
        }
    }
    return "?";
}

Command make_command(const std::string &verb, const Arguments &arguments) {
    const Verb_Rule &rule = rule_of(verb);
    check_names(rule, arguments);
    Command command;
    command.verb = rule.verb;
    command.node = static_cast<int>(integer(arguments, "node", 0, HB_NODE_SLOTS - 1).value_or(-1));
    command.adapter = integer(arguments, "adapter", 0, HB_ADAPTER_SLOTS - 1).value_or(-1);
    command.address = address(arguments, "address");
    command.type = string(arguments, "type", HB_ADAPTER_TYPE_SIZE - 1);
    command.config = string(arguments, "config", PATH_LONGEST).value_or("");
    command.timeline = string(arguments, "timeline", PATH_LONGEST).value_or("");
    command.threshold_seconds = integer32(arguments, "threshold_seconds", INT32_MAX);
    command.threshold_microseconds = integer32(arguments, "threshold_microseconds", 999999);
    command.enabled = boolean(arguments, "enabled");
    command.id = failure_identifier(arguments);
    command.level = level_of(arguments);
    command.instance =
        static_cast<Hb_Config_Instance>(integer(arguments, "instance", 0, UINT32_MAX).value_or(0));
    return command;
}

std::optional<Node_Request> node_request_of(const Command &command, const Cluster &cluster) {
    Node_Request request;
    switch (command.verb) {
    case Verb::node_may_be_down:
        request.kind = HB_NODE_MAY_BE_DOWN;
        request.number = command.node;
        return request;
    case Verb::adapter_may_be_down:
        request.kind = HB_ADAPTER_MAY_BE_DOWN;
        request.number = command.adapter;
        return request;
    case Verb::swap_adapters:
        if (command.adapter / cluster.adapters_per_node() != cluster.local_node()) {
            throw Refused(text("adapter ", command.adapter, " does not belong to the local node"));
        }
        if (!IN6_IS_ADDR_V4MAPPED(&command.address->i6_ipv6)) {
            throw Refused(text("address ", address_text(*command.address), " is not an IPv4 address"));
        }
        request.kind = HB_SWAP_ADAPTERS;
        request.number = command.adapter % cluster.adapters_per_node();
        request.address.s_addr = command.address->v4_in_v6.v4_in_v6_ipv4;
        return request;
    default:
        return std::nullopt;
    }
}

Changes apply(const Command &command, Cluster &cluster) {
    switch (command.verb) {
    case Verb::node_up:
        return cluster.node_up(command.node);
    case Verb::node_down:
        return cluster.node_down(command.node);
    case Verb::node_join:
        return cluster.node_join(command.node);
    case Verb::node_leave:
        return cluster.node_leave(command.node);
    case Verb::adapter_up:
        return cluster.adapter_up(command.adapter);
    case Verb::adapter_down:
        return cluster.adapter_down(command.adapter);
    case Verb::adapter_join:
        return cluster.adapter_join(command.adapter, command.address, command.type);
    case Verb::adapter_leave:
        return cluster.adapter_leave(command.adapter);
    case Verb::heartbeat:
        return change_heartbeat(command, cluster);
    case Verb::ffdc:
        return cluster.report_failure(command.id);
    case Verb::foreign_instance:
        return cluster.report_foreign_instance({*command.address, command.instance});
    case Verb::node_may_be_down:
    case Verb::adapter_may_be_down:
    case Verb::swap_adapters:
    case Verb::rotate_key:
    case Verb::reconfigure:
    case Verb::play:
    case Verb::log_level:
    case Verb::stop:
    case Verb::state:
        break;
    }
    throw Refused(text(verb_name(command.verb), " does not concern the cluster itself"));
}

} // namespace wispd
