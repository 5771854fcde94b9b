// SPDX-License-Identifier: Apache-2.0
#include "engine/cluster_file.h"

#include <filesystem>

#include "cluster/description/cluster_description.h"
#include "cluster/description/text_limits.h"
#include "cluster/description/toml_reader.h"
#include "engine/corosync_section.h"
#include "engine/serf_section.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

namespace {

constexpr const char *OWN_FILE = "file";

std::string source_type(const Toml_Reader &source) {
    std::string type = source.string_or("type", NAME_LONGEST, OWN_FILE);
    if (type != OWN_FILE && type != COROSYNC.type && type != SERF.type) {
        throw source.error("type", text("\"", type, "\" is not a source; expected \"", OWN_FILE, "\", \"",
                                        COROSYNC.type, "\" or \"", SERF.type, "\""));
    }
    return type;
}

Configuration size_of_engine_cluster() {
    Configuration cluster;
    cluster.max_nodes = HB_NODE_SLOTS;
    cluster.adapters_per_node = ENGINE_ADAPTERS_PER_NODE;
    cluster.is_from_engine = true;
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
                          {"type", "timeline", "poll_milliseconds", "grace_seconds", "node", "network", "agent",
                           "discover", "settle_milliseconds"});
    const std::string type = source_type(any);
    if (type == COROSYNC.type) {
        const Toml_Reader source(*table, path, "[source] of type \"corosync\"",
                                 {"type", "poll_milliseconds", "grace_seconds", "node", "network"});
        Corosync_Settings settings = read_corosync_section(root, source, path);
        settings.names.heartbeat = read_heartbeat(root, path);
        file.engine = std::move(settings);
        file.cluster = size_of_engine_cluster();
    } else if (type == SERF.type) {
        const Toml_Reader source(*table, path, "[source] of type \"serf\"",
                                 {"type", "grace_seconds", "settle_milliseconds", "discover", "agent"});
        Serf_Settings settings = read_serf_section(root, source, path);
        file.cluster.max_nodes = settings.cluster.max_nodes;
        file.cluster.adapters_per_node = settings.cluster.adapters_per_node;
        file.cluster.is_from_engine = true;
        file.engine = std::move(settings);
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
    file.daemon_section = read_daemon_section(root, path, file.cluster);
    file.suspicion = read_suspicion(root, path);
    file.security = read_security(root, path);
    file.endpoints = read_endpoints(root, path, file.cluster);
    return file;
}

Cluster_File read_cluster_file(const std::string &path) {
    return parse_cluster_file(read_text_file(path), path);
}

} // namespace wispd
