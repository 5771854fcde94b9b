// SPDX-License-Identifier: Apache-2.0
#include "daemon/change_log.h"

#include <set>

#include "cluster/address.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

// Returns the nodes of the adapters, each once.
std::vector<int64_t> nodes_of(const std::vector<Adapter_Member> &members, int adapters_per_node) {
    std::set<int64_t> nodes;
    for (const Adapter_Member &member : members) {
        nodes.insert(static_cast<int64_t>(member.number) / adapters_per_node);
    }
    return {nodes.begin(), nodes.end()};
}

void log_adapters(const char *what, const std::vector<Adapter_Member> &members, const std::string &tail,
                  const Log_Fields &fields) {
    std::vector<int64_t> numbers;
    for (const Adapter_Member &member : members) {
        numbers.push_back(member.number);
    }
    if (!numbers.empty()) {
        log_info(list_of(what, numbers) + tail, fields);
    }
}

void log_nodes(const char *what, const std::vector<Hb_Node_Number> &members, const std::string &tail,
               Log_Fields fields) {
    if (!members.empty()) {
        fields.nodes.assign(members.begin(), members.end());
        log_info(list_of(what, fields.nodes) + tail, fields);
    }
}

} // namespace

void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster) {
    const std::string tail = text(", failure id ", failure_id);
    log_adapters(
        "adapters died", changes.adapter_deaths, tail,
        {"adapter-death", nodes_of(changes.adapter_deaths, changes.adapters_per_node_at_death), failure_id});
    log_nodes("nodes died", changes.node_deaths, tail, {"node-death", {}, failure_id});
    if (changes.configuration_updated) {
        const Log_Fields fields{"configuration"};
        log_info(text("configuration ", cluster.configuration_sequence(), ": ", cluster.configured_adapters(),
                      " adapters"),
                 fields);
    }
    log_adapters("adapters joined", changes.adapter_joins, "",
                 {"adapter-join", nodes_of(changes.adapter_joins, cluster.adapters_per_node())});
    log_nodes("nodes joined", changes.node_joins, "", {"node-join"});
    if (changes.heartbeat) {
        const Log_Fields fields{"heartbeat"};
        log_info(text("heartbeat settings: threshold ", changes.heartbeat->threshold_seconds, " s ",
                      changes.heartbeat->threshold_microseconds, " us, ",
                      changes.heartbeat->enabled ? "enabled" : "disabled"),
                 fields);
    }
    if (changes.foreign_instance) {
        const Log_Fields fields{"different-instance"};
        log_info(text("foreign instance ", changes.foreign_instance->instance, " reported from ",
                      address_text(changes.foreign_instance->sender)),
                 fields);
    }
    if (!changes.failure_report.empty()) {
        const Log_Fields fields{"ffdc", {}, changes.failure_report};
        log_info(text("failure reported: ", changes.failure_report), fields);
    }
}

} // namespace wispd
