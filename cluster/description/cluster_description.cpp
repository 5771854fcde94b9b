// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/cluster_description.h"

#include <filesystem>
#include <map>
#include <string>
#include <unordered_map>

#include "cluster/address.h"
#include "cluster/description/text_limits.h"
#include "common/socket_path.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

namespace {

constexpr std::size_t NETWORK_TYPE_LONGEST = HB_NETWORK_TYPE_SIZE - 1;
constexpr std::size_t ADAPTER_TYPE_LONGEST = HB_ADAPTER_TYPE_SIZE - 1;
constexpr const char *NO_ADDRESS = "none";
constexpr double CONFIRM_LONGEST_SECONDS = 86400;
constexpr int64_t GRACE_LONGEST_SECONDS = 86400;
constexpr double ROTATION_LONGEST_SECONDS = 31536000;

// The place and kind of a first definition, for the error about a second one.
struct Definition {
    std::string place;
    std::string what;
};

class Node_Section {
  public:
    Node_Section(const std::string &path, Configuration &cluster) : path_(path), cluster_(cluster) {
        for (const Configured_Network &network : cluster.networks) {
            defined_[static_cast<std::size_t>(network.number)] = true;
        }
    }

    void read(const toml::table &table) {
        const Toml_Reader reader(table, path_, "[[node]]", {"number", "name", "state", "adapter"});
        Configured_Node node;
        node.number = read_number(reader);
        node.name = reader.string_or("name", NAME_LONGEST, text("node", node.number));
        const auto [name, name_new] = names_.try_emplace(node.name, Definition{reader.place("name"), ""});
        if (!name_new) {
            throw reader.error("name", text("node name \"", node.name, "\" is used twice; the first is at ",
                                            name->second.place));
        }
        const bool up = reader.state_or("state", true);
        if (!up && node.number == cluster_.local_node) {
            throw reader.error("state",
                               text("node ", node.number,
                                    " is the local node, which is up while wispd runs; expected \"up\""));
        }
        for (const toml::table *adapter : reader.tables("adapter")) {
            read_adapter(*adapter, up, node);
        }
        if (node.adapters.empty()) {
            throw reader.error(
                text("node ", node.number, " has no adapter; expected at least one [[node.adapter]]"));
        }
        cluster_.nodes.push_back(std::move(node));
    }

  private:
    Hb_Node_Number read_number(const Toml_Reader &reader) {
        const int64_t number = reader.integer("number", INT64_MIN, INT64_MAX);
        if (number < 0 || number >= cluster_.max_nodes) {
            throw reader.error("number", text("node number ", number, " is out of range: max_nodes = ",
                                              cluster_.max_nodes, " allows 0 to ", cluster_.max_nodes - 1));
        }
        const auto [first, is_new] =
            numbers_.try_emplace(static_cast<int>(number), Definition{reader.place(), ""});
        if (!is_new) {
            throw reader.error(
                "number", text("node ", number, " is defined twice; the first is at ", first->second.place));
        }
        return static_cast<Hb_Node_Number>(number);
    }

    void read_adapter(const toml::table &table, bool node_up, Configured_Node &node) {
        const Toml_Reader reader(table, path_, "[[node.adapter]]", {"network", "address", "type", "state"});
        Configured_Adapter adapter;
        const int64_t network = reader.integer("network", INT64_MIN, INT64_MAX);
        if (network < 0 || network >= cluster_.adapters_per_node) {
            throw reader.error("network", text("network ", network, " is out of range: adapters_per_node = ",
                                               cluster_.adapters_per_node, " allows 0 to ",
                                               cluster_.adapters_per_node - 1));
        }
        if (!defined_[static_cast<std::size_t>(network)]) {
            throw reader.error(
                "network",
                text("network ", network, " is not defined; expected a [[network]] with number = ", network));
        }
        adapter.network = static_cast<Hb_Network_Number>(network);
        for (const Configured_Adapter &other : node.adapters) {
            if (other.network == adapter.network) {
                throw reader.error("network", text("node ", node.number, " has two adapters in network ",
                                                   network, "; a node has at most one in each"));
            }
        }
        adapter.carries_ip = reader.string("address", NAME_LONGEST) != NO_ADDRESS;
        if (adapter.carries_ip) {
            adapter.address = read_address(reader, node, network);
        }
        adapter.type = reader.string_or("type", ADAPTER_TYPE_LONGEST, "");
        adapter.up = reader.state_or("state", node_up);
        if (adapter.up && !node_up) {
            throw reader.error("state",
                               text("node ", node.number, " is down, so its adapter cannot be \"up\""));
        }
        node.adapters.push_back(std::move(adapter));
    }

    Hb_IP_address6 read_address(const Toml_Reader &reader, const Configured_Node &node, int64_t network) {
        const std::string written = reader.string("address", NAME_LONGEST);
        const std::optional<Hb_IP_address6> address = parse_address(written);
        if (!address || !is_address(*address)) {
            throw reader.error("address", text("\"", written, "\" is not an address; expected an IPv4 or IPv6 ",
                                               "address, or \"none\" for an adapter that carries no IP"));
        }
        const std::string what = text("node ", node.number, ", network ", network);
        const auto [first, is_new] =
            addresses_.try_emplace(*address, Definition{reader.place("address"), what});
        if (!is_new) {
            throw reader.error("address",
                               text("address ", written, " of ", what, " is used twice; it already belongs to ",
                                    first->second.what, " at ", first->second.place));
        }
        return *address;
    }

    const std::string &path_;
    Configuration &cluster_;
    bool defined_[HB_NETWORK_SLOTS] = {};
    std::unordered_map<int, Definition> numbers_;
    std::unordered_map<std::string, Definition> names_;
    std::unordered_map<Hb_IP_address6, Definition, Address_Hash, Address_Equal> addresses_;
};

uint32_t read_key_type(const Toml_Reader &reader, uint32_t otherwise) {
    if (!reader.has("key_type")) {
        return otherwise;
    }
    const std::string written = reader.string("key_type", NAME_LONGEST);
    for (const uint32_t type : std::initializer_list<uint32_t>{
             SEC_KEY_TYPE_HMAC_SHA256, SEC_KEY_TYPE_HMAC_SHA512, SEC_KEY_TYPE_AES_CMAC}) {
        if (written == key_type_name(type)) {
            return type;
        }
    }
    throw reader.error(
        "key_type",
        text("\"", written, "\" is not a key type; expected hmac-sha256, hmac-sha512 or ", "aes-cmac"));
}

} // namespace

void read_networks(const Toml_Reader &root, const std::string &path, Configuration &cluster) {
    std::unordered_map<int, Definition> numbers;
    std::unordered_map<std::string, Definition> names;
    for (const toml::table *table : root.tables("network")) {
        const Toml_Reader reader(*table, path, "[[network]]", {"number", "name", "type"});
        Configured_Network network;
        network.number = static_cast<Hb_Network_Number>(reader.integer("number", 0, HB_NETWORK_SLOTS - 1));
        if (network.number >= cluster.adapters_per_node) {
            throw reader.error("number",
                               text("network ", network.number, " is out of range: adapters_per_node = ",
                                    cluster.adapters_per_node, " allows 0 to ", cluster.adapters_per_node - 1));
        }
        network.name = reader.string("name", NETWORK_NAME_LONGEST);
        network.type = reader.string_or("type", NETWORK_TYPE_LONGEST, "ether");
        const auto [number, number_new] = numbers.try_emplace(network.number, Definition{reader.place(), ""});
        if (!number_new) {
            throw reader.error("number", text("network ", network.number, " is defined twice; the first is at ",
                                              number->second.place));
        }
        const auto [name, name_new] = names.try_emplace(network.name, Definition{reader.place("name"), ""});
        if (!name_new) {
            throw reader.error("name", text("network name \"", network.name,
                                            "\" is used twice; the first is at ", name->second.place));
        }
        cluster.networks.push_back(std::move(network));
    }
}

std::optional<Heartbeat> read_heartbeat(const Toml_Reader &root, const std::string &path) {
    const toml::table *table = root.table("heartbeat");
    if (table == nullptr) {
        return std::nullopt;
    }
    const Toml_Reader reader(*table, path, "[heartbeat]",
                             {"threshold_seconds", "threshold_microseconds", "enabled"});
    Heartbeat heartbeat;
    heartbeat.threshold_seconds = static_cast<int32_t>(reader.integer_or("threshold_seconds", 0, INT32_MAX, 0));
    heartbeat.threshold_microseconds =
        static_cast<int32_t>(reader.integer_or("threshold_microseconds", 0, 999999, 0));
    heartbeat.enabled = reader.boolean_or("enabled", true);
    return heartbeat;
}

Configuration read_cluster(const Toml_Reader &root, const std::string &path) {
    const toml::table *table = root.table("cluster");
    if (table == nullptr) {
        throw root.error("missing table [cluster]");
    }
    const Toml_Reader reader(*table, path, "[cluster]",
                             {"name", "local_node", "max_nodes", "adapters_per_node", "instance"});
    Configuration cluster;
    cluster.name = reader.string_or("name", NAME_LONGEST, "cluster");
    cluster.max_nodes = static_cast<int>(reader.integer("max_nodes", 1, HB_NODE_SLOTS));
    cluster.adapters_per_node = static_cast<int>(reader.integer("adapters_per_node", 1, HB_NETWORK_SLOTS));
    cluster.local_node = static_cast<Hb_Node_Number>(reader.integer("local_node", 0, cluster.max_nodes - 1));
    cluster.instance = static_cast<Hb_Config_Instance>(reader.integer_or("instance", 0, UINT32_MAX, 1));
    cluster.heartbeat = read_heartbeat(root, path);
    read_networks(root, path, cluster);
    Node_Section nodes(path, cluster);
    bool local_found = false;
    for (const toml::table *node : root.tables("node")) {
        nodes.read(*node);
        local_found = local_found || cluster.nodes.back().number == cluster.local_node;
    }
    if (!local_found) {
        throw reader.error("local_node", text("local_node is ", cluster.local_node,
                                              ", but there is no [[node]] with number = ", cluster.local_node));
    }
    return cluster;
}

Suspicion_Settings read_suspicion(const Toml_Reader &root, const std::string &path) {
    Suspicion_Settings settings;
    const toml::table *table = root.table("suspicion");
    if (table == nullptr) {
        return settings;
    }
    const Toml_Reader reader(*table, path, "[suspicion]", {"confirm_seconds", "max_grace_seconds"});
    settings.confirm = reader.seconds_or("confirm_seconds", 0, CONFIRM_LONGEST_SECONDS, settings.confirm);
    settings.max_grace_seconds = static_cast<int32_t>(
        reader.integer_or("max_grace_seconds", 0, GRACE_LONGEST_SECONDS, settings.max_grace_seconds));
    return settings;
}

Security_Settings read_security(const Toml_Reader &root, const std::string &path) {
    Security_Settings settings;
    const toml::table *table = root.table("security");
    if (table == nullptr) {
        return settings;
    }
    const Toml_Reader reader(*table, path, "[security]",
                             {"enabled", "key_type", "key_length", "rotate_seconds"});
    settings.enabled = reader.boolean_or("enabled", true);
    settings.key_type = read_key_type(reader, settings.key_type);
    settings.key_length = static_cast<int32_t>(
        reader.integer_or("key_length", SEC_KEY_MIN_LENGTH, SEC_KEY_MAX_LENGTH, settings.key_length));
    if (settings.key_type == SEC_KEY_TYPE_AES_CMAC && settings.key_length != 16 && settings.key_length != 24 &&
        settings.key_length != 32) {
        throw reader.error("key_length",
                           text("an aes-cmac key has 16, 24 or 32 bytes, not ", settings.key_length));
    }
    settings.rotate_every = reader.seconds_or("rotate_seconds", 0.1, ROTATION_LONGEST_SECONDS, {});
    return settings;
}

std::vector<Endpoint> read_endpoints(const Toml_Reader &root, const std::string &path,
                                     const Configuration &cluster) {
    std::vector<Endpoint> endpoints;
    std::map<std::pair<int, uint16_t>, std::string> places;
    for (const toml::table *table : root.tables("endpoint")) {
        const Toml_Reader reader(*table, path, "[[endpoint]]", {"node", "port", "path"});
        Endpoint endpoint;
        endpoint.node = static_cast<int>(reader.integer("node", 0, cluster.max_nodes - 1));
        endpoint.port = static_cast<uint16_t>(reader.integer("port", 0, UINT16_MAX));
        endpoint.path =
            (std::filesystem::path(path).parent_path() / reader.string("path", PATH_LONGEST)).string();
        if (endpoint.path.size() > common::SOCKET_PATH_LONGEST) {
            throw reader.error("path", text("the path has ", endpoint.path.size(),
                                            " bytes, but a socket address holds at most ",
                                            common::SOCKET_PATH_LONGEST, ": ", endpoint.path));
        }
        const auto [first, is_new] = places.try_emplace({endpoint.node, endpoint.port}, reader.place());
        if (!is_new) {
            throw reader.error("port", text("port ", endpoint.port, " of node ", endpoint.node,
                                            " is defined twice; the first is at ", first->second));
        }
        endpoints.push_back(std::move(endpoint));
    }
    return endpoints;
}

} // namespace wispd
