// SPDX-License-Identifier: Apache-2.0
// The settings in wispd's own file for following Corosync: plain data.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "cluster/configuration.h"

namespace wispd {

// Adapters per node in every Corosync cluster. It is constant, so adapter numbers stay when a link is added.
inline constexpr int ENGINE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// What wispd's file adds to Corosync's configuration.
struct Engine_Names {
    std::map<uint32_t, int> nodes;       // node numbers by id; the default is the id itself
    std::map<int, std::string> networks; // names by link; the default is "link" and its number
    Hb_Config_Instance instance = 1;
    std::optional<Heartbeat> heartbeat;

    bool operator==(const Engine_Names &) const = default;
};

struct Engine_Patience {
    std::chrono::milliseconds poll{100};    // poll_milliseconds: between two polls of the links
    std::chrono::milliseconds grace{10000}; // grace_seconds: from the disconnect until the other nodes are down

    bool operator==(const Engine_Patience &) const = default;
};

struct Engine_Settings {
    Engine_Names names;
    Engine_Patience patience;
};

} // namespace wispd
