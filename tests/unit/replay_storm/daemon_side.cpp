// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/daemon_side.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tests/support/records.h"

namespace hb_test::replay_storm {
namespace {

constexpr int MAX_NODES = 64;
constexpr int ADAPTER_DEATH = 2;
constexpr int ADAPTER_JOIN = 3;
constexpr int ADAPTER_NEW_GROUP = 4;
constexpr int NODE_DEATH = 5;
constexpr int NODE_JOIN = 6;
constexpr int NODE_NEW_GROUP = 7;
constexpr int CONFIGURATION_UPDATE = 9;

template <typename Set> Set without(const Set &from, const Set &others) {
    Set rest;
    std::set_difference(from.begin(), from.end(), others.begin(), others.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

} // namespace

Daemon_Side::Daemon_Side(const Cluster_State &cluster, unsigned per_node)
    : per_node_(per_node), shown_(numbered(cluster)) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot_of(shown_))};
    plan.segments = segments_for(MAX_NODES, static_cast<int>(shown_.configuration.adapters.size()));
    daemon_ = std::make_unique<Fake_Daemon>(plan);
}

// A daemon knows nodes by their adapters: it does not show a node without an adapter.
Cluster_State Daemon_Side::numbered(const Cluster_State &cluster) const {
    Cluster_State state = cluster;
    state.configuration.nodes.clear();
    state.configuration.adapters.clear();
    std::map<int, unsigned> places;
    for (const auto &[number, adapter] : cluster.configuration.adapters) {
        state.configuration.nodes.insert(adapter.node);
        state.configuration.adapters[static_cast<unsigned>(adapter.node) * per_node_ + places[adapter.node]++] =
            adapter;
    }
    std::erase_if(state.nodes_up, [&](int node) { return !state.configuration.nodes.contains(node); });
    return state;
}

Bytes Daemon_Side::snapshot_of(const Cluster_State &cluster) const {
    Cluster_Facts facts;
    facts.local_node = cluster.configuration.local_node;
    facts.max_nodes = MAX_NODES;
    facts.adapters_per_node = per_node_;
    for (const auto &[number, adapter] : cluster.configuration.adapters) {
        Adapter_Facts one;
        one.number = number;
        one.network = static_cast<int>(number % per_node_);
        one.address = bytes_of(adapter.address.data(), adapter.address.size());
        one.type = adapter.name;
        one.state = cluster.adapters_up.contains(adapter) ? 1 : 2;
        facts.adapters.push_back(one);
    }
    for (unsigned network = 0; network < per_node_; ++network) {
        facts.networks.push_back({"net_" + std::to_string(network)});
    }
    return snapshot(facts);
}

void Daemon_Side::send(const Bytes &record) {
    daemon_->run(send_record(record));
    if (!daemon_->wait_steps_done()) {
        throw std::runtime_error("the daemon's record does not go out");
    }
}

void Daemon_Side::send_nodes(int kind, const std::set<int> &nodes) {
    if (nodes.empty() && kind != NODE_NEW_GROUP) {
        return;
    }
    Reply_Header header;
    header.kind = kind;
    header.subscription_name = "n";
    Bytes body;
    for (int node = 0; node < MAX_NODES; ++node) {
        body.i32(nodes.contains(node) ? 1 : 0);
    }
    send(reply(header, body));
}

void Daemon_Side::send_adapters(int kind, const std::set<Adapter_Id> &adapters, const Cluster_State &numbers) {
    if (adapters.empty()) {
        return;
    }
    Reply_Header header;
    header.kind = kind;
    header.subscription_name = "a";
    Bytes body;
    body.i32(static_cast<int64_t>(adapters.size()) - 1);
    for (const auto &[number, adapter] : numbers.configuration.adapters) {
        if (adapters.contains(adapter)) {
            body.i32(number).i32(7);
        }
    }
    send(reply(header, body));
}

void Daemon_Side::send_accounts() {
    send_nodes(NODE_NEW_GROUP, shown_.nodes_up);
    send_adapters(ADAPTER_NEW_GROUP, shown_.adapters_up, shown_);
}

void Daemon_Side::follow(const Cluster_State &cluster) {
    const Cluster_State before = shown_;
    shown_ = numbered(cluster);
    send_adapters(ADAPTER_DEATH, without(before.adapters_up, shown_.adapters_up), before);
    send_nodes(NODE_DEATH, without(before.nodes_up, shown_.nodes_up));
    if (before.configuration != shown_.configuration) {
        // A snapshot contains the states before the joins.
        Cluster_State joinless = shown_;
        joinless.adapters_up = without(shown_.adapters_up, without(shown_.adapters_up, before.adapters_up));
        send(reply(CONFIGURATION_UPDATE, snapshot_of(joinless)));
    }
    send_nodes(NODE_JOIN, without(shown_.nodes_up, before.nodes_up));
    send_adapters(ADAPTER_JOIN, without(shown_.adapters_up, before.adapters_up), shown_);
}

} // namespace hb_test::replay_storm
