// Arguments of the verbs about routes, keys, adapters of this node and control requests.
#pragma once

#include "tools/hbctl/control_request.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hbctl {

struct RouteQuery {
    int node = 0;
    bool shared = false;  // read from shared memory instead of asking the daemon
    bool ip_only = false; // also read from shared memory
};

struct MulticastRequest {
    int port = 0;
    std::vector<int> nodes;
    std::optional<std::string> text; // none: standard input
};

struct ControlArguments {
    RouteQuery route;
    std::optional<std::uint32_t> adapter; // of adapter-state; none: every local adapter
    MulticastRequest multicast;
    ControlRequest request;
};

} // namespace hbctl
