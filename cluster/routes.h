// SPDX-License-Identifier: Apache-2.0
// The routes from this node to the others: the addresses that a message passes, over networks that are up.
#pragma once

#include <cstdint>
#include <vector>

#include "cluster/cluster.h"

namespace wispd {

struct Node_Route {
    uint16_t length = 0; // addresses used; 0: there is no route
    bool is_ip = true;   // every adapter on the way has an address
    Hb_Route hops{};

    bool operator==(const Node_Route &other) const;
};

using Routes = std::vector<Node_Route>; // by node number

// Computes the route to each node: for each link, the sending adapter and then the receiving one. A way over IP
// is preferred, then the shortest way, then the lowest networks and the nodes that are reached first. The route
// to the local node is its own first adapter. Where an engine decides liveness, all other routes are one link
// long.
Routes compute_routes(const Cluster &cluster);

} // namespace wispd
