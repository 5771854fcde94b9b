// Arguments of the verbs about routes, keys, adapters of this node and control requests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/hbctl/control_request.h"
#include "tools/hbctl/member_word.h"

namespace hbctl {

struct Route_Query {
    Member_Word node;
    bool shared = false;  // read from shared memory instead of asking the daemon
    bool ip_only = false; // also read from shared memory
};

struct Multicast_Request {
    int port = 0;
    std::vector<Member_Word> nodes;
    std::optional<std::string> text; // none: standard input
};

struct Control_Arguments {
    Route_Query route;
    std::optional<Member_Word> adapter; // of adapter-state; none: every local adapter
    Multicast_Request multicast;
    Control_Request request;
};

} // namespace hbctl
