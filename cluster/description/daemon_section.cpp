// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/daemon_section.h"

#include <string_view>

#include "cluster/description/text_limits.h"
#include "host/log.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

namespace {

constexpr int64_t QUEUE_HIGHEST = 1073741824;
constexpr int64_t USER_QUEUE_HIGHEST = 2147483647;
constexpr int64_t CONNECTIONS_LOWEST = 32; // for all users, including the reserved ones
constexpr int64_t CONNECTIONS_HIGHEST = 1000000;
constexpr int64_t SUBSCRIPTIONS_HIGHEST = 10000000;
constexpr double IDLE_LONGEST_SECONDS = 86400;
constexpr double DELAY_LONGEST_SECONDS = 86400;

std::optional<std::string> read_text(const Toml_Reader &reader, std::string_view key, std::size_t longest) {
    return reader.has(key) ? std::optional(reader.string(key, longest)) : std::nullopt;
}

std::optional<std::size_t> read_count(const Toml_Reader &reader, std::string_view key, int64_t lowest,
                                      int64_t highest) {
    return reader.has(key) ? std::optional(static_cast<std::size_t>(reader.integer(key, lowest, highest)))
                           : std::nullopt;
}

std::optional<std::chrono::microseconds> read_seconds(const Toml_Reader &reader, std::string_view key,
                                                      double lowest, double highest) {
    return reader.has(key) ? std::optional(reader.seconds_or(key, lowest, highest, {})) : std::nullopt;
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

// Returns the wire size of the largest snapshot of this geometry: a shorter queue could never hold it.
int64_t largest_snapshot(const Configuration &cluster) {
    const auto adapters = static_cast<int64_t>(cluster.max_nodes) * cluster.adapters_per_node;
    return 4 + HB_REPLY_HEADER_SIZE + static_cast<int64_t>(sizeof(Hb_Snapshot_Header)) +
           adapters * static_cast<int64_t>(sizeof(Hb_Adapter_Entry)) +
           cluster.adapters_per_node * static_cast<int64_t>(sizeof(Hb_Network_Entry));
}

std::optional<std::size_t> read_queue_bytes(const Toml_Reader &reader, const char *key, int64_t highest,
                                            const Configuration &cluster) {
    const std::optional<std::size_t> bytes = read_count(reader, key, 0, highest);
    if (bytes && static_cast<int64_t>(*bytes) < largest_snapshot(cluster)) {
        throw reader.error(key, text(key, " is ", *bytes, "; expected at least ", largest_snapshot(cluster),
                                     ", the configuration message of a full cluster of this size"));
    }
    return bytes;
}

std::optional<std::string> read_log_level(const Toml_Reader &reader) {
    const std::optional<std::string> level = read_text(reader, "log_level", NAME_LONGEST);
    if (level && !is_log_level(*level)) {
        throw reader.error("log_level",
                           text("\"", *level, "\" is not a log level; expected debug, info, warning or error"));
    }
    return level;
}

} // namespace

Daemon_Section read_daemon_section(const Toml_Reader &root, const std::string &path,
                                   const Configuration &cluster) {
    Daemon_Section section;
    const toml::table *table = root.table("daemon");
    if (table == nullptr) {
        return section;
    }
    const Toml_Reader reader(*table, path, "[daemon]",
                             {"socket", "control", "group", "act_group", "control_group", "socket_mode",
                              "key_mode", "client_queue_bytes", "max_connections", "user_connections",
                              "user_subscriptions", "user_queue_bytes", "control_idle_seconds",
                              "shutdown_delay_seconds", "log_file", "log_level"});
    section.socket = read_text(reader, "socket", PATH_LONGEST);
    section.control = read_text(reader, "control", PATH_LONGEST);
    section.group = read_text(reader, "group", NAME_LONGEST);
    section.act_group = read_text(reader, "act_group", NAME_LONGEST);
    section.control_group = read_text(reader, "control_group", NAME_LONGEST);
    section.socket_mode = read_mode(reader, "socket_mode", "0660");
    section.key_mode = read_key_mode(reader);
    section.shutdown_delay = read_seconds(reader, "shutdown_delay_seconds", 0, DELAY_LONGEST_SECONDS);
    section.client_queue_bytes = read_queue_bytes(reader, "client_queue_bytes", QUEUE_HIGHEST, cluster);
    section.max_connections = read_count(reader, "max_connections", CONNECTIONS_LOWEST, CONNECTIONS_HIGHEST);
    section.user_connections = read_count(reader, "user_connections", 1, CONNECTIONS_HIGHEST);
    section.user_subscriptions = read_count(reader, "user_subscriptions", 1, SUBSCRIPTIONS_HIGHEST);
    section.user_queue_bytes = read_queue_bytes(reader, "user_queue_bytes", USER_QUEUE_HIGHEST, cluster);
    section.control_idle = read_seconds(reader, "control_idle_seconds", 1, IDLE_LONGEST_SECONDS);
    section.log_file = read_text(reader, "log_file", PATH_LONGEST);
    section.log_level = read_log_level(reader);
    return section;
}

} // namespace wispd
