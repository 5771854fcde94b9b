#include "daemon/publisher/publisher.h"

#include <algorithm>
#include <chrono>
#include <map>

#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "daemon/publisher/client.h"
#include "daemon/publisher/node_requests.h"
#include "daemon/publisher/packets.h"
#include "daemon/publisher/subscription.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

using asio::local::stream_protocol;

constexpr std::size_t SUBSCRIPTIONS_MOST = 4096;
constexpr std::chrono::milliseconds ACCEPT_PAUSE{200};
constexpr const char *CONFIGURATION_NAME = HB_EVENT_NAME_CONFIG;
constexpr const char *FAILURE_NAME = HB_EVENT_NAME_FFDC;

Packet packet_of(Hb_Client_Reply kind, const Subscription &subscription) {
    Packet packet;
    packet.kind = kind;
    packet.subscription = subscription.name;
    return packet;
}

} // namespace

class Publisher::Impl {
  public:
    Impl(asio::io_context &context, int listening, const Cluster &cluster, const Routes &routes,
         const Publisher_Limits &limits, Client_Log &log, Client_Handlers handlers)
        : acceptor_(context, stream_protocol(), listening), pause_(context), cluster_(cluster), routes_(routes),
          client_queue_bytes_(limits.client_queue_bytes), handlers_(std::move(handlers)), client_log_(log),
          quotas_(limits.user, geteuid()) {
        accept();
    }

    void announce(const Changes &changes, const std::string &failure_id);
    void set_limits(const Publisher_Limits &limits);
    std::vector<Client_Status> clients() const;
    const std::map<uid_t, User_Holding> &users() const { return quotas_.holdings(); }

  private:
    void accept();
    void add_client(stream_protocol::socket socket);
    void remove_client(const Client &client);
    void disconnect_longest_queue(Client &client);
    void act_on(Client &client, const Request &request);
    void subscribe(Client &client, const Request &request);
    void unsubscribe(Client &client, const Request &request);
    void serve(Client &client, const Request &request, const Request_Rule &rule);
    void act_on_node(Client &client, const Request_Rule &rule, const Node_Request &request);
    void deliver(Client &client, const Multicast &multicast);
    void answer(Client &client, const Request_Rule &rule, int32_t value, const Body &body);
    void send_route(Client &client, const Request_Rule &rule, std::size_t node);
    void send_configuration(Client &client);
    void send_update(Client &client);
    void send_present_state(Client &client, const Subscription &subscription);
    void send_adapter_group(Client &client, const Subscription &subscription);
    void send_node_group(Client &client, const Subscription &subscription);
    void send_heartbeat(Client &client, const Subscription &subscription);

    template <typename Action> void for_each_subscription(Hb_Events event, Action action);
    void tell_adapters(Hb_Client_Reply kind, Hb_Events event, const std::vector<Adapter_Member> &members,
                       const std::string &failure_id);
    void tell_nodes(Hb_Client_Reply kind, Hb_Events event, const std::vector<Hb_Node_Number> &members,
                    int node_slots, const std::string &failure_id);
    void tell_update();
    void tell_failure(const std::string &identifier);
    void tell_heartbeat();
    void tell_foreign_instance(const Foreign_Instance &foreign);

    const Body &snapshot();
    const std::vector<Adapter_Member> &adapters_up();
    const Body &all_adapters_up();

    stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_;
    const Cluster &cluster_;
    const Routes &routes_;
    std::size_t client_queue_bytes_;
    Client_Handlers handlers_;
    Client_Log &client_log_;
    User_Quotas quotas_;
    int next_id_ = 1;
    bool accept_failed_ = false;
    std::map<int, std::shared_ptr<Client>> clients_;
    // Made when first asked for and dropped with the next change.
    Body snapshot_;
    std::unique_ptr<std::vector<Adapter_Member>> adapters_up_;
    Body all_adapters_up_;
};

// ---- Clients coming and going ----

void Publisher::Impl::accept() {
    acceptor_.async_accept([this](const asio::error_code &error, stream_protocol::socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (!error) {
            accept_failed_ = false;
            add_client(std::move(socket));
            accept();
            return;
        }
        if (!accept_failed_) {
            log_error(text("cannot accept a client (", clients_.size(), " are connected): ", error.message()));
            accept_failed_ = true;
        }
        // The client still waits; trying again at once would spin until a descriptor is free.
        pause_.expires_after(ACCEPT_PAUSE);
        pause_.async_wait([this](const asio::error_code &aborted) {
            if (!aborted) {
                accept();
            }
        });
    });
}

void Publisher::Impl::add_client(stream_protocol::socket socket) {
    const Peer peer = peer_of(socket.native_handle());
    if (const std::string why = quotas_.why_no_connection(peer.uid); !why.empty()) {
        client_log_.warning(peer.uid,
                            text("connection of pid ", peer.pid, ", uid ", peer.uid, " rejected: ", why));
        return;
    }
    const int id = next_id_++;
    Client::Handlers handlers{[this](Client &client, const Request &request) {
                                  const Log_Charge charge(client_log_, client.peer().uid);
                                  act_on(client, request);
                              },
                              [this](Client &client) { disconnect_longest_queue(client); },
                              [this](Client &client) { remove_client(client); }};
    auto client = std::make_shared<Client>(std::move(socket), id, client_queue_bytes_, client_log_, quotas_,
                                           std::move(handlers));
    quotas_.connected(client->peer().uid);
    clients_.emplace(id, client);
    client->start();
}

void Publisher::Impl::remove_client(const Client &client) {
    quotas_.disconnected(client.peer().uid, client.subscriptions.size());
    clients_.erase(client.id());
}

// The user of this client has as many bytes queued as it may: its client that reads least makes room for the others.
void Publisher::Impl::disconnect_longest_queue(Client &client) {
    Client *longest = &client;
    for (const auto &[id, other] : clients_) {
        if (other->is_open() && other->peer().uid == client.peer().uid &&
            other->queued_bytes() > longest->queued_bytes()) {
            longest = other.get();
        }
    }
    longest->disconnect(text("it does not read: ", longest->queued_bytes(), " bytes are queued for it, and ",
                             quotas_.held_by(client.peer().uid).queued_bytes,
                             " for all clients of its user; user_queue_bytes permits ",
                             quotas_.limits().queue_bytes));
}

// ---- Requests ----

void Publisher::Impl::act_on(Client &client, const Request &request) {
    switch (request.kind) {
    case HB_GET_CONFIG_INFO:
        send_configuration(client);
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

void Publisher::Impl::send_configuration(Client &client) {
    Packet packet;
    packet.kind = HB_CONFIGURATION_INFO;
    client.configuration_seen = cluster_.configuration_sequence();
    client.send_reply(packet, snapshot());
}

void Publisher::Impl::send_update(Client &client) {
    Packet packet;
    packet.kind = HB_CONFIGURATION_UPDATE;
    packet.subscription = CONFIGURATION_NAME;
    client.configuration_seen = cluster_.configuration_sequence();
    client.send_event(packet, snapshot());
}

void Publisher::Impl::subscribe(Client &client, const Request &request) {
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
    // While it had no subscription, updates were kept from it.
    if (client.configuration_seen != 0 && client.configuration_seen != cluster_.configuration_sequence()) {
        send_update(client);
    }
    log_debug(text(client.title(), " subscribed \"", subscription->name, "\" of type ", subscription->type,
                   " to events ", subscription->events));
    if (same == held.end()) {
        quotas_.subscribed(client.peer().uid);
    }
    Subscription &stored = same == held.end() ? held.emplace_back() : *same;
    stored = std::move(*subscription);
    send_present_state(client, stored);
}

void Publisher::Impl::unsubscribe(Client &client, const Request &request) {
    const std::string name = read_name(request.body);
    const auto removed =
        std::erase_if(client.subscriptions, [&](const Subscription &held) { return held.name == name; });
    quotas_.unsubscribed(client.peer().uid, removed);
    log_debug(text(client.title(), removed > 0 ? " unsubscribed \"" : " has no subscription \"", name, "\""));
}

// ---- Requests about the node ----

void Publisher::Impl::serve(Client &client, const Request &request, const Request_Rule &rule) {
    if (rule.acts && !handlers_.may_act(client.peer())) {
        if (client.is_first_refusal(rule.kind)) {
            client.warn(
                text("sent request ", static_cast<int>(rule.kind), " (", rule.name,
                     "), rejected: only root, wispd's user and members of act_group can act on the node"));
        }
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
        act_on_node(client, rule, *node_request);
    }
    if (!fault.empty()) {
        client.complain(
            text("request ", static_cast<int>(rule.kind), " (", rule.name, ") with ", fault, "; ignored"));
        answer(client, rule, REQUEST_FAILED, empty_body());
    }
}

void Publisher::Impl::act_on_node(Client &client, const Request_Rule &rule, const Node_Request &request) {
    if (rule.kind == HB_GET_ROUTE) {
        send_route(client, rule, static_cast<std::size_t>(request.number));
        return;
    }
    const Outcome outcome = handlers_.act(request);
    const std::string what = text("requested ", rule.name, ": ", outcome.note,
                                  outcome.status == REQUEST_DONE ? "" : "; nothing changed");
    if (rule.acts) {
        client.note(what);
    } else {
        log_debug(text(client.title(), " ", what));
    }
    const bool tells_state = rule.kind == HB_GET_ADAPTER_STATE;
    answer(client, rule, outcome.status, tells_state ? encode_adapter_state(outcome.word) : empty_body());
    if (outcome.changes.any()) {
        handlers_.changed(outcome.changes);
    }
}

void Publisher::Impl::deliver(Client &client, const Multicast &multicast) {
    const Delivery delivery = handlers_.deliver(multicast);
    client.note(text("multicast ", summary(multicast, delivery)));
    log_debug(text("its ttl is ", multicast.ttl, multicast.daemons_only ? ", for daemons only" : ""));
    for (const auto &[node, why] : delivery.failed) {
        client_log_.warning(client.peer().uid, text("multicast to port ", multicast.port, " of node ", node,
                                                    " not delivered: ", why));
    }
}

void Publisher::Impl::answer(Client &client, const Request_Rule &rule, int32_t value, const Body &body) {
    if (rule.answer) {
        Packet packet;
        packet.kind = *rule.answer;
        packet.value = value;
        client.send_reply(packet, body);
    }
}

// No route is a route of no hops.
void Publisher::Impl::send_route(Client &client, const Request_Rule &rule, std::size_t node) {
    const Node_Route route = node < routes_.size() ? routes_[node] : Node_Route{};
    answer(client, rule, route.length, encode_route(route));
}

// ---- What a new subscription is told ----

void Publisher::Impl::send_present_state(Client &client, const Subscription &subscription) {
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

void Publisher::Impl::send_adapter_group(Client &client, const Subscription &subscription) {
    Packet packet = packet_of(HB_ADAPTER_NEW_GROUP, subscription);
    packet.group_incarnation = cluster_.group_incarnation();
    packet.leader = NO_ADAPTER;
    if (covers_all(subscription)) {
        packet.leader = adapters_up().empty() ? NO_ADAPTER : adapters_up().front().number;
        client.send_event(packet, all_adapters_up());
        return;
    }
    const std::vector<Adapter_Member> members = covered(subscription, adapters_up());
    packet.leader = members.empty() ? NO_ADAPTER : members.front().number;
    client.send_event(packet, encode_adapter_members(members));
}

void Publisher::Impl::send_node_group(Client &client, const Subscription &subscription) {
    const std::vector<Hb_Node_Number> members = covered(subscription, cluster_.nodes_up());
    client.send_event(packet_of(HB_NODE_NEW_GROUP, subscription),
                      encode_node_members(members, cluster_.max_nodes()));
}

void Publisher::Impl::send_heartbeat(Client &client, const Subscription &subscription) {
    client.send_event(packet_of(HB_NODE_HEARTBEAT, subscription),
                      encode_heartbeat(*cluster_.heartbeat(), getpid()));
}

// ---- Changes ----

void Publisher::Impl::announce(const Changes &changes, const std::string &failure_id) {
    snapshot_.reset();
    adapters_up_.reset();
    all_adapters_up_.reset();
    tell_adapters(HB_ADAPTER_DEATH, HB_EVENT_DEATH, changes.adapter_deaths, failure_id);
    tell_nodes(HB_NODE_DEATH, HB_EVENT_DEATH, changes.node_deaths, changes.node_slots_at_death, failure_id);
    if (changes.configuration_updated) {
        tell_update();
    }
    tell_adapters(HB_ADAPTER_JOIN, HB_EVENT_JOIN, changes.adapter_joins, {});
    tell_nodes(HB_NODE_JOIN, HB_EVENT_JOIN, changes.node_joins, cluster_.max_nodes(), {});
    if (changes.heartbeat) {
        tell_heartbeat();
    }
    if (changes.foreign_instance) {
        tell_foreign_instance(*changes.foreign_instance);
    }
    if (!changes.failure_report.empty()) {
        tell_failure(changes.failure_report);
    }
}

template <typename Action> void Publisher::Impl::for_each_subscription(Hb_Events event, Action action) {
    for (const auto &[id, client] : clients_) {
        for (const Subscription &subscription : client->subscriptions) {
            if (client->is_open() && (subscription.events & event) != 0) {
                action(*client, subscription);
            }
        }
    }
}

void Publisher::Impl::tell_adapters(Hb_Client_Reply kind, Hb_Events event,
                                    const std::vector<Adapter_Member> &members, const std::string &failure_id) {
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

void Publisher::Impl::tell_nodes(Hb_Client_Reply kind, Hb_Events event,
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
        const std::vector<Hb_Node_Number> its = covered(subscription, members);
        if (!its.empty()) {
            client.send_event(packet,
                              its.size() == members.size() ? whole : encode_node_members(its, node_slots));
        }
    });
}

// Updates and failure identifiers cannot be asked for. A client without a subscription only asks questions,
// and must not find one of them where it expects an answer.
void Publisher::Impl::tell_update() {
    for (const auto &[id, client] : clients_) {
        if (client->is_open() && !client->subscriptions.empty()) {
            send_update(*client);
        }
    }
}

void Publisher::Impl::tell_failure(const std::string &identifier) {
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

void Publisher::Impl::tell_heartbeat() {
    for_each_subscription(HB_EVENT_HEARTBEAT, [this](Client &client, const Subscription &subscription) {
        send_heartbeat(client, subscription);
    });
}

void Publisher::Impl::tell_foreign_instance(const Foreign_Instance &foreign) {
    const Body body = encode_foreign_instance(foreign);
    for_each_subscription(HB_EVENT_DIFF_INSTANCE, [&](Client &client, const Subscription &subscription) {
        client.send_event(packet_of(HB_DIFF_INSTANCE_NUM, subscription), body);
    });
}

// ---- Kept until the next change ----

const Body &Publisher::Impl::snapshot() {
    if (!snapshot_) {
        snapshot_ = encode_snapshot(cluster_);
    }
    return snapshot_;
}

const std::vector<Adapter_Member> &Publisher::Impl::adapters_up() {
    if (!adapters_up_) {
        adapters_up_ = std::make_unique<std::vector<Adapter_Member>>(cluster_.adapters_up());
    }
    return *adapters_up_;
}

const Body &Publisher::Impl::all_adapters_up() {
    if (!all_adapters_up_) {
        all_adapters_up_ = encode_adapter_members(adapters_up());
    }
    return all_adapters_up_;
}

// ---- The rest ----

void Publisher::Impl::set_limits(const Publisher_Limits &limits) {
    quotas_.set(limits.user);
    client_queue_bytes_ = limits.client_queue_bytes;
    for (const auto &[id, client] : clients_) {
        client->set_queue_limit(limits.client_queue_bytes);
    }
}

std::vector<Client_Status> Publisher::Impl::clients() const {
    std::vector<Client_Status> list;
    for (const auto &[id, client] : clients_) {
        Client_Status status{id,
                             client->peer().pid,
                             static_cast<long>(client->peer().uid),
                             client->last_sequence(),
                             client->queued_bytes(),
                             handlers_.may_act(client->peer()),
                             client->heartbeat,
                             {}};
        for (const Subscription &held : client->subscriptions) {
            status.subscriptions.push_back({held.name, held.type, held.events});
        }
        list.push_back(std::move(status));
    }
    return list;
}

Publisher::Publisher(asio::io_context &context, int listening, const Cluster &cluster, const Routes &routes,
                     const Publisher_Limits &limits, Client_Log &log, Client_Handlers handlers)
    : impl_(std::make_unique<Impl>(context, listening, cluster, routes, limits, log, std::move(handlers))) {}

Publisher::~Publisher() = default;

void Publisher::announce(const Changes &changes, const std::string &failure_id) {
    impl_->announce(changes, failure_id);
}

void Publisher::set_limits(const Publisher_Limits &limits) {
    impl_->set_limits(limits);
}

const std::map<uid_t, User_Holding> &Publisher::users() const {
    return impl_->users();
}

std::vector<Client_Status> Publisher::clients() const {
    return impl_->clients();
}

} // namespace wispd
