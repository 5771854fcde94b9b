// SPDX-License-Identifier: Apache-2.0
#include "exporter/bounded_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace exporter {
namespace {

using Clock = std::chrono::steady_clock;

// The library limits the length of a header line, but neither their number nor the request line.
constexpr std::size_t MOST_HEAD_BYTES = 64UL * 1024;
constexpr std::size_t BLOCK_BYTES = 4096;

bool wait_for(int descriptor, short events, Clock::time_point end) {
    pollfd waiting{descriptor, events, 0};
    for (;;) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const int ready = poll(&waiting, 1, static_cast<int>(std::max<decltype(rest)>(rest, 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

void write_address(int result, const sockaddr_storage &address, socklen_t size, std::string &ip, int &port) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};
    if (result == 0 && getnameinfo(reinterpret_cast<const sockaddr *>(&address), size, host.data(), host.size(),
                                   service.data(), service.size(), NI_NUMERICHOST | NI_NUMERICSERV) == 0) {
        ip = host.data();
        port = std::atoi(service.data());
    }
}

struct Limits {
    std::chrono::seconds first_byte;
    std::chrono::seconds head;
    std::chrono::seconds each_write;
};

// The library reads nothing but the head of a request: GET and HEAD have no body, and other methods are rejected.
class Connection final : public httplib::Stream {
  public:
    Connection(int descriptor, const Limits &limits)
        : descriptor_(descriptor), limits_(limits), start_(Clock::now()) {}

    bool is_readable() const override {
        return begin_ < end_ ||
               (received_ < MOST_HEAD_BYTES && wait_for(descriptor_, POLLIN, start_ + time_to_read()));
    }

    bool is_writable() const override {
        return wait_for(descriptor_, POLLOUT, Clock::now() + limits_.each_write) && is_connected();
    }

    ssize_t read(char *to, std::size_t size) override {
        if (!is_readable()) {
            return -1;
        }
        if (begin_ == end_) {
            const ssize_t count = recv(descriptor_, block_.data(), block_.size(), MSG_DONTWAIT);
            if (count <= 0) {
                return count;
            }
            begin_ = 0;
            end_ = static_cast<std::size_t>(count);
            received_ += end_;
        }
        const std::size_t count = std::min(size, end_ - begin_);
        std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(begin_), count, to);
        begin_ += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char *from, std::size_t size) override {
        return is_writable() ? send(descriptor_, from, size, MSG_DONTWAIT | MSG_NOSIGNAL) : -1;
    }

    void get_remote_ip_and_port(std::string &ip, int &port) const override {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        const int result = getpeername(descriptor_, reinterpret_cast<sockaddr *>(&address), &size);
        write_address(result, address, size, ip, port);
    }

    void get_local_ip_and_port(std::string &ip, int &port) const override {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        const int result = getsockname(descriptor_, reinterpret_cast<sockaddr *>(&address), &size);
        write_address(result, address, size, ip, port);
    }

    socket_t socket() const override { return descriptor_; }

  private:
    std::chrono::seconds time_to_read() const { return received_ == 0 ? limits_.first_byte : limits_.head; }

    // A viewer that disconnected frees its place at the next beat.
    bool is_connected() const {
        char next = 0;
        const ssize_t count = recv(descriptor_, &next, sizeof next, MSG_PEEK | MSG_DONTWAIT);
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK));
    }

    const int descriptor_;
    const Limits limits_;
    const Clock::time_point start_;
    std::array<char, BLOCK_BYTES> block_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t received_ = 0;
};

} // namespace

bool Bounded_Server::process_and_close_socket(socket_t descriptor) {
    Connection connection(descriptor,
                          {std::chrono::seconds(keep_alive_timeout_sec_),
                           std::chrono::seconds(read_timeout_sec_), std::chrono::seconds(write_timeout_sec_)});
    bool is_closed = false;
    const bool answered = process_request(connection, true, is_closed, nullptr);
    shutdown(descriptor, SHUT_RDWR);
    close(descriptor);
    return answered;
}

bool Bounded_Server::let_bursts_wait() {
    return ::listen(svr_sock_, SOMAXCONN) == 0;
}

} // namespace exporter
