// SPDX-License-Identifier: Apache-2.0
// A Corosync cluster as the engine on this node knows it: plain data.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace wispd {

// One configured node. Link numbers are those of the knet links, 0 to 7.
struct Corosync_Node {
    uint32_t id = 0;
    std::string name;                     // empty: not configured
    std::map<int, std::string> addresses; // by link

    bool operator==(const Corosync_Node &) const = default;
};

// Corosync's configuration, in the order of its node list.
struct Corosync_Configuration {
    std::string cluster_name;
    uint32_t local_id = 0;
    std::vector<Corosync_Node> nodes;

    bool operator==(const Corosync_Configuration &) const = default;
};

// The state of a link from this node to another.
struct Corosync_Link {
    bool connected = false;
    uint32_t times_down = 0; // since Corosync started; grows when the link flaps between polls

    bool operator==(const Corosync_Link &) const = default;
};

using Corosync_Links = std::map<std::pair<uint32_t, int>, Corosync_Link>; // by node id and link

// How often each node has joined since Corosync started on this node. The number grows even when a member
// leaves and rejoins within one notification.
using Corosync_Members = std::map<uint32_t, uint32_t>; // members only

} // namespace wispd
