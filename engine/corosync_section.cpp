// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync_section.h"

#include <map>
#include <string>

#include "cluster/description/text_limits.h"
#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {
namespace {

constexpr int64_t LINK_HIGHEST = 7;
constexpr int64_t POLL_SHORTEST = 20;
constexpr int64_t POLL_LONGEST = 5000;
constexpr double GRACE_LONGEST_SECONDS = 86400;

// Rejects sections for which Corosync's own configuration is the only source.
void reject_own_cluster(const Toml_Reader &root) {
    for (const char *section : {"network", "node"}) {
        if (root.has(section)) {
            throw root.error(section,
                             text("[[", section,
                                  "]] is not permitted with [source] type = \"corosync\": Corosync's own "
                                  "configuration describes the cluster; write names into "
                                  "[[source.network]] and [[source.node]]"));
        }
    }
}

void read_engine_nodes(const Toml_Reader &source, const std::string &path, Corosync_Names &names) {
    std::map<int, std::string> numbers;
    std::map<uint32_t, std::string> ids;
    for (const toml::table *table : source.tables("node")) {
        const Toml_Reader reader(*table, path, "[[source.node]]", {"id", "number"});
        const auto id = static_cast<uint32_t>(reader.integer("id", 1, UINT32_MAX));
        const auto number = static_cast<int>(reader.integer("number", 0, HB_NODE_SLOTS - 1));
        const auto [first_id, id_is_new] = ids.try_emplace(id, reader.place());
        if (!id_is_new) {
            throw reader.error(
                "id", text("id ", id, " is mapped to a number twice; the first is at ", first_id->second));
        }
        const auto [first, is_new] = numbers.try_emplace(number, reader.place());
        if (!is_new) {
            throw reader.error("number",
                               text("number ", number, " is used twice; the first is at ", first->second));
        }
        names.nodes[id] = number;
    }
}

void read_engine_networks(const Toml_Reader &source, const std::string &path, Corosync_Names &names) {
    std::map<std::string, std::string> places;
    for (const toml::table *table : source.tables("network")) {
        const Toml_Reader reader(*table, path, "[[source.network]]", {"link", "name"});
        const auto link = static_cast<int>(reader.integer("link", 0, LINK_HIGHEST));
        const std::string name = reader.string("name", NETWORK_NAME_LONGEST);
        if (!names.networks.try_emplace(link, name).second) {
            throw reader.error("link", text("link ", link, " is named twice"));
        }
        const auto [first, is_new] = places.try_emplace(name, reader.place());
        if (!is_new) {
            throw reader.error(
                "name", text("network name \"", name, "\" is used twice; the first is at ", first->second));
        }
    }
}

} // namespace

Corosync_Settings read_corosync_section(const Toml_Reader &root, const Toml_Reader &source,
                                        const std::string &path) {
    reject_own_cluster(root);
    Corosync_Settings engine;
    engine.patience.poll = std::chrono::milliseconds(
        source.integer_or("poll_milliseconds", POLL_SHORTEST, POLL_LONGEST, engine.patience.poll.count()));
    engine.patience.grace = std::chrono::duration_cast<std::chrono::milliseconds>(
        source.seconds_or("grace_seconds", 0, GRACE_LONGEST_SECONDS, engine.patience.grace));
    if (const toml::table *table = root.table("cluster")) {
        const Toml_Reader reader(*table, path, "[cluster]", {"instance"});
        engine.names.instance = static_cast<Hb_Config_Instance>(
            reader.integer_or("instance", 0, UINT32_MAX, engine.names.instance));
    }
    read_engine_nodes(source, path, engine.names);
    read_engine_networks(source, path, engine.names);
    return engine;
}

} // namespace wispd
