// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/event_sender.h"

#include <unistd.h>

#include "daemon/publisher/packets.h"

namespace wispd {

namespace {

constexpr const char *CONFIGURATION_NAME = HB_EVENT_NAME_CONFIG;
constexpr const char *FAILURE_NAME = HB_EVENT_NAME_FFDC;

Packet packet_of(Hb_Client_Reply kind, const Subscription &subscription) {
    Packet packet;
    packet.kind = kind;
    packet.subscription = subscription.name;
    return packet;
}

} // namespace

Event_Sender::Event_Sender(const Cluster &cluster, const Clients &clients)
    : cluster_(cluster), clients_(clients), bodies_(cluster) {}

void Event_Sender::send_configuration(Client &client) {
    Packet packet;
    packet.kind = HB_CONFIGURATION_INFO;
    client.configuration_seen = cluster_.configuration_sequence();
    client.send_reply(packet, bodies_.snapshot());
}

void Event_Sender::send_update(Client &client) {
    Packet packet;
    packet.kind = HB_CONFIGURATION_UPDATE;
    packet.subscription = CONFIGURATION_NAME;
    client.configuration_seen = cluster_.configuration_sequence();
    client.send_event(packet, bodies_.snapshot());
}

void Event_Sender::send_present_state(Client &client, const Subscription &subscription) {
    if ((subscription.events & HB_EVENT_NEW_GROUP) != 0 && is_about_adapters(subscription)) {
        send_adapter_group(client, subscription);
    }
    if ((subscription.events & HB_EVENT_NEW_GROUP) != 0 && is_about_nodes(subscription)) {
        send_node_group(client, subscription);
    }
    if ((subscription.events & HB_EVENT_HEARTBEAT) != 0 && cluster_.heartbeat()) {
        send_heartbeat(client, subscription);
    }
}

void Event_Sender::send_adapter_group(Client &client, const Subscription &subscription) {
    Packet packet = packet_of(HB_ADAPTER_NEW_GROUP, subscription);
    packet.group_incarnation = cluster_.group_incarnation();
    packet.leader = NO_ADAPTER;
    if (covers_all(subscription)) {
        packet.leader = bodies_.adapters_up().empty() ? NO_ADAPTER : bodies_.adapters_up().front().number;
        client.send_event(packet, bodies_.all_adapters_up());
        return;
    }
    const std::vector<Adapter_Member> members = covered(subscription, bodies_.adapters_up());
    packet.leader = members.empty() ? NO_ADAPTER : members.front().number;
    client.send_event(packet, encode_adapter_members(members));
}

void Event_Sender::send_node_group(Client &client, const Subscription &subscription) {
    const std::vector<Hb_Node_Number> members = covered(subscription, cluster_.nodes_up());
    client.send_event(packet_of(HB_NODE_NEW_GROUP, subscription),
                      encode_node_members(members, cluster_.max_nodes()));
}

void Event_Sender::send_heartbeat(Client &client, const Subscription &subscription) {
    client.send_event(packet_of(HB_NODE_HEARTBEAT, subscription),
                      encode_heartbeat(*cluster_.heartbeat(), getpid()));
}

void Event_Sender::announce(const Changes &changes, const std::string &failure_id) {
    bodies_.forget();
    announce_adapters(HB_ADAPTER_DEATH, HB_EVENT_DEATH, changes.adapter_deaths, failure_id);
    announce_nodes(HB_NODE_DEATH, HB_EVENT_DEATH, changes.node_deaths, changes.node_slots_at_death, failure_id);
    if (changes.configuration_updated) {
        announce_update();
    }
    announce_adapters(HB_ADAPTER_JOIN, HB_EVENT_JOIN, changes.adapter_joins, {});
    announce_nodes(HB_NODE_JOIN, HB_EVENT_JOIN, changes.node_joins, cluster_.max_nodes(), {});
    if (changes.heartbeat) {
        announce_heartbeat();
    }
    if (changes.foreign_instance) {
        announce_foreign_instance(*changes.foreign_instance);
    }
    if (!changes.failure_report.empty()) {
        announce_failure(changes.failure_report);
    }
}

template <typename Action> void Event_Sender::for_each_subscription(Hb_Events event, Action action) {
    for (const auto &[id, client] : clients_) {
        for (const Subscription &subscription : client->subscriptions) {
            if (client->is_open() && (subscription.events & event) != 0) {
                action(*client, subscription);
            }
        }
    }
}

void Event_Sender::announce_adapters(Hb_Client_Reply kind, Hb_Events event,
                                     const std::vector<Adapter_Member> &members,
                                     const std::string &failure_id) {
    if (members.empty()) {
        return;
    }
    const Body whole = encode_adapter_members(members);
    for_each_subscription(event, [&](Client &client, const Subscription &subscription) {
        if (!is_about_adapters(subscription)) {
            return;
        }
        Packet packet = packet_of(kind, subscription);
        packet.status = Hb_Group_Unstable;
        packet.failure_id = failure_id;
        if (covers_all(subscription)) {
            client.send_event(packet, whole);
            return;
        }
        const std::vector<Adapter_Member> its = covered(subscription, members);
        if (!its.empty()) {
            client.send_event(packet, its.size() == members.size() ? whole : encode_adapter_members(its));
        }
    });
}

void Event_Sender::announce_nodes(Hb_Client_Reply kind, Hb_Events event,
                                  const std::vector<Hb_Node_Number> &members, int node_slots,
                                  const std::string &failure_id) {
    if (members.empty()) {
        return;
    }
    const Body whole = encode_node_members(members, node_slots);
    for_each_subscription(event, [&](Client &client, const Subscription &subscription) {
        if (!is_about_nodes(subscription)) {
            return;
        }
        Packet packet = packet_of(kind, subscription);
        packet.status = Hb_Group_Unstable;
        packet.failure_id = failure_id;
        if (covers_all(subscription)) {
            client.send_event(packet, whole);
            return;
        }
        const std::vector<Hb_Node_Number> its = covered(subscription, members);
        if (!its.empty()) {
            client.send_event(packet,
                              its.size() == members.size() ? whole : encode_node_members(its, node_slots));
        }
    });
}

// Clients cannot subscribe to updates and failure identifiers. A client without subscriptions only sends
// requests and would mistake such an event for its answer.
void Event_Sender::announce_update() {
    for (const auto &[id, client] : clients_) {
        if (client->is_open() && !client->subscriptions.empty()) {
            send_update(*client);
        }
    }
}

void Event_Sender::announce_failure(const std::string &identifier) {
    Packet packet;
    packet.kind = HB_FFDC_ID;
    packet.subscription = FAILURE_NAME;
    packet.failure_id = identifier;
    for (const auto &[id, client] : clients_) {
        if (client->is_open() && !client->subscriptions.empty()) {
            client->send_event(packet, empty_body());
        }
    }
}

void Event_Sender::announce_heartbeat() {
    for_each_subscription(HB_EVENT_HEARTBEAT, [this](Client &client, const Subscription &subscription) {
        send_heartbeat(client, subscription);
    });
}

void Event_Sender::announce_foreign_instance(const Foreign_Instance &foreign) {
    const Body body = encode_foreign_instance(foreign);
    for_each_subscription(HB_EVENT_DIFF_INSTANCE, [&](Client &client, const Subscription &subscription) {
        client.send_event(packet_of(HB_DIFF_INSTANCE_NUM, subscription), body);
    });
}

} // namespace wispd
