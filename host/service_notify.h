// SPDX-License-Identifier: Apache-2.0
// Reports the daemon's state to the service manager that started it, and feeds that manager's watchdog.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace wispd {

// A way to send one message to the service manager's socket.
struct Notify_Sender {
    const char *name;
    // Returns 0, or the error number.
    int (*send)(const std::string &socket, const std::string &message);
};

// Returns every way that this build supports; the first one is the default.
const std::vector<Notify_Sender> &notify_senders();

// Without a service manager nothing is sent.
class Service_Notify {
  public:
    Service_Notify() = default;

    // Finds the service manager through NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID. Removes these variables, so
    // no program that this process starts can report in its place.
    static Service_Notify from_environment(const Notify_Sender &sender = notify_senders().front());

    bool is_wanted() const { return !socket_.empty(); }
    // Returns the time after which the manager restarts a daemon that does not feed its watchdog; empty if this
    // process has no watchdog.
    std::optional<std::chrono::microseconds> watchdog() const { return watchdog_; }

    // Asks the manager to wait up to this time for the next message.
    void starting(std::chrono::microseconds at_most, const std::string &status);
    void ready(const std::string &status);
    void reloading();
    void stopping(const std::string &status);
    void status(const std::string &status);
    void feed_watchdog();

  private:
    void send(const std::string &message);

    const Notify_Sender *sender_ = nullptr;
    std::string socket_;
    std::optional<std::chrono::microseconds> watchdog_;
    bool failed_ = false; // a failure is logged once
};

} // namespace wispd
