#include "daemon/state_report.h"

#include <nlohmann/json.hpp>

#include "daemon/model/address.h"

namespace wispd {

namespace {

using nlohmann::ordered_json;

const char *state_name(bool up) {
    return up ? "up" : "down";
}

ordered_json networks_of(const Cluster &cluster) {
    ordered_json list = ordered_json::array();
    for (std::size_t number = 0; number < cluster.networks().size(); ++number) {
        const Network &network = cluster.networks()[number];
        if (!network.name.empty()) {
            list.push_back({{"number", number}, {"name", network.name}, {"type", network.type}});
        }
    }
    return list;
}

// Those that left are listed too: they can join again.
ordered_json adapters_of(const Cluster &cluster, std::size_t node) {
    ordered_json list = ordered_json::array();
    const auto per_node = static_cast<std::size_t>(cluster.adapters_per_node());
    for (std::size_t slot = 0; slot < per_node; ++slot) {
        const Adapter &adapter = cluster.adapters()[node * per_node + slot];
        if (adapter.known) {
            list.push_back({{"number", node * per_node + slot},
                            {"network", slot},
                            {"address", address_text(adapter.address)},
                            {"type", adapter.type},
                            {"configured", adapter.configured},
                            {"state", state_name(adapter.up)},
                            {"incarnation", adapter.incarnation}});
        }
    }
    return list;
}

ordered_json nodes_of(const Cluster &cluster) {
    ordered_json list = ordered_json::array();
    for (std::size_t number = 0; number < cluster.nodes().size(); ++number) {
        const Node &node = cluster.nodes()[number];
        if (!node.name.empty()) {
            list.push_back({{"number", number},
                            {"name", node.name},
                            {"configured", node.configured_adapters > 0},
                            {"state", state_name(node.up)},
                            {"adapters", adapters_of(cluster, number)}});
        }
    }
    return list;
}

ordered_json clients_of(const std::vector<Client_Status> &clients) {
    ordered_json list = ordered_json::array();
    for (const Client_Status &client : clients) {
        ordered_json subscriptions = ordered_json::array();
        for (const Client_Status::Held &held : client.subscriptions) {
            subscriptions.push_back({{"name", held.name}, {"type", held.type}, {"events", held.events}});
        }
        list.push_back({{"id", client.id},
                        {"pid", client.pid},
                        {"uid", client.uid},
                        {"last_sequence", client.last_sequence},
                        {"queued_bytes", client.queued_bytes},
                        {"subscriptions", std::move(subscriptions)}});
    }
    return list;
}

} // namespace

std::string state_line(const Cluster &cluster, const std::vector<Client_Status> &clients,
                       const Timeline_Status &timeline) {
    ordered_json state = {{"cluster", cluster.name()},
                          {"local_node", cluster.local_node()},
                          {"max_nodes", cluster.max_nodes()},
                          {"adapters_per_node", cluster.adapters_per_node()},
                          {"instance", cluster.instance()},
                          {"configuration_sequence", cluster.configuration_sequence()},
                          {"group_incarnation", cluster.group_incarnation()}};
    if (cluster.heartbeat()) {
        state["heartbeat"] = {{"threshold_seconds", cluster.heartbeat()->threshold_seconds},
                              {"threshold_microseconds", cluster.heartbeat()->threshold_microseconds},
                              {"enabled", cluster.heartbeat()->enabled}};
    }
    state["networks"] = networks_of(cluster);
    state["nodes"] = nodes_of(cluster);
    state["clients"] = clients_of(clients);
    state["timeline"] = {{"events", timeline.events}, {"played", timeline.played}};
    const ordered_json answer = {{"ok", true}, {"state", std::move(state)}};
    // A client names its subscriptions as it likes.
    return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

} // namespace wispd
