#include "cluster/description/cluster_file.h"

#include <filesystem>
#include <map>
#include <string>
#include <unordered_map>

#include "cluster/address.h"
#include "cluster/description/named_file.h"
#include "cluster/description/toml_reader.h"
#include "engine/engine_section.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

namespace {

constexpr std::size_t NETWORK_NAME_LONGEST = HB_NETWORK_NAME_SIZE - 1;
constexpr std::size_t NETWORK_TYPE_LONGEST = HB_NETWORK_TYPE_SIZE - 1;
constexpr std::size_t ADAPTER_TYPE_LONGEST = HB_ADAPTER_TYPE_SIZE - 1;
constexpr std::size_t NAME_LONGEST = 255;
constexpr const char *NO_ADDRESS = "none";
constexpr std::size_t PATH_LONGEST = 4095;
constexpr std::size_t SOCKET_PATH_LONGEST = 107;
constexpr int64_t QUEUE_HIGHEST = 1073741824;
constexpr int64_t USER_QUEUE_HIGHEST = 2147483647;
constexpr int64_t CONNECTIONS_LOWEST = 32; // of all users, the reserved ones among them
constexpr int64_t CONNECTIONS_HIGHEST = 1000000;
constexpr int64_t SUBSCRIPTIONS_HIGHEST = 10000000;
constexpr double IDLE_LONGEST_SECONDS = 86400;
constexpr double DELAY_LONGEST_SECONDS = 86400;
constexpr int64_t GRACE_LONGEST_SECONDS = 86400;
constexpr double ROTATION_LONGEST_SECONDS = 31536000;

// Where something was defined, and as what, for the error about its second definition.
struct Definition {
    std::string place;
    std::string what;
};

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

std::optional<mode_t> read_mode(const Toml_Reader &reader, std::string_view key, const char *example) {
    if (!reader.has(key)) {
        return std::nullopt;
    }
    const std::string written = reader.string(key, NAME_LONGEST);
    if (written.size() > 4 || written.find_first_not_of("01234567") != std::string::npos ||
        std::stoul(written, nullptr, 8) > 0777) {
        throw reader.error(key, text("\"", written, "\" is not a file mode; expected octal digits, such as \"",
                                     example, "\""));
    }
    return static_cast<mode_t>(std::stoul(written, nullptr, 8));
}

std::optional<mode_t> read_key_mode(const Toml_Reader &reader) {
    const std::optional<mode_t> mode = read_mode(reader, "key_mode", "0640");
    if (mode && ((*mode & 0600) != 0600 || (*mode & ~mode_t{0644}) != 0)) {
        throw reader.error("key_mode",
                           "'key_mode' in [daemon] must let the owner read and write, and others at "
                           "most read; expected \"0600\", \"0640\" or \"0644\"");
    }
    return mode;
}

// What the largest snapshot of this geometry takes on the wire: a shorter queue could never hold it.
int64_t largest_snapshot(const Configuration &cluster) {
    const auto adapters = static_cast<int64_t>(cluster.max_nodes) * cluster.adapters_per_node;
    return 4 + HB_REPLY_HEADER_SIZE + static_cast<int64_t>(sizeof(Hb_Snapshot_Header)) +
           adapters * static_cast<int64_t>(sizeof(Hb_Adapter_Entry)) +
           cluster.adapters_per_node * static_cast<int64_t>(sizeof(Hb_Network_Entry));
}

std::size_t read_queue_bytes(const Toml_Reader &reader, const char *key, int64_t highest, std::size_t otherwise,
                             const Configuration &cluster) {
    if (!reader.has(key)) {
        return otherwise;
    }
    const int64_t bytes = reader.integer(key, 0, highest);
    if (bytes < largest_snapshot(cluster)) {
        throw reader.error(key, text(key, " is ", bytes, "; expected at least ", largest_snapshot(cluster),
                                     ", the configuration message of a full cluster of this size"));
    }
    return static_cast<std::size_t>(bytes);
}

User_Limits read_user_limits(const Toml_Reader &reader, const Configuration &cluster) {
    const auto count = [&](const char *key, int64_t lowest, int64_t highest, std::size_t otherwise) {
        return static_cast<std::size_t>(
            reader.integer_or(key, lowest, highest, static_cast<int64_t>(otherwise)));
    };
    User_Limits limits;
    limits.all_connections =
        count("max_connections", CONNECTIONS_LOWEST, CONNECTIONS_HIGHEST, limits.all_connections);
    limits.connections = count("user_connections", 1, CONNECTIONS_HIGHEST, limits.connections);
    limits.subscriptions = count("user_subscriptions", 1, SUBSCRIPTIONS_HIGHEST, limits.subscriptions);
    limits.queue_bytes =
        read_queue_bytes(reader, "user_queue_bytes", USER_QUEUE_HIGHEST, limits.queue_bytes, cluster);
    return limits;
}

Daemon_Settings read_daemon(const Toml_Reader &root, const std::string &path, const Configuration &cluster) {
    Daemon_Settings settings;
    const toml::table *table = root.table("daemon");
    if (table == nullptr) {
        return settings;
    }
    const Toml_Reader reader(*table, path, "[daemon]",
                             {"socket", "control", "group", "act_group", "control_group", "socket_mode",
                              "key_mode", "client_queue_bytes", "max_connections", "user_connections",
                              "user_subscriptions", "user_queue_bytes", "control_idle_seconds",
                              "shutdown_delay_seconds", "log_file", "log_level"});
    settings.socket = reader.string_or("socket", PATH_LONGEST, "");
    settings.control = reader.string_or("control", PATH_LONGEST, "");
    settings.group = reader.string_or("group", NAME_LONGEST, "");
    settings.act_group = reader.string_or("act_group", NAME_LONGEST, "");
    settings.control_group = reader.string_or("control_group", NAME_LONGEST, "");
    settings.socket_mode = read_mode(reader, "socket_mode", "0660").value_or(settings.socket_mode);
    settings.key_mode = read_key_mode(reader);
    settings.shutdown_delay =
        reader.seconds_or("shutdown_delay_seconds", 0, DELAY_LONGEST_SECONDS, settings.shutdown_delay);
    settings.client_queue_bytes =
        read_queue_bytes(reader, "client_queue_bytes", QUEUE_HIGHEST, settings.client_queue_bytes, cluster);
    settings.users = read_user_limits(reader, cluster);
    settings.control_idle =
        reader.seconds_or("control_idle_seconds", 1, IDLE_LONGEST_SECONDS, settings.control_idle);
    settings.log_file = reader.string_or("log_file", PATH_LONGEST, "");
    settings.log_level = reader.string_or("log_level", NAME_LONGEST, settings.log_level);
    if (settings.log_level != "debug" && settings.log_level != "info" && settings.log_level != "warning" &&
        settings.log_level != "error") {
        throw reader.error("log_level", text("\"", settings.log_level,
                                             "\" is not a log level; expected debug, info, warning or error"));
    }
    return settings;
}

Suspicion_Settings read_suspicion(const Toml_Reader &root, const std::string &path) {
    Suspicion_Settings settings;
    const toml::table *table = root.table("suspicion");
    if (table == nullptr) {
        return settings;
    }
    const Toml_Reader reader(*table, path, "[suspicion]", {"confirm_seconds", "max_grace_seconds"});
    settings.confirm = reader.seconds_or("confirm_seconds", 0, DELAY_LONGEST_SECONDS, settings.confirm);
    settings.max_grace_seconds = static_cast<int32_t>(
        reader.integer_or("max_grace_seconds", 0, GRACE_LONGEST_SECONDS, settings.max_grace_seconds));
    return settings;
}

uint32_t read_key_type(const Toml_Reader &reader, uint32_t otherwise) {
    if (!reader.has("key_type")) {
        return otherwise;
    }
    const std::string written = reader.string("key_type", NAME_LONGEST);
    for (uint32_t type : {SEC_KEY_TYPE_HMAC_SHA256, SEC_KEY_TYPE_HMAC_SHA512, SEC_KEY_TYPE_AES_CMAC}) {
        if (written == key_type_name(type)) {
            return type;
        }
    }
    throw reader.error(
        "key_type",
        text("\"", written, "\" is not a key type; expected hmac-sha256, hmac-sha512 or ", "aes-cmac"));
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
        if (endpoint.path.size() > SOCKET_PATH_LONGEST) {
            throw reader.error("path", text("the path has ", endpoint.path.size(),
                                            " bytes, but a socket address holds at most ", SOCKET_PATH_LONGEST,
                                            ": ", endpoint.path));
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

// ---- Where the cluster comes from ----

constexpr const char *OWN_FILE = "file";
constexpr const char *COROSYNC = "corosync";

bool is_told_by_engine(const Toml_Reader &source) {
    const std::string type = source.string_or("type", NAME_LONGEST, OWN_FILE);
    if (type != OWN_FILE && type != COROSYNC) {
        throw source.error(
            "type", text("\"", type, "\" is not a source; expected \"", OWN_FILE, "\" or \"", COROSYNC, "\""));
    }
    return type == COROSYNC;
}

Configuration size_of_engine_cluster() {
    Configuration cluster;
    cluster.max_nodes = HB_NODE_SLOTS;
    cluster.adapters_per_node = ENGINE_ADAPTERS_PER_NODE;
    cluster.engine_tells = true;
    return cluster;
}

std::string read_timeline_path(const Toml_Reader &source, const std::string &path) {
    const std::string timeline = source.string_or("timeline", PATH_LONGEST, "");
    return timeline.empty() ? timeline : (std::filesystem::path(path).parent_path() / timeline).string();
}

void read_source(const Toml_Reader &root, const std::string &path, Cluster_File &file) {
    const toml::table *table = root.table("source");
    if (table == nullptr) {
        file.cluster = read_cluster(root, path);
        return;
    }
    const Toml_Reader any(*table, path, "[source]",
                          {"type", "timeline", "poll_milliseconds", "grace_seconds", "node", "network"});
    if (is_told_by_engine(any)) {
        const Toml_Reader source(*table, path, "[source] of type \"corosync\"",
                                 {"type", "poll_milliseconds", "grace_seconds", "node", "network"});
        file.engine = read_engine_section(root, source, path);
        file.engine->names.heartbeat = read_heartbeat(root, path);
        file.cluster = size_of_engine_cluster();
    } else {
        const Toml_Reader source(*table, path, "[source]", {"type", "timeline"});
        file.cluster = read_cluster(root, path);
        file.timeline = read_timeline_path(source, path);
    }
}

} // namespace

Cluster_File parse_cluster_file(std::string_view document, const std::string &path) {
    const toml::table parsed = parse_toml(document, path);
    const Toml_Reader root(
        parsed, path, "the file",
        {"cluster", "daemon", "heartbeat", "suspicion", "security", "source", "network", "node", "endpoint"});
    Cluster_File file;
    read_source(root, path, file);
    file.daemon = read_daemon(root, path, file.cluster);
    file.suspicion = read_suspicion(root, path);
    file.security = read_security(root, path);
    file.endpoints = read_endpoints(root, path, file.cluster);
    return file;
}

Cluster_File read_cluster_file(const std::string &path) {
    return parse_cluster_file(read_text_file(path), path);
}

Cluster_File read_named_cluster_file(const std::string &path) {
    return parse_cluster_file(read_named_file(path), path);
}

} // namespace wispd
