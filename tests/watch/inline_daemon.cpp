// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/inline_daemon.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

#include "tests/support/records.h"

namespace hb_test {
namespace {

// Of the protocol: kinds of requests and records, and what a record's fields hold.
constexpr int ASK_CONFIGURATION = 201;
constexpr int SUBSCRIBE = 209;
constexpr int ASK_ROUTE = 211;
constexpr int ASK_ADAPTER_STATE = 223;
constexpr int CONFIGURATION = 0;
constexpr int ADAPTER_DEATH = 2;
constexpr int ADAPTER_JOIN = 3;
constexpr int ADAPTER_GROUP = 4;
constexpr int NODE_DEATH = 5;
constexpr int NODE_JOIN = 6;
constexpr int NODE_GROUP = 7;
constexpr int ROUTE = 8;
constexpr int CONFIGURATION_UPDATE = 9;
constexpr int ADAPTER_STATE = 14;
constexpr int ALL_NODES = 1;
constexpr int ALL_ADAPTERS = 3;
constexpr std::size_t REQUEST_KIND_AT = 8;
constexpr std::size_t BODY_AT = 76;
constexpr std::size_t NAME_AT = BODY_AT + 12;
constexpr int64_t REMOVED_BIT = 0x08000000;

bool is_of_nodes(int kind) {
    return kind == NODE_DEATH || kind == NODE_JOIN || kind == NODE_GROUP;
}

std::set<unsigned> those_of_one_only(const std::set<unsigned> &one, const std::set<unsigned> &other) {
    std::set<unsigned> result;
    std::set_difference(one.begin(), one.end(), other.begin(), other.end(),
                        std::inserter(result, result.end()));
    return result;
}

} // namespace

// ---- The cluster ----

Who Played_Cluster::who() const {
    Who who;
    for (const auto &[adapter, up] : adapters) {
        if (up) {
            who.adapters.insert(adapter);
            who.nodes.insert(adapter / adapters_per_node);
        }
    }
    return who;
}

std::set<unsigned> Played_Cluster::nodes() const {
    std::set<unsigned> all;
    for (const auto &[adapter, up] : adapters) {
        all.insert(adapter / adapters_per_node);
    }
    return all;
}

Bytes Played_Cluster::configuration() const {
    Cluster_Facts facts;
    facts.local_node = static_cast<int>(local_node);
    facts.max_nodes = max_nodes;
    facts.adapters_per_node = adapters_per_node;
    for (const auto &[adapter, up] : adapters) {
        facts.adapters.push_back({adapter, static_cast<int>(adapter % adapters_per_node),
                                  ipv4(10, adapter % adapters_per_node, 0, adapter / adapters_per_node + 1),
                                  "eth", up ? 1 : 2});
    }
    facts.networks = {{"net_a", "ether"}, {"net_b", "ether"}};
    return snapshot(facts);
}

Bytes Played_Cluster::record(int kind, const std::set<unsigned> &members, int64_t sequence,
                             const std::string &subscription, bool removed) const {
    Reply_Header header;
    header.kind = kind;
    header.sequence = sequence;
    header.subscription_name = subscription;
    Bytes body;
    if (is_of_nodes(kind)) {
        for (unsigned node = 0; node < max_nodes; ++node) {
            body.i32(members.contains(node) ? 1 : 0);
        }
        return frame(reply(header, body));
    }
    body.i32(static_cast<int64_t>(members.size()) - 1);
    for (const unsigned adapter : members) {
        const auto found = incarnations.find(adapter);
        const int64_t incarnation = found == incarnations.end() ? 1 : found->second;
        body.i32(adapter).i32(incarnation + (removed ? REMOVED_BIT : 0));
    }
    return frame(reply(header, body));
}

// ---- The daemon ----

Inline_Daemon::Inline_Daemon(std::vector<Link_Plan> plans) : plans_(plans.begin(), plans.end()) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), 8) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen " + path_);
    }
}

void Inline_Daemon::wait_on(std::vector<pollfd> &descriptors) const {
    descriptors.push_back({listener_.get(), POLLIN, 0});
    for (const Connection &connection : connections_) {
        const bool writes = !connection.waiting.empty() && !connection.over;
        descriptors.push_back(
            {connection.socket.get(), static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0});
    }
}

void Inline_Daemon::turn() {
    accept_all();
    for (auto connection = connections_.begin(); connection != connections_.end();) {
        connection = serve(*connection) ? connection + 1 : connections_.erase(connection);
    }
}

void Inline_Daemon::accept_all() {
    for (;;) {
        Unique_Fd socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            return;
        }
        Connection connection;
        connection.socket = std::move(socket);
        connection.first = connections_made_++ == 0;
        if (!plans_.empty()) {
            connection.plan = plans_.front();
            plans_.pop_front();
        }
        connections_.push_back(std::move(connection));
    }
}

// Returns false when the connection has ended.
bool Inline_Daemon::serve(Connection &connection) {
    if (!read_requests(connection)) {
        first_over_ |= connection.first;
        return false;
    }
    write_some(connection);
    if (connection.plan.limited && connection.sent == connection.plan.bytes && !connection.over) {
        connection.over = true;
        first_over_ |= connection.first;
    }
    return !connection.over || connection.plan.at_end == Link_Plan::At_End::stall;
}

bool Inline_Daemon::read_requests(Connection &connection) {
    std::array<unsigned char, 65536> buffer{};
    for (;;) {
        const ssize_t count = recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            return false;
        }
        if (count < 0) {
            break;
        }
        connection.received.insert(connection.received.end(), buffer.begin(), buffer.begin() + count);
    }
    std::size_t at = 0;
    while (at + 4 <= connection.received.size()) {
        const auto length = static_cast<std::size_t>(connection.received.i32_at(at));
        if (at + 4 + length > connection.received.size()) {
            break;
        }
        answer(connection, connection.received.part(at + 4, length));
        at += 4 + length;
    }
    connection.received = connection.received.from(at);
    return true;
}

void Inline_Daemon::send(Connection &connection, const Bytes &record) {
    if (connection.plan.instead.empty()) {
        connection.waiting.add(record);
    } else if (connection.waiting.empty() && connection.sent == 0) {
        connection.waiting = connection.plan.instead;
    }
}

void Inline_Daemon::answer(Connection &connection, const Bytes &request) {
    switch (request.i32_at(REQUEST_KIND_AT)) {
    case ASK_CONFIGURATION:
        connection.configured = generation_;
        send(connection, frame(reply(CONFIGURATION, cluster_.configuration())));
        break;
    case SUBSCRIBE:
        subscribe(connection, request);
        break;
    case ASK_ROUTE: {
        Reply_Header header;
        header.kind = ROUTE;
        header.value = 1;
        send(connection, frame(reply(header, Bytes().zeros(176))));
        break;
    }
    case ASK_ADAPTER_STATE:
        send(connection, frame(reply(ADAPTER_STATE, Bytes().i32(1))));
        break;
    default:
        break; // has no answer
    }
}

void Inline_Daemon::subscribe(Connection &connection, const Bytes &request) {
    std::string name;
    for (std::size_t at = NAME_AT; at < NAME_AT + 32 && request[at] != 0; ++at) {
        name += static_cast<char>(request[at]);
    }
    const Who who = cluster_.who();
    const int type = request.i32_at(BODY_AT);
    const bool is_first = connection.nodes_name.empty() && connection.adapters_name.empty();
    if (type == ALL_NODES) {
        connection.nodes_name = name;
        send(connection, cluster_.record(NODE_GROUP, who.nodes, ++connection.sequence, name));
    } else if (type == ALL_ADAPTERS) {
        connection.adapters_name = name;
        send(connection, cluster_.record(ADAPTER_GROUP, who.adapters, ++connection.sequence, name));
    }
    if (is_first && connection.configured != 0 && connection.configured != generation_) {
        connection.configured = generation_;
        Reply_Header header;
        header.kind = CONFIGURATION_UPDATE;
        header.sequence = ++connection.sequence;
        send(connection, frame(reply(header, cluster_.configuration())));
    }
    first_served_ |= connection.first && !connection.nodes_name.empty() && !connection.adapters_name.empty();
}

void Inline_Daemon::write_some(Connection &connection) {
    while (!connection.waiting.empty() && !connection.over) {
        std::size_t count = connection.waiting.size();
        if (connection.plan.limited) {
            count = std::min(count, connection.plan.bytes - connection.sent);
        }
        if (connection.plan.one_at_a_time) {
            count = std::min<std::size_t>(count, 1);
        }
        const ssize_t sent = count == 0 ? 0
                                        : ::send(connection.socket.get(), connection.waiting.data(), count,
                                                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent <= 0) {
            return;
        }
        connection.sent += static_cast<std::size_t>(sent);
        first_sent_ += connection.first ? static_cast<std::size_t>(sent) : 0;
        connection.waiting = connection.waiting.from(static_cast<std::size_t>(sent));
        if (connection.plan.one_at_a_time) {
            return;
        }
    }
}

void Inline_Daemon::hang_up() {
    std::erase_if(connections_, [](const Connection &connection) { return connection.first; });
}

void Inline_Daemon::go_on() {
    for (Connection &connection : connections_) {
        connection.plan.limited = false;
        connection.over = false;
    }
}

// ---- Changes ----

void Inline_Daemon::notify_members(int kind, const std::set<unsigned> &members, bool of_nodes, bool removed) {
    for (Connection &connection : connections_) {
        const std::string &name = of_nodes ? connection.nodes_name : connection.adapters_name;
        if (!members.empty() && !name.empty()) {
            send(connection, cluster_.record(kind, members, ++connection.sequence, name, removed));
        }
    }
}

void Inline_Daemon::notify_configuration() {
    ++generation_;
    for (Connection &connection : connections_) {
        if (!connection.nodes_name.empty() || !connection.adapters_name.empty()) {
            connection.configured = generation_;
            Reply_Header header;
            header.kind = CONFIGURATION_UPDATE;
            header.subscription_name = "Hb_Config_Group";
            header.sequence = ++connection.sequence;
            send(connection, frame(reply(header, cluster_.configuration())));
        }
    }
}

void Inline_Daemon::notify_deaths(const Who &before, bool removed) {
    const Who now = cluster_.who();
    notify_members(ADAPTER_DEATH, those_of_one_only(before.adapters, now.adapters), false, removed);
    notify_members(NODE_DEATH, those_of_one_only(before.nodes, now.nodes), true);
}

void Inline_Daemon::notify_joins(const Who &before) {
    const Who now = cluster_.who();
    notify_members(ADAPTER_JOIN, those_of_one_only(now.adapters, before.adapters), false);
    notify_members(NODE_JOIN, those_of_one_only(now.nodes, before.nodes), true);
}

void Inline_Daemon::kill_adapters(const std::set<unsigned> &adapters) {
    const Who before = cluster_.who();
    for (const unsigned adapter : adapters) {
        cluster_.adapters[adapter] = false;
    }
    notify_deaths(before, false);
}

void Inline_Daemon::revive_adapters(const std::set<unsigned> &adapters) {
    const Who before = cluster_.who();
    for (const unsigned adapter : adapters) {
        cluster_.adapters[adapter] = true;
        cluster_.incarnations[adapter] = std::max(1U, cluster_.incarnations[adapter]) + 1;
    }
    notify_joins(before);
}

void Inline_Daemon::configure(const std::set<unsigned> &removed, const std::set<unsigned> &added) {
    Who before = cluster_.who();
    for (const unsigned adapter : removed) {
        cluster_.adapters.erase(adapter);
    }
    notify_deaths(before, true);
    before = cluster_.who();
    for (const unsigned adapter : added) {
        cluster_.adapters[adapter] = true;
        cluster_.incarnations[adapter] = std::max(1U, cluster_.incarnations[adapter]) + 1;
    }
    notify_configuration();
    notify_joins(before);
}

void Inline_Daemon::send_everywhere(const Bytes &bytes) {
    for (Connection &connection : connections_) {
        send(connection, bytes);
    }
}

} // namespace hb_test
