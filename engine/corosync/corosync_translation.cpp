// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync/corosync_translation.h"

#include <arpa/inet.h>
#include <cstring>
#include <map>
#include <memory>
#include <netdb.h>
#include <optional>
#include <set>

#include "cluster/address.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr uint32_t HIGHEST_NUMBER = HB_NODE_SLOTS - 1;

// Resolves a host name to its first address; all zero when there is no address.
Hb_IP_address6 looked_up(const std::string &name) {
    addrinfo *found = nullptr;
    Hb_IP_address6 address{};
    if (getaddrinfo(name.c_str(), nullptr, nullptr, &found) != 0) {
        return address;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    if (found->ai_family == AF_INET) {
        return mapped(reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr);
    }
    if (found->ai_family == AF_INET6) {
        address.i6_ipv6 = reinterpret_cast<const sockaddr_in6 *>(found->ai_addr)->sin6_addr;
    }
    return address;
}

std::string network_name(int link, const Corosync_Names &names) {
    const auto found = names.networks.find(link);
    return found != names.networks.end() ? found->second : text("link", link);
}

Configured_Node translate(const Corosync_Node &from, const Corosync_Names &names) {
    Configured_Node node;
    node.number = static_cast<Hb_Node_Number>(node_number(from.id, names));
    node.name = from.name.empty() ? text("node", node.number) : from.name;
    for (const auto &[link, address] : from.addresses) {
        Configured_Adapter adapter;
        adapter.network = static_cast<Hb_Network_Number>(link);
        const std::optional<Hb_IP_address6> numeric = parse_address(address);
        adapter.address = numeric ? *numeric : looked_up(address);
        adapter.carries_ip = is_address(adapter.address);
        adapter.type = text("knet", link);
        adapter.up = false;
        node.adapters.push_back(adapter);
    }
    return node;
}

int64_t adapter_number(int node, int link) {
    return static_cast<int64_t>(node) * ENGINE_ADAPTERS_PER_NODE + link;
}

// Returns whether the counter rose between two polls, which reveals a flap. A lower counter was only reset.
bool is_back(const Corosync_Look &now, const Corosync_Look &before, uint32_t id) {
    const auto was = before.members.find(id);
    return was != before.members.end() && was->second < now.members.at(id);
}

bool is_back(const Corosync_Look &now, const Corosync_Look &before, const std::pair<uint32_t, int> &link) {
    const auto was = before.links.find(link);
    return was != before.links.end() && was->second.connected &&
           was->second.times_down < now.links.at(link).times_down;
}

} // namespace

int node_number(uint32_t id, const Corosync_Names &names) {
    const auto named = names.nodes.find(id);
    if (named != names.nodes.end()) {
        return named->second;
    }
    if (id > HIGHEST_NUMBER) {
        throw Corosync_Refused(text("Corosync node ", id, " has no number: IDs above ", HIGHEST_NUMBER,
                                    " need one in a [[source.node]] of wispd's configuration file"));
    }
    return static_cast<int>(id);
}

Configuration translate(const Corosync_Configuration &engine, const Corosync_Names &names) {
    Configuration configuration;
    configuration.name = engine.cluster_name;
    configuration.max_nodes = HB_NODE_SLOTS;
    configuration.adapters_per_node = ENGINE_ADAPTERS_PER_NODE;
    configuration.is_from_engine = true;
    configuration.instance = names.instance;
    configuration.heartbeat = names.heartbeat;
    configuration.local_node = static_cast<Hb_Node_Number>(node_number(engine.local_id, names));
    std::map<int, uint32_t> ids;
    std::set<int> links;
    for (const Corosync_Node &node : engine.nodes) {
        const auto [taken, is_new] = ids.try_emplace(node_number(node.id, names), node.id);
        if (!is_new) {
            throw Corosync_Refused(text("Corosync nodes ", taken->second, " and ", node.id,
                                        " both map to number ", taken->first,
                                        ": give one of them another number in [[source.node]]"));
        }
        configuration.nodes.push_back(translate(node, names));
        for (const auto &[link, address] : node.addresses) {
            links.insert(link);
        }
    }
    if (!ids.contains(configuration.local_node)) {
        throw Corosync_Refused(text("Corosync's node list does not contain the local node, ", engine.local_id));
    }
    std::map<std::string, int> called;
    for (const int link : links) {
        const auto [other, is_new] = called.try_emplace(network_name(link, names), link);
        if (!is_new) {
            throw Corosync_Refused(text("Corosync links ", other->second, " and ", link, " are both named \"",
                                        other->first,
                                        "\": give one of them another name in [[source.network]]"));
        }
        configuration.networks.push_back(
            {static_cast<Hb_Network_Number>(link), network_name(link, names), "knet"});
    }
    return configuration;
}

Liveness translate(const Corosync_Configuration &engine, const Corosync_Names &names, const Corosync_Look &now,
                   const Corosync_Look &before, const std::set<int> &local_links) {
    Liveness liveness;
    for (const Corosync_Node &node : engine.nodes) {
        const int number = node_number(node.id, names);
        const auto member = now.members.find(node.id);
        if (member != now.members.end()) {
            liveness.nodes.insert(number);
            liveness.incarnations[number] = member->second;
            if (is_back(now, before, node.id)) {
                liveness.nodes_back.insert(number);
            }
        }
        for (const auto &[link, address] : node.addresses) {
            const int64_t adapter = adapter_number(number, link);
            if (node.id == engine.local_id) {
                if (local_links.contains(link)) {
                    liveness.adapters.insert(adapter);
                }
                continue;
            }
            const auto state = now.links.find({node.id, link});
            if (state != now.links.end() && state->second.connected) {
                liveness.adapters.insert(adapter);
                if (is_back(now, before, {node.id, link})) {
                    liveness.adapters_back.insert(adapter);
                }
            }
        }
    }
    return liveness;
}

} // namespace wispd
