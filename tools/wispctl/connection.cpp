// SPDX-License-Identifier: Apache-2.0
#include "tools/wispctl/connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/complaint.h"
#include "common/no_answer.h"
#include "common/socket_path.h"
#include "host/text.h"

namespace wispctl {

using wispd::text;

namespace {

constexpr std::size_t ANSWER_LONGEST = 64 * 1024 * 1024; // several times the state of a full cluster

class Late : public Failure {
  public:
    using Failure::Failure;
};

// A UNIX socket reports a full queue of connections at once, and nothing reports when it has room again.
constexpr std::chrono::milliseconds BETWEEN_ATTEMPTS{50};

sockaddr_un address_of(const std::string &path) {
    if (path.size() > common::SOCKET_PATH_LONGEST) {
        throw Failure(text("the path has ", path.size(), " bytes, but a socket address holds at most ",
                           common::SOCKET_PATH_LONGEST, ": ", path));
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return address;
}

[[noreturn]] void fail_to_connect(const std::string &path, int why) {
    if (why == ENOENT || why == ECONNREFUSED) {
        throw Failure(common::no_daemon_line(path));
    }
    if (why == EACCES) {
        throw Failure(common::no_access_line(path, "control_group"));
    }
    throw Failure(text("cannot connect to wispd at ", path, ": ", std::strerror(why)));
}

} // namespace

Connection::Connection(const std::string &path, std::chrono::milliseconds patience)
    : path_(path), patience_(patience), deadline_(std::chrono::steady_clock::now() + patience),
      socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    connect();
}

Connection::~Connection() {
    close(socket_);
}

void Connection::connect() {
    const sockaddr_un address = address_of(path_);
    while (::connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        if (errno != EAGAIN && errno != EINTR) {
            fail_to_connect(path_, errno);
        }
        if (std::chrono::steady_clock::now() >= deadline_) {
            fail_late();
        }
        poll(nullptr, 0, static_cast<int>(BETWEEN_ATTEMPTS.count()));
    }
}

std::string Connection::ask(const std::string &line, bool changes) {
    send_line(line + '\n');
    can_still_act_ = changes;
    std::string answer;
    while (answer.empty() || answer.back() != '\n') {
        if (!read_more(answer)) {
            throw Failure(text("wispd at ", path_, " disconnected before it answered"));
        }
        if (answer.size() > ANSWER_LONGEST) {
            throw Failure(text("the answer from ", path_, " has more than ", ANSWER_LONGEST,
                               " bytes; is this wispd's control socket?"));
        }
    }
    return answer;
}

void Connection::wait_for_end() {
    std::string rest;
    try {
        while (read_more(rest)) {
            rest.clear();
        }
    } catch (const Late &) {
        throw Failure(text("wispd at ", path_, " has not ended within ", common::seconds_text(patience_),
                           "; it is stopping, wait longer with --timeout SECONDS"));
    }
}

void Connection::send_line(const std::string &line) {
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t count = send(socket_, line.data() + done, line.size() - done, MSG_NOSIGNAL);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            if (!wait_for(POLLOUT)) {
                fail_late();
            }
        } else if (errno != EINTR) {
            return; // wispd closes a connection that it rejects at once; the reason can still be read
        }
    }
}

bool Connection::read_more(std::string &into) {
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = read(socket_, buffer.data(), buffer.size());
        if (count > 0) {
            into.append(buffer.data(), static_cast<std::size_t>(count));
            return true;
        }
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            return false;
        }
        if (errno == EAGAIN && !wait_for(POLLIN)) {
            fail_late();
        }
    }
}

bool Connection::wait_for(short events) const {
    pollfd wanted{socket_, events, 0};
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now()).count();
    const int count = poll(&wanted, 1, static_cast<int>(std::clamp<long long>(left, 0, INT_MAX)));
    return count > 0 || std::chrono::steady_clock::now() < deadline_;
}

void Connection::fail_late() const {
    const char *warning = can_still_act_ ? "; it can still carry out the command when it continues" : "";
    throw Late(common::no_answer_line(path_, patience_) + warning);
}

} // namespace wispctl
