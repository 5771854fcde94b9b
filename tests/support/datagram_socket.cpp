// SPDX-License-Identifier: Apache-2.0
#include "tests/support/datagram_socket.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace hb_test {

namespace {

constexpr std::size_t MESSAGE_LONGEST = 1 << 20;

} // namespace

Datagram_Socket::Datagram_Socket(const std::string &name)
    : name_(name), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name.front() == '@') {
        address.sun_path[0] = '\0';
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), size) != 0) {
        throw std::runtime_error("cannot bind " + name + ": " + std::strerror(errno));
    }
}

Datagram_Socket::~Datagram_Socket() {
    if (name_.front() != '@') {
        unlink(name_.c_str());
    }
}

std::optional<std::string> Datagram_Socket::receive(const Deadline &deadline) const {
    if (!wait_readable(socket_.get(), deadline)) {
        return std::nullopt;
    }
    std::vector<char> bytes(MESSAGE_LONGEST);
    const ssize_t count = recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0) {
        return std::nullopt;
    }
    return std::string(bytes.data(), static_cast<std::size_t>(count));
}

std::optional<std::string> Datagram_Socket::receive_with(const std::string &text,
                                                         const Deadline &deadline) const {
    std::optional<std::string> message = receive(deadline);
    while (message && message->find(text) == std::string::npos) {
        message = receive(deadline);
    }
    return message;
}

void Datagram_Socket::drain() const {
    char byte;
    while (recv(socket_.get(), &byte, 1, MSG_DONTWAIT) >= 0) {
    }
}

} // namespace hb_test
