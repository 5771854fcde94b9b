// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/link_proxy.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <vector>

namespace hb_test {
namespace {

constexpr std::size_t LENGTH_SIZE = 4;
constexpr std::size_t SEQUENCE_AT = 104;

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

Unique_Fd new_socket() {
    return Unique_Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// Reads what is there. Returns false at the end of the stream.
bool read_into(int fd, Bytes &into) {
    std::array<unsigned char, 65536> buffer{};
    for (;;) {
        const ssize_t count = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count > 0) {
            into.insert(into.end(), buffer.begin(), buffer.begin() + count);
        } else {
            return count < 0 && (errno == EAGAIN || errno == EINTR);
        }
    }
}

// Writes as much as fits. Returns how much, or nothing when the other side has ended.
std::optional<std::size_t> write_from(int fd, const Bytes &bytes, std::size_t count) {
    const ssize_t sent = count == 0 ? 0 : ::send(fd, bytes.data(), count, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN && errno != EINTR) {
        return std::nullopt;
    }
    return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

bool is_event(const Bytes &record) {
    return record.size() >= LENGTH_SIZE + SEQUENCE_AT + 4 && record.i32_at(LENGTH_SIZE + SEQUENCE_AT) != 0;
}

} // namespace

Link_Proxy::Link_Proxy(const std::string &daemon)
    : daemon_(daemon), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    listen_here();
    thread_ = std::thread([this] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        serve();
    });
}

Link_Proxy::~Link_Proxy() {
    change([](Orders &orders) { orders.stop = true; });
    thread_.join();
}

void Link_Proxy::listen_here() {
    const sockaddr_un address = address_of(path_);
    listener_ = new_socket();
    if (bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), 16) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen " + path_);
    }
}

// ---- Orders ----

Link_Proxy::Orders Link_Proxy::orders() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return orders_;
}

void Link_Proxy::change(const std::function<void(Orders &)> &how) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        how(orders_);
    }
    const uint64_t one = 1;
    if (::write(wake_.get(), &one, sizeof one) < 0 && errno != EAGAIN) {
        std::terminate();
    }
}

void Link_Proxy::cut_after(std::size_t bytes) {
    change([=](Orders &orders) { orders.cut_after = bytes; });
}

void Link_Proxy::drop(unsigned events) {
    change([=](Orders &orders) { orders.drop += events; });
}

void Link_Proxy::duplicate(unsigned events) {
    change([=](Orders &orders) { orders.duplicate += events; });
}

void Link_Proxy::swap() {
    change([](Orders &orders) { ++orders.swap; });
}

void Link_Proxy::insert(const Bytes &record) {
    change([&](Orders &orders) { orders.insert.add(record); });
}

void Link_Proxy::hold(bool on) {
    change([=](Orders &orders) { orders.hold = on; });
}

void Link_Proxy::refuse(bool on) {
    change([=](Orders &orders) { orders.refuse = on; });
}

void Link_Proxy::trickle(bool on) {
    change([=](Orders &orders) { orders.trickle = on; });
}

void Link_Proxy::be_transparent() {
    change([](Orders &orders) { orders = Orders(); });
}

unsigned Link_Proxy::connections() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return connections_;
}

// ---- The thread ----

void Link_Proxy::serve() {
    for (;;) {
        const Orders now = orders();
        if (now.stop) {
            return;
        }
        if (now.refuse && listener_) {
            listener_.reset();
            std::filesystem::remove(path_);
            pairs_.clear();
        } else if (!now.refuse && !listener_) {
            listen_here();
        }
        std::vector<pollfd> wanted{{wake_.get(), POLLIN, 0}};
        if (!now.hold) {
            if (listener_) {
                wanted.push_back({listener_.get(), POLLIN, 0});
            }
            for (const Pair &pair : pairs_) {
                wanted.push_back({pair.client.get(),
                                  static_cast<short>(pair.to_client.empty() ? POLLIN : POLLIN | POLLOUT), 0});
                if (pair.daemon) {
                    wanted.push_back({pair.daemon.get(),
                                      static_cast<short>(pair.to_daemon.empty() ? POLLIN : POLLIN | POLLOUT),
                                      0});
                }
            }
        }
        poll(wanted.data(), wanted.size(), -1);
        uint64_t count = 0;
        while (::read(wake_.get(), &count, sizeof count) > 0) {
        }
        const Orders then = orders();
        if (then.hold) {
            continue;
        }
        accept_all();
        std::erase_if(pairs_, [&](Pair &pair) { return !carry(pair, then.trickle); });
    }
}

void Link_Proxy::accept_all() {
    for (;;) {
        Unique_Fd client(listener_ ? accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)
                                   : -1);
        if (!client) {
            return;
        }
        const sockaddr_un address = address_of(daemon_);
        Pair pair;
        pair.client = std::move(client);
        pair.daemon = new_socket();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++connections_;
        }
        // The client finds the end of the stream if no daemon listens.
        if (connect(pair.daemon.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            pairs_.push_back(std::move(pair));
        }
    }
}

// Returns false when the connection has ended.
bool Link_Proxy::carry(Pair &pair, bool trickle) {
    if (!read_into(pair.client.get(), pair.to_daemon)) {
        return false;
    }
    if (pair.daemon) {
        const auto sent = write_from(pair.daemon.get(), pair.to_daemon, pair.to_daemon.size());
        pair.to_daemon = sent ? pair.to_daemon.from(*sent) : Bytes();
        if (!read_into(pair.daemon.get(), pair.from_daemon)) {
            pair.daemon.reset();
        }
    }
    take_records(pair);
    return write_to_client(pair, trickle) && (pair.daemon || !pair.to_client.empty());
}

void Link_Proxy::take_records(Pair &pair) {
    std::size_t at = 0;
    while (at + LENGTH_SIZE <= pair.from_daemon.size()) {
        const std::size_t whole = LENGTH_SIZE + static_cast<std::size_t>(pair.from_daemon.i32_at(at));
        if (at + whole > pair.from_daemon.size()) {
            break;
        }
        pass(pair, pair.from_daemon.part(at, whole));
        at += whole;
    }
    pair.from_daemon = pair.from_daemon.from(at);
    const std::lock_guard<std::mutex> lock(mutex_);
    pair.to_client.add(orders_.insert);
    orders_.insert = Bytes();
}

void Link_Proxy::pass(Pair &pair, const Bytes &record) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_event(record)) {
        pair.to_client.add(record);
        return;
    }
    if (orders_.drop > 0) {
        --orders_.drop;
        return;
    }
    if (!pair.held.empty()) {
        pair.to_client.add(record).add(pair.held);
        pair.held = Bytes();
        return;
    }
    if (orders_.swap > 0) {
        --orders_.swap;
        pair.held = record;
        return;
    }
    pair.to_client.add(record);
    if (orders_.duplicate > 0) {
        --orders_.duplicate;
        pair.to_client.add(record);
    }
}

bool Link_Proxy::write_to_client(Pair &pair, bool trickle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t count = pair.to_client.size();
    if (orders_.cut_after) {
        count = std::min(count, *orders_.cut_after);
    }
    count = trickle ? std::min<std::size_t>(count, 1) : count;
    const auto sent = write_from(pair.client.get(), pair.to_client, count);
    if (!sent) {
        return false;
    }
    pair.to_client = pair.to_client.from(*sent);
    if (orders_.cut_after) {
        *orders_.cut_after -= *sent;
        if (*orders_.cut_after == 0) {
            orders_.cut_after.reset();
            return false;
        }
    }
    return true;
}

} // namespace hb_test
