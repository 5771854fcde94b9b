// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/control_server.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <unistd.h>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/read_until.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include "cluster/description/command_json.h"
#include "host/log.h"
#include "host/peer.h"
#include "host/text.h"

namespace wispd {

namespace {

using asio::local::stream_protocol;

constexpr std::size_t LINE_LONGEST = 65536;
constexpr std::chrono::milliseconds ACCEPT_PAUSE{200};

// One connection. It reads the next line only after the last answer was written, so that no backlog builds up.
struct Control_Connection {
    explicit Control_Connection(stream_protocol::socket connected)
        : socket(std::move(connected)), expiry(socket.get_executor()), peer(peer_of(socket.native_handle())) {}

    stream_protocol::socket socket;
    asio::steady_timer expiry;
    Peer peer;
    bool admitted = false;
    std::string input;
    std::string output;
};

using Connection = std::shared_ptr<Control_Connection>;

} // namespace

class Control_Server::Impl {
  public:
    Impl(asio::io_context &context, int listening, std::chrono::microseconds idle, Handlers handlers)
        : acceptor_(context, stream_protocol(), listening), pause_(context), idle_(idle),
          handlers_(std::move(handlers)) {
        accept();
    }

    void set_idle(std::chrono::microseconds idle) { idle_ = idle; }
    std::map<uid_t, std::size_t> connections() const;

  private:
    void accept();
    void begin(const Connection &connection);
    std::string why_not(const Peer &peer) const;
    void expire_later(const Connection &connection);
    void read_line(const Connection &connection);
    void answer(const Connection &connection, Control_Answer answer, bool then_close);
    void drop(const Connection &connection);

    stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_;
    bool accept_failed_ = false;
    std::chrono::microseconds idle_;
    Handlers handlers_;
    std::set<Connection> connections_;
};

void Control_Server::Impl::accept() {
    acceptor_.async_accept([this](const asio::error_code &error, stream_protocol::socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (error) {
            if (!accept_failed_) {
                log_error(text("cannot accept a control connection: ", error.message()));
                accept_failed_ = true;
            }
            pause_.expires_after(ACCEPT_PAUSE);
            pause_.async_wait([this](const asio::error_code &aborted) {
                if (!aborted) {
                    accept();
                }
            });
            return;
        }
        accept_failed_ = false;
        begin(std::make_shared<Control_Connection>(std::move(socket)));
        accept();
    });
}

void Control_Server::Impl::begin(const Connection &connection) {
    const std::string why = why_not(connection->peer);
    connections_.insert(connection);
    expire_later(connection);
    if (why.empty()) {
        connection->admitted = true;
        read_line(connection);
    } else {
        answer(connection, {error_line(why)}, true);
    }
}

// Returns an empty text when the process is permitted to connect.
std::string Control_Server::Impl::why_not(const Peer &peer) const {
    if (!handlers_.may_control(peer)) {
        return "this user is not authorised to use the control socket: run as root or as a member of the "
               "control_group in wispd's configuration";
    }
    std::size_t all = 0;
    for (const auto &[user, count] : connections()) {
        all += count;
        if (user == peer.uid && count >= CONNECTIONS_OF_USER && !is_trusted(peer, geteuid())) {
            return text("this user has ", count, " control connections already, the limit for one user");
        }
    }
    const std::size_t most = is_trusted(peer, geteuid()) ? CONNECTIONS : CONNECTIONS - RESERVED;
    return all < most ? "" : text("there are ", all, " control connections already; try again later");
}

std::map<uid_t, std::size_t> Control_Server::Impl::connections() const {
    std::map<uid_t, std::size_t> users;
    for (const Connection &connection : connections_) {
        if (connection->admitted) {
            ++users[connection->peer.uid];
        }
    }
    return users;
}

// A connection that sends nothing, or does not read its answer, must not keep its place for ever.
void Control_Server::Impl::expire_later(const Connection &connection) {
    connection->expiry.expires_after(idle_);
    connection->expiry.async_wait([this, connection](const asio::error_code &aborted) {
        if (!aborted && connection->expiry.expiry() <= std::chrono::steady_clock::now()) {
            drop(connection);
        }
    });
}

void Control_Server::Impl::read_line(const Connection &connection) {
    const auto buffer = asio::dynamic_buffer(connection->input, LINE_LONGEST);
    asio::async_read_until(
        connection->socket, buffer, '\n', [this, connection](const asio::error_code &error, std::size_t size) {
            if (error == asio::error::not_found) {
                answer(connection, {error_line(text("the line is longer than ", LINE_LONGEST, " bytes"))},
                       true);
                return;
            }
            if (error) {
                drop(connection);
                return;
            }
            connection->expiry.cancel(); // the client waits while wispd can be reading a file
            const std::string line = connection->input.substr(0, size - 1);
            connection->input.erase(0, size);
            const auto reply = [this, connection](Control_Answer given) {
                answer(connection, std::move(given), false);
            };
            handlers_.on_line(connection->peer, line, reply);
        });
}

void Control_Server::Impl::answer(const Connection &connection, Control_Answer answer, bool then_close) {
    connection->output = std::move(answer.line) + '\n';
    expire_later(connection);
    const auto written = [this, connection, then_close,
                          then_stop = answer.then_stop](const asio::error_code &error, std::size_t) {
        if (then_stop) {
            handlers_.on_stop();
        } else if (error || then_close) {
            drop(connection);
        } else {
            expire_later(connection);
            read_line(connection);
        }
    };
    asio::async_write(connection->socket, asio::buffer(connection->output), written);
}

void Control_Server::Impl::drop(const Connection &connection) {
    asio::error_code ignored;
    connection->socket.close(ignored);
    connection->expiry.cancel();
    connections_.erase(connection);
}

Control_Server::Control_Server(asio::io_context &context, int listening, std::chrono::microseconds idle,
                               Handlers handlers)
    : impl_(std::make_unique<Impl>(context, listening, idle, std::move(handlers))) {}

void Control_Server::set_idle(std::chrono::microseconds idle) {
    impl_->set_idle(idle);
}

std::map<uid_t, std::size_t> Control_Server::connections() const {
    return impl_->connections();
}

Control_Server::~Control_Server() = default;

} // namespace wispd
