// SPDX-License-Identifier: Apache-2.0
#include "daemon/change_log.h"

#include <algorithm>

#include "cluster/address.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

// Returns the nodes of the adapters, each once.
std::vector<int64_t> nodes_of(const std::vector<Adapter_Member> &members, int adapters_per_node) {
    std::vector<int64_t> nodes;
    nodes.reserve(members.size());
    for (const Adapter_Member &member : members) {
        nodes.push_back(static_cast<int64_t>(member.number) / adapters_per_node);
    }
    if (!std::is_sorted(nodes.begin(), nodes.end())) { // they nearly always are
        std::sort(nodes.begin(), nodes.end());
    }
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    return nodes;
}

// Changes can arrive faster than lines may be logged, so a line that is not logged is not built either.
bool is_wanted(std::size_t members) {
    return members > 0 && log_admits(Log_Level::info);
}

std::string tail_of(const std::string &failure_id) {
    return failure_id.empty() ? std::string() : text(", failure id ", failure_id);
}

void log_adapters(const char *what, const char *event, const std::vector<Adapter_Member> &members,
                  int adapters_per_node, const std::string &failure_id) {
    if (!is_wanted(members.size())) {
        return;
    }
    std::vector<int64_t> numbers;
    numbers.reserve(members.size());
    for (const Adapter_Member &member : members) {
        numbers.push_back(member.number);
    }
    const Log_Fields fields{event, nodes_of(members, adapters_per_node), failure_id};
    log_admitted(Log_Level::info, list_of(what, numbers) + tail_of(failure_id), fields);
}

void log_nodes(const char *what, const char *event, const std::vector<Hb_Node_Number> &members,
               const std::string &failure_id) {
    if (is_wanted(members.size())) {
        const Log_Fields fields{event, {members.begin(), members.end()}, failure_id};
        log_admitted(Log_Level::info, list_of(what, fields.nodes) + tail_of(failure_id), fields);
    }
}

} // namespace

void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster) {
    log_adapters("adapters died", "adapter-death", changes.adapter_deaths, changes.adapters_per_node_at_death,
                 failure_id);
    log_nodes("nodes died", "node-death", changes.node_deaths, failure_id);
    if (changes.configuration_updated) {
        const Log_Fields fields{"configuration"};
        log_info(text("configuration ", cluster.configuration_sequence(), ": ", cluster.configured_adapters(),
                      " adapters"),
                 fields);
    }
    log_adapters("adapters joined", "adapter-join", changes.adapter_joins, cluster.adapters_per_node(), {});
    log_nodes("nodes joined", "node-join", changes.node_joins, {});
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
