// SPDX-License-Identifier: Apache-2.0
// Delivers multicasts to local endpoints.
//
// The nodes of a described cluster have no network. For tests, a UNIX datagram socket for each node and port
// replaces it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cluster/configuration.h"
#include "cluster/routes.h"
#include "daemon/publisher/node_requests.h"
#include "host/socket_file.h"

namespace wispd {

// The result of a multicast for each node.
struct Delivery {
    std::vector<int64_t> delivered;
    std::vector<int64_t> no_route;
    std::vector<int64_t> no_endpoint;
    std::vector<std::pair<int64_t, std::string>> failed; // with the reason
};

// Returns "B bytes to port P" and the nodes that received them.
std::string summary(const Multicast &multicast, const Delivery &delivery);

class Endpoints {
  public:
    // Throws Start_Failure if the socket cannot be created.
    explicit Endpoints(const std::vector<Endpoint> &endpoints);

    void set(const std::vector<Endpoint> &endpoints);
    // Sends one datagram to each node that has a route. Does not wait for a receiver.
    Delivery deliver(const Multicast &multicast, const Routes &routes) const;

  private:
    Descriptor socket_;
    std::map<std::pair<int, uint16_t>, std::string> paths_;
};

} // namespace wispd
