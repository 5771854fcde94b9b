// How this node reaches the others: the addresses that a message passes, over networks that are up.
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

// For each link of the way the sending adapter, then the receiving one. The shortest way is taken, and among
// equals the lowest networks and the nodes that are reached first; a way over IP goes before one that is
// not. The route to the local node is its own first adapter. Where an engine tells the cluster, all other routes are
// one link long.
Routes compute_routes(const Cluster &cluster);

} // namespace wispd
