// SPDX-License-Identifier: Apache-2.0
// Sends clients the configuration, their subscribed events and the state that they need before the first event.
#pragma once

#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "daemon/publisher/client.h"
#include "daemon/publisher/cluster_bodies.h"
#include "daemon/publisher/subscription.h"

namespace wispd {

class Event_Sender {
  public:
    // `cluster` and `clients` must outlive this object.
    Event_Sender(const Cluster &cluster, const Clients &clients);

    // Sends all clients the changes of an operation. `failure_id` is sent with the deaths.
    void announce(const Changes &changes, const std::string &failure_id);

    // Send the configuration: send_configuration() as an answer, send_update() as an event.
    void send_configuration(Client &client);
    void send_update(Client &client);
    // Sends the current groups and settings that a new subscription covers.
    void send_present_state(Client &client, const Subscription &subscription);

  private:
    void send_adapter_group(Client &client, const Subscription &subscription);
    void send_node_group(Client &client, const Subscription &subscription);
    void send_heartbeat(Client &client, const Subscription &subscription);

    template <typename Action> void for_each_subscription(Hb_Events event, Action action);
    void announce_adapters(Hb_Client_Reply kind, Hb_Events event, const std::vector<Adapter_Member> &members,
                           const std::string &failure_id);
    void announce_nodes(Hb_Client_Reply kind, Hb_Events event, const std::vector<Hb_Node_Number> &members,
                        int node_slots, const std::string &failure_id);
    void announce_update();
    void announce_failure(const std::string &identifier);
    void announce_heartbeat();
    void announce_foreign_instance(const Foreign_Instance &foreign);

    const Cluster &cluster_;
    const Clients &clients_;
    Cluster_Bodies bodies_;
};

} // namespace wispd
