// SPDX-License-Identifier: Apache-2.0
// What the daemon does for clients when the publisher alone cannot.
#pragma once

#include <functional>

#include "cluster/cluster.h"
#include "cluster/node_control.h"
#include "cluster/node_request.h"
#include "daemon/publisher/endpoints.h"
#include "daemon/publisher/node_requests.h"
#include "host/peer.h"

namespace wispd {

struct Client_Handlers {
    std::function<bool(const Peer &)> may_act;
    // Changes the model. The change is announced after the answer was sent, because a waiting client treats the
    // first packet as its answer.
    std::function<Outcome(const Node_Request &)> act;
    std::function<void(const Changes &)> changed;
    std::function<Delivery(const Multicast &)> deliver;
    std::function<void()> clients_changed = [] {}; // after a client connected or disconnected
    // Brings the routes up to date. It is called before routes are used, and before packets are sent.
    std::function<void()> need_routes = [] {};
};

} // namespace wispd
