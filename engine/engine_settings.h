// What wispd's own file says about following an engine: plain data.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "cluster/configuration.h"

namespace wispd {

// Adapters of a node in every such cluster, so that the numbers stay when a link is added.
inline constexpr int ENGINE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// What is added to what the engine knows.
struct Engine_Names {
    std::map<uint32_t, int> nodes;       // node numbers of ids that are none themselves
    std::map<int, std::string> networks; // by link; others are "link" and its number
    Hb_Config_Instance instance = 1;
    std::optional<Heartbeat> heartbeat;

    bool operator==(const Engine_Names &) const = default;
};

struct Engine_Patience {
    std::chrono::milliseconds poll{100};    // poll_milliseconds: between two looks at the links
    std::chrono::milliseconds grace{10000}; // grace_seconds: from the engine's end until the others are dead

    bool operator==(const Engine_Patience &) const = default;
};

struct Engine_Settings {
    Engine_Names names;
    Engine_Patience patience;
};

} // namespace wispd
