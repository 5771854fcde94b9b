// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/request_server.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "daemon/publisher/packets.h"
#include "daemon/publisher/subscription.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t SUBSCRIPTIONS_MOST = 4096;
constexpr const char *REQUESTED = "client-request";

} // namespace

Request_Server::Request_Server(const Cluster &cluster, const Routes &routes, Event_Sender &events,
                               User_Quotas &quotas, Client_Log &log, Client_Handlers handlers)
    : cluster_(cluster), routes_(routes), events_(events), quotas_(quotas), client_log_(log),
      handlers_(std::move(handlers)) {}

void Request_Server::act_on(Client &client, const Request &request) {
    switch (request.kind) {
    case HB_GET_CONFIG_INFO:
        events_.send_configuration(client);
        return;
    case HB_SUBSCRIBE:
        subscribe(client, request);
        return;
    case HB_UNSUBSCRIBE:
        unsubscribe(client, request);
        return;
    default:
        break;
    }
    if (const Request_Rule *rule = rule_of(request.kind)) {
        serve(client, request, *rule);
    } else if (request.kind < HB_GET_CONFIG_INFO || request.kind > MONITOR_LAST_MESSAGE) {
        client.complain(text("unknown request ", request.kind, "; ignored"));
    } else if (client.is_first_refusal(request.kind)) {
        client.warn(text("sent unsupported request ", request.kind, "; ignored"));
    }
}

void Request_Server::subscribe(Client &client, const Request &request) {
    std::string fault;
    std::optional<Subscription> subscription = read_subscription(request.body, fault);
    if (!subscription) {
        client.complain(text(fault, "; ignored"));
        return;
    }
    auto &held = client.subscriptions;
    const auto same = std::find_if(held.begin(), held.end(),
                                   [&](const Subscription &other) { return other.name == subscription->name; });
    if (same == held.end() && held.size() >= SUBSCRIPTIONS_MOST) {
        client.disconnect(text("it has ", held.size(), " subscriptions, the limit, and requests another"));
        return;
    }
    if (same == held.end() && !quotas_.may_subscribe(client.peer().uid)) {
        client.disconnect(text("its user has ", quotas_.held_by(client.peer().uid).subscriptions,
                               " subscriptions, the limit (user_subscriptions), and it requests another"));
        return;
    }
    // The client received no updates while it had no subscription.
    if (client.configuration_seen != 0 && client.configuration_seen != cluster_.configuration_sequence()) {
        events_.send_update(client);
    }
    log_debug(text(client.title(), " subscribed \"", subscription->name, "\" of type ", subscription->type,
                   " to events ", subscription->events));
    if (same == held.end()) {
        quotas_.subscribed(client.peer().uid);
    }
    Subscription &stored = same == held.end() ? held.emplace_back() : *same;
    stored = std::move(*subscription);
    events_.send_present_state(client, stored);
}

void Request_Server::unsubscribe(Client &client, const Request &request) {
    const std::string name = read_name(request.body);
    const auto removed =
        std::erase_if(client.subscriptions, [&](const Subscription &held) { return held.name == name; });
    quotas_.unsubscribed(client.peer().uid, removed);
    log_debug(text(client.title(), removed > 0 ? " unsubscribed \"" : " has no subscription \"", name, "\""));
}

// ---- Requests that concern the node ----

void Request_Server::serve(Client &client, const Request &request, const Request_Rule &rule) {
    if (rule.acts && !handlers_.may_act(client.peer())) {
        client.warn(text("requested ", description(rule, request.body),
                         ": rejected; only root, wispd's user and members of act_group can act on the node"),
                    REQUESTED);
        answer(client, rule, rule.when_not_permitted, empty_body());
        return;
    }
    std::string fault;
    if (rule.form == Body_Form::sequence) {
        if (const auto sequence = read_sequence(request.body, fault)) {
            client.heartbeat = sequence;
        }
    } else if (rule.form == Body_Form::multicast) {
        if (const auto multicast = read_multicast(request.body, fault)) {
            deliver(client, *multicast);
        }
    } else if (const auto node_request = read_node_request(rule, request.body, fault)) {
        act_on_node(client, rule, *node_request, description(rule, request.body));
    }
    if (!fault.empty()) {
        client.complain(
            text("request ", static_cast<int>(rule.kind), " (", rule.name, ") with ", fault, "; ignored"));
        answer(client, rule, REQUEST_FAILED, empty_body());
    }
}

void Request_Server::act_on_node(Client &client, const Request_Rule &rule, const Node_Request &request,
                                 const std::string &described) {
    if (rule.kind == HB_GET_ROUTE) {
        send_route(client, rule, static_cast<std::size_t>(request.number));
        return;
    }
    const Outcome outcome = handlers_.act(request);
    const std::string what = text("requested ", described, ": ", outcome.note,
                                  outcome.status == REQUEST_DONE ? "" : "; nothing changed");
    if (rule.acts) {
        client.note(what, REQUESTED);
    } else {
        log_debug(text(client.title(), " ", what));
    }
    const bool asks_for_state = rule.kind == HB_GET_ADAPTER_STATE;
    answer(client, rule, outcome.status, asks_for_state ? encode_adapter_state(outcome.word) : empty_body());
    if (outcome.changes.any()) {
        handlers_.changed(outcome.changes);
    }
}

void Request_Server::deliver(Client &client, const Multicast &multicast) {
    handlers_.need_routes();
    const Delivery delivery = handlers_.deliver(multicast);
    client.note(text("multicast ", summary(multicast, delivery)), REQUESTED);
    log_debug(text("its ttl is ", multicast.ttl, multicast.daemons_only ? ", for daemons only" : ""));
    for (const auto &[node, why] : delivery.failed) {
        client_log_.warning(client.peer().uid, text("multicast to port ", multicast.port, " of node ", node,
                                                    " not delivered: ", why));
    }
}

void Request_Server::answer(Client &client, const Request_Rule &rule, int32_t value, const Body &body) {
    if (rule.answer) {
        Packet packet;
        packet.kind = *rule.answer;
        packet.value = value;
        client.send_reply(packet, body);
    }
}

// A node without a route is answered with a route of zero hops.
void Request_Server::send_route(Client &client, const Request_Rule &rule, std::size_t node) {
    handlers_.need_routes();
    const Node_Route route = node < routes_.size() ? routes_[node] : Node_Route{};
    answer(client, rule, route.length, encode_route(route));
}

} // namespace wispd
