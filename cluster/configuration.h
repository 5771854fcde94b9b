// SPDX-License-Identifier: Apache-2.0
// The configuration of a cluster: plain data, the same for every source.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hb_client.h"

namespace wispd {

struct Configured_Network {
    Hb_Network_Number number = 0;
    std::string name;
    std::string type;
};

struct Configured_Adapter {
    Hb_Network_Number network = 0;
    Hb_IP_address6 address{};
    std::string type;
    bool up = true;         // its state at the start
    bool carries_ip = true; // false: the network has no addresses
};

struct Configured_Node {
    Hb_Node_Number number = 0;
    std::string name;
    std::vector<Configured_Adapter> adapters;
};

struct Heartbeat {
    int32_t threshold_seconds = 0;
    int32_t threshold_microseconds = 0;
    bool enabled = false;

    bool operator==(const Heartbeat &) const = default;
};

// A UNIX datagram socket that receives what is sent to a port of a node, in place of the network.
struct Endpoint {
    int node = 0;
    uint16_t port = 0;
    std::string path;

    bool operator==(const Endpoint &) const = default;
};

struct Configuration {
    std::string name;
    Hb_Node_Number local_node = 0;
    int max_nodes = 0;         // 1 to HB_NODE_SLOTS
    int adapters_per_node = 0; // 1 to HB_NETWORK_SLOTS
    Hb_Config_Instance instance = 1;
    std::optional<Heartbeat> heartbeat;
    bool is_from_engine = false; // an engine alone decides what is configured and up
    std::vector<Configured_Network> networks;
    std::vector<Configured_Node> nodes;
};

} // namespace wispd
