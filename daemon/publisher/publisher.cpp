// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/publisher.h"

#include <chrono>
#include <functional>
#include <map>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "daemon/publisher/client.h"
#include "daemon/publisher/event_sender.h"
#include "daemon/publisher/outbox.h"
#include "daemon/publisher/request_server.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

using asio::local::stream_protocol;

constexpr std::chrono::milliseconds ACCEPT_PAUSE{200};

} // namespace

class Publisher::Impl {
  public:
    Impl(asio::io_context &context, int listening, const Cluster &cluster, const Routes &routes,
         const Publisher_Limits &limits, Client_Log &log, Client_Handlers handlers)
        : acceptor_(context, stream_protocol(), listening), pause_(context),
          client_queue_bytes_(limits.client_queue_bytes), client_log_(log), quotas_(limits.user, geteuid()),
          outbox_(handlers.need_routes), events_(cluster, clients_), clients_changed_(handlers.clients_changed),
          requests_(cluster, routes, events_, quotas_, client_log_, std::move(handlers)) {
        accept();
    }

    void announce(const Changes &changes, const std::string &failure_id) {
        const Turn::Part part(outbox_.turn());
        events_.announce(changes, failure_id);
    }
    void set_limits(const Publisher_Limits &limits);
    Turn &turn() { return outbox_.turn(); }
    std::vector<Client_Status> clients() const;
    std::size_t client_count() const { return clients_.size(); }
    const std::map<uid_t, User_Holding> &users() const { return quotas_.holdings(); }

  private:
    void accept();
    void add_client(stream_protocol::socket socket);
    void remove_client(const Client &client);
    void disconnect_longest_queue(Client &client);

    stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_;
    std::size_t client_queue_bytes_;
    Client_Log &client_log_;
    User_Quotas quotas_;
    Outbox outbox_;
    int next_id_ = 1;
    bool accept_failed_ = false;
    Event_Sender events_;
    std::function<void()> clients_changed_;
    Request_Server requests_;
    Clients clients_;
};

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
        // The connection request is still pending, so an immediate retry would fail and spin until a descriptor
        // is free.
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
                                  requests_.act_on(client, request);
                              },
                              [this](Client &client) { disconnect_longest_queue(client); },
                              [this](Client &client) { remove_client(client); }};
    auto client = std::make_shared<Client>(std::move(socket), id, client_queue_bytes_, client_log_, quotas_,
                                           outbox_, std::move(handlers));
    quotas_.connected(client->peer().uid);
    clients_.emplace(id, client);
    client->start();
    clients_changed_();
}

void Publisher::Impl::remove_client(const Client &client) {
    quotas_.disconnected(client.peer().uid, client.subscriptions.size());
    clients_.erase(client.id());
    clients_changed_();
}

// The client's user has reached its limit of queued bytes. Disconnecting its longest queue makes room for its
// other clients.
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
                             requests_.may_act(client->peer()),
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

Turn &Publisher::turn() {
    return impl_->turn();
}

const std::map<uid_t, User_Holding> &Publisher::users() const {
    return impl_->users();
}

std::vector<Client_Status> Publisher::clients() const {
    return impl_->clients();
}

std::size_t Publisher::client_count() const {
    return impl_->client_count();
}

} // namespace wispd
