// SPDX-License-Identifier: Apache-2.0
// Answers the requests of clients.
#pragma once

#include <cstddef>
#include <string>

#include "cluster/routes.h"
#include "daemon/publisher/client.h"
#include "daemon/publisher/client_handlers.h"
#include "daemon/publisher/client_log.h"
#include "daemon/publisher/event_sender.h"
#include "daemon/publisher/node_requests.h"
#include "daemon/publisher/user_quotas.h"

namespace wispd {

class Request_Server {
  public:
    // All arguments except the handlers must outlive this object.
    Request_Server(const Cluster &cluster, const Routes &routes, Event_Sender &events, User_Quotas &quotas,
                   Client_Log &log, Client_Handlers handlers);

    // Carries out one request of any kind, and answers it. An invalid or unsupported request is logged.
    void act_on(Client &client, const Request &request);
    // Returns whether the peer is permitted to send requests that act on the node, such as a reported death.
    bool may_act(const Peer &peer) const { return handlers_.may_act(peer); }

  private:
    void subscribe(Client &client, const Request &request);
    void unsubscribe(Client &client, const Request &request);
    void serve(Client &client, const Request &request, const Request_Rule &rule);
    void act_on_node(Client &client, const Request_Rule &rule, const Node_Request &request,
                     const std::string &described);
    void deliver(Client &client, const Multicast &multicast);
    void answer(Client &client, const Request_Rule &rule, int32_t value, const Body &body);
    void send_route(Client &client, const Request_Rule &rule, std::size_t node);

    const Cluster &cluster_;
    const Routes &routes_;
    Event_Sender &events_;
    User_Quotas &quotas_;
    Client_Log &client_log_;
    Client_Handlers handlers_;
};

} // namespace wispd
