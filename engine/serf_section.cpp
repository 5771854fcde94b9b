// SPDX-License-Identifier: Apache-2.0
#include "engine/serf_section.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <map>
#include <set>
#include <string_view>

#include "cluster/description/cluster_description.h"
#include "cluster/description/text_limits.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {
namespace {

constexpr double GRACE_LONGEST_SECONDS = 86400;
constexpr int64_t SETTLE_LONGEST = 600000;
constexpr std::size_t AUTH_KEY_LONGEST = 1024;

bool is_numeric_address(const std::string &host) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
}

// Reads "127.0.0.1:7373" or "[::1]:7373".
void read_rpc_address(const Toml_Reader &reader, Serf_Agent &agent) {
    const std::string written = reader.string("rpc", NAME_LONGEST);
    const std::size_t colon = written.rfind(':');
    const std::string_view digits = std::string_view(written).substr(std::min(colon, written.size() - 1) + 1);
    std::string host = written.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        host.clear(); // an IPv6 address needs its brackets
    }
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), agent.port);
    if (colon == std::string::npos || error != std::errc() || end != digits.data() + digits.size() ||
        agent.port == 0 || !is_numeric_address(host)) {
        throw reader.error("rpc", text("\"", written, "\" is not the address of an agent; expected a numeric ",
                                       "address with a port, such as \"127.0.0.1:7373\" or \"[::1]:7373\""));
    }
    agent.host = host;
}

std::vector<Serf_Agent> read_agents(const Toml_Reader &source, const std::string &path) {
    std::map<int, std::string> networks;
    std::map<std::pair<std::string, uint16_t>, std::string> places;
    std::vector<Serf_Agent> agents;
    for (const toml::table *table : source.tables("agent")) {
        const Toml_Reader reader(*table, path, "[[source.agent]]", {"network", "rpc", "auth_key"});
        Serf_Agent agent;
        agent.network = static_cast<int>(reader.integer("network", 0, HB_NETWORK_SLOTS - 1));
        read_rpc_address(reader, agent);
        agent.auth_key = reader.string_or("auth_key", AUTH_KEY_LONGEST, "");
        const auto [network, network_new] = networks.try_emplace(agent.network, reader.place());
        if (!network_new) {
            throw reader.error("network", text("network ", agent.network, " has two agents; the first is at ",
                                               network->second));
        }
        const auto [place, place_new] = places.try_emplace({agent.host, agent.port}, reader.place());
        if (!place_new) {
            throw reader.error("rpc", text("two networks have the same agent; the first is at ", place->second,
                                           ". Each network needs an agent of its own"));
        }
        agents.push_back(std::move(agent));
    }
    if (agents.empty()) {
        throw source.error("there is no agent; expected at least one [[source.agent]] with network and rpc");
    }
    std::sort(agents.begin(), agents.end(),
              [](const Serf_Agent &one, const Serf_Agent &other) { return one.network < other.network; });
    return agents;
}

std::set<int> networks_of(const std::vector<Serf_Agent> &agents) {
    std::set<int> networks;
    for (const Serf_Agent &agent : agents) {
        networks.insert(agent.network);
    }
    return networks;
}

// Reads the names of a cluster whose members are discovered.
void read_names(const Toml_Reader &root, const std::string &path, Serf_Settings &settings) {
    if (root.has("node")) {
        throw root.error("node",
                         "[[node]] is not permitted with discover = true: the members themselves are the "
                         "nodes; remove the tables, or discover = true");
    }
    Configuration &cluster = settings.cluster;
    cluster.name = "cluster";
    cluster.max_nodes = HB_NODE_SLOTS;
    cluster.adapters_per_node = ENGINE_ADAPTERS_PER_NODE;
    if (const toml::table *table = root.table("cluster")) {
        const Toml_Reader reader(*table, path, "[cluster] with discover = true",
                                 {"name", "local_node", "instance"});
        cluster.name = reader.string_or("name", NAME_LONGEST, cluster.name);
        cluster.instance = static_cast<Hb_Config_Instance>(reader.integer_or("instance", 0, UINT32_MAX, 1));
        settings.has_local_node = reader.has("local_node");
        cluster.local_node =
            static_cast<Hb_Node_Number>(reader.integer_or("local_node", 0, HB_NODE_SLOTS - 1, 0));
    }
    cluster.heartbeat = read_heartbeat(root, path);
    read_networks(root, path, cluster);
    std::set<int> unnamed = networks_of(settings.agents);
    std::set<std::string> names;
    for (const Configured_Network &network : cluster.networks) {
        if (unnamed.erase(network.number) == 0) {
            throw root.error(
                "network", text("[[network]] ", network.number,
                                " has no agent; expected a [[source.agent]] with network = ", network.number));
        }
        names.insert(network.name);
    }
    for (const int number : unnamed) {
        const std::string name = text("network", number);
        if (!names.insert(name).second) {
            throw root.error("network", text("the name \"", name, "\" is that of network ", number,
                                             ", which has no [[network]]; choose another name"));
        }
        cluster.networks.push_back({static_cast<Hb_Network_Number>(number), name, "serf"});
    }
}

// Reads a cluster that the file describes. The agents decide what is up.
void read_described(const Toml_Reader &root, const Toml_Reader &source, const std::string &path,
                    Serf_Settings &settings) {
    Configuration &cluster = settings.cluster;
    cluster = read_cluster(root, path);
    settings.has_local_node = true;
    const std::set<int> with_agent = networks_of(settings.agents);
    std::set<int> described;
    for (const Configured_Network &network : cluster.networks) {
        described.insert(network.number);
        if (!with_agent.contains(network.number)) {
            throw source.error(text("network ", network.number,
                                    " has no agent; expected a [[source.agent]] with ",
                                    "network = ", network.number));
        }
    }
    for (const int network : with_agent) {
        if (!described.contains(network)) {
            throw source.error(text("the agent of network ", network, " has no [[network]] with number = ",
                                    network, "; describe the network, or remove the agent"));
        }
    }
    for (Configured_Node &node : cluster.nodes) {
        for (Configured_Adapter &adapter : node.adapters) {
            if (!adapter.up) {
                throw source.error(text("node ", node.number,
                                        " has state = \"down\", which is not permitted with ",
                                        "type = \"serf\": the agents decide which adapters are up"));
            }
            adapter.up = false;
        }
    }
}

} // namespace

Serf_Settings read_serf_section(const Toml_Reader &root, const Toml_Reader &source, const std::string &path) {
    Serf_Settings settings;
    settings.agents = read_agents(source, path);
    settings.discover = source.boolean_or("discover", false);
    settings.grace = std::chrono::duration_cast<std::chrono::milliseconds>(
        source.seconds_or("grace_seconds", 0, GRACE_LONGEST_SECONDS, settings.grace));
    settings.settle = std::chrono::milliseconds(
        source.integer_or("settle_milliseconds", 0, SETTLE_LONGEST, settings.settle.count()));
    if (settings.discover) {
        read_names(root, path, settings);
    } else {
        read_described(root, source, path, settings);
    }
    settings.cluster.is_from_engine = true;
    return settings;
}

} // namespace wispd
