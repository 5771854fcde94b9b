// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/client.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/post.hpp>

#include "host/text.h"

namespace wispd {

namespace {

constexpr int COMPLAINTS_LOGGED = 8;
constexpr std::size_t PIECES_IN_ONE_WRITE = 512;
// A turn holds back no more than this for a client.
constexpr std::size_t HELD_MOST = 65536;
constexpr const char *DISCONNECTED = "client-disconnected";

// One thread reads from all clients in turn, so they can share one buffer. The buffer is small to keep the
// turns short.
std::array<char, 4096> &input_buffer() {
    static std::array<char, 4096> buffer;
    return buffer;
}

} // namespace

Client::Client(asio::local::stream_protocol::socket socket, int id, std::size_t queue_limit, Client_Log &log,
               User_Quotas &quotas, Outbox &outbox, Handlers handlers)
    : socket_(std::move(socket)), rest_(socket_.get_executor()), id_(id),
      peer_(peer_of(socket_.native_handle())),
      title_(text("client ", id, " (pid ", peer_.pid, ", uid ", peer_.uid, ")")), log_(log), quotas_(quotas),
      outbox_(outbox), handlers_(std::move(handlers)), queue_(queue_limit) {}

void Client::start() {
    asio::error_code error;
    socket_.non_blocking(true, error);
    if (error) {
        disconnect(error.message());
        return;
    }
    debug("connected", "client-connected");
    wait_for_input();
}

void Client::wait_for_input() {
    socket_.async_wait(asio::socket_base::wait_read,
                       [self = shared_from_this()](const asio::error_code &error) {
                           if (!error) {
                               self->read_input();
                           }
                       });
}

// Returns true if the user has exceeded its share of the thread's time. The client's input is then read later.
bool Client::rests() {
    const auto wait = quotas_.time().wait(peer_.uid);
    if (wait <= wait.zero()) {
        return false;
    }
    rest_.expires_after(wait);
    rest_.async_wait([self = shared_from_this()](const asio::error_code &error) {
        if (!error && self->is_open()) {
            self->read_input();
        }
    });
    return true;
}

void Client::read_input() {
    if (!is_open()) {
        return; // another handler disconnected it after its input had arrived
    }
    if (rests()) {
        return;
    }
    asio::error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(input_buffer()), error);
    if (error == asio::error::would_block || error == asio::error::interrupted) {
        wait_for_input();
        return;
    }
    if (error) {
        debug("left", DISCONNECTED);
        close();
        return;
    }
    const auto began = User_Time::Clock::now();
    bool sound = false;
    {
        const Turn::Part part(outbox_.turn()); // its end is on the user's time, too
        sound = reader_.feed({input_buffer().data(), count}, [this](const Request &request) {
            handlers_.on_request(*this, request);
            return is_open();
        });
    }
    quotas_.time().spent(peer_.uid, User_Time::Clock::now() - began);
    if (!sound) {
        disconnect(reader_.fault());
    }
    if (is_open()) {
        wait_for_input();
    }
}

void Client::send_reply(const Packet &packet, const Body &body) {
    send(packet, body);
}

void Client::send_event(Packet packet, const Body &body) {
    packet.sequence = ++sequence_;
    send(packet, body);
}

void Client::send(const Packet &packet, const Body &body) {
    if (!is_open() || is_closing_) {
        return;
    }
    if (!make_room(PACKET_HEAD_SIZE + body->size())) {
        return;
    }
    const Packet_Head head = encode_head(packet, body->size());
    bool fits = queue_.push(head, body);
    if (!fits && is_in_outbox_) {
        outbox_.turn().do_now(); // what a turn holds back is no sign that the client does not read
        fits = queue_.push(head, body);
    }
    if (!fits) {
        disconnect(text("it does not read: ", queue_.bytes(), " bytes are queued for it, and ",
                        PACKET_HEAD_SIZE + body->size(), " more do not fit into its queue"));
        return;
    }
    account_for(queue_.bytes());
    if (!is_in_outbox_) {
        is_in_outbox_ = true;
        outbox_.add(*this);
    }
    if (queue_.bytes() >= HELD_MOST && !waits_to_send_) {
        outbox_.turn().do_now();
    }
}

// Returns false if this client was itself disconnected to make room.
bool Client::make_room(std::size_t bytes) {
    if (!quotas_.may_queue(peer_.uid, bytes)) {
        outbox_.turn().do_now(); // what a turn holds back is no sign that a client does not read
    }
    while (is_open() && !quotas_.may_queue(peer_.uid, bytes)) {
        handlers_.on_user_full(*this);
    }
    return is_open();
}

void Client::account_for(std::size_t bytes) {
    if (bytes != accounted_) {
        quotas_.queued(peer_.uid, accounted_, bytes);
        accounted_ = bytes;
    }
}

void Client::send_queued() {
    is_in_outbox_ = false;
    if (!is_open()) {
        return; // its bytes are charged to the user no more
    }
    while (is_open() && !waits_to_send_ && !queue_.empty()) {
        std::array<iovec, PIECES_IN_ONE_WRITE> pieces;
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = queue_.front(pieces);
        const ssize_t count = sendmsg(socket_.native_handle(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            queue_.consume(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            wait_to_send();
        } else if (errno != EINTR) {
            // The client is disconnected. Requests that it sent earlier are still read, up to the end.
            debug(text("accepts no more data: ", std::strerror(errno)));
            is_closing_ = true;
            queue_.clear();
        }
    }
    account_for(queue_.bytes());
}

void Client::wait_to_send() {
    waits_to_send_ = true;
    socket_.async_wait(asio::socket_base::wait_write,
                       [self = shared_from_this()](const asio::error_code &error) {
                           self->waits_to_send_ = false;
                           if (!error) {
                               self->send_queued();
                           }
                       });
}

void Client::disconnect(const std::string &why) {
    if (is_open()) {
        if (is_in_outbox_) {
            outbox_.turn().do_now(); // the client still receives what came before
        }
        warn(text("disconnected: ", why), DISCONNECTED);
        close();
    }
}

void Client::close() {
    if (!is_open()) {
        return; // it is counted out once
    }
    asio::error_code ignored;
    const auto executor = socket_.get_executor();
    socket_.close(ignored);
    rest_.cancel();
    account_for(0);
    asio::post(executor, [self = shared_from_this()] {
        self->queue_.clear();
        self->handlers_.on_disconnected(*self);
        self->subscriptions.clear();
    });
}

void Client::note(const std::string &what, const char *event) {
    log(Log_Level::info, what, event);
}

void Client::warn(const std::string &what, const char *event) {
    log(Log_Level::warning, what, event);
}

void Client::debug(const std::string &what, const char *event) {
    log(Log_Level::debug, what, event);
}

void Client::log(Log_Level level, const std::string &what, const char *event) {
    if (log_.admits(peer_.uid, level)) {
        log_admitted(level, text(title_, " ", what), {event, {}, {}, peer_.pid});
    }
}

void Client::complain(const std::string &what) {
    if (complaints_ < COMPLAINTS_LOGGED) {
        warn(text("sent ", what));
    } else if (complaints_ == COMPLAINTS_LOGGED) {
        warn("keeps sending invalid requests; logging no more of them");
    }
    complaints_ += complaints_ <= COMPLAINTS_LOGGED ? 1 : 0;
}

bool Client::is_first_refusal(int32_t kind) {
    if (kind < 0 || kind > MONITOR_LAST_MESSAGE) {
        return true;
    }
    const auto bit = static_cast<std::size_t>(kind);
    const bool first = !refused_[bit];
    refused_[bit] = true;
    return first;
}

} // namespace wispd
