// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "host/text.h"

namespace wispd {
namespace {

using std::chrono::seconds;

constexpr seconds ANSWER_LATEST(2);
// For an agent that sends so much that its answer has not been reached.
constexpr seconds ANSWER_LATEST_IN_A_FLOOD(10);
constexpr seconds COUNTS_EVERY(1);
constexpr std::size_t READ_AT_ONCE = 16 * 1024;
// One advance() reads no more, so that an agent that floods does not keep the thread from the other agents.
constexpr std::size_t READ_MAX = 1024 * 1024;

std::string error_text(int error) {
    return std::generic_category().message(error);
}

bool would_block(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

std::string name_of(const Serf_Address &address) {
    const bool is_ipv6 = address.host.find(':') != std::string::npos;
    return is_ipv6 ? text("Serf agent [", address.host, "]:", address.port)
                   : text("Serf agent ", address.host, ":", address.port);
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// Accepts numbers only, because a query for a name can wait.
Addresses addresses_of(const Serf_Address &address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found) != 0) {
        found = nullptr;
    }
    return {found, freeaddrinfo};
}

} // namespace

Serf_Connection::Serf_Connection(const Serf_Address &address, const std::string &auth_key, Time now)
    : name_(name_of(address)), auth_key_(auth_key), epoll_(epoll_create1(EPOLL_CLOEXEC)), started_(now) {
    const Addresses found = addresses_of(address);
    if (!found) {
        fail(" has an invalid address: not an IPv4 or IPv6 address");
    }
    socket_ = Descriptor(socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (epoll_.get() < 0 || socket_.get() < 0) {
        fail(text(": cannot create a socket: ", error_text(errno)));
    }
    // Requests are small, and each one waits for its answer.
    const int enabled = 1;
    setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &enabled, sizeof enabled);
    if (connect(socket_.get(), found->ai_addr, found->ai_addrlen) != 0 && errno != EINPROGRESS) {
        fail(text(" is unreachable: ", error_text(errno)));
    }
    wait_for_socket();
}

void Serf_Connection::fail(const std::string &what) const {
    throw Engine_Gone(name_ + what);
}

std::optional<Serf_Connection::Time> Serf_Connection::asked_since() const {
    if (!is_connected_) {
        return started_;
    }
    return open_.empty() ? std::nullopt : std::optional(open_.front().since);
}

Serf_Connection::Time Serf_Connection::deadline() const {
    const std::optional<Time> since = asked_since();
    return since ? *since + (has_read_all_ ? ANSWER_LATEST : ANSWER_LATEST_IN_A_FLOOD) : Time::max();
}

Serf_Connection::Time Serf_Connection::next_due() const {
    if (!failure_.empty() || wants_members_) {
        return Time::min();
    }
    return is_ready_ && !is_open(Serf_Question::stats) ? std::min(next_counts_, deadline()) : deadline();
}

std::vector<Serf_Report> Serf_Connection::advance(Time now) {
    std::vector<Serf_Report> reports;
    if (failure_.empty()) {
        try {
            work(reports, now);
        } catch (const Engine_Gone &gone) {
            failure_ = gone.what();
        }
    }
    if (!failure_.empty() && reports.empty()) {
        throw Engine_Gone(failure_);
    }
    return reports;
}

void Serf_Connection::work(std::vector<Serf_Report> &reports, Time now) {
    if (!is_connected_ && finish_connecting()) {
        ask(Serf_Question::handshake, now);
    }
    if (is_connected_) {
        receive(reports, now);
        ask_what_is_due(now);
        send_outgoing();
    }
    check_deadline(now);
    wait_for_socket();
}

bool Serf_Connection::finish_connecting() {
    pollfd writable{socket_.get(), POLLOUT, 0};
    if (poll(&writable, 1, 0) != 1) {
        return false;
    }
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &length);
    if (error != 0) {
        fail(text(" is unreachable: ", error_text(error)));
    }
    is_connected_ = true;
    return true;
}

void Serf_Connection::ask(Serf_Question question, Time now) {
    decoder_.expect(question);
    outgoing_ += serf_request(question, auth_key_);
    open_.push_back({question, now});
}

bool Serf_Connection::is_open(Serf_Question question) const {
    return std::any_of(open_.begin(), open_.end(),
                       [&](const Open_Question &open) { return open.question == question; });
}

void Serf_Connection::ask_what_is_due(Time now) {
    if (!is_ready_) {
        return;
    }
    if (std::exchange(wants_members_, false) && !is_open(Serf_Question::members)) {
        ask(Serf_Question::members, now);
    }
    if (now >= next_counts_ && !is_open(Serf_Question::stats)) {
        ask(Serf_Question::stats, now);
    }
}

void Serf_Connection::receive(std::vector<Serf_Report> &reports, Time now) {
    std::array<char, READ_AT_ONCE> bytes;
    has_read_all_ = false;
    for (std::size_t total = 0; total < READ_MAX;) {
        const ssize_t count = recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (count > 0) {
            decode({bytes.data(), static_cast<std::size_t>(count)}, reports, now);
            total += static_cast<std::size_t>(count);
        } else if (count < 0 && would_block(errno)) {
            has_read_all_ = true;
            return;
        } else if (count == 0 || errno != EINTR) {
            const std::string why = count == 0 ? std::string() : text(": ", error_text(errno));
            const std::string when =
                open_.empty() ? std::string() : text(" before it answered ", serf_word(open_.front().question));
            fail(text(" disconnected", when, why));
        }
    }
}

void Serf_Connection::decode(std::string_view bytes, std::vector<Serf_Report> &reports, Time now) {
    try {
        decoder_.decode(bytes);
    } catch (const Serf_Malformed &malformed) {
        apply_answers(reports, now);
        fail(text(" sent a malformed answer: ", malformed.what()));
    }
    apply_answers(reports, now);
}

void Serf_Connection::apply_answers(std::vector<Serf_Report> &reports, Time now) {
    for (Serf_Answer &answer : decoder_.fetch()) {
        if (!answer.error.empty()) {
            fail_rejected(answer);
        }
        const auto open = std::find_if(open_.begin(), open_.end(), [&](const Open_Question &asked) {
            return asked.question == answer.question;
        });
        if (auto *const counts = std::get_if<Serf_Counts>(&answer.body)) {
            counts_ = std::move(*counts);
            next_counts_ = (open == open_.end() ? now : open->since) + COUNTS_EVERY;
        }
        if (auto *const report = std::get_if<Serf_Report>(&answer.body)) {
            reports.push_back(std::move(*report));
        }
        if (open != open_.end()) {
            open_.erase(open);
        }
        if (!is_ready_) {
            continue_start(answer.question, now);
        }
    }
}

// One question at a time: an agent that rejects one disconnects, and further questions on their way to it would make
// the kernel discard its error text. The stream begins before the list, so that no change is missed between the two.
void Serf_Connection::continue_start(Serf_Question answered, Time now) {
    switch (answered) {
    case Serf_Question::handshake:
        ask(auth_key_.empty() ? Serf_Question::stats : Serf_Question::auth, now);
        break;
    case Serf_Question::auth:
        ask(Serf_Question::stats, now);
        break;
    case Serf_Question::stats:
        ask(Serf_Question::stream, now);
        break;
    case Serf_Question::stream:
        if (!is_open(Serf_Question::members)) { // an event does not ask again
            ask(Serf_Question::members, now);
        }
        break;
    case Serf_Question::members:
        is_ready_ = true;
        break;
    }
}

void Serf_Connection::fail_rejected(const Serf_Answer &answer) const {
    const std::string quoted = text(": \"", answer.error, "\"");
    if (answer.question == Serf_Question::auth) {
        fail(" rejected the authentication key" + quoted);
    }
    const bool needs_key = auth_key_.empty() && answer.error.starts_with("Authentication required");
    fail(text(" rejected ", serf_word(answer.question), quoted, needs_key ? " (set auth_key)" : ""));
}

void Serf_Connection::send_outgoing() {
    while (!outgoing_.empty()) {
        const ssize_t count = send(socket_.get(), outgoing_.data(), outgoing_.size(), MSG_NOSIGNAL);
        if (count >= 0) {
            outgoing_.erase(0, static_cast<std::size_t>(count));
        } else if (would_block(errno)) {
            return;
        } else if (errno != EINTR) {
            fail(text(" disconnected: ", error_text(errno)));
        }
    }
}

void Serf_Connection::wait_for_socket() {
    const uint32_t events = !is_connected_ ? EPOLLOUT : outgoing_.empty() ? EPOLLIN : EPOLLIN | EPOLLOUT;
    if (events == awaited_) {
        return;
    }
    epoll_event event{};
    event.events = events;
    if (epoll_ctl(epoll_.get(), awaited_ == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket_.get(), &event) != 0) {
        fail(text(": cannot wait for its socket: ", error_text(errno)));
    }
    awaited_ = events;
}

void Serf_Connection::check_deadline(Time now) const {
    if (now < deadline()) {
        return;
    }
    if (!is_connected_) {
        fail(text(" is unreachable: no connection within ", ANSWER_LATEST.count(), " s"));
    }
    fail(text(" did not answer ", serf_word(open_.front().question), " within ", ANSWER_LATEST.count(), " s"));
}

} // namespace wispd
