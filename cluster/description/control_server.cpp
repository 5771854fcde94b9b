// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/control_server.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <set>
#include <string_view>
#include <unistd.h>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
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
constexpr std::size_t READ_AT_ONCE = 8192;
constexpr std::chrono::milliseconds ACCEPT_PAUSE{200};

// Lines that arrived together are executed in one turn, until one of these limits is reached. Other connections and
// clients then get a turn.
constexpr std::chrono::milliseconds TURN_LONGEST{1};
constexpr std::size_t ANSWERS_IN_ONE_TURN = 65536;

using Clock = std::chrono::steady_clock;

// One connection. It reads more lines only after all answers were written, so that no backlog builds up.
struct Control_Connection {
    explicit Control_Connection(stream_protocol::socket connected)
        : socket(std::move(connected)), expiry(socket.get_executor()), peer(peer_of(socket.native_handle())) {
        socket.non_blocking(true);
    }

    stream_protocol::socket socket;
    asio::steady_timer expiry;
    Clock::time_point expires_at{};
    Peer peer;
    bool admitted = false;
    std::array<char, READ_AT_ONCE> buffer;
    std::string input;          // lines that are not executed yet
    std::string output;         // answers that are not written yet
    std::string in_write;       // answers that a pending write is sending
    bool executes = false;      // lines, in this call
    bool awaits_answer = false; // the client waits while wispd can be reading a file
    bool then_stop = false;
    bool then_close = false;

    bool is_ending() const { return then_stop || then_close; }
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
    void await_expiry(const Connection &connection);
    void read(const Connection &connection);
    void execute_lines(const Connection &connection);
    bool execute_line(const Connection &connection, std::size_t &begin);
    void add_answer(const Connection &connection, Control_Answer answer);
    void reject(const Connection &connection, const std::string &why);
    void write(const Connection &connection);
    void go_on(const Connection &connection);
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
    await_expiry(connection);
    if (why.empty()) {
        connection->admitted = true;
        read(connection);
    } else {
        reject(connection, why);
        write(connection);
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

// A connection that sends nothing, or does not read its answer, must not keep its place for ever. Lines only move the
// time: setting the timer for each of them would cost more than most commands.
void Control_Server::Impl::expire_later(const Connection &connection) {
    connection->expires_at = Clock::now() + idle_;
    if (connection->expires_at < connection->expiry.expiry()) {
        await_expiry(connection); // idle_ has become shorter
    }
}

void Control_Server::Impl::await_expiry(const Connection &connection) {
    connection->expiry.expires_at(connection->expires_at);
    connection->expiry.async_wait([this, connection](const asio::error_code &aborted) {
        if (aborted || !connection->socket.is_open()) {
            return;
        }
        if (connection->awaits_answer) {
            expire_later(connection);
        }
        if (connection->expires_at <= Clock::now()) {
            drop(connection);
        } else {
            await_expiry(connection);
        }
    });
}

void Control_Server::Impl::read(const Connection &connection) {
    connection->socket.async_read_some(asio::buffer(connection->buffer),
                                       [this, connection](const asio::error_code &error, std::size_t size) {
                                           if (error) {
                                               drop(connection);
                                               return;
                                           }
                                           connection->input.append(connection->buffer.data(), size);
                                           execute_lines(connection);
                                       });
}

void Control_Server::Impl::execute_lines(const Connection &connection) {
    const Clock::time_point until = Clock::now() + TURN_LONGEST;
    std::size_t begin = 0;
    connection->executes = true;
    handlers_.on_lines_begin();
    while (execute_line(connection, begin) && connection->output.size() < ANSWERS_IN_ONE_TURN &&
           Clock::now() < until) {
    }
    handlers_.on_lines_end();
    connection->executes = false;
    connection->input.erase(0, begin);
    if (begin > 0) {
        expire_later(connection); // a part of a line is no sign of life
    }
    write(connection);
}

// Executes the line at `begin` and moves `begin` behind it. Returns whether the next line can be executed.
bool Control_Server::Impl::execute_line(const Connection &connection, std::size_t &begin) {
    const std::string_view rest = std::string_view(connection->input).substr(begin);
    const std::size_t size = rest.find('\n');
    if (std::min(size, rest.size()) >= LINE_LONGEST) {
        reject(connection, text("the line is longer than ", LINE_LONGEST, " bytes"));
        return false;
    }
    if (size == std::string_view::npos) {
        return false;
    }
    begin += size + 1;
    connection->awaits_answer = true;
    handlers_.on_line(connection->peer, rest.substr(0, size),
                      [this, connection](Control_Answer given) { add_answer(connection, std::move(given)); });
    return !connection->awaits_answer && !connection->is_ending();
}

void Control_Server::Impl::add_answer(const Connection &connection, Control_Answer answer) {
    connection->output += answer.line;
    connection->output += '\n';
    connection->then_stop = answer.then_stop;
    connection->awaits_answer = false;
    if (!connection->executes && connection->in_write.empty()) {
        expire_later(connection);
        write(connection);
    }
}

void Control_Server::Impl::reject(const Connection &connection, const std::string &why) {
    connection->output += error_line(why) + '\n';
    connection->then_close = true;
}

// Answers usually fit into the socket's buffer, and need no wait.
void Control_Server::Impl::write(const Connection &connection) {
    asio::error_code error;
    const std::size_t count = connection->socket.write_some(asio::buffer(connection->output), error);
    connection->output.erase(0, count);
    if (connection->output.empty()) {
        go_on(connection);
        return;
    }
    connection->in_write.swap(connection->output);
    asio::async_write(connection->socket, asio::buffer(connection->in_write),
                      [this, connection](const asio::error_code &failed, std::size_t) {
                          connection->in_write.clear();
                          connection->then_close = connection->then_close || failed;
                          expire_later(connection);
                          if (connection->then_close) {
                              connection->output.clear();
                          }
                          write(connection);
                      });
}

// All answers were written.
void Control_Server::Impl::go_on(const Connection &connection) {
    if (connection->then_stop) {
        handlers_.on_stop();
    } else if (connection->then_close) {
        drop(connection);
    } else if (connection->awaits_answer) {
        return; // add_answer() continues
    } else if (connection->input.find('\n') != std::string::npos) {
        asio::post(connection->socket.get_executor(), [this, connection] {
            if (connection->socket.is_open()) {
                execute_lines(connection);
            }
        });
    } else {
        read(connection);
    }
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
