// SPDX-License-Identifier: Apache-2.0
#include "daemon/state_report.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "cluster/address.h"

namespace wispd {

namespace {

using nlohmann::ordered_json;

// docs/schema/state.json describes this format. A change that a reader must know gets the next number.
constexpr int FORMAT = 1;

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

// Adapters that left are listed too, because they can join again.
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
            if (adapter.disabled) {
                list.back()["disabled"] = true;
            }
            if (adapter.interface_down) {
                list.back()["interface"] = "down";
            }
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
                        {"may_act", client.may_act},
                        {"subscriptions", std::move(subscriptions)}});
        if (client.heartbeat) {
            list.back()["heartbeat"] = *client.heartbeat;
        }
    }
    return list;
}

ordered_json users_of(const std::map<uid_t, User_Status> &users) {
    ordered_json list = ordered_json::array();
    for (const auto &[uid, user] : users) {
        list.push_back({{"uid", uid},
                        {"connections", user.clients.connections},
                        {"subscriptions", user.clients.subscriptions},
                        {"queued_bytes", user.clients.queued_bytes},
                        {"control_connections", user.control_connections}});
    }
    return list;
}

// An event that is overdue but not yet executed is reported as due now.
double seconds_until(Time time, Time now) {
    return std::max(0.0, std::chrono::duration<double>(time - now).count());
}

ordered_json suspicions_of(const Suspicions &suspicions, Time now) {
    ordered_json list = ordered_json::array();
    for (const auto &[node, due] : suspicions.nodes()) {
        list.push_back({{"node", node}, {"seconds_left", seconds_until(due, now)}});
    }
    for (const auto &[adapter, due] : suspicions.adapters()) {
        list.push_back({{"adapter", adapter}, {"seconds_left", seconds_until(due, now)}});
    }
    return list;
}

ordered_json graces_of(const Suspicions &suspicions, Time now) {
    ordered_json list = ordered_json::array();
    for (const auto &[adapter, until] : suspicions.graces()) {
        if (suspicions.in_grace(adapter, now)) {
            list.push_back({{"adapter", adapter}, {"seconds_left", seconds_until(until, now)}});
        }
    }
    return list;
}

ordered_json manual_control_of(const Manual_Control &control) {
    return {{"all", control.all}, {control.all ? "except" : "interfaces", control.exceptions}};
}

ordered_json routes_of(const Routes &routes) {
    ordered_json list = ordered_json::array();
    for (std::size_t node = 0; node < routes.size(); ++node) {
        if (routes[node].length == 0) {
            continue;
        }
        ordered_json hops = ordered_json::array();
        for (int hop = 0; hop < routes[node].length; ++hop) {
            hops.push_back(address_text(routes[node].hops.sr_address[hop]));
        }
        list.push_back({{"node", node}, {"ip", routes[node].is_ip}, {"hops", std::move(hops)}});
    }
    return list;
}

ordered_json security_of(const Keyring &keyring) {
    const Hb_security_information &content = keyring.content();
    ordered_json security = {{"enabled", keyring.is_enabled()}, {"generation", content.sequence_number}};
    if (keyring.is_enabled()) {
        security["key_type"] = key_type_name(keyring.settings().key_type);
        security["key_length"] = keyring.settings().key_length;
        security["keys"] = content.current_sec_status.keyCount;
        security["cached_keys"] = content.cache.keyCacheCount;
    }
    return security;
}

const char *connection_state(bool connected, bool silent) {
    return silent ? "silent" : connected ? "connected" : "disconnected";
}

// What engines report that need an agent for each network.
void add_agents(const Engine_Status &engine, ordered_json &source) {
    source["agents"] = ordered_json::array();
    for (const Agent_Status &agent : engine.agents) {
        ordered_json one = {{"network", agent.network},
                            {"rpc", agent.address},
                            {"state", connection_state(agent.connected, agent.silent)}};
        if (!agent.connected) {
            one["trouble"] = agent.trouble;
            one["attempts"] = agent.attempts;
        }
        source["agents"].push_back(std::move(one));
    }
    source["rejected_members"] = engine.rejected_members;
    source["rejections"] = engine.rejections;
    source["settling"] = ordered_json::array();
    for (const auto &[node, settling] : engine.settling) {
        source["settling"].push_back({{"node", node},
                                      {"held_now", settling.held_now},
                                      {"held", settling.held},
                                      {"withdrawn", settling.withdrawn}});
    }
}

ordered_json source_of(const State_View &view) {
    if (view.engine == nullptr) {
        return {{"type", "file"}};
    }
    const Engine_Status &engine = *view.engine;
    ordered_json source = {{"type", view.engine_type},
                           {"engine", connection_state(engine.connected, engine.silent)}};
    if (!engine.connected) {
        source["trouble"] = engine.trouble;
        source["attempts"] = engine.attempts;
    }
    if (!engine.refused.empty()) {
        source["refused_configuration"] = engine.refused;
    }
    source["awaited_nodes"] = engine.awaited;
    if (!engine.agents.empty()) {
        add_agents(engine, source);
    }
    return source;
}

} // namespace

std::string state_line(const State_View &view) {
    const Cluster &cluster = view.cluster;
    ordered_json state = {{"format", FORMAT},
                          {"version", view.daemon.version},
                          {"uptime_seconds", std::chrono::duration<double>(view.daemon.uptime).count()},
                          {"log_level", view.daemon.log_level},
                          {"cluster", cluster.name()},
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
    state["source"] = source_of(view);
    state["networks"] = networks_of(cluster);
    state["nodes"] = nodes_of(cluster);
    state["suspicions"] = suspicions_of(view.control.suspicions(), view.now);
    state["graces"] = graces_of(view.control.suspicions(), view.now);
    state["discard_stale_messages"] = view.control.discards_stale_messages();
    state["manual_control"] = manual_control_of(view.control.manual_control());
    state["route_sequence"] = view.route_sequence;
    state["routes_current"] = view.routes_are_current;
    state["routes"] = routes_of(view.routes);
    state["security"] = security_of(view.keyring);
    state["shutdown_requested"] = view.ends_soon;
    state["clients"] = clients_of(view.clients);
    state["users"] = users_of(view.users);
    state["timeline"] = {{"events", view.timeline.events}, {"played", view.timeline.played}};
    const ordered_json answer = {{"ok", true}, {"state", std::move(state)}};
    // Clients choose the names of their subscriptions, so a name may be invalid UTF-8.
    return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

} // namespace wispd
