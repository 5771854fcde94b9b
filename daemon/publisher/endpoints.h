// Delivers multicasts. The nodes of a cluster that is only described have no network to send on; what takes
// their place for a test is a UNIX datagram socket for each node and port.
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

// What became of a multicast, node by node.
struct Delivery {
    std::vector<int64_t> delivered;
    std::vector<int64_t> no_route;
    std::vector<int64_t> no_endpoint;
    std::vector<std::pair<int64_t, std::string>> failed; // with the reason
};

// "B bytes to port P", and which nodes got them.
std::string summary(const Multicast &multicast, const Delivery &delivery);

class Endpoints {
  public:
    // Throws Start_Failure.
    explicit Endpoints(const std::vector<Endpoint> &endpoints);

    void set(const std::vector<Endpoint> &endpoints);
    // One datagram for each node that there is a route to. Waits for nobody.
    Delivery deliver(const Multicast &multicast, const Routes &routes) const;

  private:
    Descriptor socket_;
    std::map<std::pair<int, uint16_t>, std::string> paths_;
};

} // namespace wispd
