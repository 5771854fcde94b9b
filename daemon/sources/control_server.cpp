#include "daemon/sources/control_server.h"

#include <chrono>
#include <set>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/read_until.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include "daemon/log.h"
#include "daemon/sources/command_json.h"
#include "daemon/text.h"

namespace wispd {

namespace {

using asio::local::stream_protocol;

constexpr std::size_t LINE_LONGEST = 65536;
constexpr std::size_t CONNECTIONS_MOST = 64;
constexpr std::chrono::milliseconds ACCEPT_PAUSE{200};

// One connection. The next line is not read before the last answer is written, so that nothing piles up.
struct Control_Connection {
    explicit Control_Connection(stream_protocol::socket connected)
        : socket(std::move(connected)), peer(peer_of(socket.native_handle())) {}

    stream_protocol::socket socket;
    Peer peer;
    std::string input;
    std::string output;
};

using Connection = std::shared_ptr<Control_Connection>;

} // namespace

class Control_Server::Impl {
  public:
    Impl(asio::io_context &context, int listening, Handlers handlers)
        : acceptor_(context, stream_protocol(), listening), pause_(context), handlers_(std::move(handlers)) {
        accept();
    }

  private:
    void accept();
    void read_line(const Connection &connection);
    void answer(const Connection &connection, Control_Answer answer, bool then_close);
    void drop(const Connection &connection);

    stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_;
    bool accept_failed_ = false;
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
                log_error(text("cannot take a control connection: ", error.message()));
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
        const auto connection = std::make_shared<Control_Connection>(std::move(socket));
        connections_.insert(connection);
        if (!handlers_.may_control(connection->peer)) {
            answer(connection,
                   {error_line("this user may not use the control socket: run as root or as a member of the "
                               "group that control_group in wispd's configuration names")},
                   true);
        } else if (connections_.size() > CONNECTIONS_MOST) {
            answer(connection,
                   {error_line(text("there are ", CONNECTIONS_MOST, " control connections already"))}, true);
        } else {
            read_line(connection);
        }
        accept();
    });
}

void Control_Server::Impl::read_line(const Connection &connection) {
    const auto buffer = asio::dynamic_buffer(connection->input, LINE_LONGEST);
    asio::async_read_until(
        connection->socket, buffer, '\n', [this, connection](const asio::error_code &error, std::size_t size) {
            if (error == asio::error::not_found) {
                answer(connection, {error_line(text("a line is longer than ", LINE_LONGEST, " bytes"))}, true);
                return;
            }
            if (error) {
                drop(connection);
                return;
            }
            const std::string line = connection->input.substr(0, size - 1);
            connection->input.erase(0, size);
            answer(connection, handlers_.on_line(connection->peer, line), false);
        });
}

void Control_Server::Impl::answer(const Connection &connection, Control_Answer answer, bool then_close) {
    connection->output = std::move(answer.line) + '\n';
    const auto written = [this, connection, then_close,
                          then_stop = answer.then_stop](const asio::error_code &error, std::size_t) {
        if (then_stop) {
            handlers_.on_stop();
        } else if (error || then_close) {
            drop(connection);
        } else {
            read_line(connection);
        }
    };
    asio::async_write(connection->socket, asio::buffer(connection->output), written);
}

void Control_Server::Impl::drop(const Connection &connection) {
    asio::error_code ignored;
    connection->socket.close(ignored);
    connections_.erase(connection);
}

Control_Server::Control_Server(asio::io_context &context, int listening, Handlers handlers)
    : impl_(std::make_unique<Impl>(context, listening, std::move(handlers))) {}

Control_Server::~Control_Server() = default;

} // namespace wispd
