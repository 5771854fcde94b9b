// SPDX-License-Identifier: Apache-2.0
// The settings in wispd's own file for following a cluster engine: plain data.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cluster/configuration.h"

namespace wispd {

// Adapters per node in every cluster of an engine. It is constant, so adapter numbers stay when a link is added.
inline constexpr int ENGINE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// The time for which other nodes stay up after the engine disconnected, if grace_seconds does not set it.
inline constexpr std::chrono::milliseconds DEFAULT_GRACE{10000};

struct Engine_Name {
    const char *type;  // in [source] and in `wispctl state`
    const char *title; // in log lines
};

inline constexpr Engine_Name COROSYNC{"corosync", "Corosync"};
inline constexpr Engine_Name SERF{"serf", "Serf"};

// ---- Corosync ----

// What wispd's file adds to Corosync's configuration.
struct Corosync_Names {
    std::map<uint32_t, int> nodes;       // node numbers by id; the default is the id itself
    std::map<int, std::string> networks; // names by link; the default is "link" and its number
    Hb_Config_Instance instance = 1;
    std::optional<Heartbeat> heartbeat;

    bool operator==(const Corosync_Names &) const = default;
};

struct Corosync_Patience {
    std::chrono::milliseconds poll{100}; // poll_milliseconds: between two polls of the links
    std::chrono::milliseconds grace{
        DEFAULT_GRACE}; // grace_seconds: from the disconnect until the other nodes are down

    bool operator==(const Corosync_Patience &) const = default;
};

struct Corosync_Settings {
    Corosync_Names names;
    Corosync_Patience patience;
};

// ---- Serf ----

// The agent of one network, which runs on this node.
struct Serf_Agent {
    int network = 0;
    std::string host; // a numeric address
    uint16_t port = 0;
    std::string auth_key; // empty: none

    bool operator==(const Serf_Agent &) const = default;
};

struct Serf_Settings {
    // The cluster. If members are discovered, it has no nodes, and its networks are those of the agents.
    Configuration cluster;
    bool has_local_node = false; // the file states it; otherwise it is the node of the agents' own members
    bool discover = false;
    std::vector<Serf_Agent> agents;                 // by ascending network
    std::chrono::milliseconds grace{DEFAULT_GRACE}; // grace_seconds
    std::chrono::milliseconds settle{0};            // settle_milliseconds: for which a death is held back
};

// ---- Any engine ----

using Engine_Settings = std::variant<Corosync_Settings, Serf_Settings>;

inline std::chrono::milliseconds grace_of(const Corosync_Settings &settings) {
    return settings.patience.grace;
}
inline std::chrono::milliseconds grace_of(const Serf_Settings &settings) {
    return settings.grace;
}

} // namespace wispd
