// SPDX-License-Identifier: Apache-2.0
#include "host/service_notify.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#ifdef HB_WITH_LIBSYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include "host/descriptor.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr const char *SOCKET_VARIABLE = "NOTIFY_SOCKET";

// A name that begins with @ is in the abstract namespace, where the address begins with a zero byte.
int send_datagram(const std::string &socket_name, const std::string &message) {
    sockaddr_un address{};
    if (socket_name.size() < 2 || (socket_name.front() != '/' && socket_name.front() != '@')) {
        return EINVAL;
    }
    if (socket_name.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    address.sun_family = AF_UNIX;
    socket_name.copy(address.sun_path, socket_name.size());
    std::size_t size = offsetof(sockaddr_un, sun_path) + socket_name.size();
    if (socket_name.front() == '@') {
        address.sun_path[0] = '\0';
    } else {
        ++size; // with the terminating zero
    }
    const Descriptor descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (descriptor.get() < 0) {
        return errno;
    }
    ssize_t sent;
    do {
        sent = sendto(descriptor.get(), message.data(), message.size(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr *>(&address), static_cast<socklen_t>(size));
    } while (sent < 0 && errno == EINTR);
    return sent < 0 ? errno : 0;
}

#ifdef HB_WITH_LIBSYSTEMD
// The library reads the socket's name from the environment only. The variable exists during this call alone.
int send_by_libsystemd(const std::string &socket_name, const std::string &message) {
    setenv(SOCKET_VARIABLE, socket_name.c_str(), 1);
    const int result = sd_notify(1, message.c_str());
    return result < 0 ? -result : 0;
}
#endif

// Returns the variable's value, and removes the variable.
std::string taken_from_environment(const char *name) {
    const char *value = std::getenv(name);
    std::string taken = value == nullptr ? "" : value;
    unsetenv(name);
    return taken;
}

std::optional<int64_t> positive_number(std::string_view written) {
    int64_t number = 0;
    const char *end = written.data() + written.size();
    const auto [stopped, error] = std::from_chars(written.data(), end, number);
    return error == std::errc() && stopped == end && number > 0 ? std::optional(number) : std::nullopt;
}

int64_t monotonic_microseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

const std::vector<Notify_Sender> &notify_senders() {
    static const std::vector<Notify_Sender> senders = {
#ifdef HB_WITH_LIBSYSTEMD
        {"libsystemd", send_by_libsystemd},
#endif
        {"datagram", send_datagram},
    };
    return senders;
}

Service_Notify Service_Notify::from_environment(const Notify_Sender &sender) {
    Service_Notify notify;
    notify.sender_ = &sender;
    notify.socket_ = taken_from_environment(SOCKET_VARIABLE);
    const std::optional<int64_t> interval = positive_number(taken_from_environment("WATCHDOG_USEC"));
    const std::string process = taken_from_environment("WATCHDOG_PID");
    if (interval && (process.empty() || positive_number(process) == getpid())) {
        notify.watchdog_ = std::chrono::microseconds(*interval);
    }
    return notify;
}

void Service_Notify::send(const std::string &message) {
    if (!is_wanted()) {
        return;
    }
    const int error = sender_->send(socket_, message);
    if (error != 0 && !failed_) {
        log_warning(text("cannot notify the service manager at ", socket_, ": ", std::strerror(error),
                         "; it may restart wispd"));
    }
    failed_ = error != 0;
}

void Service_Notify::starting(std::chrono::microseconds at_most, const std::string &status) {
    send(text("EXTEND_TIMEOUT_USEC=", at_most.count(), "\nSTATUS=", status));
}

void Service_Notify::ready(const std::string &status) {
    send(text("READY=1\nSTATUS=", status));
}

// The manager matches the time with the reload that it requested.
void Service_Notify::reloading() {
    send(text("RELOADING=1\nMONOTONIC_USEC=", monotonic_microseconds(), "\nSTATUS=reading the configuration"));
}

void Service_Notify::stopping(const std::string &status) {
    send(text("STOPPING=1\nSTATUS=", status));
}

void Service_Notify::status(const std::string &status) {
    send(text("STATUS=", status));
}

void Service_Notify::feed_watchdog() {
    send("WATCHDOG=1");
}

} // namespace wispd
