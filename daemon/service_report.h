// SPDX-License-Identifier: Apache-2.0
// Keeps the service manager informed while the event loop runs.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include <asio/steady_timer.hpp>

#include "host/service_notify.h"

namespace wispd {

// The watchdog is fed by a timer of the event loop, so a loop that is stuck stops feeding it.
class Service_Report {
  public:
    // `counts` returns the status text. It is called in the context, after ready().
    Service_Report(asio::io_context &context, Service_Notify notify, std::function<std::string()> counts);
    Service_Report(const Service_Report &) = delete;
    Service_Report &operator=(const Service_Report &) = delete;

    // Reports that clients can connect, and starts to feed the watchdog.
    void ready();
    // Reports the counts within a second, if they differ from those reported last.
    void counts_may_have_changed();
    // Reloads can overlap: the daemon is ready again when all have ended.
    void reload_began();
    void reload_ended();
    void stopping(const std::string &why);

  private:
    void report_ready();
    void feed_watchdog();

    Service_Notify notify_;
    std::function<std::string()> counts_;
    asio::steady_timer watchdog_timer_;
    asio::steady_timer counts_timer_;
    std::string reported_;
    int reloads_ = 0;
    bool is_ready_ = false;
    bool counts_are_due_ = false;
};

} // namespace wispd
